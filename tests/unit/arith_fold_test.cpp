// Arithmetic folding and rewriting of + - * / % << >> & ^ |: the shape
// rewrites, real folds, constant moves, the rules by the right operand,
// constants gathered over two levels, `k - (...)` and the final steps.
#include "binary_test_support.h"
#include "stmt/stmt_node.h"

using namespace binary_test;

namespace {

using ArithFold = OperatorTest;

// ---------------------------------------------------------------------------

TEST_F(ArithFold, ShapeRewrites) {
    Symbol *a = var("a", &type_int);
    Symbol *b = var("b", &type_int);
    Symbol *c = var("c", &type_int);
    Symbol *u = var("u", &type_uint);
    Symbol *f = var("f", function(&type_int));
    Symbol *bit = var("bit", bit_field(TY_INT_BITS, 3, 1));
    Symbol *wide = var("wide", bit_field(TY_INT_BITS, 3, 2));
    auto A = [&] { return use(a); };
    auto B = [&] { return use(b); };
    auto C = [&] { return use(c); };
    const TreeCase cases[] = {
        TC("~a & ~b", bin(OP_AND, unary(OP_COMPL, A()), unary(OP_COMPL, B())), "(~ (| a:i b:i):i):i", ""),
        TC("~a | ~b", bin(OP_OR, unary(OP_COMPL, A()), unary(OP_COMPL, B())), "(~ (& a:i b:i):i):i", ""),
        TC("-a + -b", bin(OP_ADD, unary(OP_NEG, A()), unary(OP_NEG, B())), "(neg (+ a:i b:i):i):i", ""),
        TC("-a - -b is b - a", bin(OP_SUB, unary(OP_NEG, A()), unary(OP_NEG, B())), "(- b:i a:i):i", ""),
        TC("-a * -b", bin(OP_MUL, unary(OP_NEG, A()), unary(OP_NEG, B())), "(* a:i b:i):i", ""),
        TC("-a / -b", bin(OP_DIV, unary(OP_NEG, A()), unary(OP_NEG, B())), "(/ a:i b:i):i", ""),
        TC("1 - bit", bin(OP_SUB, num(1), use(bit)), "(^ bit:bits1@3 1:i):ui", ""),
        TC("1 - wide stays", bin(OP_SUB, num(1), use(wide)), "(- 1:i wide:bits2@3):ui", ""),
        // f o (b p c), with the factor moved right as the leaf it is.
        TC("a*b + a*c", bin(OP_ADD, bin(OP_MUL, A(), B()), bin(OP_MUL, A(), C())), "(* (+ b:i c:i):i a:i):i", ""),
        TC("a*b + c*a", bin(OP_ADD, bin(OP_MUL, A(), B()), bin(OP_MUL, C(), A())), "(* (+ b:i c:i):i a:i):i", ""),
        {"b*a - a*c keeps the order", [&] { return bin(OP_SUB, bin(OP_MUL, B(), A()), bin(OP_MUL, A(), C())); },
         "(* (- b:i c:i):i a:i):i", ""},
        TC("a*b - c*a", bin(OP_SUB, bin(OP_MUL, A(), B()), bin(OP_MUL, C(), A())), "(* (- b:i c:i):i a:i):i", ""),
        TC("b*a - c*a", bin(OP_SUB, bin(OP_MUL, B(), A()), bin(OP_MUL, C(), A())), "(* (- b:i c:i):i a:i):i", ""),
        {"(a & b) | (a & c)", [&] { return bin(OP_OR, bin(OP_AND, A(), B()), bin(OP_AND, A(), C())); },
         "(& (| b:i c:i):i a:i):i", ""},
        {"(b & a) ^ (c & a)", [&] { return bin(OP_XOR, bin(OP_AND, B(), A()), bin(OP_AND, C(), A())); },
         "(& (^ b:i c:i):i a:i):i", ""},
        TC("(a | b) & (a | c)", bin(OP_AND, bin(OP_OR, A(), B()), bin(OP_OR, A(), C())), "(| (& b:i c:i):i a:i):i", ""),
        {"the inner sum keeps the type of the right operand",
         [&] { return bin(OP_ADD, bin(OP_MUL, A(), use(u)), bin(OP_MUL, A(), B())); },
         "(* (+ u:ui b:i):i a:i):i", ""},
        {"an unsigned right operand", [&] { return bin(OP_ADD, bin(OP_MUL, A(), B()), bin(OP_MUL, A(), use(u))); },
         "(* (+ b:i u:ui):ui a:i):ui", ""},
        {"a*b + a*b is a doubling", [&] { return bin(OP_ADD, bin(OP_MUL, A(), B()), bin(OP_MUL, A(), B())); },
         "(<< (* a:i b:i):i 1:i):i", ""},
        {"a call is no common factor", [&] { return bin(OP_ADD, bin(OP_MUL, call(f), B()), bin(OP_MUL, call(f), C())); },
         "(+ (* (call &f:i()):i b:i):i (* (call &f:i()):i c:i):i):i", ""},
        {"(a << 2) & (b << 2)", [&] { return bin(OP_AND, bin(OP_SHL, A(), num(2)), bin(OP_SHL, B(), num(2))); },
         "(<< (& a:i b:i):i 2:i):i", ""},
        {"(a >> c) | (b >> c)", [&] { return bin(OP_OR, bin(OP_SHR, A(), C()), bin(OP_SHR, B(), C())); },
         "(>> (| a:i b:i):i c:i):i", ""},
        {"unequal counts stay", [&] { return bin(OP_XOR, bin(OP_SHL, A(), num(1)), bin(OP_SHL, B(), num(2))); },
         "(^ (<< a:i 1:i):i (<< b:i 2:i):i):i", ""},
    };
    RUN(cases);
}

TEST_F(ArithFold, RealsFoldIntoPooledConstants) {
    Symbol *d = var("d", &type_double);
    const TreeCase cases[] = {
        TC("1.5 + 2", bin(OP_ADD, real(1.5), num(2)), "3.5r:d", ""),
        TC("5 / 2.0", bin(OP_DIV, num(5), real(2.0)), "2.5r:d", ""),
        TC("-1 * 0.5 takes the integer as signed", bin(OP_MUL, num(-1), real(0.5)), "-0.5r:d", ""),
        TC("float constants stay float", bin(OP_SUB, real(1.5, &type_float), real(0.25, &type_float)), "1.25r:f", ""),
        TC("1.0 / 0.0 is noted", bin(OP_DIV, real(1.0), real(0.0)), "(/ 1r:d 0!div:d):d", ""),
        TC("1.0 / 0 is noted", bin(OP_DIV, real(1.0), num(0)), "(/ 1r:d 0!div:i):d", ""),
        TC("d / 0.0 is noted", bin(OP_DIV, use(d), real(0.0)), "(/ d:d 0!div:d):d", ""),
        {"1.5 % 2.0 is reported and keeps the left value", [&] { return bin(OP_MOD, real(1.5), real(2.0)); },
         "1.5r:d", "invalid floating point operation\n"},
    };
    RUN(cases);
    // Folding consumes one use of each pooled operand.
    ExprNode *left = real(7.25);
    ExprNode *right = real(0.125);
    real(7.25);   // a second use of each value
    real(0.125);
    uint16_t left_uses = left->literal->extra_uses;
    uint16_t right_uses = right->literal->extra_uses;
    StringConst *left_literal = left->literal;
    StringConst *right_literal = right->literal;
    EXPECT_EQ(tree(bin(OP_ADD, left, right)), "7.375r");
    EXPECT_EQ(left_literal->extra_uses, left_uses - 1);
    EXPECT_EQ(right_literal->extra_uses, right_uses - 1);
}

TEST_F(ArithFold, ConstantsMoveRight) {
    Symbol *x = var("x", &type_int);
    Symbol *y = var("y", &type_int);
    Symbol *d = var("d", &type_double);
    const TreeCase cases[] = {
        TC("3 + x", bin(OP_ADD, num(3), use(x)), "(+ x:i 3:i):i", ""),
        TC("3 + x + 4", bin(OP_ADD, bin(OP_ADD, num(3), use(x)), num(4)), "(+ x:i 7:i):i{N}", ""),
        TC("3 ^ x", bin(OP_XOR, num(3), use(x)), "(^ x:i 3:i):i", ""),
        TC("3 - x stays", bin(OP_SUB, num(3), use(x)), "(- 3:i x:i):i", ""),
        {"x * (y + 1) puts the leaf right",
         [&] { return bin(OP_MUL, use(x), bin(OP_ADD, use(y), num(1))); }, "(* (+ y:i 1:i):i x:i):i", ""},
        TC("2.0 * d", bin(OP_MUL, real(2.0), use(d)), "(* d:d 2r:d):d", ""),
        TC("x + y stays", bin(OP_ADD, use(x), use(y)), "(+ x:i y:i):i", ""),
    };
    RUN(cases);
}

TEST_F(ArithFold, NonConstantRightOperand) {
    Symbol *x = var("x", &type_int);
    Symbol *c = var("c", &type_char);
    Symbol *d = var("d", &type_double);
    Symbol *ul = var("ul", &type_ulong);
    Symbol *v = var("v", &type_int, SC_STATIC, ATTR_VOLATILE);
    Symbol *f = var("f", function(&type_int));
    const TreeCase cases[] = {
        TC("0 / x", bin(OP_DIV, num(0), use(x)), "0:i", ""),
        TC("0 % ul keeps the type", bin(OP_MOD, num(0), use(ul)), "0:ul", ""),
        TC("0 / d is an int", bin(OP_DIV, num(0), use(d)), "0:i", ""),
        TC("0 / f() keeps the call", bin(OP_DIV, num(0), call(f)), "(, (call &f:i()):i 0:i):i", ""),
        TC("0 - x", bin(OP_SUB, num(0), use(x)), "(neg x:i):i", ""),
        TC("0u - x stays unsigned", bin(OP_SUB, num(0, &type_uint), use(x)), "(cast (neg x:i):i):ui", ""),
        TC("0 - (x - c) is c - x", bin(OP_SUB, num(0), bin(OP_SUB, use(x), use(c))), "(- c:c x:i):i", ""),
        TC("x / x", bin(OP_DIV, use(x), use(x)), "1:i", ""),
        TC("d / d", bin(OP_DIV, use(d), use(d)), "1:i", ""),
        TC("x % x", bin(OP_MOD, use(x), use(x)), "0:i", ""),
        TC("x ^ x", bin(OP_XOR, use(x), use(x)), "0:i", ""),
        TC("x - x", bin(OP_SUB, use(x), use(x)), "0:i", ""),
        TC("d - d", bin(OP_SUB, use(d), use(d)), "0:i", ""),
        TC("volatile v - v", bin(OP_SUB, use(v), use(v)), "0:i", ""),
        TC("x | x", bin(OP_OR, use(x), use(x)), "x:i{N}", ""),
        TC("c & c", bin(OP_AND, use(c), use(c)), "(cast c:c):i{N}", ""),
        TC("x + x", bin(OP_ADD, use(x), use(x)), "(<< x:i 1:i):i", ""),
        TC("d + d stays", bin(OP_ADD, use(d), use(d)), "(+ d:d d:d):d", ""),
        {"(int)c - c", [&] {
             ExprNode *widened = new_expr(OP_CAST);
             widened->left = use(c);
             widened->type = &type_int;
             return bin(OP_SUB, cast_expr(widened), use(c));
         },
         "0:i", ""},
        TC("f() + f() stays", bin(OP_ADD, call(f), call(f)), "(+ (call &f:i()):i (call &f:i()):i):i", ""),
        {"(x << 2) + (x << 2)", [&] { return bin(OP_ADD, bin(OP_SHL, use(x), num(2)), bin(OP_SHL, use(x), num(2))); },
         "(<< x:i 3:i):i{N}", ""},
    };
    RUN(cases);
}

TEST_F(ArithFold, IntegerConstantsFoldIn32Bits) {
    struct Case {
        int32_t l;
        TypeNode *lt;
        int op;
        int32_t r;
        TypeNode *rt;
        int32_t value;
        const char *type;
    };
    const int32_t lowest = INT32_MIN;
    const Case cases[] = {
        {7, &type_int, OP_DIV, 2, &type_int, 3, "i"},
        {-7, &type_int, OP_DIV, 2, &type_int, -3, "i"},
        {-7, &type_int, OP_MOD, 2, &type_int, -1, "i"},
        {-1, &type_int, OP_DIV, 2, &type_uint, 0x7FFFFFFF, "ui"},
        {-1, &type_uint, OP_MOD, 10, &type_long, 5, "ui"},
        {lowest, &type_int, OP_DIV, -1, &type_int, lowest, "i"},
        {lowest, &type_int, OP_MOD, -1, &type_int, 0, "i"},
        {lowest, &type_long, OP_DIV, -1, &type_long, lowest, "l"},
        {0x7FFFFFFF, &type_int, OP_ADD, 1, &type_int, lowest, "i"},
        {lowest, &type_int, OP_SUB, 1, &type_int, 0x7FFFFFFF, "i"},
        {65536, &type_int, OP_MUL, 65536, &type_int, 0, "i"},
        {-8, &type_int, OP_SHR, 1, &type_int, -4, "i"},
        {-8, &type_uint, OP_SHR, 1, &type_int, 0x7FFFFFFC, "ui"},
        {1, &type_int, OP_SHL, 31, &type_int, lowest, "i"},
        {3, &type_int, OP_SHL, 2, &type_long, 12, "i"},
        {3, &type_int, OP_SHL, 2, &type_ulong, 12, "ul"},
        {0xF0, &type_int, OP_AND, 0x3C, &type_int, 0x30, "i"},
        {0xF0, &type_int, OP_OR, 0x0F, &type_int, 0xFF, "i"},
        {0xFF, &type_int, OP_XOR, 0x0F, &type_int, 0xF0, "i"},
        {5, &type_char, OP_SUB, 7, &type_uchar, -2, "i"},
    };
    for (const Case &c : cases) {
        ExprNode *e = bin(c.op, num(c.l, c.lt), num(c.r, c.rt));
        ASSERT_EQ(e->op, OP_LEAF) << c.l << " " << tree_print::op_text(c.op) << " " << c.r;
        EXPECT_EQ(e->value, c.value) << c.l << " " << tree_print::op_text(c.op) << " " << c.r;
        EXPECT_EQ(type_text(e->type), c.type) << c.l << " " << tree_print::op_text(c.op) << " " << c.r;
    }
    EXPECT_EQ(messages.take(), "");
    // Counts beyond the width warn and fold by their low five bits.
    EXPECT_EQ(tree(bin(OP_SHL, num(1), num(33))), "2");
    EXPECT_EQ(tree(bin(OP_SHR, num(-16), num(-1))), "-1");
    EXPECT_EQ(messages.take(), "shift count out of range\nshift count out of range\n");
}

TEST_F(ArithFold, ZeroDivisorsAreNotedNotReported) {
    Symbol *x = var("x", &type_int);
    Symbol *l = var("l", &type_long);
    Token here{};
    here.line = 42;
    here.column = 7;
    Token *saved = last_token;
    last_token = &here;
    ExprNode *quotient = bin(OP_DIV, num(1), num(0));
    EXPECT_EQ(typed(quotient), "(/ 1:i 0!div:i):i");
    ASSERT_NE(quotient->right->position, nullptr);
    EXPECT_EQ(quotient->right->position->line, 42u);
    EXPECT_EQ(quotient->right->position->column, 7);
    here.line = 43;
    ExprNode *remainder = bin(OP_MOD, use(x), num(0));
    EXPECT_EQ(typed(remainder), "(% x:i 0!mod:i):i");
    EXPECT_EQ(remainder->right->position->line, 43u);
    EXPECT_EQ(typed(bin(OP_MOD, num(5), num(0))), "(% 5:i 0!mod:i):i");
    // The node is returned at once: a long division by zero is no loop cost.
    EXPECT_EQ(typed(bin(OP_DIV, use(l), num(0, &type_long))), "(/ l:l 0!div:l):l");
    EXPECT_EQ(func_state.loop_has_long_div, 0);
    last_token = saved;
    EXPECT_EQ(messages.take(), "");
}

TEST_F(ArithFold, ConstantRightOperand) {
    Symbol *x = var("x", &type_int);
    Symbol *u = var("u", &type_uint);
    Symbol *c = var("c", &type_char);
    Symbol *uc = var("uc", &type_uchar);
    Symbol *v = var("v", &type_int, SC_STATIC, ATTR_VOLATILE);
    Symbol *f = var("f", function(&type_int));
    Symbol *g = var("g", &type_int, SC_STATIC, ATTR_FAR);
    Symbol *n = var("n", &type_int);
    auto cast_to_int = [](ExprNode *e) {
        ExprNode *cast = new_expr(OP_CAST);
        cast->left = e;
        cast->type = &type_int;
        return cast_expr(cast);
    };
    const TreeCase cases[] = {
        {"(int)&g + 4 with a far address", [&] { return bin(OP_ADD, cast_to_int(unary(OP_ADDR, use(g))), num(4)); },
         "(cast &g+4:i*f):i", ""},
        {"(int)&n - 2 with a near address and a char constant",
         [&] { return bin(OP_SUB, cast_to_int(unary(OP_ADDR, use(n))), num(2, &type_char)); },
         "(cast &n-2:i*):i", ""},
        {"(int)&n + 4 wider than the address stays",
         [&] { return bin(OP_ADD, cast_to_int(unary(OP_ADDR, use(n))), num(4)); },
         "(+ (cast &n:i*):i 4:i):i", ""},
        TC("x << 0", bin(OP_SHL, use(x), num(0)), "x:i{N}", ""),
        TC("x >> 0", bin(OP_SHR, use(x), num(0)), "x:i{N}", ""),
        TC("x ^ 0", bin(OP_XOR, use(x), num(0)), "x:i{N}", ""),
        TC("x | 0", bin(OP_OR, use(x), num(0)), "x:i{N}", ""),
        TC("c + 0 converts", bin(OP_ADD, use(c), num(0)), "(cast c:c):i{N}", ""),
        TC("x - 0", bin(OP_SUB, use(x), num(0)), "x:i{N}", ""),
        TC("x * 0", bin(OP_MUL, use(x), num(0)), "0:i", ""),
        TC("u & 0 keeps the type", bin(OP_AND, use(u), num(0)), "0:ui", ""),
        TC("f() * 0 keeps the call", bin(OP_MUL, call(f), num(0)), "(, (call &f:i()):i 0:i):i", ""),
        TC("v & 0 keeps the volatile read", bin(OP_AND, use(v), num(0)), "(, v:i 0:i):i", ""),
        TC("(5 - x) + 3", bin(OP_ADD, bin(OP_SUB, num(5), use(x)), num(3)), "(- 8:i x:i):i", ""),
        TC("(5 - x) - 5", bin(OP_SUB, bin(OP_SUB, num(5), use(x)), num(5)), "(neg x:i):i", ""),
        TC("x / 1", bin(OP_DIV, use(x), num(1)), "x:i{N}", ""),
        TC("x * 1", bin(OP_MUL, use(x), num(1)), "x:i{N}", ""),
        TC("x % 1", bin(OP_MOD, use(x), num(1)), "0:i", ""),
        TC("f() % 1 keeps the call", bin(OP_MOD, call(f), num(1)), "(, (call &f:i()):i 0:i):i", ""),
        TC("x << 1 stays", bin(OP_SHL, use(x), num(1)), "(<< x:i 1:i):i", ""),
        TC("x * -1", bin(OP_MUL, use(x), num(-1)), "(neg x:i):i", ""),
        TC("x / -1", bin(OP_DIV, use(x), num(-1)), "(neg x:i):i", ""),
        TC("u / -1 stays", bin(OP_DIV, use(u), num(-1)), "(/ u:ui -1:i):ui", ""),
        TC("x ^ -1", bin(OP_XOR, use(x), num(-1)), "(~ x:i):i", ""),
        TC("u ^ -1", bin(OP_XOR, use(u), num(-1)), "(~ u:ui):ui", ""),
        TC("x | -1", bin(OP_OR, use(x), num(-1)), "-1:i", ""),
        TC("u | -1", bin(OP_OR, use(u), num(-1)), "-1:ui", ""),
        TC("u & -1", bin(OP_AND, use(u), num(-1)), "u:ui{N}", ""),
        TC("x * 8", bin(OP_MUL, use(x), num(8)), "(<< x:i 3:i):i", ""),
        TC("uc * 256", bin(OP_MUL, use(uc), num(256)), "(<< uc:uc 8:i):i", ""),
        TC("x * 6 stays", bin(OP_MUL, use(x), num(6)), "(* x:i 6:i):i", ""),
        TC("u / 8", bin(OP_DIV, use(u), num(8)), "(>> u:ui 3:i):ui", ""),
        TC("x / 8u", bin(OP_DIV, use(x), num(8, &type_uint)), "(>> x:i 3:ui):ui", ""),
        TC("x / 8 stays", bin(OP_DIV, use(x), num(8)), "(/ x:i 8:i):i", ""),
        TC("uc / 256 is 0", bin(OP_DIV, use(uc), num(256)), "0:i", ""),
        TC("u % 8", bin(OP_MOD, use(u), num(8)), "(& u:ui 7:i):ui", ""),
        TC("x % 8 stays", bin(OP_MOD, use(x), num(8)), "(% x:i 8:i):i", ""),
        TC("uc % 256 is uc", bin(OP_MOD, use(uc), num(256, &type_uint)), "(cast uc:uc):ui{N}", ""),
        TC("x << 32", bin(OP_SHL, use(x), num(32)), "0:i", "shift count out of range\n"),
        {"f() << 40 keeps the call", [&] { return bin(OP_SHL, call(f), num(40)); },
         "(, (call &f:i()):i 0:i):i", "shift count out of range\n"},
        TC("uc >> 8", bin(OP_SHR, use(uc), num(8)), "0:i", ""),
        TC("uc >> 7 stays", bin(OP_SHR, use(uc), num(7)), "(>> uc:uc 7:i):i", ""),
        TC("c >> 8 stays", bin(OP_SHR, use(c), num(8)), "(>> c:c 8:i):i", ""),
        TC("u >> 32", bin(OP_SHR, use(u), num(32)), "0:ui", "shift count out of range\n"),
        TC("uc | 0xFF", bin(OP_OR, use(uc), num(0xFF)), "255:i", ""),
        TC("uc | 0x1FF", bin(OP_OR, use(uc), num(0x1FF)), "255:i", ""),
        TC("uc | 0x7F stays", bin(OP_OR, use(uc), num(0x7F)), "(| uc:uc 127:i):i", ""),
        TC("uc & 0xFF", bin(OP_AND, use(uc), num(0xFF)), "(cast uc:uc):i{N}", ""),
        TC("uc & 0x7F stays", bin(OP_AND, use(uc), num(0x7F)), "(& uc:uc 127:i):i", ""),
    };
    RUN(cases);
}

TEST_F(ArithFold, MasksNarrowBitFields) {
    Symbol *field = var("field", bit_field(TY_INT_BITS, 4, 5));
    Symbol *small = var("small", bit_field(TY_CHAR_BITS, 1, 3));
    const TreeCase cases[] = {
        TC("field & 7", bin(OP_AND, use(field), num(7)), "field:bits3@4{N}", ""),
        TC("field & 1", bin(OP_AND, use(field), num(1)), "field:bits1@4{N}", ""),
        TC("field & 0x1F covers the field", bin(OP_AND, use(field), num(0x1F)), "(cast field:bits5@4):ui{N}", ""),
        TC("field & 6 stays", bin(OP_AND, use(field), num(6)), "(& field:bits5@4 6:i):ui", ""),
        TC("field | 0x1F", bin(OP_OR, use(field), num(0x1F)), "31:ui", ""),
        TC("small % 4", bin(OP_MOD, use(small), num(4)), "small:bits2@1{N}", ""),
    };
    RUN(cases);
    // The field's own type is not changed for its other uses.
    EXPECT_EQ(type_text(field->type), "bits5@4");
}

TEST_F(ArithFold, ConstantsGatherOverTwoLevels) {
    Symbol *x = var("x", &type_int);
    Symbol *u = var("u", &type_uint);
    Symbol *l = var("l", &type_long);
    Symbol *f = var("f", function(&type_int));
    auto X = [&] { return use(x); };
    const TreeCase cases[] = {
        TC("(x + 1) + 2", bin(OP_ADD, bin(OP_ADD, X(), num(1)), num(2)), "(+ x:i 3:i):i{N}", ""),
        TC("(x + 1) - 2", bin(OP_SUB, bin(OP_ADD, X(), num(1)), num(2)), "(- x:i 1:i):i{N}", ""),
        TC("(x + 1) - 1", bin(OP_SUB, bin(OP_ADD, X(), num(1)), num(1)), "x:i{N}", ""),
        TC("(x - 1) - 2", bin(OP_SUB, bin(OP_SUB, X(), num(1)), num(2)), "(- x:i 3:i):i{N}", ""),
        TC("(x - 3) + 1", bin(OP_ADD, bin(OP_SUB, X(), num(3)), num(1)), "(- x:i 2:i):i{N}", ""),
        TC("(x - 1) + 3", bin(OP_ADD, bin(OP_SUB, X(), num(1)), num(3)), "(+ x:i 2:i):i{N}", ""),
        TC("(f() + 1) - 1 keeps the call", bin(OP_SUB, bin(OP_ADD, call(f), num(1)), num(1)), "(call &f:i()):i{N}", ""),
        TC("(x + 1) + 2u widens", bin(OP_ADD, bin(OP_ADD, X(), num(1)), num(2, &type_uint)), "(+ x:i 3:ui):ui{N}", ""),
        TC("(u + 1) + 2", bin(OP_ADD, bin(OP_ADD, use(u), num(1)), num(2)), "(+ u:ui 3:ui):ui{N}", ""),
        TC("(x * 3) * 5", bin(OP_MUL, bin(OP_MUL, X(), num(3)), num(5)), "(* x:i 15:i):i{N}", ""),
        TC("(x * 6) / 3", bin(OP_DIV, bin(OP_MUL, X(), num(6)), num(3)), "(* x:i 2:i):i{N}", ""),
        TC("(x * 3) / 3", bin(OP_DIV, bin(OP_MUL, X(), num(3)), num(3)), "x:i{N}", ""),
        TC("(x * -6) / 3", bin(OP_DIV, bin(OP_MUL, X(), num(-6)), num(3)), "(* x:i -2:i):i{N}", ""),
        TC("(x * 6) / 4 stays", bin(OP_DIV, bin(OP_MUL, X(), num(6)), num(4)), "(/ (* x:i 6:i):i 4:i):i", ""),
        TC("(x / 2) / 3", bin(OP_DIV, bin(OP_DIV, X(), num(2)), num(3)), "(/ x:i 6:i):i{N}", ""),
        {"(x / 65536) / 65536 stays", [&] { return bin(OP_DIV, bin(OP_DIV, X(), num(65536)), num(65536)); },
         "(/ (/ x:i 65536:i):i 65536:i):i", ""},
        TC("(x << 2) << 3", bin(OP_SHL, bin(OP_SHL, X(), num(2)), num(3)), "(<< x:i 5:i):i{N}", ""),
        TC("(x >> 1) >> 2", bin(OP_SHR, bin(OP_SHR, X(), num(1)), num(2)), "(>> x:i 3:i):i{N}", ""),
        TC("(u / 4) / 2 as shifts", bin(OP_DIV, bin(OP_DIV, use(u), num(4)), num(2)), "(>> u:ui 3:ui):ui{N}", ""),
        TC("(x << 2) >> 1 stays", bin(OP_SHR, bin(OP_SHL, X(), num(2)), num(1)), "(>> (<< x:i 2:i):i 1:i):i", ""),
        TC("(x + 3) << 1", bin(OP_SHL, bin(OP_ADD, X(), num(3)), num(1)), "(+ (<< x:i 1:i):i 6:i):i", ""),
        TC("2 * (x + 3)", bin(OP_MUL, num(2), bin(OP_ADD, X(), num(3))), "(+ (<< x:i 1:i):i 6:i):i", ""),
        TC("(x - 3) * 5", bin(OP_MUL, bin(OP_SUB, X(), num(3)), num(5)), "(- (* x:i 5:i):i 15:i):i", ""),
        TC("(3 + l) << 1", bin(OP_SHL, bin(OP_ADD, num(3), use(l)), num(1)), "(+ (<< l:l 1:i):l 6:i):l", ""),
        {"(3 + l) * 5 of unequal types stays", [&] { return bin(OP_MUL, bin(OP_ADD, num(3), use(l)), num(5)); },
         "(* (+ l:l 3:i):l 5:i):i", ""},
        {"(x & 12) & 5 is not gathered", [&] { return bin(OP_AND, bin(OP_AND, X(), num(12)), num(5)); },
         "(& (& x:i 12:i):i 5:i):i", ""},
    };
    RUN(cases);
}

TEST_F(ArithFold, ConstantMinusASum) {
    Symbol *x = var("x", &type_int);
    auto X = [&] { return use(x); };
    const TreeCase cases[] = {
        TC("10 - (x + 3)", bin(OP_SUB, num(10), bin(OP_ADD, X(), num(3))), "(- 7:i x:i):i{N}", ""),
        TC("3 - (x + 3)", bin(OP_SUB, num(3), bin(OP_ADD, X(), num(3))), "(neg x:i):i{N}", ""),
        TC("10 - (4 - x)", bin(OP_SUB, num(10), bin(OP_SUB, num(4), X())), "(+ x:i 6:i):i{N}", ""),
        TC("4 - (4 - x)", bin(OP_SUB, num(4), bin(OP_SUB, num(4), X())), "x:i{N}", ""),
        TC("10 - (x - 3)", bin(OP_SUB, num(10), bin(OP_SUB, X(), num(3))), "(- 13:i x:i):i{N}", ""),
        TC("-3 - (x - 3)", bin(OP_SUB, num(-3), bin(OP_SUB, X(), num(3))), "(neg x:i):i{N}", ""),
        TC("10 - (x * 3) stays", bin(OP_SUB, num(10), bin(OP_MUL, X(), num(3))), "(- 10:i (* x:i 3:i):i):i", ""),
    };
    RUN(cases);
}

TEST_F(ArithFold, FinalSteps) {
    Symbol *d = var("d", &type_double);
    Symbol *fl = var("fl", &type_float);
    Symbol *i = var("i", &type_int);
    Symbol *l = var("l", &type_long);
    Symbol *ul = var("ul", &type_ulong);
    Symbol *u = var("u", &type_uint);
    const TreeCase cases[] = {
        TC("d + 1 stores 1.0", bin(OP_ADD, use(d), num(1)), "(+ d:d 1r:d):d", ""),
        TC("1 + d likewise", bin(OP_ADD, num(1), use(d)), "(+ d:d 1r:d):d", ""),
        TC("fl * 3 stores a float", bin(OP_MUL, use(fl), num(3)), "(* fl:f 3r:f):f", ""),
        TC("2 - d keeps its integer", bin(OP_SUB, num(2), use(d)), "(- 2:i d:d):d", ""),
    };
    RUN(cases);

    struct Division {
        const char *what;
        std::function<ExprNode *()> build;
        uint16_t long_div;
    };
    const Division divisions[] = {
        {"l / l", [&] { return bin(OP_DIV, use(l), use(l)); }, 0},   // folds to 1
        {"l / i is an int division", [&] { return bin(OP_DIV, use(l), use(i)); }, 0},
        {"i / l", [&] { return bin(OP_DIV, use(i), use(l)); }, 1},
        {"ul % 3", [&] { return bin(OP_MOD, use(ul), num(3)); }, 1},
        {"u % 3", [&] { return bin(OP_MOD, use(u), num(3)); }, 0},
        {"fl / fl2", [&] { return bin(OP_DIV, use(fl), use(var("fl2", &type_float))); }, 1},
        {"d / 3", [&] { return bin(OP_DIV, use(d), num(3)); }, 0},
        {"i * l", [&] { return bin(OP_MUL, use(i), use(l)); }, 0},
    };
    for (const Division &c : divisions) {
        func_state.loop_has_long_div = 0;
        c.build();
        EXPECT_EQ(func_state.loop_has_long_div, c.long_div) << c.what;
    }
    // Under -f every double is a float, and its divisions count.
    opt_f = 1;
    type_double.code = TY_FLOAT;
    func_state.loop_has_long_div = 0;
    bin(OP_DIV, use(d), num(3));
    EXPECT_EQ(func_state.loop_has_long_div, 1);
    EXPECT_EQ(messages.take(), "");
}

} // namespace
