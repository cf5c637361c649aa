// The pool of ExprNode records.  No mark is taken: release_exprs, at the
// end of each function definition, gives back every node ever taken from
// the heap.  The free list is public: a scalar initialiser and
// token_source_switch save its head and restore it to give back the nodes
// of one expression.
#include "decl/symbol.h"
#include "expr/expr_node.h"

ExprNode *expr_free_list;

namespace {

ExprNode *expr_chain;

} // namespace

ExprNode *new_expr(int32_t op) {
    ExprNode *expr = take_pool_record(expr_free_list, expr_chain);
    expr->op = uint8_t(op);
    expr->eflags = 0;
    expr->right = nullptr;
    return expr;
}

void release_exprs() { expr_free_list = expr_chain; }
