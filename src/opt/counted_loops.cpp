// Counted loops: a for loop whose variable counts by one to a bound that
// does not change becomes a loop with a trip count, which the code
// generator runs on its count register, or, small enough under
// `#pragma unroll`, is written out once per round.
#include <cstdint>

#include "decl/type.h"
#include "driver/stack_room.h"
#include "expr/expr_node.h"
#include "expr/operands.h"
#include "opt/rewrite.h"
#include "preproc/directives.h"
#include "stmt/stmt_node.h"

namespace {

// Writing a loop out once per round writes its body several times, and
// writing consumes a tree: a case list is used up, assembly text is given
// back, a label may be defined once only, an inline expansion has labels
// of its own.  Such a body is written once.
bool expr_repeatable(const ExprNode *e);

bool expr_repeatable_here(const ExprNode *e) {
    switch (e->op) {
    case OP_LEAF:
        return true;
    case OP_PRELUDE:
        return false;
    case OP_CALL:
        if (e->left != nullptr && is_named_call(e->left, "_asm"))
            return false;
        return expr_repeatable(e->left) && expr_repeatable(e->right);
    case OP_COND:
        return expr_repeatable(e->left) && expr_repeatable(e->middle) && expr_repeatable(e->right);
    case OP_COMMA:
    case OP_POSTINC:
    case OP_POSTDEC:
    case OP_ARG:
        return expr_repeatable(e->left) && expr_repeatable(e->right);
    default:
        if (is_binary_op(e->op))
            return expr_repeatable(e->left) && expr_repeatable(e->right);
        return expr_repeatable(e->left);
    }
}

bool expr_repeatable(const ExprNode *e) {
    if (e == nullptr)
        return true;
    if (stack_is_low()) {
        bool result = true;
        auto call = [&] { result = expr_repeatable_here(e); };
        on_fresh_stack(call);
        return result;
    }
    return expr_repeatable_here(e);
}

bool stmt_repeatable(const StmtNode *s);

bool list_repeatable(const StmtNode *s) {
    for (; s != nullptr; s = s->next)
        if (!stmt_repeatable(s))
            return false;
    return true;
}

bool stmt_repeatable_here(const StmtNode *s) {
    if (carries_label(s) || s->label != 0)
        return false;
    switch (s->kind) {
    case ST_SWITCH:
    case ST_ASM:
        return false;
    case ST_BLOCK:
        return list_repeatable(s->body);
    case ST_IF:
        return expr_repeatable(s->expr) && stmt_repeatable(s->body) && stmt_repeatable(s->alt);
    case ST_DO:
    case ST_WHILE:
        return expr_repeatable(s->expr) && stmt_repeatable(s->body);
    case ST_FOR:
    case ST_COUNTED:
        return expr_repeatable(s->init) && expr_repeatable(s->expr) && expr_repeatable(s->update) &&
               stmt_repeatable(s->body);
    case ST_EXPR:
    case ST_RETURN:
    case ST_GOTO:
        return expr_repeatable(s->expr);
    default:
        return true;   // break and continue
    }
}

bool stmt_repeatable(const StmtNode *s) {
    if (s == nullptr)
        return true;
    if (stack_is_low()) {
        bool result = true;
        auto call = [&] { result = stmt_repeatable_here(s); };
        on_fresh_stack(call);
        return result;
    }
    return stmt_repeatable_here(s);
}

// A new node with the contents of `e`; the pool link stays the new one's.
ExprNode *copy_node(const ExprNode *e) {
    ExprNode *copy = new_expr(e->op);
    ExprNode *link = copy->link;
    *copy = *e;
    copy->link = link;
    return copy;
}

// Puts `value` into the control variable behind the loop, as the loop
// would have left it: `init` with its constant changed, or a copy of it.
void assign_after(StmtNode *s, ExprNode *init, int32_t value, bool copy) {
    ExprNode *assign = init;
    if (copy) {
        assign = copy_node(init);
        assign->left = copy_node(init->left);
        assign->right = copy_node(init->right);
    }
    assign->right->value = value;
    if (assign->left->op == OP_LEAF)
        assign->left->lflags |= LF_INIT_TARGET;
    StmtNode *after = new_stmt(ST_EXPR);
    after->expr = assign;
    copy_position(after, s);
    after->next = s->next;
    s->next = after;
}

// A loop that does not run: only its initial assignment stays.
void become_init_only(StmtNode *s) {
    s->kind = ST_EXPR;
    s->expr = s->init;
}

// Trip count and final value of `for (i = c; i op b; i++ or i--)`; false
// when the loop does not count towards its bound.
bool constant_trip(int op, bool up, int32_t c, int32_t b, int32_t &n, int32_t &f) {
    f = b;
    if (up) {
        if (op != OP_LT && op != OP_LE && op != OP_NE)
            return false;
        n = int32_t(uint32_t(b) - uint32_t(c));
        if (op == OP_LE) {
            n = int32_t(uint32_t(n) + 1);
            f = int32_t(uint32_t(f) + 1);
        }
    } else {
        if (op != OP_GT && op != OP_GE && op != OP_NE)
            return false;
        n = int32_t(uint32_t(c) - uint32_t(b));
        if (op == OP_GE) {
            n = int32_t(uint32_t(n) + 1);
            f = int32_t(uint32_t(f) - 1);
        }
    }
    return true;
}

// Whether the variable can hold the value at which the loop stops: a char
// counting to 300 never gets there, and its loop does not end.
bool holds_value(const ExprNode *var, int32_t value) {
    if (var->type == nullptr)
        return false;
    int32_t size = type_size(var->type);
    if (size >= 4)
        return true;
    int32_t bits = size * 8;
    if (is_unsigned_code(var->type->code))
        return value >= 0 && value < (int32_t(1) << bits);
    return value >= -(int32_t(1) << (bits - 1)) && value < (int32_t(1) << (bits - 1));
}

// A loop that counts down to zero from a value not known here:
// `for (i = n; i != 0; i--)`, the variable holding the count.
void count_down(StmtNode *s, int32_t nest) {
    ExprNode *test = s->expr;
    if (nest > 1 || s->update->op != OP_SUB_ASSIGN || test->op != OP_NE || !is_int_const(test->right) ||
        test->right->value != 0)
        return;
    // The initial and update expressions stay, so that the count is
    // computed once, into the variable, and the variable ends at 0 as the
    // loop would leave it.
    s->kind = ST_COUNTED;
    s->expr = test->left;
}

}  // namespace

