// The statement parser: the head of a statement with its labels, and the
// statements that are not loops or switches.  Each statement settles the
// flags that later passes read (falls through or not, labelled, left by a
// break), bottom-up while the recursion returns.
#include "decl/type.h"
#include "driver/options.h"
#include "driver/stack_room.h"
#include "preproc/source.h"
#include "stmt/statements.h"

namespace {

// A statement that ends in `;`: the `;` gives its end.
void expect_semi(StmtNode *s) { set_end(s, expect_token(TOK_SEMI)); }

void parse_expression_statement(StmtNode *s) {
    unget_token();
    s->kind = ST_EXPR;
    s->expr = parse_expression(1);
    recovery_target = RECOVER_TO_STATEMENT_END;
    expect_semi(s);
    expand_inline_calls(&s->expr, 1, 0);
}

// A run of assembly lines, up to the first line of the next #asm block:
// one piece per line of text.
void parse_asm(StmtNode *s, Token *t) {
    StmtNode **tail = &s->body;
    for (;;) {
        if (t->length > 0) {
            StmtNode *piece = new_stmt(ST_ASM);
            piece->line = piece->end_line = t->line;
            piece->col = uint16_t(t->column & 0x7FFF);
            piece->end_col = uint16_t(piece->col + t->length);
            piece->file = current_file_name();
            piece->text = t->value.text;
            piece->text_length = t->length;
            *tail = piece;
            tail = &piece->next;
        }
        t = next_token();
        if (t->code != TOK_ASM || (t->column & 0x8000) != 0)
            break;
    }
    *tail = nullptr;
    func_state.op_count++;
    set_end(s, t);
    unget_token();
}

void parse_jump(StmtNode *s, StmtNode *target, uint16_t flag, const char *message) {
    if (target != nullptr) {
        s->target = target;
        target->flags |= flag;
    } else {
        report("%s", message);
    }
    expect_semi(s);
    s->flags |= SF_NO_FALLTHROUGH;
}

void parse_goto(StmtNode *s, StmtNode *continue_target) {
    Token *t = next_token();
    if (t->code == TOK_IDENT) {
        Symbol *label = label_symbol(t->value.name);
        label->flags |= SYM_USED;
        s->goto_label = label;
    } else {
        unget_token();
        report("missing goto label");
    }
    expect_semi(s);
    s->expr = nullptr;
    s->flags |= SF_NO_FALLTHROUGH;
    if (continue_target != nullptr)
        continue_target->flags |= SF_GOTO;
}

// The value of `return e;` converted to the result type.
ExprNode *return_value(ExprNode *e) {
    TypeNode *result = func_state.return_type;
    if (e->type->code == TY_ARRAY || e->type->code == TY_FUNCTION)
        decay_to_pointer(e);
    if (result->code == TY_VOID) {
        report("unexpected return expression");
        return e;
    }
    if (is_struct_code(result->code)) {
        if (!same_type(result, e->type))
            report("bad structure for return");
        return e;
    }
    bool null_pointer = result->code == TY_POINTER && is_int_const(e) && e->value == 0;
    if (!null_pointer && !assignable_type(result, e->type))
        report("incompatible return type");
    if (opt_ck != 0)
        check_assign_range(result, e);
    ExprNode *cast = new_expr(OP_CAST);
    cast->type = result;
    cast->left = e;
    return cast_expr(cast);
}

void parse_return(StmtNode *s) {
    ExprNode *e = parse_expression(0);
    if (e == nullptr) {
        if (opt_ck != 0 && func_state.return_type->code != TY_VOID)
            report("W1missing return expression");
    } else {
        e = return_value(e);
    }
    s->expr = e;
    expect_semi(s);
    if (token_mode != 2) {
        expand_inline_calls(&s->expr, 1, 1);
        s->flags |= SF_NO_FALLTHROUGH;
        return;
    }
    // Inside an inline expansion a return jumps to the end of the body.
    s->kind = ST_GOTO;
    Symbol *label = label_symbol(func_state.return_label_name);
    label->flags |= SYM_USED;
    s->goto_label = label;
    if (s->expr != nullptr && func_state.inline_result != nullptr) {
        ExprNode *assign = new_expr(OP_ASSIGN);
        assign->left = func_state.inline_result;
        assign->right = s->expr;
        assign->type = func_state.inline_result->type;
        s->expr = assign_expr(assign);
    }
    expand_inline_calls(&s->expr, 1, 0);
    func_state.known_values = nullptr;
}

void parse_if(StmtNode *s, StmtNode *continue_target, StmtNode *break_target) {
    expect_token(TOK_LPAREN);
    ExprNode *before = func_state.known_values;
    parse_test(s, "missing if test expression", "invalid if test type");
    set_end(s, expect_token(TOK_RPAREN));
    expand_inline_calls(&s->expr, 1, 1);

    s->body = parse_statement(continue_target, break_target);
    ExprNode *after_then = func_state.known_values;
    func_state.known_values = before;
    s->alt = nullptr;
    if (next_token()->code == TOK_ELSE) {
        s->alt = parse_statement(continue_target, break_target);
        if (s->body->flags & s->alt->flags & SF_NO_FALLTHROUGH)
            s->flags |= SF_NO_FALLTHROUGH;
        if (s->alt->flags & (SF_CASE_TARGET | SF_LABELLED))
            s->flags |= SF_LABELLED;
    } else {
        unget_token();
    }
    // Only what both ways agree on stays known, unless the test decides.
    if (s->expr == nullptr || !is_int_const(s->expr)) {
        if (func_state.known_values != after_then)
            func_state.known_values = nullptr;
    } else if (s->expr->value != 0) {
        func_state.known_values = after_then;
    }
    if (s->body->flags & (SF_CASE_TARGET | SF_LABELLED))
        s->flags |= SF_LABELLED;
}

// The labels in front of a statement, then the statement itself.
StmtNode *parse_labelled(StmtNode *continue_target, StmtNode *break_target) {
    StmtNode *s = new_stmt(ST_EXPR);
    s->line = 0;
    Token *t;
    for (;;) {
        t = next_token();
        if (s->line == 0) {
            s->line = t->line;
            s->col = uint16_t(t->column & 0x7FFF);
            s->file = current_file_name();
        }
        if (t->code == TOK_CASE) {
            int32_t value = 0;
            if (parse_const_expr(&value, 1))
                add_case_label(TOK_CASE, value, s);
            expect_token(TOK_COLON);
        } else if (t->code == TOK_DEFAULT) {
            add_case_label(TOK_DEFAULT, 0, s);
            expect_token(TOK_COLON);
        } else if (t->code == TOK_IDENT) {
            NameRecord *name = t->value.name;
            if (next_token()->code != TOK_COLON) {
                unget_token();
                break;
            }
            Symbol *label = label_symbol(name);
            if (label->flags & SYM_DECLARED) {
                report("redefined label %.*s", name->length, name->text);
            } else {
                label->flags |= SYM_DECLARED;
                label->stmt = s;
            }
            s->flags |= SF_LABELLED;
        } else {
            break;
        }
        // Several labels share one statement and one code label; a
        // labelled statement is reached with nothing known.
        if (s->label == 0)
            s->label = uint16_t(new_label());
        func_state.known_values = nullptr;
    }

    func_state.pending_inline = 0;
    s->kind = uint8_t(t->code);
    switch (t->code) {
    case TOK_LBRACE:
        parse_block(continue_target, break_target, s, nullptr, nullptr);
        break;
    case TOK_ASM:
        parse_asm(s, t);
        break;
    case TOK_BREAK:
        parse_jump(s, break_target, SF_BREAK, "invalid break");
        break;
    case TOK_CONTINUE:
        parse_jump(s, continue_target, SF_CONTINUE, "invalid continue");
        break;
    case TOK_GOTO:
        parse_goto(s, continue_target);
        break;
    case TOK_RETURN:
        parse_return(s);
        break;
    case TOK_ELSE:
        report("unexpected else statement");
        set_end(s, t);
        break;
    case TOK_IF:
        parse_if(s, continue_target, break_target);
        break;
    case TOK_WHILE:
        parse_while(s);
        break;
    case TOK_DO:
        parse_do(s);
        break;
    case TOK_FOR:
        parse_for(s);
        break;
    case TOK_SWITCH:
        parse_switch(s, continue_target);
        break;
    default:
        parse_expression_statement(s);
        break;
    }
    return s;
}

} // namespace

