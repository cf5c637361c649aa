// Folding and rewriting of + - * / % << >> & ^ | without pointer operands.
//
// The rules run in a fixed order, in groups: shape rewrites before any
// type is given, the type, reals, a constant to the right, the rules by
// the right operand, constants gathered over two levels, `k - (...)`, and
// the final steps.  Multiplications and unsigned divisions by powers of
// two become shifts, masks that change nothing vanish, chains of constant
// offsets become one, so trees are smaller before they are stored.
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/binary_rules.h"
#include "expr/expr_node.h"
#include "stmt/stmt_node.h"

using namespace binary_rules;

namespace {

int32_t bit_count(uint32_t c) {
    int32_t n = 0;
    for (; c != 0; c &= c - 1)
        n++;
    return n;
}

// Width in bits of a value of integer type `t`: a bit-field's own width.
int32_t width_of(TypeNode *t) {
    if (is_bit_field_code(t->code))
        return t->bit_width;
    return type_size(t) * 8;
}

// The type of a constant that replaces an expression of type `type`: a
// real expression that folds to an integer is an int.
TypeNode *constant_type(TypeNode *type) { return is_real_code(type->code) ? &type_int : type; }

// `x` as the value of the node of type `type`, marked.
ExprNode *operand_as_result(ExprNode *x, TypeNode *type) { return mark_result(convert_to(x, type)); }

// The node becomes `-x` (or `~x` with `op` OP_COMPL) through unary_expr,
// as a value of the node's type.
ExprNode *unary_of(ExprNode *node, int op, ExprNode *x) {
    TypeNode *type = node->type;
    node->op = uint8_t(op);
    node->left = x;
    node->right = nullptr;
    ExprNode *result = unary_expr(node);
    return type != nullptr ? convert_to(result, type) : result;
}

// An operand that keeps a given type: operator nodes and constants are
// retyped, anything else is converted.
ExprNode *keep_type(ExprNode *e, TypeNode *type) {
    if (same_type(e->type, type) || is_int_const(e) ||
        (e->op != OP_LEAF && is_binary_op(e->op))) {
        e->type = type;
        return e;
    }
    return convert_to(e, type);
}

// ---------------------------------------------------------------------------
// Shape rewrites, before any type is given.

// The operator that a common factor stands with for a node operator `op`:
// a*b + a*c, (a&b) | (a&c), (a|b) & (a|c).
int factor_operator(int op) {
    switch (op) {
    case OP_ADD: case OP_SUB: return OP_MUL;
    case OP_OR: case OP_XOR: return OP_AND;
    case OP_AND: return OP_OR;
    default: return 0;
    }
}

bool shape_rewrite(ExprNode *node, ExprNode **result) {
    int op = node->op;
    ExprNode *left = node->left;
    ExprNode *right = node->right;

    // ~a & ~b is ~(a | b), ~a | ~b is ~(a & b).
    if ((op == OP_AND || op == OP_OR) && left->op == OP_COMPL && right->op == OP_COMPL) {
        node->op = op == OP_AND ? OP_OR : OP_AND;
        node->left = left->left;
        node->right = right->left;
        left->left = binary_expr(node);
        *result = unary_expr(left);
        return true;
    }
    // -a + -b is -(a + b), -a - -b is -(a - b).
    if ((op == OP_ADD || op == OP_SUB) && left->op == OP_NEG && right->op == OP_NEG) {
        node->left = left->left;
        node->right = right->left;
        left->left = binary_expr(node);
        *result = unary_expr(left);
        return true;
    }
    // -a * -b is a * b, -a / -b is a / b.
    if ((op == OP_MUL || op == OP_DIV) && left->op == OP_NEG && right->op == OP_NEG) {
        node->left = left->left;
        node->right = right->left;
        *result = binary_expr(node);
        return true;
    }
    // 1 - b of a one-bit field is b ^ 1.
    if (op == OP_SUB && is_int_const(left) && left->value == 1 && is_bit_field_code(right->type->code) &&
        right->type->bit_width == 1) {
        node->op = OP_XOR;
        node->left = right;
        node->right = left;
        *result = binary_expr(node);
        return true;
    }
    int o = factor_operator(op);
    if (o != 0 && left->op == o && right->op == o && !same_expr(left, right, 1)) {
        ExprNode *f;
        ExprNode *b;
        ExprNode *c;
        if (same_expr(left->left, right->left, 1)) {
            f = left->left, b = left->right, c = right->right;
        } else if (same_expr(left->left, right->right, 1)) {
            f = left->left, b = left->right, c = right->left;
        } else if (same_expr(left->right, right->left, 1)) {
            f = left->right, b = left->left, c = right->right;
        } else if (same_expr(left->right, right->right, 1)) {
            f = left->right, b = left->left, c = right->left;
        } else {
            f = nullptr, b = nullptr, c = nullptr;
        }
        if (f != nullptr) {
            // f o (b p c): the right operand becomes b p c with its former
            // type, the node f o that.
            TypeNode *former = right->type;
            right->op = uint8_t(op);
            right->left = b;
            right->right = c;
            ExprNode *inner = binary_expr(right);
            if (former != nullptr)
                inner = keep_type(inner, former);
            node->op = uint8_t(o);
            node->left = f;
            node->right = inner;
            *result = binary_expr(node);
            return true;
        }
    }
    // (a << n) & (b << n) is (a & b) << n; also with | ^ and >>.
    if ((op == OP_AND || op == OP_OR || op == OP_XOR) && (left->op == OP_SHL || left->op == OP_SHR) &&
        right->op == left->op && same_expr(left->right, right->right, 1)) {
        left->op = uint8_t(op);
        left->right = right->left;
        right->left = binary_expr(left);
        *result = binary_expr(right);
        return true;
    }
    return false;
}

// ---------------------------------------------------------------------------
// Reals.

double constant_as_double(const ExprNode *e) {
    return is_int_const(e) ? double(e->value) : real_value(e);
}

ExprNode *fold_reals(ExprNode *node) {
    ExprNode *left = node->left;
    ExprNode *right = node->right;
    double a = constant_as_double(left);
    double b = constant_as_double(right);
    if (node->op == OP_DIV && b == 0.0) {
        note_zero_divisor(right, LF_ZERO_DIVIDE);
        return node;
    }
    if (is_real_const(left))
        drop_literal_use(left->literal);
    if (is_real_const(right))
        drop_literal_use(right->literal);
    double value = a;   // the other operators have been reported
    switch (node->op) {
    case OP_ADD: value = a + b; break;
    case OP_SUB: value = a - b; break;
    case OP_MUL: value = a * b; break;
    case OP_DIV: value = a / b; break;
    default: break;
    }
    make_real_const(node, value);
    return node;
}

// ---------------------------------------------------------------------------
// Rules by the right operand.

// Both operands integer constants.
ExprNode *fold_integers(ExprNode *node, TypeNode *lt, TypeNode *rt) {
    int32_t l = node->left->value;
    int32_t r = node->right->value;
    bool divide_unsigned = is_unsigned_type(promote_type(lt, 0)) || is_unsigned_type(rt);
    int32_t value = 0;
    switch (node->op) {
    case OP_DIV:
        if (r == 0) {
            note_zero_divisor(node->right, LF_ZERO_DIVIDE);
            return node;
        }
        value = wrap_div(l, r, divide_unsigned);
        break;
    case OP_MOD:
        if (r == 0) {
            note_zero_divisor(node->right, LF_ZERO_MODULUS);
            return node;
        }
        value = wrap_mod(l, r, divide_unsigned);
        break;
    case OP_SHL:
        value = wrap_shl(l, r);
        if (is_wider_than_int_code(rt->code) && wider_code(rt->code, node->type->code))
            node->type = rt;
        break;
    case OP_SHR: value = shift_right(l, r, is_unsigned_type(lt)); break;
    case OP_XOR: value = l ^ r; break;
    case OP_OR: value = l | r; break;
    case OP_AND: value = l & r; break;
    case OP_ADD: value = wrap_add(l, r); break;
    case OP_SUB: value = wrap_sub(l, r); break;
    case OP_MUL: value = wrap_mul(l, r); break;
    default: return node;
    }
    TypeNode *type = node->type;
    make_int_const(node, value);
    node->type = type;
    return node;
}

// The right operand is no integer constant.  Returns the result, or null
// when nothing applied.
ExprNode *nonconstant_right_rules(ExprNode *node, TypeNode *lt) {
    int op = node->op;
    ExprNode *left = node->left;
    ExprNode *right = node->right;
    if ((op == OP_DIV || op == OP_MOD) && is_zero_const(left))
        return constant_result(node, right, 0, constant_type(node->type), left);
    if (op == OP_SUB && is_zero_const(left))
        return unary_of(node, OP_NEG, right);
    ExprNode *l = left->op == OP_CAST && left->left != nullptr ? left->left : left;
    if (!same_expr(l, right, 0))
        return nullptr;
    switch (op) {
    case OP_DIV:
        return constant_result(node, nullptr, 1, constant_type(node->type), nullptr);
    case OP_MOD:
    case OP_XOR:
        return constant_result(node, nullptr, 0, node->type, nullptr);
    case OP_SUB:
        return constant_result(node, nullptr, 0, constant_type(node->type), nullptr);
    case OP_OR:
    case OP_AND:
        return operand_as_result(left, node->type);
    case OP_ADD:
        if (is_integer_code(lt->code)) {
            node->op = OP_SHL;
            node->right = make_int_const(nullptr, 1);
        }
        return nullptr;
    default:
        return nullptr;
    }
}

// `x & c` for a mask `c` that is not 0: a mask over every bit of the left
// type does nothing, and one of the low bits of a bit-field narrows it.
ExprNode *mask_rules(ExprNode *node, TypeNode *lt, uint32_t c, uint32_t mask) {
    ExprNode *left = node->left;
    if ((c & mask) == mask)
        return operand_as_result(left, node->type);
    if (is_bit_field_code(lt->code) && c != 0 && is_power_of_two(c + 1)) {
        TypeNode *narrow = new_type(lt->code, nullptr);
        narrow->bit_offset = lt->bit_offset;
        narrow->bit_width = uint8_t(bit_count(c));
        left->type = narrow;
        return mark_result(left);
    }
    return nullptr;
}

// The right operand is the integer constant `c`, the left no constant.
// Returns the result, or null when the node goes on to the next groups.
ExprNode *constant_right_rules(ExprNode *node, TypeNode *lt) {
    int op = node->op;
    ExprNode *left = node->left;
    ExprNode *right = node->right;
    TypeNode *type = node->type;
    uint32_t c = uint32_t(right->value);

    // (int)&a + 4 is (int)(&a + 4).
    if ((op == OP_ADD || op == OP_SUB) && left->op == OP_CAST && is_integer_code(left->type->code) &&
        left->left != nullptr && left->left->op == OP_LEAF && left->left->type->code == TY_POINTER &&
        (left->left->lflags & LF_CONTENTS) == 0 &&
        type_size(right->type) <= type_size(left->left->type)) {
        int32_t k = op == OP_SUB ? wrap_neg(int32_t(c)) : int32_t(c);
        left->left->value = wrap_add(left->left->value, k);
        return convert_to(left, type);
    }

    if (c == 0) {
        switch (op) {
        case OP_DIV:
            note_zero_divisor(right, LF_ZERO_DIVIDE);
            return node;
        case OP_MOD:
            note_zero_divisor(right, LF_ZERO_MODULUS);
            return node;
        case OP_MUL:
        case OP_AND:
            return constant_result(node, left, 0, constant_type(type), right);
        default:
            return operand_as_result(left, type);
        }
    }

    // (k - x) + c and (k - x) - c gather into k.
    if ((op == OP_ADD || op == OP_SUB) && left->op == OP_SUB && is_int_const(left->left)) {
        ExprNode *k = left->left;
        k->value = op == OP_ADD ? wrap_add(k->value, int32_t(c)) : wrap_sub(k->value, int32_t(c));
        if (k->value != 0)
            return convert_to(left, type);
        ExprNode *x = left->right;
        left->type = type;
        return unary_of(left, OP_NEG, x);
    }
    if (c == 1 && (op == OP_DIV || op == OP_MUL))
        return operand_as_result(left, type);
    if (c == 1 && op == OP_MOD)
        return constant_result(node, left, 0, constant_type(type), right);
    if (c == 0xFFFFFFFFu) {
        switch (op) {
        case OP_MUL:
            return unary_of(node, OP_NEG, left);
        case OP_DIV:
            if (!is_unsigned_type(lt) && !is_unsigned_type(type))
                return unary_of(node, OP_NEG, left);
            break;
        case OP_XOR:
            // On a real operand the operator has been reported.
            if (!is_real_code(type->code))
                return unary_of(node, OP_COMPL, left);
            break;
        case OP_OR:
            return constant_result(node, left, -1, constant_type(type), right);
        case OP_AND:
            return operand_as_result(left, type);
        default:
            break;
        }
    }

    if (!is_integer_code(lt->code))
        return nullptr;
    bool pow2 = is_power_of_two(c);
    int32_t k = pow2 ? log2_of(c) : 0;
    int32_t width = width_of(lt);
    uint32_t mask = width >= 32 ? 0xFFFFFFFFu : width <= 0 ? 0 : (1u << width) - 1;
    bool is_unsigned = is_unsigned_type(lt) || is_unsigned_type(type);
    switch (op) {
    case OP_DIV:
        if (!pow2 || !is_unsigned)
            return nullptr;
        node->op = OP_SHR;
        right->value = k;
        if (is_unsigned_type(lt) && k >= width)
            return constant_result(node, left, 0, type, right);
        return nullptr;
    case OP_MOD:
        if (!pow2 || !is_unsigned)
            return nullptr;
        node->op = OP_AND;
        right->value = int32_t(c - 1);
        return mask_rules(node, lt, c - 1, mask);
    case OP_SHL:
        if (c >= uint32_t(type_size(promote_type(lt, 0)) * 8))
            return constant_result(node, left, 0, type, right);
        return nullptr;
    case OP_SHR:
        if (is_unsigned_type(lt) && c >= uint32_t(width))
            return constant_result(node, left, 0, type, right);
        return nullptr;
    case OP_OR:
        if ((c & mask) == mask)
            return constant_result(node, left, int32_t(mask), type, right);
        return nullptr;
    case OP_MUL:
        if (!pow2)
            return nullptr;
        node->op = OP_SHL;
        right->value = k;
        return nullptr;
    case OP_AND:
        return mask_rules(node, lt, c, mask);
    default:
        return nullptr;
    }
}

// ---------------------------------------------------------------------------
// Constants gathered over two levels, `(x o c2) p c1`.

// `(x o c2) p c1` becomes `(x p c1) o (c2 p c1)`: the two nodes exchange
// operators and the constant of the left node goes to the top.  The new
// constant is computed from `c2` promoted, and takes the promoted type: in
// `(x + (unsigned char)255) * 32767` it is the int 255 * 32767, which an
// unsigned char cannot hold.
ExprNode *distribute(ExprNode *node, int32_t value) {
    ExprNode *left = node->left;
    ExprNode *c1 = node->right;
    ExprNode *c2 = left->right;
    uint8_t p = node->op;
    node->op = left->op;
    left->op = p;
    left->right = c1;
    node->right = c2;
    c2->value = value;
    c2->type = promote_type(c2->type, 0);
    return node;
}

// The left node or its operand `survivor` takes the place of the node.
ExprNode *survivor_result(ExprNode *node, ExprNode *survivor, TypeNode *rt) {
    ExprNode *left = node->left;
    if (survivor == left) {
        ExprNode *constant = left->right;
        if (survivor->type->code > constant->type->code)
            constant->type = survivor->type;
        if (rt->code > constant->type->code)
            constant->type = rt;
    }
    if (survivor->op != OP_LEAF && survivor->op != OP_DEREF && survivor->op != OP_CALL &&
        rt->code > survivor->type->code)
        survivor->type = rt;
    return operand_as_result(survivor, node->type);
}

// Returns the result, or null when no combination applies.
ExprNode *gather_constants(ExprNode *node, TypeNode *rt) {
    ExprNode *left = node->left;
    if (!is_binary_op(node->op) || !is_int_const(node->right) || !is_binary_op(left->op) ||
        left->right == nullptr || !is_int_const(left->right))
        return nullptr;
    ExprNode *x = left->left;
    ExprNode *k2 = left->right;
    int32_t c1 = node->right->value;
    int32_t c2 = k2->value;
    int o = left->op;
    bool is_unsigned = is_unsigned_type(node->type);
    switch (node->op) {
    case OP_DIV:
        if (o == OP_MUL) {
            if (c1 == 0)
                return nullptr;
            int32_t rest = wrap_mod(c2, c1, is_unsigned);
            if (rest != 0)
                return nullptr;
            k2->value = wrap_div(c2, c1, is_unsigned);
            return survivor_result(node, k2->value == 1 ? x : left, rt);
        }
        if (o == OP_DIV) {
            // A divisor beyond 32 bits would wrap; such a chain stays.
            if (c1 == 0 || c2 == 0)
                return nullptr;
            if (is_unsigned) {
                uint64_t product = uint64_t(uint32_t(c1)) * uint32_t(c2);
                if (product > 0xFFFFFFFFu)
                    return nullptr;
            } else {
                int64_t product = int64_t(c1) * c2;
                if (product > INT32_MAX || product < INT32_MIN)
                    return nullptr;
            }
            k2->value = wrap_mul(c2, c1);
            return survivor_result(node, left, rt);
        }
        return nullptr;
    case OP_SHL:
    case OP_SHR:
        if (o == node->op) {
            k2->value = wrap_add(c2, c1);
            return survivor_result(node, left, rt);
        }
        if (node->op == OP_SHL && (o == OP_ADD || o == OP_SUB) && same_type(node->type, left->type))
            return distribute(node, wrap_shl(c2, c1));
        return nullptr;
    case OP_ADD:
    case OP_SUB: {
        if (o != OP_ADD && o != OP_SUB)
            return nullptr;
        int32_t sum = o == node->op ? wrap_add(c2, c1) : wrap_sub(c2, c1);
        if (sum == 0)
            return survivor_result(node, x, rt);
        if (sum < 0) {
            o = o == OP_ADD ? OP_SUB : OP_ADD;
            sum = wrap_neg(sum);
        }
        left->op = uint8_t(o);
        k2->value = sum;
        return survivor_result(node, left, rt);
    }
    case OP_MUL:
        if (o == OP_MUL) {
            k2->value = wrap_mul(c2, c1);
            return survivor_result(node, left, rt);
        }
        if ((o == OP_ADD || o == OP_SUB) && same_type(node->type, left->type))
            return distribute(node, wrap_mul(c2, c1));
        return nullptr;
    default:
        return nullptr;
    }
}

// ---------------------------------------------------------------------------
// `k - (...)` with a constant k.  Returns the result, or null.

ExprNode *negation_of(ExprNode *node, ExprNode *x) {
    node->op = OP_NEG;
    node->left = x;
    node->right = nullptr;
    return mark_result(node);
}

ExprNode *constant_minus(ExprNode *node) {
    ExprNode *k = node->left;
    ExprNode *r = node->right;
    if (node->op != OP_SUB || !is_int_const(k) || r->op == OP_LEAF)
        return nullptr;
    if (r->op == OP_ADD && is_int_const(r->right)) {
        // k - (x + c) is (k - c) - x.
        int32_t c = r->right->value;
        if (k->value == c)
            return negation_of(node, r->left);
        k->value = wrap_sub(k->value, c);
        node->right = r->left;
        return mark_result(node);
    }
    if (r->op == OP_SUB && is_int_const(r->left)) {
        // k - (c - x) is x + (k - c).
        int32_t c = r->left->value;
        if (k->value == c)
            return operand_as_result(r->right, node->type);
        k->value = wrap_sub(k->value, c);
        node->op = OP_ADD;
        node->left = r->right;
        node->right = k;
        return mark_result(node);
    }
    if (r->op == OP_SUB && is_int_const(r->right)) {
        // k - (x - c) is (k + c) - x.
        int32_t sum = wrap_add(k->value, r->right->value);
        if (sum == 0)
            return negation_of(node, r->left);
        k->value = sum;
        node->right = r->left;
        return mark_result(node);
    }
    return nullptr;
}

// ---------------------------------------------------------------------------
// Final steps, for every result that reaches them.

ExprNode *finish(ExprNode *e) {
    if (e->op != OP_LEAF && is_binary_op(e->op) && e->left != nullptr && e->left->type != nullptr &&
        is_real_code(e->left->type->code) && is_int_const(e->right)) {
        // x + 1 with a real x stores 1.0.
        e->right = convert_to(e->right, e->left->type);
    }
    if ((e->op == OP_DIV || e->op == OP_MOD) && e->type != nullptr &&
        (e->type->code == TY_LONG || e->type->code == TY_ULONG || e->type->code == TY_FLOAT))
        func_state.loop_has_long_div = 1;
    return e;
}

} // namespace

