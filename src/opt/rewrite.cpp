// The walk over a finished function body before it is written: every
// expression gets its last folds, tests that are decided lose the code they
// never run, `x = e; while (c)` becomes a for loop, and each block places
// its locals on entry and gives the frame and the registers back on exit.
#include "opt/rewrite.h"

#include "decl/type.h"
#include "driver/stack_room.h"
#include "expr/expr_node.h"
#include "opt/registers.h"
#include "stmt/stmt_node.h"

namespace {

bool is_zero_const(const ExprNode *e) { return is_int_const(e) && e->value == 0; }

// A statement that becomes nothing.
void make_empty(StmtNode *s) {
    s->kind = ST_SEQUENCE;
    s->expr = nullptr;
    s->body = nullptr;
}

void rewrite_expr_stmt(StmtNode *s) {
    ExprNode *e = s->expr;
    if (e == nullptr)
        return;
    if (e->op == OP_ASSIGN) {
        ExprNode *target = e->left;
        // The initialisation of a local that nobody reads: only its value
        // is computed, for what that has of effects.
        if (target != nullptr && target->op == OP_LEAF &&
            (target->lflags & (LF_INIT_TARGET | LF_SYMBOL)) == (LF_INIT_TARGET | LF_SYMBOL) &&
            target->sym != nullptr && (target->sym->flags & SYM_USED) == 0) {
            s->expr = e->right;
            return;
        }
        // `x = e; while (c) s` is `for (x = e; c; ) s`.
        StmtNode *loop = s->next;
        if (loop != nullptr && loop->kind == ST_WHILE &&
            (loop->flags & (SF_CASE_TARGET | SF_LABELLED | SF_DEAD)) == 0) {
            s->expr = nullptr;
            loop->kind = ST_FOR;
            loop->init = e;
            loop->update = nullptr;
            loop->mid_line = s->line;
            loop->mid_col = s->col != 0 ? uint16_t(s->col - 1) : 0;
            loop->last_line = s->end_line;
            loop->last_col = s->end_col;
            return;
        }
    }
    fold_expr(e, 0);
}

// A counted loop puts the assignment of its final value behind itself.
// Where the loop is the lone body of another statement, not one of a
// block's list, the two go into a block made for them, which opens no
// scope.
void hold_trailing(StmtNode *&slot) {
    StmtNode *s = slot;
    if (s == nullptr || s->next == nullptr)
        return;
    StmtNode *holder = new_stmt(ST_BLOCK);
    holder->flags = SF_HOLDER | (s->flags & (SF_LABELLED | SF_CASE_TARGET));
    holder->body = s;
    holder->next_block = nullptr;
    holder->locals = nullptr;
    copy_position(holder, s);
    slot = holder;
}

// Rewrites the lone statement in `slot`: a loop, if or switch body.
void rewrite_body(StmtNode *&slot) {
    hold_trailing(slot);
    rewrite_stmt(slot);
}

// Blocks open in the walk; 0 outside the function body.
int32_t open_blocks;

void rewrite_block(StmtNode *s) {
    if (s->flags & SF_HOLDER) {
        for (StmtNode *t = s->body; t != nullptr; t = t->next)
            rewrite_stmt(t);
        return;
    }
    int32_t saved_offset = func_state.frame_offset;
    uint32_t saved_regs = free_regs;
    open_blocks++;
    place_locals(s);
    for (StmtNode *t = s->body; t != nullptr; t = t->next)
        if ((t->flags & SF_DEAD) == 0)
            rewrite_stmt(t);
    func_state.frame_offset = saved_offset;
    free_regs = restored_free_regs(saved_regs);
    if (--open_blocks == 0)
        report_unreached_names(s);
}

void rewrite_while(StmtNode *s) {
    if (s->expr == nullptr)
        return;
    fold_expr(s->expr, 0);
    if (is_zero_const(s->expr)) {
        if (!carries_label(s)) {
            make_empty(s);
            return;
        }
        // Code that jumps into the body runs it once and leaves, as an if
        // whose test fails does; a loop with a false test would be written
        // as an endless one.
        if ((s->flags & SF_CONTINUE) == 0) {
            s->kind = ST_IF;
            s->alt = nullptr;
        }
    }
    rewrite_body(s->body);
}

void rewrite_for(StmtNode *s) {
    if (s->init != nullptr)
        fold_expr(s->init, 0);
    bool never = false;
    if (s->expr != nullptr) {
        fold_expr(s->expr, 0);
        if (s->init != nullptr) {
            int known = first_test_known(s->init, s->expr);
            if (known == 2)
                s->expr->eflags |= EF_TEST_HOLDS_FIRST;
            never = known == 1;
        }
        never = never || is_zero_const(s->expr);
    }
    // A loop that never runs leaves only its initial expression, unless
    // code jumps into its body.
    if (never && !carries_label(s)) {
        if (s->init != nullptr) {
            s->kind = ST_EXPR;
            s->expr = s->init;
        } else {
            make_empty(s);
        }
        return;
    }
    rewrite_body(s->body);
    if (s->update != nullptr)
        fold_expr(s->update, 0);
}

void rewrite_counted(StmtNode *s) {
    if (s->init != nullptr)
        fold_expr(s->init, 0);
    if (s->expr != nullptr)
        fold_expr(s->expr, 0);
    rewrite_body(s->body);
    if (s->update != nullptr)
        fold_expr(s->update, 0);
}

void rewrite_if(StmtNode *s) {
    ExprNode *e = s->expr;
    if (e == nullptr)
        return;
    fold_expr(e, 0);
    if (is_int_const(e)) {
        StmtNode *taken = e->value != 0 ? s->body : s->alt;
        StmtNode *dropped = e->value != 0 ? s->alt : s->body;
        // A branch that is never taken stays when code jumps into it.
        if (dropped == nullptr || !carries_label(dropped)) {
            s->kind = ST_SEQUENCE;
            s->expr = nullptr;
            s->alt = nullptr;
            s->body = taken;
        }
    }
    if (s->body != nullptr)
        rewrite_body(s->body);
    if (s->kind == ST_IF && s->alt != nullptr)
        rewrite_body(s->alt);
}

void rewrite_return(StmtNode *s) {
    if (s->expr == nullptr)
        return;
    // A result narrower than int is wanted only in its own width.
    TypeNode *result = func_state.return_type;
    int want = 0;
    if (result != nullptr && result->code < TY_INT && !is_bit_field_code(result->code))
        want = result->code;
    fold_expr(s->expr, want);
}

void rewrite_switch_stmt(StmtNode *s) {
    ExprNode *e = s->expr;
    if (e == nullptr)
        return;
    fold_expr(e, 0);
    rewrite_body(s->body);
    if (s->cases != nullptr) {
        rewrite_switch(s, e);
        return;
    }
    s->kind = ST_EXPR;
    if (same_expr(e, e, 1))
        s->expr = nullptr;   // a selector without effect
}

void rewrite_here(StmtNode *s) {
    switch (s->kind) {
    case ST_EXPR:
        rewrite_expr_stmt(s);
        break;
    case ST_BLOCK:
        rewrite_block(s);
        break;
    case ST_DO:
        if (s->expr != nullptr)
            fold_expr(s->expr, 0);
        rewrite_body(s->body);
        break;
    case ST_WHILE:
        rewrite_while(s);
        break;
    case ST_FOR:
        rewrite_for(s);
        break;
    case ST_COUNTED:
        rewrite_counted(s);
        break;
    case ST_IF:
        rewrite_if(s);
        break;
    case ST_RETURN:
        rewrite_return(s);
        break;
    case ST_GOTO:
        if (s->expr != nullptr)
            fold_expr(s->expr, 0);
        break;
    case ST_SWITCH:
        rewrite_switch_stmt(s);
        break;
    default:
        break;   // sequences, #asm, break, continue, register moves
    }
}

}  // namespace

