// Typing of the binary operators: the entry that checks the operands, the
// usual arithmetic conversions of this target, shifts, && and || with the
// combination of two comparisons of the same operands, ?:, and pointer
// arithmetic with its scaling and the gathering of constant offsets into
// address constants.  Comparisons (compare.cpp) and the arithmetic folds
// (arith_fold.cpp) are branches of the same entry.
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/binary_rules.h"
#include "expr/expr_node.h"
#include "stmt/stmt_node.h"

using namespace binary_rules;

namespace {

bool is_void_pointer(const TypeNode *t) {
    return t->code == TY_POINTER && t->next != nullptr && t->next->code == TY_VOID;
}

// ---------------------------------------------------------------------------
// Two comparisons of the same operands joined by && or ||.  Each comparison
// accepts a subset of the outcomes less (1), equal (2), greater (4); &&
// takes the intersection of the two subsets and || their union.  An entry
// is the comparison that accepts exactly the result, or the constant 0 for
// no outcome and 1 for all three.

constexpr uint8_t accepted_outcomes[6] = {1, 6, 4, 3, 2, 5};   // < >= > <= == !=

constexpr uint8_t comparison_accepting(int outcomes) {
    if (outcomes == 7)
        return 1;
    for (int i = 0; i < 6; i++)
        if (accepted_outcomes[i] == outcomes)
            return uint8_t(OP_LT + i);
    return 0;
}

struct CombineTables {
    uint8_t both[36];     // &&
    uint8_t either[36];   // ||
};

constexpr CombineTables make_combine_tables() {
    CombineTables tables{};
    for (int l = 0; l < 6; l++)
        for (int r = 0; r < 6; r++) {
            tables.both[l * 6 + r] = comparison_accepting(accepted_outcomes[l] & accepted_outcomes[r]);
            tables.either[l * 6 + r] = comparison_accepting(accepted_outcomes[l] | accepted_outcomes[r]);
        }
    return tables;
}

constexpr CombineTables combine = make_combine_tables();
static_assert(combine.both[(OP_LT - OP_LT) * 6 + (OP_LE - OP_LT)] == OP_LT);
static_assert(combine.either[(OP_GT - OP_LT) * 6 + (OP_EQ - OP_LT)] == OP_GE);

ExprNode *logical_expr(ExprNode *node) {
    bool is_and = node->op == OP_LOGAND;
    bool tested = make_test(&node->left) != nullptr && make_test(&node->right) != nullptr;
    if (!tested)
        report("invalid conditional operand");
    node->type = &type_int;
    ExprNode *left = node->left;
    ExprNode *right = node->right;
    // The value that decides the whole: 0 for &&, 1 for ||.
    int32_t decided = is_and ? 0 : 1;
    bool left_const = is_int_const(left);
    bool right_const = is_int_const(right);
    if (left_const && right_const) {
        bool value = is_and ? (left->value != 0 && right->value != 0) : (left->value != 0 || right->value != 0);
        return make_int_const(node, value ? 1 : 0);
    }
    if (left_const) {
        if ((left->value != 0) == !is_and)
            return make_int_const(node, decided);   // the right operand is never evaluated
        if (is_comparison(right->op) || is_logical(right->op))
            return right;
        node->op = OP_NE;
        node->left = right;
        node->right = make_int_const(left, 0);
        return node;
    }
    if (right_const) {
        if ((right->value != 0) == !is_and) {
            // The left operand is still evaluated first; only without an
            // effect of its own may it go.
            if (same_expr(left, left, 1))
                return make_int_const(node, decided);
            return node;
        }
        if (is_comparison(left->op) || is_logical(left->op))
            return left;
        node->op = OP_NE;
        make_int_const(right, 0);
        return node;
    }
    if (same_expr(left, right, 1))
        return left;
    if (is_comparison(left->op) && is_comparison(right->op) && same_expr(left->left, right->left, 1) &&
        same_expr(left->right, right->right, 1)) {
        int index = (left->op - OP_LT) * 6 + (right->op - OP_LT);
        uint8_t entry = is_and ? combine.both[index] : combine.either[index];
        if (entry <= 1)
            return make_int_const(node, entry);
        left->op = entry;
        return left;
    }
    return node;
}

// ---------------------------------------------------------------------------
// The conditional operator; the middle operand is in `middle`.

// An operand that gets a type of its own: directly when the type is the
// same, else through a conversion.
ExprNode *give_type(ExprNode *e, TypeNode *type) {
    if (same_type(e->type, type)) {
        e->type = type;
        return e;
    }
    return convert_to(e, type);
}

ExprNode *conditional_expr(ExprNode *node, TypeNode *rt) {
    if (make_test(&node->left) == nullptr)
        report("invalid ? test expression");
    if (node->middle == nullptr)
        node->middle = make_int_const(nullptr, 0);
    node->middle = replace_known_value(&node->middle);
    ExprNode *middle = node->middle;
    TypeNode *mt = middle->type;
    if (mt->code == TY_ARRAY || mt->code == TY_FUNCTION)
        mt = decay_to_pointer(middle);
    mt = promote_type(mt, 0);
    if (!assignable_type(mt, rt) && !assignable_type(rt, mt) &&
        !(mt->code == TY_POINTER && is_zero_const(node->right)) &&
        !(rt->code == TY_POINTER && is_zero_const(middle)))
        report("incompatible operand types");

    ExprNode *test = node->left;
    if (is_int_const(test)) {
        // The test is known: the other operand is never evaluated.
        ExprNode *chosen = test->value != 0 ? middle : node->right;
        if (wider_code(rt->code, mt->code))
            mt = rt;
        if (!is_bit_field_code(chosen->type->code))
            chosen = give_type(chosen, mt);
        // The result of ?: is a value, whatever form the operand has.
        if ((chosen->op == OP_LEAF && (chosen->lflags & LF_CONTENTS) != 0) || chosen->op == OP_DEREF)
            mark_result(chosen);
        return chosen;
    }
    TypeNode *type = wider_code(mt->code, rt->code) ? mt : rt;
    if (mt->code == TY_POINTER && rt->code == TY_POINTER &&
        ((mt->attr ^ rt->attr) & (ATTR_CONST | ATTR_VOLATILE)) != 0) {
        // The result may reach what either operand reaches: it keeps the
        // const and volatile of both.
        TypeNode *merged = new_type(TY_POINTER, type->next);
        merged->args = nullptr;
        merged->attr = uint16_t(mt->attr | (rt->attr & (ATTR_CONST | ATTR_VOLATILE)));
        type = merged;
    }
    node->type = type;
    return node;
}

// ---------------------------------------------------------------------------
// Pointer arithmetic.

// The size of what `pointer` reaches, the unit of its arithmetic.  A pointer
// to void has been reported already and counts bytes.
int32_t pointee_size(const TypeNode *pointer) {
    TypeNode *target = pointer->next;
    if (target == nullptr || target->code == TY_VOID)
        return 1;
    return type_size(target);
}

// Walks down the left operands of a chain of additions; the address
// constant at the bottom, or null.
ExprNode *address_base(ExprNode *e) {
    while (e->op == OP_ADD && e->left != nullptr)
        e = e->left;
    return e->op == OP_LEAF && is_address_const(e) ? e : nullptr;
}

// Moves the constant part of the scaled index `node.right` into the
// address constant `base`: `&a[i + 1]` addresses a+4 plus i times 4.
void move_constant_offset(ExprNode *node, ExprNode *base) {
    if ((base->lflags & LF_SYMBOL) != 0 && base->sym != nullptr && base->sym->sclass == SC_ARG &&
        base->sym->type != nullptr && is_struct_code(base->sym->type->code))
        return;
    bool node_sub = node->op == OP_SUB;
    ExprNode *r = node->right;
    if ((r->op == OP_ADD || r->op == OP_SUB) && is_int_const(r->right) && (r->eflags & EF_RETYPED) == 0) {
        int32_t k = r->right->value;
        if ((r->op == OP_SUB) != node_sub)
            k = wrap_neg(k);
        node->right = r->left;
        base->value = wrap_add(base->value, k);
        return;
    }
    if ((r->op == OP_MUL || r->op == OP_SHL) && is_int_const(r->right) && r->left != nullptr) {
        ExprNode *t = r->left;
        int32_t factor = r->right->value;
        bool count_ok = r->op == OP_MUL || (factor >= 0 && factor < 32);
        if ((t->op == OP_ADD || t->op == OP_SUB) && is_int_const(t->right) && !is_byte_code(t->type->code) &&
            (t->eflags & EF_RETYPED) == 0 && count_ok) {
            int32_t k = t->right->value;
            if ((t->op == OP_SUB) != node_sub)
                k = wrap_neg(k);
            k = r->op == OP_MUL ? wrap_mul(k, factor) : wrap_shl(k, factor);
            r->left = t->left;
            base->value = wrap_add(base->value, k);
            return;
        }
    }
    if (r->op == OP_CAST && r->left != nullptr && is_byte_code(r->left->type->code))
        node->right = r->left;
}

// Scales the index `node.right` by the size of what the pointer of the
// node's type reaches.
ExprNode *scale_index(ExprNode *node) {
    ExprNode *index = node->right;
    // A reported operand that is no integer is not scaled.
    if (!is_integer_code(promote_type(index->type, 0)->code))
        return node;
    if (is_zero_const(index))
        return mark_result(node->left);
    int32_t size = pointee_size(node->type);
    if (is_int_const(index)) {
        index->value = wrap_mul(index->value, size);
        ExprNode *base = address_base(node->left);
        if (base != nullptr) {
            // `&a[3] + 2` stays one address constant.
            int32_t offset = node->op == OP_SUB ? wrap_neg(index->value) : index->value;
            base->value = wrap_add(base->value, offset);
            return node->left;
        }
    } else if (size > 1) {
        ExprNode *scaled = new_expr(OP_MUL);
        scaled->left = index;
        scaled->right = make_int_const(nullptr, size);
        node->right = binary_expr(scaled);
    }
    if (node->op != OP_LEAF) {
        ExprNode *base = address_base(node->left);
        if (base != nullptr)
            move_constant_offset(node, base);
    }
    return node;
}

ExprNode *pointer_difference(ExprNode *node, TypeNode *lt, TypeNode *rt) {
    if (!same_type(lt, rt))
        report("invalid pointer types");
    bool far = (lt->attr & ATTR_SPACE) == ATTR_FAR || (rt->attr & ATTR_SPACE) == ATTR_FAR;
    TypeNode *type = far ? &type_long : &type_int;
    node->type = type;
    ExprNode *l = node->left;
    ExprNode *r = node->right;
    // Two addresses on one base differ by a constant number of bytes.
    if (l->op == OP_LEAF && r->op == OP_LEAF && (l->lflags & LF_CONTENTS) == 0 &&
        (r->lflags & LF_CONTENTS) == 0 && (l->lflags & 7) == (r->lflags & 7) && l->left == r->left) {
        make_int_const(node, wrap_sub(l->value, r->value));
        node->type = type;
    }
    int32_t size = pointee_size(lt);
    if (size > 1) {
        ExprNode *quotient = new_expr(OP_DIV);
        quotient->left = node;
        quotient->right = make_int_const(nullptr, size);
        quotient->right->type = type;
        return binary_expr(quotient);
    }
    return node;
}

ExprNode *pointer_expr(ExprNode *node, TypeNode *lt, TypeNode *rt) {
    int op = node->op;
    bool add_or_sub = op == OP_ADD || op == OP_SUB;
    if (lt->code == TY_POINTER) {
        if (add_or_sub && is_void_pointer(lt))
            report("invalid void pointer");
        if (!add_or_sub) {
            report("invalid pointer operation");
        } else if (op == OP_SUB && rt->code == TY_POINTER) {
            return pointer_difference(node, lt, rt);
        } else if (!is_integer_code(rt->code)) {
            report("invalid pointer operand");
        }
        node->type = lt;
    } else if (op != OP_ADD) {
        report("invalid pointer operation");
        node->type = rt;
    } else {
        if (is_void_pointer(rt))
            report("invalid void pointer");
        if (!is_integer_code(promote_type(lt, 0)->code))
            report("invalid pointer operand");
        ExprNode *pointer = node->right;
        node->right = node->left;
        node->left = pointer;
        node->type = rt;
    }
    return scale_index(node);
}

// ---------------------------------------------------------------------------
// Assignments: typed by assign_expr; then `x = (y = 0)` is taken apart
// into `y = 0, x = 0`, so that the two stores do not depend on each other.

ExprNode *zero_of_type(TypeNode *type) {
    ExprNode *zero = make_int_const(nullptr, 0);
    if (type != nullptr && is_real_code(type->code))
        make_real_const(zero, 0.0);
    if (type != nullptr)
        zero->type = type;
    return zero;
}

ExprNode *assignment_path(ExprNode *node) {
    ExprNode *result = assign_expr(node);
    if (result == nullptr || result->op != OP_ASSIGN || result->left == nullptr || result->right == nullptr)
        return result;
    ExprNode *inner = result->right;
    while (inner->op == OP_COMMA && inner->right != nullptr)
        inner = inner->right;
    if (inner->op != OP_ASSIGN || !is_zero_const(inner->right))
        return result;
    ExprNode *target = result->left;
    ExprNode *store = new_expr(OP_ASSIGN);
    store->left = target;
    store->right = zero_of_type(target->type);
    store->type = target->type;
    result->op = OP_COMMA;
    result->left = result->right;
    result->right = store;
    result->type = store->type;
    if (!opt_cp) {
        if (cond_expr_depth == 0)
            note_assignment(store, store->right);
        else
            func_state.known_values = nullptr;
    }
    return result;
}

} // namespace

