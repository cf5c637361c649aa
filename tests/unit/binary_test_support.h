// Builders of small typed trees over test-made symbols, a capture of the
// diagnostics, and a runner of table-driven tree cases, shared by the tests
// of unary and binary operator typing, casts and the arithmetic folds.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "message_capture.h"
#include "stmt/stmt_node.h"
#include "tree_print.h"

namespace binary_test {

// ---------------------------------------------------------------------------
// Builders of types and trees.

inline TypeNode *pointer(TypeNode *to, uint16_t attr = 0) {
    TypeNode *type = new_type(TY_POINTER, to);
    type->args = nullptr;
    type->attr = attr;
    return type;
}

inline TypeNode *array(TypeNode *of, int32_t dim) {
    TypeNode *type = new_type(TY_ARRAY, of);
    type->dim = dim;
    return type;
}

inline TypeNode *function(TypeNode *result) {
    TypeNode *type = new_type(TY_FUNCTION, result);
    type->args = nullptr;
    type->proto_symbols = nullptr;
    type->proto_tags = nullptr;
    return type;
}

inline TypeNode *bit_field(uint8_t code, uint8_t offset, uint8_t width) {
    TypeNode *type = new_type(code, nullptr);
    type->bit_offset = offset;
    type->bit_width = width;
    return type;
}

inline TypeNode *structure() {
    static Symbol *members = nullptr;
    TypeNode *type = new_type(TY_STRUCT, nullptr);
    type->tag = nullptr;
    if (members == nullptr)
        members = new_symbol(&members, intern_name("m", 1), SC_MEMBER, &type_int);
    type->members = members;
    type->size = 4;
    return type;
}

inline Symbol *symbols = nullptr;

inline Symbol *var(const char *name, TypeNode *type, int sclass = SC_STATIC, uint16_t attr = 0) {
    Symbol *sym = new_symbol(&symbols, intern_name(name, unsigned(std::strlen(name))), sclass, type);
    sym->attr = attr;
    return sym;
}

inline ExprNode *use(Symbol *sym) {
    ExprNode *e = new_expr(OP_LEAF);
    e->sym = sym;
    e->value = 0;
    e->lflags = LEAF_VARIABLE;
    e->type = sym->type;
    return e;
}

// The address of `sym` plus `offset`, typed pointer to the symbol's type.
inline ExprNode *address(Symbol *sym, int32_t offset = 0, uint16_t attr = 0) {
    ExprNode *e = new_expr(OP_LEAF);
    e->sym = sym;
    e->value = offset;
    e->lflags = LEAF_ADDRESS;
    e->type = pointer(sym->type->code == TY_ARRAY ? sym->type->next : sym->type, attr);
    return e;
}

inline ExprNode *num(int32_t value, TypeNode *type = &type_int) {
    ExprNode *e = make_int_const(nullptr, value);
    e->type = type;
    return e;
}

inline ExprNode *real(double value, TypeNode *type = &type_double) {
    ExprNode *e = new_expr(OP_LEAF);
    make_real_const(e, value);
    e->type = type;
    return e;
}

// A call of `fn`, an operand with a side effect.
inline ExprNode *call(Symbol *fn) {
    ExprNode *e = new_expr(OP_CALL);
    ExprNode *designator = new_expr(OP_LEAF);
    designator->sym = fn;
    designator->value = 0;
    designator->lflags = LEAF_ADDRESS;
    designator->type = fn->type;
    e->left = designator;
    e->right = nullptr;
    e->type = fn->type->next;
    return e;
}

// An operator node typed by binary_expr.
inline ExprNode *bin(int op, ExprNode *left, ExprNode *right) {
    ExprNode *e = new_expr(op);
    e->left = left;
    e->right = right;
    e->type = nullptr;
    return binary_expr(e);
}

inline ExprNode *cond(ExprNode *test, ExprNode *middle, ExprNode *third) {
    ExprNode *e = new_expr(OP_COND);
    e->left = test;
    e->middle = middle;
    e->right = third;
    e->type = nullptr;
    return binary_expr(e);
}

inline ExprNode *unary(int op, ExprNode *operand) {
    ExprNode *e = new_expr(op);
    e->left = operand;
    e->type = nullptr;
    return unary_expr(e);
}

struct TreeCase {
    const char *what;
    std::function<ExprNode *()> build;
    const char *expected;
    const char *messages;
};

inline void run_cases(Messages &messages, const TreeCase *cases, size_t count) {
    for (size_t i = 0; i < count; i++) {
        const TreeCase &c = cases[i];
        ExprNode *result = c.build();
        EXPECT_EQ(typed(result), c.expected) << c.what;
        EXPECT_EQ(messages.take(), c.messages) << c.what;
    }
}

#define RUN(cases) run_cases(messages, cases, sizeof cases / sizeof cases[0])
// A table row whose tree is the one expression `expr`.
#define TC(what, expr, expected, messages) {what, [&] { return expr; }, expected, messages}

// ---------------------------------------------------------------------------
// Fixture: the options and the state of the expression layer as a plain run
// starts, set again before and after each test, and the messages captured.
class OperatorTest : public ::testing::Test {
protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }
    static void reset() {
        opt_sa = opt_np = opt_cc = opt_cp = opt_f = 0;
        opt_ck = 1;
        in_member_access = 0;
        cond_expr_depth = 0;
        func_state.known_values = nullptr;
        func_state.loop_has_long_div = 0;
        type_double.code = TY_DOUBLE;
        std::memset(func_defaults, 0, sizeof func_defaults);
        std::memset(data_defaults, 0, sizeof data_defaults);
        const_defaults = func_defaults;
    }
    Messages messages;
};

} // namespace binary_test