StmtNode *parse_statement(StmtNode *continue_target, StmtNode *break_target) {
    // Nested statements recurse; deep nesting goes on on a fresh stack.
    if (stack_is_low()) {
        StmtNode *result = nullptr;
        auto call = [&] { result = parse_labelled(continue_target, break_target); };
        on_fresh_stack(call);
        return result;
    }
    return parse_labelled(continue_target, break_target);
}

// The test of if, while and do; the missing and invalid test messages.
void parse_test(StmtNode *s, const char *missing, const char *invalid) {
    s->expr = parse_expression(0);
    if (s->expr == nullptr)
        report("%s", missing);
    else if (make_test(&s->expr) == nullptr)
        report("%s", invalid);
}

ExprNode *variable_leaf(Symbol *sym, TypeNode *type, uintptr_t lflags) {
    ExprNode *e = new_expr(OP_LEAF);
    e->sym = sym;
    e->value = 0;
    e->lflags = lflags;
    e->type = type;
    return e;
}

void report_unreachable_at(const StmtNode *statement) {
    Token place{};
    place.code = TOK_IDENT;   // any code but 0, which means "no token"
    place.line = statement->line;
    place.column = statement->col;
    Token *saved = last_token;
    last_token = &place;
    report("W1unreachable code");
    last_token = saved;
}
