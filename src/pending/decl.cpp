// Stand-ins for expression routines that the type services call, until the
// expression subsystem defines them.
#include "decl/type.h"
#include "expr/expr_node.h"

// Integer constant leaf whose type fits a constant.
__attribute__((weak)) bool is_int_const(const ExprNode *e) {
    return e->op == OP_LEAF && (e->lflags & 3) == 0 && e->type != nullptr && e->type->code < 66;
}

// Array or function operand becomes a pointer to its element or to itself.
__attribute__((weak)) TypeNode *decay_to_pointer(ExprNode *e) {
    TypeNode *pointee = e->type->code == TY_ARRAY ? e->type->next : e->type;
    TypeNode *pointer = new_type(TY_POINTER, pointee);
    pointer->attr = 0;
    e->type = pointer;
    return pointer;
}