// ---------------------------------------------------------------------------

namespace binary_rules {

ExprNode *constant_result(ExprNode *node, ExprNode *operand, int32_t value, TypeNode *type,
                          ExprNode *spare) {
    if (operand == nullptr || same_expr(operand, operand, 1)) {
        make_int_const(node, value);
        node->type = type;
        return node;
    }
    ExprNode *constant = make_int_const(spare, value);
    constant->type = type;
    node->op = OP_COMMA;
    node->left = operand;
    node->right = constant;
    node->type = type;
    return node;
}

void note_zero_divisor(ExprNode *divisor, uint8_t mark) {
    // A real 0.0 gives up its pooled value: the leaf's `left` must hold
    // the position.
    if ((divisor->lflags & LF_LITERAL) != 0) {
        drop_literal_use(divisor->literal);
        divisor->lflags = LEAF_CONST;
        divisor->value = 0;
    }
    divisor->lflags |= mark;
    divisor->position = save_position();
}

TypeNode *set_operator_type(ExprNode *node, TypeNode *lt, TypeNode *rt) {
    int op = node->op;
    if (op == OP_SHL || op == OP_SHR) {
        node->type = promote_type(lt, 0);
        if (!is_integer_code(rt->code))
            report("invalid shift count type");
        ExprNode *count = node->right;
        if (is_int_const(count)) {
            int32_t bits = type_size(node->type) * 8;
            if (count->value < 0 || count->value >= bits)
                report("W1shift count out of range");
        } else if (is_wider_than_int_code(rt->code)) {
            node->right = convert_to(count, &type_int);
            rt = node->right->type;
        }
    } else {
        TypeNode *left = promote_type(lt, 0);
        node->type = wider_code(left->code, rt->code) ? left : rt;
    }
    if (is_real_code(node->type->code) && (op & 31) > 4)
        report("invalid floating point operation");
    return rt;
}

} // namespace binary_rules

