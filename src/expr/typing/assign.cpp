// Assignment typing.
//
// assign_expr types `=`, the compound assignments and `++`, `--`, and
// simplifies at once: `x = x + y` becomes `x += y`, `x *= 8` a shift,
// `x += 0` vanishes.  It keeps the known values (known_values.cpp) in step
// with each store.  Beside it stands the range check of a value against
// the type it is stored in.
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/binary_rules.h"
#include "expr/expr_node.h"
#include "stmt/stmt_node.h"

using namespace binary_rules;

namespace {

ExprNode *int_const_of(int32_t value) { return make_int_const(nullptr, value); }

// The unsigned type of a bit-field's unit.
TypeNode *unit_type(int code) {
    switch (code) {
    case TY_CHAR_BITS: return &type_uchar;
    case TY_SHORT_BITS: return &type_ushort;
    default: return &type_uint;
    }
}

void check_lvalue(const ExprNode *l) {
    if ((l->eflags & EF_NOT_LVALUE) != 0) {
        report("invalid lvalue");
    } else if (l->op == OP_DEREF) {
        const TypeNode *pointer = l->left != nullptr ? l->left->type : nullptr;
        if (pointer != nullptr && pointer->code == TY_POINTER && (pointer->attr & ATTR_CONST) != 0)
            report("const assignment");
    } else if (l->op != OP_LEAF) {
        report("invalid lvalue");
    } else if ((l->lflags & LF_INIT_TARGET) != 0) {
        // A local's own initialisation may store to a const object.
    } else if ((l->lflags & LF_CONTENTS) == 0 || (l->eflags & EF_RETYPED) != 0) {
        report("invalid lvalue");
    } else if (is_symbol_leaf(l) && (l->sym->attr & ATTR_CONST) != 0) {
        report("const assignment");
    }
}

// `x = x op y` with `x` on the left of a non-commutative operator, or on
// either side of a commutative one, becomes `x op= y`.
bool make_compound(ExprNode *e, ExprNode *l) {
    ExprNode *r = e->right;
    if (r->op == OP_LEAF)
        return false;
    ExprNode *other = nullptr;
    switch (r->op) {
    case OP_DIV:
    case OP_MOD:
    case OP_SHL:
    case OP_SHR:
    case OP_SUB:
        if (same_expr(l, r->left, 0))
            other = r->right;
        break;
    case OP_XOR:
    case OP_OR:
    case OP_ADD:
    case OP_MUL:
    case OP_AND:
        if (same_expr(l, r->left, 0))
            other = r->right;
        else if (same_expr(l, r->right, 0))
            other = r->left;
        break;
    default:
        break;
    }
    if (other == nullptr)
        return false;
    e->right = other;
    e->op = uint8_t(compound_op(r->op));
    return true;
}

ExprNode *assign_to_pointer(ExprNode *e, ExprNode *l, ExprNode *r, int op, bool rewritten) {
    if (op == OP_ASSIGN) {
        if (!(is_int_const(r) && r->value == 0) && !assignable_type(l->type, r->type))
            report("incompatible pointer types");
        return e;
    }
    if (op != OP_ADD_ASSIGN && op != OP_SUB_ASSIGN) {
        report("incompatible pointer operation");
        return e;
    }
    if (!is_integer_code(r->type->code)) {
        report("incompatible pointer operand");
        return e;
    }
    if (is_int_const(r) && r->value == 0)
        return l;
    if (rewritten)
        return e;   // `p = p + n` was scaled by the addition already
    int32_t step = l->type->next != nullptr ? type_size(l->type->next) : 1;
    if (is_int_const(r)) {
        r->value = int32_t(uint32_t(r->value) * uint32_t(step));
    } else if (step > 1) {
        ExprNode *mul = new_expr(OP_MUL);
        mul->left = r;
        mul->right = int_const_of(step);
        e->right = binary_expr(mul);
    }
    return e;
}

// The scalar rewrites by the form of the right operand.
ExprNode *simplify_scalar(ExprNode *e, ExprNode *l, ExprNode *r) {
    int op = e->op;
    bool is_real = is_real_code(l->type->code) || is_real_code(r->type->code);
    if (is_real && op != OP_ASSIGN) {
        if (op != OP_ADD_ASSIGN && op != OP_SUB_ASSIGN && op != OP_MUL_ASSIGN && op != OP_DIV_ASSIGN)
            report("invalid floating point operation");
        if (op == OP_DIV_ASSIGN && is_real_const(r) && real_value(r) == 0.0)
            note_zero_divisor(r, LF_ZERO_DIVIDE);
    }

    if (!is_int_const(r) && same_expr(l, r, 1)) {
        // x op= x
        switch (op) {
        case OP_ADD_ASSIGN:
            if (is_integer_code(l->type->code)) {
                e->op = OP_SHL_ASSIGN;
                e->right = int_const_of(1);
            }
            return e;
        case OP_SUB_ASSIGN:
        case OP_MOD_ASSIGN:
        case OP_XOR_ASSIGN:
            e->op = OP_ASSIGN;
            e->right = int_const_of(0);
            return e;
        case OP_DIV_ASSIGN:
            e->op = OP_ASSIGN;
            e->right = int_const_of(1);
            return e;
        case OP_AND_ASSIGN:
        case OP_OR_ASSIGN:
        case OP_ASSIGN:
            return convert_to(l, e->type);
        default:
            return e;
        }
    }

    if (!is_int_const(r))
        return e;
    int32_t c = r->value;
    if (c == 0) {
        switch (op) {
        case OP_ADD_ASSIGN:
        case OP_SUB_ASSIGN:
        case OP_SHL_ASSIGN:
        case OP_SHR_ASSIGN:
        case OP_XOR_ASSIGN:
        case OP_OR_ASSIGN:
            return l;
        case OP_MUL_ASSIGN:
        case OP_AND_ASSIGN:
            e->op = OP_ASSIGN;
            return e;
        case OP_DIV_ASSIGN:
            note_zero_divisor(r, LF_ZERO_DIVIDE);
            return e;
        case OP_MOD_ASSIGN:
            note_zero_divisor(r, LF_ZERO_MODULUS);
            return e;
        default:
            return e;
        }
    }
    if (c == 1) {
        if (op == OP_MUL_ASSIGN || op == OP_DIV_ASSIGN)
            return l;
        if (op == OP_MOD_ASSIGN) {
            e->op = OP_ASSIGN;
            e->right = int_const_of(0);
        }
        return e;
    }
    if (c == -1) {
        if (op == OP_MUL_ASSIGN || op == OP_DIV_ASSIGN) {
            ExprNode *neg = new_expr(OP_NEG);
            neg->left = copy_tree(l);
            neg->type = e->type;
            e->op = OP_ASSIGN;
            e->right = neg;
        }
        return e;
    }
    if (is_integer_code(l->type->code) && is_power_of_two(uint32_t(c))) {
        int32_t log = log2_of(uint32_t(c));
        bool is_unsigned = is_unsigned_code(e->type->code);
        if (op == OP_MUL_ASSIGN) {
            e->op = OP_SHL_ASSIGN;
            e->right = int_const_of(log);
        } else if (op == OP_DIV_ASSIGN && is_unsigned) {
            e->op = OP_SHR_ASSIGN;
            e->right = int_const_of(log);
        } else if (op == OP_MOD_ASSIGN && is_unsigned) {
            e->op = OP_AND_ASSIGN;
            r->value = int32_t(uint32_t(c) - 1);
        }
    }
    return e;
}

}  // namespace

