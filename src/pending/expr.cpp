// Stand-ins for what the memory spaces and the expression nodes call in
// layers that are not written yet; each real definition overrides its weak
// one here.
#include "decl/symbol.h"
#include "decl/type.h"
#include "expr/expr_node.h"

#define PENDING __attribute__((weak))

// Known values: nothing is known yet.
PENDING ExprNode *known_values = nullptr;
PENDING ExprNode *replace_known_value(ExprNode **slot) { return *slot; }

// Expression parser state.
PENDING int32_t cond_depth = 0;
PENDING int32_t cond_expr_depth = 0;
PENDING int32_t in_member_access = 0;

// Tests: a comparison or logical operator is its own test; another scalar
// is compared with 0.
PENDING ExprNode *make_test(ExprNode **slot) {
    ExprNode *e = *slot;
    int code = e->type->code;
    if (code > 92 && code != TY_POINTER && code != TY_ARRAY && code != TY_FUNCTION)
        return nullptr;
    if ((e->op >= OP_LT && e->op <= OP_NE) || e->op == OP_LOGAND || e->op == OP_LOGOR)
        return e;
    ExprNode *test = new_expr(OP_NE);
    test->left = e;
    test->right = make_int_const(nullptr, 0);
    test->type = &type_int;
    *slot = test;
    return test;
}