void rewrite_stmt(StmtNode *s) {
    if (s == nullptr)
        return;
    // The walk follows the nesting of the source; near the end of the
    // stack it goes on in a thread with a large stack of its own.
    if (stack_is_low()) {
        auto call = [&] { rewrite_here(s); };
        on_fresh_stack(call);
        return;
    }
    rewrite_here(s);
}

bool carries_label(const StmtNode *s) { return (s->flags & (SF_LABELLED | SF_CASE_TARGET)) != 0; }

int first_test_known(ExprNode *init, ExprNode *test) {
    while (init != nullptr && (init->op == OP_COMMA || init->op == OP_PRELUDE))
        init = init->right;
    while (test != nullptr && (test->op == OP_COMMA || test->op == OP_PRELUDE))
        test = test->right;
    if (init == nullptr || test == nullptr || init->op != OP_ASSIGN || !is_int_const(init->right) ||
        init->left == nullptr || init->left->type == nullptr || !is_integer_code(init->left->type->code))
        return 0;
    if (!is_comparison(test->op) || !is_int_const(test->right) || !same_expr(test->left, init->left, 1))
        return 0;
    // The comparison of the first value with the bound, folded on copies.
    ExprNode first = *init->right;
    first.type = init->left->type;
    ExprNode bound = *test->right;
    ExprNode compare = *test;
    compare.left = &first;
    compare.right = &bound;
    ExprNode *result = binary_expr(&compare);
    if (!is_int_const(result))
        return 0;
    return result->value != 0 ? 2 : 1;
}

StmtNode *make_goto(StmtNode *s) {
    StmtNode *jump = new_stmt(ST_GOTO);
    jump->expr = nullptr;
    jump->goto_label = nullptr;
    copy_position(jump, s);
    return jump;
}