ExprNode *binary_expr(ExprNode *node) {
    if (node == nullptr)
        return nullptr;
    int op = node->op;
    if (is_assignment_op(op))
        return assignment_path(node);
    if (node->left == nullptr || node->right == nullptr) {
        if (node->type == nullptr)
            node->type = &type_int;
        return node;
    }
    node->left = replace_known_value(&node->left);
    node->right = replace_known_value(&node->right);
    ExprNode *left = node->left;
    ExprNode *right = node->right;
    if (left->type == nullptr)
        left->type = &type_int;
    if (right->type == nullptr)
        right->type = &type_int;
    TypeNode *lt = left->type;
    TypeNode *rt = right->type;

    if (lt->code == TY_VOID || (rt->code == TY_VOID && op != OP_COND)) {
        report("illegal void operation");
    } else if (is_struct_code(lt->code)) {
        report("incompatible struct/union operation");
        node->type = lt;
        return node;
    }
    if (lt->code == TY_ARRAY || lt->code == TY_FUNCTION)
        lt = decay_to_pointer(left);
    if (rt->code == TY_ARRAY || rt->code == TY_FUNCTION)
        rt = decay_to_pointer(right);

    if (is_comparison(op))
        return compare_expr(node, lt, rt);
    rt = promote_type(rt, 0);
    if (op == OP_COND)
        return conditional_expr(node, rt);
    if (op == OP_AND || op == OP_OR) {
        // `x & ~x` is 0 and `x | ~x` is -1, for an x without side effects.
        ExprNode *complemented = nullptr;
        if (left->op == OP_COMPL && same_expr(left->left, right, 1))
            complemented = left;
        else if (right->op == OP_COMPL && same_expr(right->left, left, 1))
            complemented = right;
        if (complemented != nullptr) {
            TypeNode *type = complemented == left ? promote_type(lt, 0) : rt;
            make_int_const(node, op == OP_AND ? 0 : -1);
            node->type = type;
            return node;
        }
    }
    if (is_logical(op))
        return logical_expr(node);
    if (lt->code == TY_POINTER || rt->code == TY_POINTER)
        return pointer_expr(node, lt, rt);
    switch (op) {
    case OP_ADD: case OP_SUB: case OP_MUL: case OP_DIV: case OP_MOD:
    case OP_SHL: case OP_SHR: case OP_AND: case OP_XOR: case OP_OR:
        return arith_expr(node, lt, rt);
    default:
        // Not a binary operator of the source: the node keeps the type of
        // its value.
        node->type = rt;
        return node;
    }
}
