// Typing and folding of the comparisons < >= > <= == !=.
//
// A comparison has the type int and its operands keep their own types: the
// code generator compares by the operand types.  A constant moves to the
// right; two constants fold; the tests that the front end or a programmer
// writes against 0 and 1 are simplified; and a comparison that the range
// of the left type alone decides becomes its value, with a warning.
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/binary_rules.h"
#include "expr/expr_node.h"

using namespace binary_rules;

namespace {

// The operator for exchanged operands.
int mirror_op(int op) {
    switch (op) {
    case OP_LT: return OP_GT;
    case OP_GT: return OP_LT;
    case OP_GE: return OP_LE;
    case OP_LE: return OP_GE;
    default: return op;
    }
}

// The truth of `op` for operands of which the first is less (order < 0),
// equal (0) or greater (> 0).
bool holds(int op, int order) {
    switch (op) {
    case OP_LT: return order < 0;
    case OP_GE: return order >= 0;
    case OP_GT: return order > 0;
    case OP_LE: return order <= 0;
    case OP_EQ: return order == 0;
    default: return order != 0;
    }
}

// Addresses compare as unsigned numbers.
bool compares_unsigned(const TypeNode *t) { return t->code == TY_POINTER || is_unsigned_type(t); }

ExprNode *fold_real_compare(ExprNode *node) {
    double value[2];
    ExprNode *operand[2] = {node->left, node->right};
    for (int i = 0; i < 2; i++) {
        if (is_int_const(operand[i])) {
            value[i] = double(operand[i]->value);
        } else {
            value[i] = real_value(operand[i]);
            drop_literal_use(operand[i]->literal);
        }
    }
    int order = value[0] < value[1] ? -1 : value[0] > value[1] ? 1 : 0;
    bool truth = value[0] == value[0] && value[1] == value[1] ? holds(node->op, order)
                                                                : node->op == OP_NE;
    return make_int_const(node, truth ? 1 : 0);
}

ExprNode *fold_int_compare(ExprNode *node, const TypeNode *lt, const TypeNode *rt) {
    uint32_t l = uint32_t(node->left->value);
    uint32_t r = uint32_t(node->right->value);
    bool l_unsigned = compares_unsigned(lt);
    bool r_unsigned = compares_unsigned(rt);
    int mask;
    if (opt_sa) {
        // The ANSI rule: one unsigned operand makes the comparison unsigned.
        mask = l_unsigned || r_unsigned ? 3 : 0;
    } else {
        // The mathematical truth: a negative number is below every
        // unsigned one.
        mask = (l_unsigned || int32_t(l) >= 0 ? 2 : 0) | (r_unsigned || int32_t(r) >= 0 ? 1 : 0);
    }
    int order;
    switch (mask) {
    case 3:
        order = l < r ? -1 : l > r ? 1 : 0;
        break;
    case 0:
        order = int32_t(l) < int32_t(r) ? -1 : int32_t(l) > int32_t(r) ? 1 : 0;
        break;
    case 1:
        order = -1;   // the left side is negative, the right is not
        break;
    default:
        order = 1;
        break;
    }
    return make_int_const(node, holds(node->op, order) ? 1 : 0);
}

// The constant as the right operand's own narrow type holds it.
uint32_t reduce_to_type(uint32_t c, int code) {
    switch (code) {
    case TY_CHAR: return uint32_t(int32_t(int8_t(c & 0xFF)));
    case TY_UCHAR: return c & 0xFF;
    case TY_SHORT: return uint32_t(int32_t(int16_t(c & 0xFFFF)));
    case TY_USHORT: return c & 0xFFFF;
    default: return c;
    }
}

// Whether the range of the left type decides `left op c`; if so, `*value`
// is the result.
bool range_decides(int op, const TypeNode *lt, const TypeNode *rt, uint32_t c, int32_t *value) {
    int32_t width = is_bit_field_code(lt->code) ? lt->bit_width : type_size(const_cast<TypeNode *>(lt)) * 8;
    bool left_signed = !is_unsigned_type(lt);
    bool right_signed = !compares_unsigned(rt);
    uint32_t limit;
    bool negative;
    if (width >= 32) {
        if (left_signed == right_signed)
            return false;
        limit = 0xFFFFFFFFu;
        negative = right_signed && (c & 0x80000000u) != 0;
    } else {
        c = reduce_to_type(c, value_type(rt)->code);
        limit = width <= 0 ? 0 : (1u << width) - 1;
        negative = (c & 0x80000000u) != 0;
    }
    if (!negative) {
        if (left_signed)
            limit >>= 1;         // the largest value of the left type
        else if (c == 0)
            negative = true;     // compared with the smallest value, 0
    }
    bool found;
    if (!negative) {
        switch (op) {
        case OP_LT: case OP_NE: found = c > limit; *value = 1; break;
        case OP_GE: case OP_EQ: found = c > limit; *value = 0; break;
        case OP_GT: found = c >= limit; *value = 0; break;
        default: found = c >= limit; *value = 1; break;
        }
        return found;
    }
    // The magnitudes of the constant and of the smallest value of the type.
    c = 0u - c;
    limit = left_signed ? (limit >> 1) + 1 : 0;
    switch (op) {
    case OP_LT: found = c >= limit; *value = 0; break;
    case OP_GE: found = c >= limit; *value = 1; break;
    case OP_GT: case OP_NE: found = c > limit; *value = 1; break;
    default: found = c > limit; *value = 0; break;
    }
    return found;
}

// `!left` for a comparison `left`: the node itself becomes the negation.
ExprNode *negated_left(ExprNode *node) {
    node->op = OP_NOT;
    node->right = nullptr;
    node->type = &type_int;
    return unary_expr(node);
}

// The rules for an integer or pointer constant on the right and something
// else on the left.
ExprNode *constant_right_rules(ExprNode *node, const TypeNode *lt, const TypeNode *rt) {
    ExprNode *left = node->left;
    ExprNode *right = node->right;
    uint32_t c = uint32_t(right->value);
    int op = node->op;

    if (is_bit_field_code(lt->code) && lt->bit_width == 1 && c == 1) {
        // A one-bit field is 0 or 1: every test against 1 is one against 0.
        right->value = 0;
        switch (op) {
        case OP_LT: case OP_NE: node->op = OP_EQ; break;
        case OP_GE: case OP_EQ: node->op = OP_NE; break;
        case OP_GT: node->op = OP_LT; break;
        default: node->op = OP_GE; break;
        }
        return node;
    }
    if (is_comparison(left->op) && (c == 0 || c == 1)) {
        // A comparison is 0 or 1.
        bool against_zero = c == 0;
        switch (op) {
        case OP_LT:
            return against_zero ? constant_result(node, left, 0, &type_int, right) : negated_left(node);
        case OP_GE:
            return against_zero ? constant_result(node, left, 1, &type_int, right) : left;
        case OP_GT:
            return against_zero ? left : constant_result(node, left, 0, &type_int, right);
        case OP_LE:
            return against_zero ? negated_left(node) : constant_result(node, left, 1, &type_int, right);
        case OP_EQ:
            return against_zero ? negated_left(node) : left;
        default:
            return against_zero ? left : negated_left(node);
        }
    }
    if (!is_integer_code(lt->code))
        return node;

    if (op == OP_GE && c == 1) {
        op = OP_GT;
        c = 0;
    } else if (op == OP_LT && c == 1 && is_unsigned_type(lt)) {
        op = OP_EQ;
        c = 0;
    } else if (op == OP_LE && c == 0xFFFFFFFFu && !compares_unsigned(rt)) {
        op = OP_LT;
        c = 0;
    }
    node->op = uint8_t(op);
    right->value = int32_t(c);

    int32_t value;
    if (!range_decides(op, lt, rt, c, &value))
        return node;
    if (opt_ck != 0)
        report("W1compare out of range");
    return constant_result(node, left, value, &type_int, right);
}

// Narrow operands of mixed sign are compared as their promoted values.
void widen_mixed_operands(ExprNode *node) {
    if (!is_comparison(node->op))
        return;
    TypeNode *l = node->left->type;
    TypeNode *r = node->right->type;
    if (width_class(l->code) == width_class(r->code) && is_narrow_code(l->code) &&
        !is_int_const(node->right) && is_unsigned_code(l->code) != is_unsigned_code(r->code)) {
        node->left = convert_to(node->left, promote_type(l, 0));
        node->right = convert_to(node->right, promote_type(r, 0));
    }
}

} // namespace