namespace binary_rules {

ExprNode *arith_expr(ExprNode *node, TypeNode *lt, TypeNode *rt) {
    ExprNode *result;
    if (shape_rewrite(node, &result))
        return result;

    rt = set_operator_type(node, lt, rt);
    ExprNode *left = node->left;
    ExprNode *right = node->right;

    if (is_real_code(node->type->code)) {
        if (is_constant(left) && is_constant(right))
            return fold_reals(node);
        if (node->op == OP_DIV && is_real_const(right) && real_value(right) == 0.0) {
            note_zero_divisor(right, LF_ZERO_DIVIDE);
            return node;
        }
    }

    int op = node->op;
    if (op == OP_ADD || op == OP_MUL || op == OP_AND || op == OP_XOR || op == OP_OR) {
        if ((is_constant(left) && !is_int_const(right)) || (left->op == OP_LEAF && right->op != OP_LEAF)) {
            node->left = right;
            node->right = left;
            left = node->left;
            right = node->right;
            lt = left->type;
            rt = promote_type(right->type, 0);
        }
    }

    if (!is_int_const(right)) {
        result = nonconstant_right_rules(node, lt);
        if (result != nullptr)
            return finish(result);
    } else {
        result = is_int_const(left) ? fold_integers(node, lt, rt) : constant_right_rules(node, lt);
        // A noted zero divisor leaves the node as it is, for the later fold.
        if (result == node && node->op != OP_LEAF &&
            (right->lflags & (LF_ZERO_DIVIDE | LF_ZERO_MODULUS)) != 0)
            return node;
        if (result != nullptr)
            return finish(result);
    }

    result = gather_constants(node, rt);
    if (result == nullptr)
        result = constant_minus(node);
    return finish(result != nullptr ? result : node);
}

} // namespace binary_rules