ExprNode *assign_expr(ExprNode *e) {
    int op = e->op;
    if (op == OP_POSTINC)
        op = OP_ADD_ASSIGN;
    else if (op == OP_POSTDEC)
        op = OP_SUB_ASSIGN;
    ExprNode *l = e->left;
    if (l == nullptr || e->right == nullptr)
        return e;

    if (is_symbol_leaf(l)) {
        l->sym->flags |= SYM_ASSIGNED;
        note_var_use(l->sym, 0x4000);
    }
    ExprNode *r = replace_known_value(&e->right);
    e->right = r;
    if (!opt_cp) {
        if (cond_expr_depth != 0)
            func_state.known_values = nullptr;
        else if (!is_struct_code(l->type->code))
            note_assignment(e, r);
        else
            forget_aggregate(l);
    }
    if (opt_ck != 0)
        check_assign_range(l->type, r);

    bool rewritten = false;
    if (op == OP_ASSIGN && make_compound(e, l)) {
        rewritten = true;
        op = e->op;
        r = e->right;
    }
    if (op == OP_SHL_ASSIGN || op == OP_SHR_ASSIGN) {
        if (!is_integer_code(r->type->code))
            report("invalid shift count type");
        if (is_wider_than_int_code(r->type->code)) {
            r = convert_to(r, &type_int);
            e->right = r;
        }
    }

    e->type = l->type;
    if ((e->op == OP_POSTINC || e->op == OP_POSTDEC) && is_bit_field_code(l->type->code))
        e->type = unit_type(l->type->code);
    int target = l->type->code;
    if (target == TY_ARRAY || target == TY_FUNCTION || target == TY_VOID)
        report("invalid assignment type");
    check_lvalue(l);

    if (is_struct_code(target)) {
        if (l->type->members == nullptr)
            report("incomplete type for assignment");
        else if (!same_type(l->type, r->type))
            report("incompatible types in struct/union assignment");
        if (op != OP_ASSIGN)
            report("invalid struct/union operation");
        return e;
    }
    if (r->type->code == TY_ARRAY || r->type->code == TY_FUNCTION)
        decay_to_pointer(r);
    if (target == TY_POINTER)
        return assign_to_pointer(e, l, r, op, rewritten);

    int source = r->type->code;
    if (source == TY_POINTER)
        report("incompatible pointer assignment");
    else if (is_struct_code(source))
        report("incompatible struct/union assignment");
    else if (source == TY_VOID)
        report("illegal void usage");

    // The post forms step by the constant 1, which no rewrite below
    // changes.
    if (e->op == OP_POSTINC || e->op == OP_POSTDEC)
        return e;
    ExprNode *result = simplify_scalar(e, l, r);
    if (result->op != OP_LEAF && (result->op & 0x40) != 0 && result->right != nullptr &&
        is_real_const(result->right) && result->left != nullptr && !is_real_code(result->left->type->code)) {
        ExprNode *cast = new_expr(OP_CAST);
        cast->type = result->left->type;
        cast->left = result->right;
        result->right = cast_expr(cast);
    }
    return result;
}