namespace binary_rules {

ExprNode *compare_expr(ExprNode *node, TypeNode *lt, TypeNode *rt) {
    bool null_pointer = (lt->code == TY_POINTER && is_zero_const(node->right)) ||
                        (rt->code == TY_POINTER && is_zero_const(node->left));
    if (!null_pointer && !assignable_type(lt, rt) && !assignable_type(rt, lt))
        report("incompatible compare types");
    node->type = &type_int;

    if (is_constant(node->left) && !is_constant(node->right)) {
        ExprNode *first = node->left;
        node->left = node->right;
        node->right = first;
        TypeNode *first_type = lt;
        lt = rt;
        rt = first_type;
        node->op = uint8_t(mirror_op(node->op));
    }
    ExprNode *left = node->left;
    ExprNode *right = node->right;
    if (is_real_const(right) && is_real_code(lt->code) && real_value(right) == 0.0) {
        drop_literal_use(right->literal);
        make_int_const(right, 0);
        rt = right->type;
    }
    if ((is_real_const(right) && is_constant(left)) || (is_real_const(left) && is_int_const(right)))
        return fold_real_compare(node);
    if (is_int_or_pointer_const(right)) {
        if (is_int_or_pointer_const(left))
            return fold_int_compare(node, lt, rt);
        ExprNode *result = constant_right_rules(node, lt, rt);
        if (result != node)
            return result;
    } else if (same_expr(left, right, 1)) {
        int op = node->op;
        return make_int_const(node, op == OP_LE || op == OP_GE || op == OP_EQ ? 1 : 0);
    }
    widen_mixed_operands(node);
    return node;
}

} // namespace binary_rules
