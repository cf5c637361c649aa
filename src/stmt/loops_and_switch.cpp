// Loops and switch: while, do, for with its counted-loop candidates, and
// switch with its case list.  Control joins at the top of every loop and at
// the end of every loop and switch, so the known values are forgotten there.
#include <cstdlib>

#include "decl/type.h"
#include "driver/options.h"
#include "stmt/statements.h"

namespace {

// Both parts of a loop's end: the loop is labelled when its body is, and
// an endless loop that nothing leaves does not fall through.
void finish_loop(StmtNode *s, bool endless) {
    if (s->body->flags & SF_LABELLED)
        s->flags |= SF_LABELLED;
    if (endless && (s->flags & (SF_BREAK | SF_GOTO)) == 0)
        s->flags |= SF_NO_FALLTHROUGH;
}

LoopRecord *new_loop_record(LoopRecord *outer, Symbol *var) {
    LoopRecord *record = static_cast<LoopRecord *>(checked_alloc(sizeof(LoopRecord), outer));
    record->bound_vars = nullptr;
    record->var = var;
    record->uses = 0;
    record->nest = 1;
    return record;
}

void free_loop_record(LoopRecord *record) {
    while (record->bound_vars != nullptr)
        record->bound_vars = free_and_return(record->bound_vars, record->bound_vars->outer);
    std::free(record);
}

// The update of a for loop that steps a plain integer variable by one:
// `x++`, `++x` and `x += 1` all arrive as a compound assignment of 1.
Symbol *counted_variable(const ExprNode *update) {
    if (update == nullptr || (update->op != OP_ADD_ASSIGN && update->op != OP_SUB_ASSIGN))
        return nullptr;
    const ExprNode *step = update->right;
    const ExprNode *var = update->left;
    if (!is_int_const(step) || step->value != 1)
        return nullptr;
    if (var->op != OP_LEAF || !is_symbol_leaf(var) || !is_integer_code(var->type->code))
        return nullptr;
    return var->sym;
}

void lower_use_count(Symbol *sym, int32_t amount) {
    int32_t count = int32_t(sym->use_count) - amount;
    sym->use_count = uint16_t(count < 0 ? 0 : count);
}

// What a for loop that became a counted loop takes out of the weights of
// its control variable and its bound: the test and the update vanish.
void settle_counted(StmtNode *s, LoopRecord *record, int32_t body_ops) {
    int32_t d = func_state.loop_depth;
    Symbol *var = record->var;
    lower_use_count(var, 2 * d + 1);
    if (s->update == nullptr)
        lower_use_count(var, 2 * d + 1);
    if (s->init == nullptr)
        lower_use_count(var, d > 1 ? 2 * d - 1 : 1);
    if (var->use_count == 0)
        var->flags &= ~uint32_t(SYM_USED);
    if ((s->flags & SF_UNROLLED) && s->expr != nullptr)
        func_state.op_count += (s->expr->value - 1) * body_ops;
    for (LoopRecord *bound = record->bound_vars; bound != nullptr; bound = bound->outer)
        lower_use_count(bound->var, 2 * d);
}

} // namespace

void parse_while(StmtNode *s) {
    func_state.loop_depth++;
    func_state.known_values = nullptr;
    expect_token(TOK_LPAREN);
    parse_test(s, "missing while test expression", "invalid while test type");
    set_end(s, expect_token(TOK_RPAREN));
    expand_inline_calls(&s->expr, 1, 1);
    s->body = parse_statement(s, s);
    func_state.loop_depth--;
    finish_loop(s, always_true(s->expr));
    func_state.known_values = nullptr;
}

void parse_do(StmtNode *s) {
    func_state.loop_depth++;
    func_state.known_values = nullptr;
    s->body = parse_statement(s, s);
    expect_token(TOK_WHILE);
    // The loop's test is placed at the line of its parenthesis.
    s->line = next_token()->line;
    unget_token();
    Token *paren = expect_token(TOK_LPAREN);
    s->mid_line = paren->line;
    s->mid_col = uint16_t(paren->column & 0x7FFF);
    func_state.pending_inline = 0;
    parse_test(s, "missing do test expression", "invalid do test type");
    finish_loop(s, always_true(s->expr));
    expect_token(TOK_RPAREN);
    expand_inline_calls(&s->expr, 1, 1);
    func_state.loop_depth--;
    set_end(s, expect_token(TOK_SEMI));
    func_state.known_values = nullptr;
}

