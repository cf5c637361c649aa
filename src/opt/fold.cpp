// The last folds on a finished expression tree (being written).
#include "expr/expr_node.h"
void fold_expr(ExprNode *, int) {}
void narrow_type(ExprNode *, int) {}
void rewrite_prelude(void *) {}
