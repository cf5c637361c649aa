// The expression parser: reads tokens and builds the typed tree of one
// expression.  Each operator node goes to its typing routine the moment its
// operands are complete (unary_expr, cast_expr, assign_expr, binary_expr),
// and those may fold, replace or rewrite it, so the parser always goes on
// with what they return.  Here are sizeof, casts, the prefix operators,
// precedence climbing, the comma operator, constant expressions and the
// turning of a value into a test; the operands themselves are read in
// operands.cpp.
#include <cstring>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "driver/stack_room.h"
#include "expr/expr_node.h"
#include "expr/operands.h"
#include "lexer/token.h"
#include "stmt/stmt_node.h"

int32_t cond_depth;
int32_t cond_expr_depth;
int32_t in_member_access;
int32_t sizeof_depth;

namespace {

// ---------------------------------------------------------------------------
// Precedence of the binary operators, indexed by the operator code and 31.
// Levels: 12 * / %, 11 + -, 10 << >>, 9 < >= > <=, 8 == !=, 7 &, 6 ^, 5 |,
// 4 &&, 3 ||, 2 ?: (fixed, not in the table), 1 = and the compound
// assignments.
constexpr uint8_t precedence_table[32] = {
    0,  11, 11, 12, 12, 12, 10, 10,   // 0, + -, * / %, << >>
    7,  6,  5,  9,  9,  9,  9,  8,    // & ^ |, < >= > <=, ==
    8,  1,  1,  1,  1,  1,  1,  1,    // !=, += -= *= /= %= <<= >>=
    1,  1,  1,  4,  3,  0,  0,  1,    // &= ^= |=, &&, ||, =
};

constexpr int COND_LEVEL = 2;

ExprNode *parse_sizeof() {
    Token *t = next_token();
    bool promoted = false;
    if (t->code == TOK_AT) {
        promoted = true;
        t = next_token();
    }
    ExprNode *e = nullptr;
    if (t->code == TOK_LPAREN) {
        e = parse_type_name();
        if (e == nullptr)
            unget_token();
    } else {
        unget_token();
    }
    if (e == nullptr) {
        // The operand is not evaluated, so no variable is replaced by its
        // known value inside it.
        sizeof_depth++;
        e = parse_unary(0);
        sizeof_depth--;
        if (e == nullptr)
            e = missing_operand();
    }
    TypeNode *type = e->type;
    if (promoted) {
        if (type->code == TY_ARRAY || type->code == TY_FUNCTION)
            type = decay_to_pointer(e);
        type = promote_type(type, 1);
    }
    if (is_bit_field_code(type->code))
        report("invalid sizeof(type)");
    int32_t size = type_size(type);
    // The operand's tree is forgotten: its side effects do not happen.
    ExprNode *result = make_int_const(nullptr, size);
    result->type = &type_uint;
    return result;
}

// `(` has been read.  A cast is a prefix form: its operand has taken the
// postfix operators already.
ExprNode *parse_parenthesised(bool *is_cast) {
    ExprNode *cast = parse_type_name();
    if (cast != nullptr) {
        *is_cast = true;
        ExprNode *e = parse_unary(0);
        if (e == nullptr)
            e = missing_operand();
        // A cast of an _asm call without arguments only gives the call
        // its type.
        if (e->op == OP_CALL && e->left != nullptr && is_named_call(e->left, "_asm") &&
            e->left->type->code == TY_POINTER && e->left->type->next != nullptr &&
            e->left->type->next->code == TY_FUNCTION && e->left->type->next->args == nullptr) {
            e->type = cast->type;
            return e;
        }
        cast->left = e;
        return cast_expr(cast);
    }
    ExprNode *e = parse_expression(0);
    if (e == nullptr) {
        report("invalid expression");
        e = make_int_const(nullptr, 0);
    }
    expect_token(TOK_RPAREN);
    return e;
}

ExprNode *parse_unary_here(int prev_op) {
    Token *t = next_token();
    int code = t->code;
    ExprNode *e;
    switch (code) {
    case TOK_STRING:
        e = string_leaf(t);
        break;
    case TOK_FLOAT:
    case TOK_DOUBLE:
        e = real_leaf(t);
        break;
    case TOK_INT:
    case TOK_UINT:
    case TOK_LONG:
    case TOK_ULONG:
        e = integer_leaf(t, prev_op);
        break;
    case TOK_IDENT:
        e = identifier_leaf(t);
        break;
    case TOK_LPAREN: {
        bool is_cast = false;
        e = parse_parenthesised(&is_cast);
        if (is_cast)
            return e;
        break;
    }
    case TOK_SIZEOF:
        e = parse_sizeof();
        break;
    case TOK_INC:
    case TOK_DEC: {
        ExprNode *node = new_expr(code == TOK_INC ? OP_ADD_ASSIGN : OP_SUB_ASSIGN);
        ExprNode *operand = parse_unary(0);
        if (operand == nullptr)
            return missing_operand();
        node->left = operand;
        node->right = make_int_const(nullptr, 1);
        func_state.op_count++;
        return assign_expr(node);
    }
    case TOK_NOT:
    case TOK_TILDE:
    case TOK_MINUS:
    case TOK_STAR:
    case TOK_AMP: {
        ExprNode *node = new_expr(code & 0xFFBF);
        ExprNode *operand = parse_unary(node->op);
        if (operand == nullptr)
            return missing_operand();
        node->left = operand;
        func_state.op_count++;
        return unary_expr(node);
    }
    case TOK_PLUS: {
        ExprNode *operand = parse_unary(0);
        if (operand == nullptr)
            operand = missing_operand();
        int type_code = operand->type->code;
        if (!is_arith_code(type_code))
            report("invalid arithmetic operand");
        else if (is_narrow_code(type_code) || type_code == TY_INT_BITS)
            operand = convert_to(operand, &type_int);
        operand->eflags |= EF_NOT_LVALUE;
        return operand;
    }
    default:
        unget_token();
        return nullptr;
    }
    return parse_postfix(e);
}

int level_of(int op) { return op == OP_COND ? COND_LEVEL : precedence_table[op & 31]; }

ExprNode *parse_binary_here(int outer, ExprNode *left, ExprNode **pending) {
    for (;;) {
        int op = (*pending)->op;
        if (!binds_tighter(outer, op))
            return left;
        if (is_logical(op))
            cond_depth++;
        ExprNode *right = parse_unary(0);
        if (right == nullptr) {
            // The operator is used up by the error, so no outer level
            // reports it again.
            report("missing expression");
            if (is_logical(op))
                cond_depth--;
            if (op == OP_COND) {
                cond_expr_depth--;
                cond_depth--;
            }
            *pending = nullptr;
            return left;
        }
        ExprNode *next = next_binary_op();
        if (next != nullptr && binds_tighter(op, next->op))
            right = parse_binary(op, right, &next);
        ExprNode *node = *pending;
        node->left = left;
        node->right = right;
        if (op == OP_COND) {
            cond_expr_depth--;
            cond_depth--;
        }
        left = binary_expr(node);
        func_state.op_count++;
        if (is_logical(op))
            cond_depth--;
        *pending = next;
        if (next == nullptr)
            return left;
    }
}

// The operands of comma operators other than the last deliver no value.
void discard_here(ExprNode *node, int discard) {
    while (node != nullptr && node->op == OP_COMMA) {
        discard_value(node->left, 1);
        node = node->right;
    }
    if (node == nullptr || !discard)
        return;
    if (node->op == OP_POSTINC)
        node->op = OP_ADD_ASSIGN;
    else if (node->op == OP_POSTDEC)
        node->op = OP_SUB_ASSIGN;
    else if (node->op == OP_CAST)
        discard_value(node->left, 1);
}

ExprNode *address_of_base_here(ExprNode *node) {
    if (node->op == OP_COND) {
        node->middle = address_of_base(node->middle);
        node->right = address_of_base(node->right);
        node->type = node->middle->type;
        node->eflags |= EF_NOT_LVALUE;
        return node;
    }
    if (node->op == OP_COMMA) {
        node->right = address_of_base(node->right);
        node->type = node->right->type;
        node->eflags |= EF_NOT_LVALUE;
        return node;
    }
    uint8_t anon = node->eflags & EF_ANON_ALIAS;
    node->eflags &= ~EF_NOT_LVALUE;
    ExprNode *address = new_expr(OP_ADDR);
    address->left = node;
    int32_t saved = in_member_access;
    in_member_access = 1;
    ExprNode *result = unary_expr(address);
    in_member_access = saved;
    result->eflags |= anon;
    return result;
}

}  // namespace

