// Typing of casts and implicit conversions.
//
// A cast of a constant changes the constant; a cast that only narrows how
// much of a result is used retypes the operand instead of adding a
// conversion node.  Pointer casts obey the target's memory spaces: a
// pointer may not be cast to a narrower space unless -np allows it.
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"

#include <cmath>

namespace {

// The operand stands for the result with the cast's type: no conversion
// is needed, and the node is no lvalue any more.
ExprNode *retype(ExprNode *x, TypeNode *type) {
    x->type = type;
    x->eflags |= EF_RETYPED;
    return x;
}

// A constant takes the width of its new integer type.
ExprNode *retype_const(ExprNode *x, TypeNode *type) {
    truncate_const(x, type, 0);
    x->type = type;
    return x;
}

ExprNode *cast_to_real(ExprNode *e, ExprNode *x, TypeNode *target) {
    TypeNode *source = x->type;
    if (!is_arith_code(source->code))
        report("invalid cast operand");
    if (is_real_const(x)) {
        x->type = target;
        return x;
    }
    if (is_int_const(x)) {
        // A 0 noted as a divisor keeps its conversion node, so that the
        // later fold still finds the mark with its position below it.
        if ((x->lflags & (LF_ZERO_DIVIDE | LF_ZERO_MODULUS)) != 0 && x->value == 0)
            return e;
        make_real_const(e, integer_as_double(x->value, source->code));
        return e;
    }
    return e;
}

ExprNode *cast_to_pointer(ExprNode *e, ExprNode *x, TypeNode *target) {
    TypeNode *source = x->type;
    if (source->code == TY_ARRAY || source->code == TY_FUNCTION)
        source = decay_to_pointer(x);
    if (is_integer_code(source->code)) {
        if (is_int_const(x))
            return retype(x, target);
        return e;
    }
    if (source->code != TY_POINTER) {
        report("invalid pointer cast operand");
        return e;
    }
    uint16_t from = pointer_space(source->attr);
    uint16_t to = pointer_space(target->attr);
    if (from == to)
        return retype(x, target);
    // A tiny address is a valid near address.
    if (from == ATTR_TINY && to == ATTR_NEAR && x->op == OP_LEAF && (x->lflags & LF_CONTENTS) == 0)
        return retype(x, target);
    if (to < from) {
        if (!opt_np) {
            report("invalid narrow pointer cast");
            return e;
        }
        if (x->op == OP_LEAF && (x->lflags & 3) == 0)
            return retype(x, target);
        return e;
    }
    // Widening extends the value: the conversion stays.
    return e;
}

ExprNode *cast_to_integer(ExprNode *e, ExprNode *x, TypeNode *target) {
    if (target->code == TY_ENUM) {
        target = target->next != nullptr ? target->next : &type_int;
        e->type = target;
    }
    TypeNode *source = x->type;
    if (source->code == TY_ARRAY || source->code == TY_FUNCTION)
        source = decay_to_pointer(x);
    int from = source->code;
    if (from == TY_POINTER && type_size(target) < type_size(source) && !opt_np)
        report("invalid narrow pointer cast");
    if (!is_scalar_code(from)) {
        report("invalid cast operand");
        return e;
    }
    if (is_real_const(x)) {
        double value = real_value(x);
        drop_literal_use(x->literal);
        if (opt_ck != 0 && (value >= 4294967296.0 || value < -2147483648.0))
            report("W1float value too large for integer cast");
        e->op = OP_LEAF;
        e->sym = nullptr;
        e->lflags = LEAF_CONST;
        e->value = real_to_int32(value);
        return e;
    }
    if (is_int_const(x))
        return retype_const(x, target);
    if (target->code == TY_UCHAR && x->op == OP_AND && is_int_const(x->right)) {
        // (unsigned char)(v & m) uses only the low byte of the mask; a mask
        // with nothing left there makes the whole value 0.
        ExprNode *mask = x->right;
        mask->value &= 0xFF;
        if (mask->value != 0)
            return e;
        return retype_const(mask, target);
    }
    // Narrowing the result of an operator only changes how much of it is
    // used, except where the high bits take part: a load, a right shift or
    // a division.
    int op = x->op;
    bool narrowable = same_type(target, source) ||
                      (op != OP_DEREF && op != OP_SHR && op != OP_DIV && (op & 0x60) != 0);
    if (narrowable && (target->code <= from || is_bit_field_code(from)) && !is_real_code(from))
        return retype(x, target);
    if (from == TY_POINTER && x->op == OP_LEAF && (x->lflags & 3) == 0)
        return retype(x, target);
    return e;
}

} // namespace

// The value of an integer constant of type `code` as the source reads it.
double integer_as_double(int32_t value, int code) {
    switch (code) {
    case TY_UCHAR:
    case TY_CHAR_BITS:
        return double(uint8_t(value));
    case TY_USHORT:
    case TY_SHORT_BITS:
        return double(uint16_t(value));
    case TY_UINT:
    case TY_INT_BITS:
    case TY_ULONG:
        return double(uint32_t(value));
    default:
        return double(value);
    }
}

// A real value truncated toward zero to 32 bits.  Values of the unsigned
// range keep their bits; what lies outside both ranges wraps around, and
// what has no integer value gives 0.
int32_t real_to_int32(double value) {
    if (std::isnan(value) || std::isinf(value))
        return 0;
    double whole = std::trunc(value);
    if (whole >= -2147483648.0 && whole < 2147483648.0)
        return int32_t(whole);
    double wrapped = std::fmod(whole, 4294967296.0);
    if (wrapped < 0)
        wrapped += 4294967296.0;
    return int32_t(uint32_t(wrapped));
}

ExprNode *cast_expr(ExprNode *e) {
    TypeNode *target = e->type;
    if (e->left == nullptr)
        e->left = make_int_const(nullptr, 0);
    e->left = replace_known_value(&e->left);
    ExprNode *x = e->left;
    int code = target->code;
    if (is_real_code(code))
        return cast_to_real(e, x, target);
    if (is_struct_code(code) || code == TY_ARRAY || code == TY_FUNCTION) {
        report("invalid cast type");
        return e;
    }
    if (code == TY_VOID) {
        if (x->type->code == TY_VOID) {
            x->eflags |= EF_RETYPED;
            return x;
        }
        return e;
    }
    if (code == TY_POINTER)
        return cast_to_pointer(e, x, target);
    return cast_to_integer(e, x, target);
}