void parse_for(StmtNode *s) {
    expect_token(TOK_LPAREN);
    s->init = parse_expression(1);
    Token *semi = expect_token(TOK_SEMI);
    uint32_t semi_line = semi->line;
    uint16_t semi_col = uint16_t(semi->column & 0x7FFF);
    expand_inline_calls(&s->init, 1, 0);
    func_state.known_values = nullptr;
    func_state.loop_depth++;
    s->mid_line = semi_line;
    s->mid_col = semi_col;
    func_state.pending_inline = 0;

    s->expr = parse_expression(0);
    if (s->expr != nullptr && make_test(&s->expr) == nullptr)
        report("invalid for test type");
    semi = expect_token(TOK_SEMI);
    semi_line = semi->line;
    semi_col = uint16_t(semi->column & 0x7FFF);
    expand_inline_calls(&s->expr, 1, 1);
    func_state.known_values = nullptr;
    s->last_line = semi_line;
    s->last_col = semi_col;
    func_state.pending_inline = 0;

    s->update = parse_expression(1);
    Token *paren = expect_token(TOK_RPAREN);
    uint32_t paren_line = paren->line;
    uint16_t paren_col = uint16_t(paren->column & 0x7FFF);
    set_end(s, paren);
    expand_inline_calls(&s->update, 1, 0);
    func_state.known_values = nullptr;

    Symbol *var = counted_variable(s->update);
    int32_t saved_calls = 0, saved_ops = 0;
    uint16_t saved_long_div = 0;
    if (var != nullptr) {
        LoopRecord *record = new_loop_record(func_state.loop_records, var);
        func_state.loop_records = record;
        if (s->expr != nullptr && is_comparison(s->expr->op) && !loop_invariant(s->expr->right))
            record->uses = 0x4000;
        uint16_t levels = 2;
        for (LoopRecord *outer = record->outer; outer != nullptr; outer = outer->outer, levels++)
            if (outer->nest < levels)
                outer->nest = levels;
        saved_calls = func_state.call_count;
        saved_long_div = func_state.loop_has_long_div;
        saved_ops = func_state.op_count;
        func_state.loop_has_long_div = 0;
    }

    s->body = parse_statement(s, s);

    if (var != nullptr) {
        LoopRecord *record = func_state.loop_records;
        if (record->uses & 0x2)
            s->flags |= SF_VAR_READ;
        if (record->uses & 0x4000)
            s->flags |= SF_VAR_CHANGED;
        if (func_state.loop_has_long_div)
            record->nest++;
        int32_t body_ops = func_state.op_count - saved_ops;
        if (func_state.call_count == saved_calls) {
            s->end_line = paren_line;
            s->end_col = paren_col;
            make_counted_loop(s, record->nest, body_ops);
        }
        if (s->kind == ST_COUNTED)
            settle_counted(s, record, body_ops);
        if (s->kind != ST_COUNTED || (s->flags & SF_UNROLLED))
            for (LoopRecord *outer = record->outer; outer != nullptr; outer = outer->outer)
                outer->nest--;
        func_state.loop_has_long_div |= saved_long_div;
        func_state.loop_records = record->outer;
        free_loop_record(record);
    }

    func_state.loop_depth--;
    finish_loop(s, s->kind == ST_FOR && (s->expr == nullptr || always_true(s->expr)));
    func_state.known_values = nullptr;
}

void parse_switch(StmtNode *s, StmtNode *continue_target) {
    expect_token(TOK_LPAREN);
    s->expr = parse_expression(0);
    if (s->expr == nullptr) {
        report("missing switch test expression");
    } else if (is_integer_code(s->expr->type->code)) {
        if (s->expr->op == OP_LEAF)
            replace_known_value(&s->expr);
    } else {
        report("invalid switch test type");
    }
    set_end(s, expect_token(TOK_RPAREN));
    expand_inline_calls(&s->expr, 1, 1);

    Symbol **saved = func_state.case_list_slot;
    func_state.case_list_slot = &s->cases;
    s->cases = nullptr;
    s->body = parse_statement(continue_target, s);
    if (s->body->flags & SF_LABELLED)
        s->flags |= SF_LABELLED;
    func_state.known_values = nullptr;
    // A statement at the head of the body that no case label reaches.
    if (opt_ck != 0) {
        StmtNode *first = s->body->kind == ST_BLOCK ? s->body->body : s->body;
        if (first != nullptr && (first->flags & (SF_CASE_TARGET | SF_LABELLED)) == 0)
            report_unreachable_at(first);
    }
    func_state.case_list_slot = saved;
}

void note_var_use(Symbol *symbol, uint32_t bits) {
    for (LoopRecord *record = func_state.loop_records; record != nullptr; record = record->outer) {
        if (record->var == symbol) {
            record->uses |= bits;
            return;
        }
        for (LoopRecord *bound = record->bound_vars; bound != nullptr; bound = bound->outer)
            if (bound->var == symbol)
                bound->uses |= bits;
    }
}

bool loop_invariant(ExprNode *e) {
    LoopRecord *record = func_state.loop_records;
    if (e == nullptr) {
        for (LoopRecord *bound = record->bound_vars; bound != nullptr; bound = bound->outer)
            if (bound->uses & 0x4000)
                return false;
        return true;
    }
    if (e->op == OP_LEAF) {
        if (!is_symbol_leaf(e))
            return true;
        for (LoopRecord *bound = record->bound_vars; bound != nullptr; bound = bound->outer)
            if (bound->var == e->sym)
                return true;
        LoopRecord *bound = static_cast<LoopRecord *>(checked_alloc(sizeof(LoopRecord), record->bound_vars));
        bound->bound_vars = nullptr;
        bound->var = e->sym;
        bound->uses = 0;
        bound->nest = 0;
        record->bound_vars = bound;
        return true;
    }
    if (e->op == OP_CALL || is_assignment_op(e->op) || e->op == OP_PRELUDE)
        return false;
    if (!loop_invariant(e->left))
        return false;
    if (is_binary_op(e->op) && !loop_invariant(e->right))
        return false;
    return e->op != OP_COND || loop_invariant(e->middle);
}
