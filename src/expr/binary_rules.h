// Shared by the typing of binary operators, comparisons and assignments,
// the arithmetic folds and the known values (all in typing/); private to
// the expression folder.
//
// All arithmetic on target values is 32 bits wide and wraps around; every
// fold of constants computes through the wrap_ routines and shift_right
// below.  They work in unsigned host arithmetic, so that overflow, the
// lowest number divided by -1 and shifts of any count are defined on the
// host as well.
#pragma once

#include <cstdint>

#include "decl/type.h"
#include "expr/expr_node.h"

namespace binary_rules {

inline int32_t wrap_add(int32_t a, int32_t b) { return int32_t(uint32_t(a) + uint32_t(b)); }
inline int32_t wrap_sub(int32_t a, int32_t b) { return int32_t(uint32_t(a) - uint32_t(b)); }
inline int32_t wrap_mul(int32_t a, int32_t b) { return int32_t(uint32_t(a) * uint32_t(b)); }
inline int32_t wrap_neg(int32_t a) { return int32_t(0u - uint32_t(a)); }
// Shifts take the count modulo 32, as the folds of constants do.
inline int32_t wrap_shl(int32_t a, int32_t count) { return int32_t(uint32_t(a) << (uint32_t(count) & 31)); }
inline int32_t shift_right(int32_t a, int32_t count, bool is_unsigned) {
    uint32_t n = uint32_t(count) & 31;
    if (is_unsigned || a >= 0)
        return int32_t(uint32_t(a) >> n);
    return int32_t(~(~uint32_t(a) >> n));
}
// Quotient and remainder, unsigned or signed; the divisor is not 0.  The
// lowest number divided by -1 gives itself and remainder 0, the wrapped
// results.
inline int32_t wrap_div(int32_t a, int32_t b, bool is_unsigned) {
    if (is_unsigned)
        return int32_t(uint32_t(a) / uint32_t(b));
    if (b == -1)
        return wrap_neg(a);
    return a / b;
}
inline int32_t wrap_mod(int32_t a, int32_t b, bool is_unsigned) {
    if (is_unsigned)
        return int32_t(uint32_t(a) % uint32_t(b));
    if (b == -1)
        return 0;
    return a % b;
}

// Powers of two, for the rewrites into shifts and masks.
inline bool is_power_of_two(uint32_t c) { return c != 0 && (c & (c - 1)) == 0; }
inline int32_t log2_of(uint32_t c) {
    int32_t k = 0;
    while (c > 1) {
        c >>= 1;
        k++;
    }
    return k;
}

inline bool is_zero_const(const ExprNode *e) { return is_int_const(e) && e->value == 0; }
// An integer or real constant leaf.
inline bool is_constant(const ExprNode *e) { return is_int_const(e) || is_real_const(e); }
// A type read through an enum: the integer type that represents it.
inline const TypeNode *value_type(const TypeNode *t) {
    return t->code == TY_ENUM && t->next != nullptr ? t->next : t;
}
inline bool is_unsigned_type(const TypeNode *t) { return is_unsigned_code(value_type(t)->code); }

// Marks a result that stands for the whole expression and is no lvalue.
inline ExprNode *mark_result(ExprNode *e) {
    e->eflags |= EF_NOT_LVALUE;
    return e;
}

// The node becomes the integer constant `value` of `type`.  An `operand`
// whose effect the rule drops (a call, an assignment, a volatile read) is
// still evaluated: the node becomes `operand, value`.  `spare`, when not
// null, is a leaf of the old tree that may be reused for the constant.
ExprNode *constant_result(ExprNode *node, ExprNode *operand, int32_t value, TypeNode *type,
                          ExprNode *spare);

// Notes a zero divisor (`mark` LF_ZERO_DIVIDE) or modulus (LF_ZERO_MODULUS)
// on the constant `divisor`, with the position for the later report.
void note_zero_divisor(ExprNode *divisor, uint8_t mark);

// The type of an arithmetic or shift node from its operand types (`lt` as
// the operand has it, `rt` promoted), with the checks of shift counts and
// of real operands.  Returns the count's type, which a shift may convert.
TypeNode *set_operator_type(ExprNode *node, TypeNode *lt, TypeNode *rt);

// The comparison branch: `lt`, `rt` the operand types, not promoted.
ExprNode *compare_expr(ExprNode *node, TypeNode *lt, TypeNode *rt);

// The arithmetic branch for + - * / % << >> & ^ | without pointers: `lt`
// not promoted, `rt` promoted.
ExprNode *arith_expr(ExprNode *node, TypeNode *lt, TypeNode *rt);

} // namespace binary_rules
