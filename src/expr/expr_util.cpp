// Small services on expression nodes: constant leaves and their tests,
// pooled real constants, saved positions, the negation of tests, the
// comparison of two trees, conversions, and the truncation of constants.
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "lexer/token.h"

#include <cstring>

ExprNode *make_int_const(ExprNode *node, int32_t value) {
    if (node == nullptr)
        node = new_expr(OP_LEAF);
    node->op = OP_LEAF;
    node->value = value;
    node->lflags = LEAF_CONST;
    node->sym = nullptr;
    node->type = &type_int;
    return node;
}

bool is_int_const(const ExprNode *e) {
    return e != nullptr && e->op == OP_LEAF && (e->lflags & 3) == 0 && e->type != nullptr &&
           is_int_const_code(e->type->code);
}

bool is_int_or_pointer_const(const ExprNode *e) {
    return e != nullptr && e->op == OP_LEAF && (e->lflags & 3) == 0 && e->type != nullptr &&
           (is_int_const_code(e->type->code) || e->type->code == TY_POINTER);
}

bool is_real_const(const ExprNode *e) {
    return e != nullptr && e->op == OP_LEAF && (e->lflags & LF_CONTENTS) == 0 && e->type != nullptr &&
           is_real_code(e->type->code);
}

bool is_address_const(const ExprNode *e) {
    if (e == nullptr || e->op != OP_LEAF || e->type == nullptr)
        return false;
    return e->type->code == TY_FUNCTION ||
           ((e->lflags & LF_CONTENTS) == 0 && e->type->code == TY_POINTER);
}

bool is_symbol_leaf(const ExprNode *e) {
    return e->op == OP_LEAF && (e->lflags & LF_SYMBOL) != 0 && e->sym != nullptr;
}

Token *save_position() {
    if (last_token == nullptr)
        return nullptr;
    Token *copy = static_cast<Token *>(checked_alloc(sizeof(Token), nullptr));
    *copy = *last_token;
    return copy;
}

double real_value(const ExprNode *e) {
    // A real constant is the 8 bytes of a host double in the pool.
    double value = 0.0;
    if (e != nullptr && (e->lflags & LF_LITERAL) != 0 && e->literal != nullptr &&
        e->literal->length >= sizeof value)
        std::memcpy(&value, e->literal->bytes, sizeof value);
    return value;
}

void drop_literal_use(StringConst *literal) {
    if (literal != nullptr && literal->extra_uses != 0)
        literal->extra_uses--;
}

void make_real_const(ExprNode *node, double value) {
    node->op = OP_LEAF;
    node->literal = pool_string(&value, sizeof value);
    node->value = 0;
    node->lflags = LEAF_LITERAL;
}

ExprNode *negate_test(ExprNode *e) {
    ExprNode *result = e;
    // Walk down the right operands: a comma delivers its right operand, and
    // De Morgan turns `a && b` into `!a || !b`.
    while (e != nullptr) {
        if (e->op == OP_LEAF) {
            e->value = e->value == 0;
            break;
        }
        if (e->op == OP_COMMA) {
            e = e->right;
            continue;
        }
        // Only tests have a pair; make_test gives nothing else.
        if (!is_comparison(e->op) && !is_logical(e->op))
            break;
        e->op = uint8_t(negated_op(e->op));
        if (is_logical(e->op)) {
            negate_test(e->left);
            e = e->right;
            continue;
        }
        break;
    }
    return result;
}

namespace {

bool is_commutative(int op) {
    switch (op) {
    case OP_XOR:
    case OP_OR:
    case OP_EQ:
    case OP_NE:
    case OP_ADD:
    case OP_MUL:
    case OP_AND:
        return true;
    default:
        return false;
    }
}

bool is_volatile_pointer(const TypeNode *type) {
    return type != nullptr && type->code == TY_POINTER && (type->attr & ATTR_VOLATILE) != 0;
}

bool same_types(TypeNode *a, TypeNode *b) {
    if (a == b)
        return true;
    if (a == nullptr || b == nullptr)
        return false;
    // Pointers of any kind pass: the operators that follow decide.
    if (a->code == TY_POINTER && b->code == TY_POINTER)
        return true;
    if (!same_type(a, b))
        return false;
    if (is_bit_field_code(a->code) || is_bit_field_code(b->code))
        return is_bit_field_code(a->code) && is_bit_field_code(b->code) && a->bit_offset == b->bit_offset &&
               a->bit_width == b->bit_width;
    return true;
}

} // namespace