// ---------------------------------------------------------------------------

ExprNode *parse_unary(int prev_op) {
    if (stack_is_low()) {
        ExprNode *result = nullptr;
        auto call = [&] { result = parse_unary_here(prev_op); };
        on_fresh_stack(call);
        return result;
    }
    return parse_unary_here(prev_op);
}

ExprNode *next_binary_op() {
    Token *t = next_token();
    int code = t->code;
    if (code == TOK_QUESTION) {
        ExprNode *node = new_expr(OP_COND);
        cond_expr_depth++;
        ExprNode *middle = parse_expression(0);
        if (middle == nullptr) {
            report("missing ? test expression");
            middle = make_int_const(nullptr, 0);
        }
        node->middle = middle;
        cond_depth++;
        expect_token(TOK_COLON);
        return node;
    }
    if (is_binary_op(code))
        return new_expr(code);
    unget_token();
    return nullptr;
}

bool binds_tighter(int outer, int inner) {
    if (outer == 0)
        return true;
    int outer_level = level_of(outer);
    int inner_level = level_of(inner);
    if (outer_level != inner_level)
        return outer_level < inner_level;
    // Equal levels: ?:, the assignments, && and || group to the right.
    return outer == OP_COND || (outer & 31) > 16;
}

ExprNode *parse_binary(int outer, ExprNode *left, ExprNode **pending) {
    if (stack_is_low()) {
        ExprNode *result = nullptr;
        auto call = [&] { result = parse_binary_here(outer, left, pending); };
        on_fresh_stack(call);
        return result;
    }
    return parse_binary_here(outer, left, pending);
}