void check_assign_range(TypeNode *type, ExprNode *expr) {
    if (type == nullptr || expr == nullptr || expr->type == nullptr)
        return;
    if (is_int_const(expr) && !is_real_code(type->code)) {
        TypeNode *target = type;
        if (target->code == TY_ENUM && target->next != nullptr)
            target = target->next;
        int64_t bits = is_bit_field_code(target->code) ? int64_t(target->bit_width)
                                                       : 8 * int64_t(type_size(target));
        uint32_t value = uint32_t(expr->value);
        if (!is_unsigned_code(target->code)) {
            // One bit of a signed target holds the sign; a negative value of
            // a signed constant fits when its complement does.
            bits -= 1;
            if (!is_unsigned_code(expr->type->code) && expr->value < 0)
                value = ~value;
        }
        bool out_of_range;
        if (bits >= 32)
            out_of_range = false;
        else if (bits <= 0)
            out_of_range = value != 0;
        else
            out_of_range = (value >> bits) != 0;
        if (out_of_range)
            report("W1value out of range");
        return;
    }
    TypeNode *source = expr->type;
    if (source->code == TY_ARRAY || source->code == TY_FUNCTION)
        source = decay_to_pointer(expr);
    // A real type counts double, so that a float is wider than a long.
    int64_t source_size = type_size(source);
    int64_t target_size = type_size(type);
    if (is_real_code(source->code))
        source_size *= 2;
    if (is_real_code(type->code))
        target_size *= 2;
    if (source_size > target_size)
        report("W1truncating assignment");
}