bool same_expr(const ExprNode *a, const ExprNode *b, int strict) {
    for (;;) {
        if (a == nullptr || b == nullptr)
            return a == b;
        if (a->op != b->op || !same_types(a->type, b->type))
            return false;
        int op = a->op;
        if (op == OP_LEAF) {
            // The initialisation mark does not change what a leaf reads.
            if (((a->lflags ^ b->lflags) & 0xF7) != 0 || a->left != b->left || a->value != b->value)
                return false;
            if (strict && (a->lflags & 0xFF) == LEAF_VARIABLE && a->sym != nullptr &&
                (a->sym->attr & ATTR_VOLATILE) != 0)
                return false;
            return true;
        }
        switch (op) {
        case OP_CALL:
        case OP_ASSIGN:
        case OP_POSTINC:
        case OP_POSTDEC:
        case OP_PRELUDE:
            return false;
        case OP_DEREF:
            if (strict && (is_volatile_pointer(a->left ? a->left->type : nullptr) ||
                           is_volatile_pointer(b->left ? b->left->type : nullptr)))
                return false;
            [[fallthrough]];
        case OP_CAST:
        case OP_NEG:
        case OP_ADDR:
        case OP_NOT:
        case OP_COMPL:
            a = a->left;
            b = b->left;
            strict = 1;
            continue;
        case OP_COND:
            if (!same_expr(a->middle, b->middle, 1) || !same_expr(a->left, b->left, 1))
                return false;
            a = a->right;
            b = b->right;
            strict = 1;
            continue;
        default:
            break;
        }
        if (is_compound_assign(op))
            return false;
        bool binary = is_binary_op(op) || op == OP_COMMA || op == OP_ARG;
        if (!binary)
            return false;
        if (is_commutative(op)) {
            if (same_expr(a->left, b->left, 1) && same_expr(a->right, b->right, 1))
                return true;
            return same_expr(a->left, b->right, 1) && same_expr(a->right, b->left, 1);
        }
        if (!same_expr(a->left, b->left, 1))
            return false;
        a = a->right;
        b = b->right;
        strict = 1;
    }
}

ExprNode *convert_to(ExprNode *e, TypeNode *type) {
    if (e == nullptr || same_type(e->type, type))
        return e;
    ExprNode *cast = new_expr(OP_CAST);
    cast->type = type;
    cast->left = e;
    return cast_expr(cast);
}

void truncate_const(ExprNode *e, TypeNode *type, int warn) {
    if (opt_cc || type == nullptr)
        return;
    uint32_t old_value = uint32_t(e->value);
    uint32_t new_value;
    switch (type->code) {
    case TY_CHAR:
        new_value = uint32_t(int32_t(int8_t(old_value & 0xFF)));
        break;
    case TY_UCHAR:
        new_value = old_value & 0xFF;
        break;
    case TY_SHORT:
        new_value = uint32_t(int32_t(int16_t(old_value & 0xFFFF)));
        break;
    case TY_USHORT:
        new_value = old_value & 0xFFFF;
        break;
    default:
        return;
    }
    if (new_value == old_value)
        return;
    e->value = int32_t(new_value);
    if (warn)
        report("W1truncating constant cast (0x%x)", static_cast<unsigned>(old_value));
}

// A copy of a whole tree, for a rewrite that needs an operand twice: later
// passes rewrite the nodes of a tree in place, and a tree is written once
// only.  A prelude is not copied: it runs once, where it stands.
ExprNode *copy_tree(const ExprNode *e) {
    if (e == nullptr)
        return nullptr;
    ExprNode *copy = new_expr(e->op);
    ExprNode *link = copy->link;
    *copy = *e;
    copy->link = link;
    if (e->op == OP_LEAF || e->op == OP_PRELUDE)
        return copy;
    copy->left = copy_tree(e->left);
    if (e->op == OP_COND)
        copy->middle = copy_tree(e->middle);
    if ((e->op & 0x40) != 0 || e->op == OP_COMMA || e->op == OP_ARG || e->op == OP_CALL || e->op == OP_COND ||
        e->op == OP_POSTINC || e->op == OP_POSTDEC)
        copy->right = copy_tree(e->right);
    return copy;
}
