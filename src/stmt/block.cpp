// Compound statements: the scope of a block, its local declarations, the
// statement list with its unreachable code, and the end of a function body
// (the implied return, the arguments passed wider than declared).
#include <cstdio>

#include "decl/type.h"
#include "driver/options.h"
#include "preproc/source.h"
#include "stmt/statements.h"

int32_t return_label_counter;

namespace {

// Positions and kind of the statement that ends a body: where control
// arrives when it runs off the end.
StmtNode *end_statement(int32_t kind, const Token *end) {
    StmtNode *s = new_stmt(kind);
    s->line = s->end_line = end->line;
    s->col = s->end_col = uint16_t(end->column & 0x7FFF);
    s->file = current_file_name();
    s->expr = nullptr;
    return s;
}

// The statement list of a block up to its `}`; gives the token that ended
// it and whether control can pass its end (0) or not (SF_DEAD).
uint16_t parse_statement_list(StmtNode *block, StmtNode **tail, StmtNode *continue_target,
                              StmtNode *break_target, Token **end) {
    uint16_t dead = 0;
    bool warned = false;
    for (;;) {
        Token *t = next_token();
        if (t->code == TOK_RBRACE) {
            *end = t;
            break;
        }
        if (t->code == TOK_EOF) {
            report("unexpected end of file");
            *end = t;
            break;
        }
        unget_token();
        StmtNode *s = parse_statement(continue_target, break_target);
        *tail = s;
        if (s->flags & (SF_CASE_TARGET | SF_LABELLED))
            block->flags |= SF_LABELLED;
        if (s->label != 0)
            dead = 0;
        else if (dead != 0 && s->kind != ST_EXPR)
            dead = mark_dead(s);
        else
            s->flags |= dead;
        if (s->flags & SF_NO_FALLTHROUGH)
            dead |= SF_DEAD;
        // One warning for each run of dead statements; an empty statement
        // neither starts nor ends a run.
        if (s->kind != ST_EXPR || s->expr != nullptr) {
            if (s->flags & SF_DEAD) {
                if (opt_ck != 0 && !warned)
                    report("W1unreachable code");
                warned = true;
            } else {
                warned = false;
            }
        }
        if (s->kind == ST_COUNTED && s->next != nullptr)
            s = s->next;
        tail = &s->next;
    }
    *tail = nullptr;
    return dead;
}

// Arguments passed wider than declared.  A used float comes as a double
// and is narrowed into its own slot on entry; every other one names the
// last bytes of its slot, since the target is big-endian.
void settle_widened_arguments(StmtNode *block, Symbol *stop) {
    for (Symbol *sym = symbol_list; sym != stop; sym = sym->next) {
        if ((sym->flags & SYM_ARG_WIDENED) == 0)
            continue;
        if (is_real_code(sym->type->code) && (sym->flags & SYM_USED)) {
            sym->flags |= SYM_ADDR_TAKEN;
            StmtNode *s = new_stmt(ST_EXPR);
            s->line = s->end_line = block->line;
            s->col = s->end_col = 0;
            s->file = block->file;
            ExprNode *assign = new_expr(OP_ASSIGN);
            assign->type = sym->type;
            assign->left = variable_leaf(sym, sym->type, LEAF_VARIABLE);
            assign->right = variable_leaf(sym, &type_double, LEAF_VARIABLE);
            s->expr = assign;
            s->next = block->body;
            block->body = s;
        } else {
            sym->value += uint32_t(type_size(&type_int) - type_size(sym->type));
        }
    }
}

// The parameters of an inline function become the locals of its expansion.
void enter_inline_params(Symbol *params) {
    for (Symbol *p = params; p != nullptr && p->type != nullptr && p->type->code != TY_VOID; p = p->next) {
        Symbol *sym = new_symbol(&symbol_list, p->name, SC_AUTO, p->type);
        sym->attr = p->attr;
        sym->flags = SYM_DECLARED | (p->flags & (SYM_USED | SYM_ADDR_TAKEN | SYM_ASSIGNED));
    }
}

} // namespace

StmtNode *parse_block(StmtNode *continue_target, StmtNode *break_target, StmtNode *block,
                      Symbol *params, ExprNode *args) {
    if (params != nullptr) {
        return_label_counter++;
        char text[32];
        int length = std::snprintf(text, sizeof text, ".return_%d.", int(return_label_counter));
        func_state.return_label_name = intern_name(text, unsigned(length));
    }
    Symbol *saved_mark = scope_mark;
    Symbol *saved_tag_mark = tag_scope_mark;
    bool function_body = block == nullptr;
    if (function_body) {
        block = new_stmt(ST_BLOCK);
        block->line = current_line();
        block->file = current_file_name();
    } else {
        scope_mark = symbol_list;
        tag_scope_mark = tag_list;
    }
    *func_state.block_chain_tail = block;
    func_state.block_chain_tail = &block->next_block;
    StmtNode **tail = &block->body;
    block->body = nullptr;

    size_t temp_mark = inline_temp_mark();
    if (params != nullptr) {
        enter_inline_params(params);
        // The arguments are OP_ARG links but for the last one.
        Symbol *p = params;
        ExprNode *rest = args;
        while (rest != nullptr && p != nullptr && p->type != nullptr && p->type->code != TY_VOID) {
            ExprNode *arg = rest;
            rest = nullptr;
            if (arg->op == OP_ARG) {
                rest = arg->right;
                arg = arg->left;
            }
            StmtNode *bound = bind_inline_argument(p, symbol_list, arg, block);
            if (bound != nullptr) {
                *tail = bound;
                tail = &bound->next;
            }
            p = p->next;
        }
    }
    parse_local_declarations(&tail);

    Token *end = nullptr;
    uint16_t dead = parse_statement_list(block, tail, continue_target, break_target, &end);
    set_end(block, end);
    if (dead != 0)
        block->flags |= SF_NO_FALLTHROUGH;

    if (params != nullptr || (function_body && dead == 0)) {
        while (*tail != nullptr)
            tail = &(*tail)->next;
        StmtNode *last;
        if (token_mode == 2) {
            last = end_statement(ST_EXPR, end);
            last->label = uint16_t(new_label());
            last->flags |= SF_LABELLED;
            Symbol *label = label_symbol(func_state.return_label_name);
            label->flags |= SYM_DECLARED;
            label->stmt = last;
        } else {
            last = end_statement(ST_RETURN, end);
            if (opt_ck != 0 && func_state.return_type->code != TY_VOID)
                report("W1missing explicit return");
        }
        *tail = last;
    }
    if (function_body)
        settle_widened_arguments(block, scope_mark);

    inline_temp_leave(temp_mark);
    // The block's own stretch of symbol_list becomes its list of locals.
    block->locals = nullptr;
    if (symbol_list != scope_mark) {
        block->locals = symbol_list;
        Symbol *last = symbol_list;
        while (last->next != scope_mark)
            last = last->next;
        last->next = nullptr;
        symbol_list = scope_mark;
    }
    if (function_body)
        for (Symbol *sym = block->locals; sym != nullptr; sym = sym->next)
            sym->flags &= ~uint32_t(SYM_IMPLICIT_FN);
    tag_list = tag_scope_mark;
    scope_mark = saved_mark;
    tag_scope_mark = saved_tag_mark;
    return block;
}