void make_counted_loop(StmtNode *s, int32_t nest, int32_t ops) {
    if (s->flags & (SF_BREAK | SF_CONTINUE | SF_GOTO | SF_VAR_CHANGED))
        return;
    ExprNode *test = s->expr;
    ExprNode *update = s->update;
    ExprNode *init = s->init;
    if (test == nullptr || !is_comparison(test->op) || update == nullptr || !same_expr(test->left, update->left, 0))
        return;
    if (init != nullptr && (init->op != OP_ASSIGN || !same_expr(init->left, test->left, 0)))
        return;
    if (init == nullptr || !is_int_const(init->right)) {
        count_down(s, nest);
        return;
    }
    int32_t c = init->right->value;
    ExprNode *bound = test->right;
    bool constant = is_int_const(bound);
    bool unroll = false;
    int32_t n = 0, f = 0;
    if (constant) {
        if (!constant_trip(test->op, update->op == OP_ADD_ASSIGN, c, bound->value, n, f))
            return;
        if (!holds_value(test->left, f))
            return;
        if (n <= 0) {
            // The test fails on entry, and the loop runs nothing; a count
            // that wrapped around is no count, and the loop stays.
            if (first_test_known(init, test) == 1 && !carries_label(s))
                become_init_only(s);
            return;
        }
        unroll = ops != 0 && int64_t(ops) * n <= unroll_limit;
    } else if (c != 0 || update->op != OP_ADD_ASSIGN || test->op != OP_LT || !loop_invariant(nullptr)) {
        return;
    }
    if (unroll && stmt_repeatable(s->body))
        s->flags |= SF_UNROLLED;
    else if (nest > 1)
        return;
    s->kind = ST_COUNTED;
    if (constant)
        bound->value = n;
    s->expr = bound;
    if (!constant)
        return;   // the variable runs from 0 to the bound as in C
    if (s->flags & SF_VAR_READ) {
        // The body reads the variable, so the loop keeps its initial and
        // update expressions; an unrolled loop writes neither, and the
        // variable gets its final value behind it.
        if (s->flags & SF_UNROLLED)
            assign_after(s, init, f, true);
        return;
    }
    assign_after(s, init, f, false);
    s->init = nullptr;
    s->update = nullptr;
}