ExprNode *parse_assignment() {
    ExprNode *left = parse_unary(0);
    if (left == nullptr)
        return nullptr;
    ExprNode *op = next_binary_op();
    if (op != nullptr)
        return parse_binary(0, left, &op);
    return left;
}

ExprNode *parse_expression(int discard) {
    ExprNode *left = parse_assignment();
    if (left == nullptr)
        return nullptr;
    for (;;) {
        Token *t = next_token();
        if (t->code != TOK_COMMA) {
            discard_value(left, discard);
            unget_token();
            return left;
        }
        ExprNode *comma = new_expr(OP_COMMA);
        comma->left = left;
        ExprNode *right = parse_assignment();
        if (right == nullptr) {
            report("missing expression");
            discard_value(left, discard);
            unget_token();
            return left;
        }
        decay_if_needed(right);
        comma->right = right;
        comma->type = right->type;
        // A left operand without side effects is dropped.
        if (is_int_const(left) || is_real_const(left) || same_expr(left, left, 1)) {
            left = right;
            left->eflags |= EF_NOT_LVALUE;
        } else {
            left = comma;
        }
    }
}

int parse_const_expr(int32_t *result, int required) {
    ExprNode *e = parse_assignment();
    if (e == nullptr) {
        if (required)
            report("missing expression");
        *result = 0;
        return 0;
    }
    if (!is_int_const(e) || (e->eflags & EF_NOT_LVALUE) != 0) {
        fold_expr(e, 0);
        report("invalid constant expression");
    }
    // Only a leaf has a value; an operator's value word may hold a pointer.
    *result = e->op == OP_LEAF ? e->value : 0;
    return 1;
}

ExprNode *make_test(ExprNode **slot) {
    ExprNode *e = *slot;
    int code = e->type->code;
    if (!is_scalar_code(code) && code != TY_ARRAY && code != TY_FUNCTION)
        return nullptr;
    while (e->op == OP_COMMA) {
        e->type = &type_int;
        slot = &e->right;
        e = *slot;
    }
    decay_if_needed(e);
    if (e->op == OP_COND && is_int_const(e->right) && e->right->value == 0 && is_int_const(e->middle) &&
        e->middle->value != 0) {
        // `t ? 1 : 0` tests `t`.
        e = e->left;
        *slot = e;
    }
    if (is_comparison(e->op)) {
        if (e->op == OP_EQ || e->op == OP_NE)
            fold_bit_test(e);
        return e;
    }
    if (!is_logical(e->op)) {
        if (opt_ck != 0 && e->op == OP_ASSIGN && is_int_const(e->right))
            report("W1constant assignment in a test");
        ExprNode *test = new_expr(OP_NE);
        test->left = e;
        test->right = make_int_const(nullptr, 0);
        *slot = test;
        e = binary_expr(test);
        *slot = e;
    }
    if (e->op == OP_EQ || e->op == OP_NE)
        fold_bit_test(e);
    return e;
}

void discard_value(ExprNode *node, int discard) {
    if (stack_is_low()) {
        auto call = [&] { discard_here(node, discard); };
        on_fresh_stack(call);
        return;
    }
    discard_here(node, discard);
}

ExprNode *address_of_base(ExprNode *node) {
    if (stack_is_low()) {
        ExprNode *result = nullptr;
        auto call = [&] { result = address_of_base_here(node); };
        on_fresh_stack(call);
        return result;
    }
    return address_of_base_here(node);
}

// `((x & m) >> k) == c` with c 0 or 1 tests the bits of m in place, without
// the shift.
void fold_bit_test(ExprNode *node) {
    ExprNode *c = node->right;
    ExprNode *shift = node->left;
    if (!is_int_const(c) || (c->value != 0 && c->value != 1) || shift == nullptr || shift->op != OP_SHR ||
        !is_int_const(shift->right))
        return;
    ExprNode *mask_node = shift->left;
    if (mask_node == nullptr || mask_node->op != OP_AND || !is_int_const(mask_node->right))
        return;
    int32_t k = shift->right->value;
    if (k < 0 || k > 31)
        return;
    uint32_t m = uint32_t(mask_node->right->value);
    if ((m & ((uint32_t(1) << k) - 1)) != 0)
        return;
    if (c->value == 0) {
        node->left = mask_node;
        return;
    }
    if ((m >> k) != 1)
        return;
    c->value = 0;
    node->op = node->op == OP_EQ ? OP_NE : OP_EQ;
    node->left = mask_node;
}
