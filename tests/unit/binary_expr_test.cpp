// Typing of binary operators: the entry checks, the usual arithmetic
// conversions, shifts, && and ||, ?:, pointer arithmetic, comparisons with
// their folds and range test, and the split of `x = y = 0`.
#include "binary_test_support.h"
#include "stmt/stmt_node.h"

using namespace binary_test;

namespace {

using BinaryExpr = OperatorTest;

// ---------------------------------------------------------------------------

TEST_F(BinaryExpr, EntryRefusesVoidAndStructOperands) {
    Symbol *i = var("i", &type_int);
    Symbol *s = var("s", structure());
    Symbol *v = var("vf", function(&type_void));
    Symbol *arr = var("arr", array(&type_int, 4));
    const TreeCase cases[] = {
        TC("void left", bin(OP_ADD, call(v), use(i)), "(+ (call &vf:v()):v i:i):v", "illegal void operation\n"),
        {"void right, moved left", [&] { return bin(OP_MUL, use(i), call(v)); }, "(* (call &vf:v()):v i:i):v",
         "illegal void operation\n"},
        {"struct left refused, keeps its type", [&] { return bin(OP_ADD, use(s), num(1)); },
         "(+ s:struct 1:i):struct", "incompatible struct/union operation\n"},
        TC("struct right passes the entry", bin(OP_ADD, num(1), use(s)), "(+ s:struct 1:i):struct", ""),
        {"struct compared", [&] { return bin(OP_EQ, use(s), use(s)); }, "(== s:struct s:struct):struct",
         "incompatible struct/union operation\n"},
        TC("array decays", bin(OP_ADD, use(arr), num(1)), "&arr+4:i*", ""),
    };
    RUN(cases);
    // A missing operand leaves the node as it is.
    EXPECT_EQ(binary_expr(nullptr), nullptr);
    ExprNode *lonely = new_expr(OP_ADD);
    lonely->left = use(i);
    lonely->right = nullptr;
    lonely->type = nullptr;
    EXPECT_EQ(binary_expr(lonely), lonely);
    EXPECT_EQ(messages.take(), "");
}

TEST_F(BinaryExpr, UsualArithmeticConversions) {
    struct Case {
        TypeNode *left, *right;
        const char *result;
    };
    TypeNode *int_bits = bit_field(TY_INT_BITS, 0, 5);
    const Case cases[] = {
        {&type_char, &type_short, "i"},     {&type_uchar, &type_ushort, "i"},
        {&type_int, &type_int, "i"},        {&type_int, &type_long, "l"},
        {&type_long, &type_int, "i"},       {&type_uint, &type_long, "ui"},
        {&type_long, &type_uint, "ui"},     {&type_uint, &type_ulong, "ul"},
        {&type_ulong, &type_uint, "ui"},    {&type_int, &type_ulong, "ul"},
        {&type_long, &type_ulong, "ul"},    {&type_ulong, &type_int, "ul"},
        {&type_ulong, &type_long, "ul"},    {&type_int, &type_float, "f"},
        {&type_float, &type_int, "f"},      {&type_float, &type_float, "f"},
        {&type_float, &type_double, "d"},   {&type_double, &type_float, "d"},
        {int_bits, &type_int, "ui"},        {&type_char, int_bits, "ui"},
    };
    for (const Case &c : cases) {
        ExprNode *e = bin(OP_SUB, use(var("a", c.left)), use(var("b", c.right)));
        EXPECT_EQ(type_text(e->type), c.result) << type_text(c.left) << " - " << type_text(c.right);
        // No conversion nodes around the operands.
        EXPECT_EQ(e->left->op, OP_LEAF);
        EXPECT_EQ(e->right->op, OP_LEAF);
    }
    // Under -f a double is a float.
    opt_f = 1;
    type_double.code = TY_FLOAT;
    ExprNode *e = bin(OP_ADD, use(var("a", &type_float)), use(var("b", &type_double)));
    EXPECT_EQ(e->type->code, TY_FLOAT);
    type_double.code = TY_DOUBLE;
    EXPECT_EQ(messages.take(), "");
}

TEST_F(BinaryExpr, ShiftsTakeTheLeftTypeAndCheckTheCount) {
    Symbol *x = var("x", &type_int);
    Symbol *c = var("c", &type_char);
    Symbol *u = var("u", &type_ushort);
    Symbol *l = var("l", &type_long);
    Symbol *d = var("d", &type_double);
    Symbol *p = var("p", pointer(&type_char));
    const TreeCase cases[] = {
        TC("char promoted, long count stays a constant", bin(OP_SHR, use(c), num(2, &type_long)), "(>> c:c 2:l):i", ""),
        TC("long variable count is converted", bin(OP_SHR, use(u), use(l)), "(>> u:us (cast l:l):i):i", ""),
        TC("count 31 is in range", bin(OP_SHL, use(x), num(31)), "(<< x:i 31:i):i", ""),
        TC("count 32 is out of range", bin(OP_SHL, use(x), num(32)), "0:i", "shift count out of range\n"),
        TC("negative count", bin(OP_SHR, use(x), num(-1)), "(>> x:i -1:i):i", "shift count out of range\n"),
        TC("1 << 32 folds by the low five bits", bin(OP_SHL, num(1), num(32)), "1:i", "shift count out of range\n"),
        TC("real count", bin(OP_SHL, use(x), use(d)), "(<< x:i (cast d:d):i):i", "invalid shift count type\n"),
        {"pointer count is pointer arithmetic", [&] { return bin(OP_SHL, use(x), use(p)); }, "(<< x:i p:c*):c*",
         "invalid pointer operation\n"},
        TC("real shifted", bin(OP_SHL, use(d), num(1)), "(<< d:d 1r:d):d", "invalid floating point operation\n"),
    };
    RUN(cases);
    // With warnings off the count is not reported.
    opt_ck = 0;
    EXPECT_EQ(tree(bin(OP_SHL, use(x), num(40))), "0");
    EXPECT_EQ(messages.take(), "");
}

TEST_F(BinaryExpr, RealOperators) {
    Symbol *d = var("d", &type_double);
    Symbol *i = var("i", &type_int);
    const TreeCase cases[] = {
        TC("% of reals", bin(OP_MOD, use(d), use(d)), "0:d", "invalid floating point operation\n"),
        TC("& with a real", bin(OP_AND, use(i), use(d)), "(& i:i d:d):d", "invalid floating point operation\n"),
        TC("+ is fine", bin(OP_ADD, use(i), use(d)), "(+ i:i d:d):d", ""),
    };
    RUN(cases);
}

TEST_F(BinaryExpr, ComplementAgainstItself) {
    Symbol *x = var("x", &type_uchar);
    Symbol *y = var("y", &type_uint);
    Symbol *v = var("v", &type_int, SC_STATIC, ATTR_VOLATILE);
    Symbol *f = var("f", function(&type_int));
    const TreeCase cases[] = {
        TC("x & ~x", bin(OP_AND, use(x), unary(OP_COMPL, use(x))), "0:i", ""),
        TC("~y | y takes the promoted left type", bin(OP_OR, unary(OP_COMPL, use(y)), use(y)), "-1:ui", ""),
        TC("volatile is read twice", bin(OP_AND, use(v), unary(OP_COMPL, use(v))), "(& (~ v:i):i v:i):i", ""),
        {"calls are not the same", [&] { return bin(OP_OR, call(f), unary(OP_COMPL, call(f))); },
         "(| (call &f:i()):i (~ (call &f:i()):i):i):i", ""},
    };
    RUN(cases);
}

// make_test turns a constant into its truth value by a folded comparison
// with 0; until the expression parser provides it, a stand-in only wraps
// the constant, and the rules for constant operands cannot be reached.
bool tests_fold_constants() {
    ExprNode *slot = num(5);
    make_test(&slot);
    return slot != nullptr && slot->op == OP_LEAF && slot->value == 1;
}

TEST_F(BinaryExpr, LogicalOperators) {
    Symbol *a = var("a", &type_int);
    Symbol *b = var("b", &type_int);
    Symbol *x = var("x", &type_int);
    Symbol *s = var("s", structure());
    auto lt = [&] { return bin(OP_LT, use(a), use(b)); };
    const TreeCase cases[] = {
        TC("x && x", bin(OP_LOGAND, use(x), use(x)), "(!= x:i 0:i):i", ""),
        TC("x || a<b stays", bin(OP_LOGOR, use(x), lt()), "(|| (!= x:i 0:i):i (< a:i b:i):i):i", ""),
        // Pairs of comparisons of a and b: CombinationTablesFollowTheOutcomes.
        {"by position only", [&] { return bin(OP_LOGAND, lt(), bin(OP_GT, use(b), use(a))); },
         "(&& (< a:i b:i):i (> b:i a:i):i):i", ""},
        {"struct operand", [&] { return bin(OP_LOGOR, use(s), use(x)); }, "(|| s:struct x:i):struct",
         "incompatible struct/union operation\n"},
        {"struct on the right", [&] { return bin(OP_LOGOR, use(x), use(s)); },
         "(|| (!= x:i 0:i):i s:struct):i", "invalid conditional operand\n"},
    };
    RUN(cases);
}

TEST_F(BinaryExpr, LogicalOperatorsWithConstants) {
    if (!tests_fold_constants())
        GTEST_SKIP() << "make_test does not fold constant tests in this build";
    Symbol *a = var("a", &type_int);
    Symbol *b = var("b", &type_int);
    Symbol *x = var("x", &type_int);
    Symbol *f = var("f", function(&type_int));
    auto lt = [&] { return bin(OP_LT, use(a), use(b)); };
    const TreeCase cases[] = {
        TC("1 && 0", bin(OP_LOGAND, num(1), num(0)), "0:i", ""),
        TC("2 || 0", bin(OP_LOGOR, num(2), num(0)), "1:i", ""),
        TC("0 && f() drops the call", bin(OP_LOGAND, num(0), call(f)), "0:i", ""),
        TC("1 || f() drops the call", bin(OP_LOGOR, num(1), call(f)), "1:i", ""),
        TC("1 && a<b is the comparison", bin(OP_LOGAND, num(1), lt()), "(< a:i b:i):i", ""),
        TC("0 || x tests x", bin(OP_LOGOR, num(0), use(x)), "(!= x:i 0:i):i", ""),
        TC("x && 0 is 0", bin(OP_LOGAND, use(x), num(0)), "0:i", ""),
        TC("f() && 0 stays", bin(OP_LOGAND, call(f), num(0)), "(&& (!= (call &f:i()):i 0:i):i 0:i):i", ""),
        TC("x || 3 is 1", bin(OP_LOGOR, use(x), num(3)), "1:i", ""),
        TC("a<b && 1 is the comparison", bin(OP_LOGAND, lt(), num(1)), "(< a:i b:i):i", ""),
        TC("f() || 0 tests the call", bin(OP_LOGOR, call(f), num(0)), "(!= (call &f:i()):i 0:i):i", ""),
    };
    RUN(cases);
}

TEST_F(BinaryExpr, CombinationTablesFollowTheOutcomes) {
    // Every pair of comparisons, against the truth over the three outcomes.
    Symbol *a = var("a", &type_int);
    Symbol *b = var("b", &type_int);
    auto accepts = [](int op, int order) {
        switch (op) {
        case OP_LT: return order < 0;
        case OP_GE: return order >= 0;
        case OP_GT: return order > 0;
        case OP_LE: return order <= 0;
        case OP_EQ: return order == 0;
        default: return order != 0;
        }
    };
    for (int logical : {OP_LOGAND, OP_LOGOR})
        for (int l = OP_LT; l <= OP_NE; l++)
            for (int r = OP_LT; r <= OP_NE; r++) {
                ExprNode *e = bin(logical, bin(l, use(a), use(b)), bin(r, use(a), use(b)));
                for (int order = -1; order <= 1; order++) {
                    bool want = logical == OP_LOGAND ? accepts(l, order) && accepts(r, order)
                                                     : accepts(l, order) || accepts(r, order);
                    bool got;
                    if (e->op == OP_LEAF) {
                        got = e->value != 0;
                    } else {
                        ASSERT_GE(e->op, OP_LT);
                        ASSERT_LE(e->op, OP_NE);
                        EXPECT_EQ(tree(e->left), "a");
                        got = accepts(e->op, order);
                    }
                    EXPECT_EQ(got, want) << tree_print::op_text(l) << " " << tree_print::op_text(logical) << " "
                                         << tree_print::op_text(r) << " at order " << order;
                }
            }
    EXPECT_EQ(messages.take(), "");
}

TEST_F(BinaryExpr, ConditionalOperator) {
    Symbol *x = var("x", &type_char);
    Symbol *y = var("y", &type_long);
    Symbol *i = var("i", &type_int);
    Symbol *p = var("p", pointer(&type_int));
    Symbol *cp = var("cp", pointer(&type_int, ATTR_CONST));
    Symbol *vp = var("vp", pointer(&type_int, ATTR_VOLATILE));
    Symbol *s = var("s", structure());
    const TreeCase cases[] = {
        TC("tie goes to the third operand", cond(use(i), use(y), use(i)), "(?: (!= i:i 0:i):i y:l i:i):i", ""),
        TC("wider middle", cond(use(i), use(i), use(x)), "(?: (!= i:i 0:i):i i:i x:c):i", ""),
        TC("pointer and 0", cond(use(i), use(p), num(0)), "(?: (!= i:i 0:i):i p:i* 0:i):i*", ""),
        TC("0 and pointer", cond(use(i), num(0), use(p)), "(?: (!= i:i 0:i):i 0:i p:i*):i*", ""),
        {"pointer and 1", [&] { return cond(use(i), use(p), num(1)); }, "(?: (!= i:i 0:i):i p:i* 1:i):i*",
         "incompatible operand types\n"},
        TC("const and volatile merge", cond(use(i), use(cp), use(vp)), "(?: (!= i:i 0:i):i cp:i*c vp:i*v):i*cv", ""),
        {"struct and int", [&] { return cond(use(i), use(s), use(i)); },
         "(?: (!= i:i 0:i):i s:struct i:i):struct", "incompatible operand types\n"},
        {"struct test", [&] { return cond(use(s), use(i), use(i)); }, "(?: s:struct i:i i:i):struct",
         "incompatible struct/union operation\n"},
    };
    RUN(cases);
}

TEST_F(BinaryExpr, ConditionalWithConstantTest) {
    if (!tests_fold_constants())
        GTEST_SKIP() << "make_test does not fold constant tests in this build";
    Symbol *x = var("x", &type_char);
    Symbol *y = var("y", &type_ulong);
    Symbol *l = var("l", &type_long);
    Symbol *i = var("i", &type_int);
    Symbol *f = var("f", function(&type_int));
    Symbol *bits = var("bits", bit_field(TY_INT_BITS, 2, 3));
    const TreeCase cases[] = {
        TC("1 ? x : y converts x to the wider type", cond(num(1), use(x), use(y)), "(cast x:c):ul", ""),
        TC("1 ? x : l, int and long rank alike", cond(num(1), use(x), use(l)), "(cast x:c):i", ""),
        TC("0 ? x : l", cond(num(0), use(x), use(l)), "(cast l:l):i", ""),
        TC("1 ? i : i is no lvalue", cond(num(1), use(i), use(i)), "i:i{N}", ""),
        TC("0 ? f() : y drops the call", cond(num(0), call(f), use(y)), "y:ul{N}", ""),
        TC("constant operands stay constants", cond(num(1), num(2), num(3)), "2:i", ""),
        TC("a bit-field keeps its type", cond(num(1), use(bits), use(i)), "bits:bits3@2{N}", ""),
    };
    RUN(cases);
}

TEST_F(BinaryExpr, PointerArithmetic) {
    Symbol *p = var("p", pointer(&type_int));
    Symbol *q = var("q", pointer(&type_int));
    Symbol *cp = var("cp", pointer(&type_char));
    Symbol *cq = var("cq", pointer(&type_char));
    Symbol *vp = var("vp", pointer(&type_void));
    Symbol *fp = var("fp", pointer(&type_int, ATTR_FAR));
    Symbol *a = var("a", array(&type_int, 10));
    Symbol *fa = var("fa", array(&type_int, 10), SC_STATIC, ATTR_FAR);
    Symbol *i = var("i", &type_int);
    Symbol *l = var("l", &type_long);
    Symbol *c = var("c", &type_char);
    Symbol *d = var("d", &type_double);
    Symbol *sarg = var("sarg", structure(), SC_ARG);
    Symbol *ca = var("ca", array(&type_char, 10));
    Symbol *m = var("m", array(array(&type_int, 3), 10));
    const TreeCase cases[] = {
        TC("p + 0 is p, no lvalue", bin(OP_ADD, use(p), num(0)), "p:i*{N}", ""),
        TC("0 + p likewise", bin(OP_ADD, num(0), use(p)), "p:i*{N}", ""),
        TC("p + 1 scales", bin(OP_ADD, use(p), num(1)), "(+ p:i* 4:i):i*", ""),
        TC("1 + p swaps", bin(OP_ADD, num(1), use(p)), "(+ p:i* 4:i):i*", ""),
        TC("p - 2", bin(OP_SUB, use(p), num(2)), "(- p:i* 8:i):i*", ""),
        TC("p + i scales by a shift", bin(OP_ADD, use(p), use(i)), "(+ p:i* (<< i:i 2:i):i):i*", ""),
        TC("cp + i is not scaled", bin(OP_ADD, use(cp), use(i)), "(+ cp:c* i:i):c*", ""),
        TC("&a[3] + 2 is one address", bin(OP_ADD, address(a, 12), num(2)), "&a+20:i*", ""),
        TC("a - 1 moves the address back", bin(OP_SUB, use(a), num(1)), "&a-4:i*", ""),
        {"a + (i + 1) moves the constant out", [&] { return bin(OP_ADD, use(a), bin(OP_ADD, use(i), num(1))); },
         "(+ &a+4:i* (<< i:i 2:i):i):i*", ""},
        TC("a + (i - 1)", bin(OP_ADD, use(a), bin(OP_SUB, use(i), num(1))), "(+ &a-4:i* (<< i:i 2:i):i):i*", ""),
        TC("a - (i + 1)", bin(OP_SUB, use(a), bin(OP_ADD, use(i), num(1))), "(- &a-4:i* (<< i:i 2:i):i):i*", ""),
        TC("a + (l + 1)", bin(OP_ADD, use(a), bin(OP_ADD, use(l), num(1))), "(+ &a+4:i* (<< l:l 2:i):i):i*", ""),
        {"a + (1 + l): a long sum under an int scaling", [&] {
             return bin(OP_ADD, use(a), bin(OP_ADD, num(1), use(l)));
         },
         "(+ &a+4:i* (<< l:l 2:i):i):i*", ""},
        TC("a - (1 + l)", bin(OP_SUB, use(a), bin(OP_ADD, num(1), use(l))), "(- &a-4:i* (<< l:l 2:i):i):i*", ""),
        {"m + (1 + l) with rows of 12 bytes", [&] { return bin(OP_ADD, use(m), bin(OP_ADD, num(1), use(l))); },
         "(+ &m+12:i[3]* (* l:l 12:i):i):i[3]*", ""},
        TC("a + (l - 3)", bin(OP_ADD, use(a), bin(OP_SUB, use(l), num(3))), "(+ &a-12:i* (<< l:l 2:i):i):i*", ""),
        {"a + (l + 2) * 3", [&] {
             return bin(OP_ADD, use(a), bin(OP_MUL, bin(OP_ADD, use(l), num(2)), num(3)));
         },
         "(+ &a+24:i* (<< (* l:l 3:i):i 2:i):i):i*", ""},
        {"a struct argument keeps its index", [&] {
             ExprNode *base = address(sarg);
             base->type = pointer(&type_char);
             return bin(OP_ADD, base, bin(OP_ADD, use(i), num(1)));
         },
         "(+ &sarg:c* (+ i:i 1:i):i):c*", ""},
        {"a char cast of the index is dropped", [&] {
             ExprNode *widened = new_expr(OP_CAST);
             widened->left = use(c);
             widened->type = &type_int;
             return bin(OP_ADD, use(ca), cast_expr(widened));
         },
         "(+ &ca:c* c:c):c*", ""},
        TC("&a[2] - &a[0]", bin(OP_SUB, address(a, 8), address(a, 0)), "2:i", ""),
        TC("far difference is long", bin(OP_SUB, address(fa, 8, ATTR_FAR), address(fa, 0, ATTR_FAR)), "2:l", ""),
        TC("p - q divides", bin(OP_SUB, use(p), use(q)), "(/ (- p:i* q:i*):i 4:i):i", ""),
        TC("cp - cq does not", bin(OP_SUB, use(cp), use(cq)), "(- cp:c* cq:c*):i", ""),
        TC("fp - fp is long", bin(OP_SUB, use(fp), use(fp)), "(/ (- fp:i*f fp:i*f):l 4:l):l", ""),
        TC("p - cp", bin(OP_SUB, use(p), use(cp)), "(/ (- p:i* cp:c*):i 4:i):i", "invalid pointer types\n"),
        TC("1 - p", bin(OP_SUB, num(1), use(p)), "(- 1:i p:i*):i*", "invalid pointer operation\n"),
        TC("p * 2", bin(OP_MUL, use(p), num(2)), "(* p:i* 8:i):i*", "invalid pointer operation\n"),
        TC("p + q", bin(OP_ADD, use(p), use(q)), "(+ p:i* q:i*):i*", "invalid pointer operand\n"),
        TC("p + d", bin(OP_ADD, use(p), use(d)), "(+ p:i* d:d):i*", "invalid pointer operand\n"),
        TC("vp + 1", bin(OP_ADD, use(vp), num(1)), "(+ vp:v* 1:i):v*", "invalid void pointer\n"),
        TC("1 + vp", bin(OP_ADD, num(1), use(vp)), "(+ vp:v* 1:i):v*", "invalid void pointer\n"),
        TC("d + p", bin(OP_ADD, use(d), use(p)), "(+ p:i* d:d):i*", "invalid pointer operand\n"),
    };
    RUN(cases);
}

TEST_F(BinaryExpr, ComparisonsFoldAndMoveConstants) {
    Symbol *x = var("x", &type_int);
    Symbol *y = var("y", &type_int);
    Symbol *v = var("v", &type_int, SC_STATIC, ATTR_VOLATILE);
    Symbol *f = var("f", function(&type_int));
    Symbol *d = var("d", &type_double);
    Symbol *p = var("p", pointer(&type_int));
    Symbol *cp = var("cp", pointer(&type_char));
    const TreeCase cases[] = {
        TC("5 > x", bin(OP_GT, num(5), use(x)), "(< x:i 5:i):i", ""),
        TC("5 <= x", bin(OP_LE, num(5), use(x)), "(>= x:i 5:i):i", ""),
        TC("5 == x", bin(OP_EQ, num(5), use(x)), "(== x:i 5:i):i", ""),
        TC("5 > 3", bin(OP_GT, num(5), num(3)), "1:i", ""),
        TC("x == x", bin(OP_EQ, use(x), use(x)), "1:i", ""),
        TC("x == y stays", bin(OP_EQ, use(x), use(y)), "(== x:i y:i):i", ""),
        TC("x < x", bin(OP_LT, use(x), use(x)), "0:i", ""),
        TC("x >= x", bin(OP_GE, use(x), use(x)), "1:i", ""),
        TC("volatile v == v stays", bin(OP_EQ, use(v), use(v)), "(== v:i v:i):i", ""),
        TC("f() != f() stays", bin(OP_NE, call(f), call(f)), "(!= (call &f:i()):i (call &f:i()):i):i", ""),
        TC("p == 0", bin(OP_EQ, use(p), num(0)), "(== p:i* 0:i):i", ""),
        TC("0 == p", bin(OP_EQ, num(0), use(p)), "(== p:i* 0:i):i", ""),
        TC("p == 1", bin(OP_EQ, use(p), num(1)), "(== p:i* 1:i):i", "incompatible compare types\n"),
        TC("p == cp", bin(OP_EQ, use(p), use(cp)), "(== p:i* cp:c*):i", "incompatible compare types\n"),
        TC("d > 0.0 compares with the integer 0", bin(OP_GT, use(d), real(0.0)), "(> d:d 0:i):i", ""),
        TC("0.0 < d", bin(OP_LT, real(0.0), use(d)), "(> d:d 0:i):i", ""),
        TC("d > 1.5 stays real", bin(OP_GT, use(d), real(1.5)), "(> d:d 1.5r:d):i", ""),
        TC("1.5 < 2 folds in double", bin(OP_LT, real(1.5), num(2)), "1:i", ""),
        TC("2 < 1.5", bin(OP_LT, num(2), real(1.5)), "0:i", ""),
        TC("-1 <= -1.0", bin(OP_LE, num(-1), real(-1.0)), "1:i", ""),
    };
    RUN(cases);
}

TEST_F(BinaryExpr, IntegerConstantComparisonsBySign) {
    struct Case {
        int32_t l;
        TypeNode *lt;
        int op;
        int32_t r;
        TypeNode *rt;
        int32_t plain, ansi;
    };
    const Case cases[] = {
        {-1, &type_int, OP_LT, 1, &type_uint, 1, 0},
        {-1, &type_int, OP_GT, 1, &type_uint, 0, 1},
        {-1, &type_int, OP_EQ, -1, &type_uint, 0, 1},
        {-1, &type_int, OP_NE, -1, &type_uint, 1, 0},
        {1, &type_uint, OP_GT, -1, &type_int, 1, 0},
        {-2, &type_int, OP_LT, -1, &type_int, 1, 1},
        {-1, &type_int, OP_LT, 2, &type_int, 1, 1},
        {int32_t(0x80000000), &type_uint, OP_GT, 1, &type_uint, 1, 1},
        {3, &type_uint, OP_GE, 3, &type_ulong, 1, 1},
        {int32_t(0xFFFF0000), &type_long, OP_LT, 5, &type_long, 1, 1},
    };
    for (const Case &c : cases) {
        for (int sa = 0; sa <= 1; sa++) {
            opt_sa = sa;
            ExprNode *e = bin(c.op, num(c.l, c.lt), num(c.r, c.rt));
            ASSERT_EQ(e->op, OP_LEAF);
            EXPECT_EQ(e->value, sa ? c.ansi : c.plain)
                << c.l << " " << tree_print::op_text(c.op) << " " << c.r << (sa ? " -sa" : "");
            EXPECT_EQ(type_text(e->type), "i");
        }
    }
    // Pointer constants are addresses: unsigned.
    ExprNode *e = bin(OP_GT, num(int32_t(0xFFFF0000), pointer(&type_char, ATTR_FAR)),
                      num(16, pointer(&type_char, ATTR_FAR)));
    EXPECT_EQ(tree(e), "1");
    EXPECT_EQ(messages.take(), "");
}

TEST_F(BinaryExpr, ComparisonsWithZeroAndOne) {
    Symbol *a = var("a", &type_int);
    Symbol *b = var("b", &type_int);
    Symbol *f = var("f", function(&type_int));
    Symbol *bit = var("bit", bit_field(TY_INT_BITS, 3, 1));
    Symbol *u = var("u", &type_uint);
    Symbol *i = var("i", &type_int);
    auto lt = [&] { return bin(OP_LT, use(a), use(b)); };
    const TreeCase cases[] = {
        TC("(a<b) == 0", bin(OP_EQ, lt(), num(0)), "(>= a:i b:i):i", ""),
        TC("(a<b) <= 0", bin(OP_LE, lt(), num(0)), "(>= a:i b:i):i", ""),
        TC("(a<b) != 0", bin(OP_NE, lt(), num(0)), "(< a:i b:i):i", ""),
        TC("(a<b) > 0", bin(OP_GT, lt(), num(0)), "(< a:i b:i):i", ""),
        TC("(a<b) < 0", bin(OP_LT, lt(), num(0)), "0:i", ""),
        TC("(a<b) >= 0", bin(OP_GE, lt(), num(0)), "1:i", ""),
        {"(f()<b) < 0 keeps the call", [&] { return bin(OP_LT, bin(OP_LT, call(f), use(b)), num(0)); },
         "(, (< (call &f:i()):i b:i):i 0:i):i", ""},
        TC("(a<b) == 1", bin(OP_EQ, lt(), num(1)), "(< a:i b:i):i", ""),
        TC("(a<b) >= 1", bin(OP_GE, lt(), num(1)), "(< a:i b:i):i", ""),
        TC("(a<b) != 1", bin(OP_NE, lt(), num(1)), "(>= a:i b:i):i", ""),
        TC("(a<b) < 1", bin(OP_LT, lt(), num(1)), "(>= a:i b:i):i", ""),
        TC("(a<b) > 1", bin(OP_GT, lt(), num(1)), "0:i", ""),
        TC("(a<b) <= 1", bin(OP_LE, lt(), num(1)), "1:i", ""),
        TC("bit == 1", bin(OP_EQ, use(bit), num(1)), "(!= bit:bits1@3 0:i):i", ""),
        TC("bit != 1", bin(OP_NE, use(bit), num(1)), "(== bit:bits1@3 0:i):i", ""),
        TC("bit < 1", bin(OP_LT, use(bit), num(1)), "(== bit:bits1@3 0:i):i", ""),
        TC("bit >= 1", bin(OP_GE, use(bit), num(1)), "(!= bit:bits1@3 0:i):i", ""),
        TC("bit > 1", bin(OP_GT, use(bit), num(1)), "(< bit:bits1@3 0:i):i", ""),
        TC("bit <= 1", bin(OP_LE, use(bit), num(1)), "(>= bit:bits1@3 0:i):i", ""),
        TC("i >= 1 is i > 0", bin(OP_GE, use(i), num(1)), "(> i:i 0:i):i", ""),
        TC("u < 1 is u == 0", bin(OP_LT, use(u), num(1)), "(== u:ui 0:i):i", ""),
        TC("i < 1 stays", bin(OP_LT, use(i), num(1)), "(< i:i 1:i):i", ""),
        TC("i <= -1 is i < 0", bin(OP_LE, use(i), num(-1)), "(< i:i 0:i):i", ""),
        TC("u >= 1 is u > 0", bin(OP_GE, use(u), num(1)), "(> u:ui 0:i):i", ""),
    };
    RUN(cases);
}

TEST_F(BinaryExpr, RangeOfTheLeftType) {
    Symbol *uc = var("uc", &type_uchar);
    Symbol *c = var("c", &type_char);
    Symbol *s = var("s", &type_short);
    Symbol *us = var("us", &type_ushort);
    Symbol *i = var("i", &type_int);
    Symbol *u = var("u", &type_uint);
    Symbol *field = var("field", bit_field(TY_INT_BITS, 0, 4));
    Symbol *fc = var("fc", function(&type_char));
    const char *warn = "compare out of range\n";
    const TreeCase cases[] = {
        {"uc < 256", [&] { return bin(OP_LT, use(uc), num(256)); }, "1:i", warn},
        TC("uc < 255", bin(OP_LT, use(uc), num(255)), "(< uc:uc 255:i):i", ""),
        {"uc <= 255", [&] { return bin(OP_LE, use(uc), num(255)); }, "1:i", warn},
        {"uc > 255", [&] { return bin(OP_GT, use(uc), num(255)); }, "0:i", warn},
        {"uc == -1", [&] { return bin(OP_EQ, use(uc), num(-1)); }, "0:i", warn},
        {"uc != 300", [&] { return bin(OP_NE, use(uc), num(300)); }, "1:i", warn},
        {"uc < 0", [&] { return bin(OP_LT, use(uc), num(0)); }, "0:i", warn},
        {"uc >= 0", [&] { return bin(OP_GE, use(uc), num(0)); }, "1:i", warn},
        TC("uc > 0 stays", bin(OP_GT, use(uc), num(0)), "(> uc:uc 0:i):i", ""),
        TC("uc == 0 stays", bin(OP_EQ, use(uc), num(0)), "(== uc:uc 0:i):i", ""),
        TC("uc <= 0 stays", bin(OP_LE, use(uc), num(0)), "(<= uc:uc 0:i):i", ""),
        {"c > 127", [&] { return bin(OP_GT, use(c), num(127)); }, "0:i", warn},
        {"c <= 127", [&] { return bin(OP_LE, use(c), num(127)); }, "1:i", warn},
        TC("c < 127 stays", bin(OP_LT, use(c), num(127)), "(< c:c 127:i):i", ""),
        {"c < -128", [&] { return bin(OP_LT, use(c), num(-128)); }, "0:i", warn},
        {"c >= -128", [&] { return bin(OP_GE, use(c), num(-128)); }, "1:i", warn},
        TC("c > -128 stays", bin(OP_GT, use(c), num(-128)), "(> c:c -128:i):i", ""),
        {"c > -129", [&] { return bin(OP_GT, use(c), num(-129)); }, "1:i", warn},
        {"c == -129", [&] { return bin(OP_EQ, use(c), num(-129)); }, "0:i", warn},
        TC("c < 0 stays", bin(OP_LT, use(c), num(0)), "(< c:c 0:i):i", ""),
        TC("c == (char)255 is -1", bin(OP_EQ, use(c), num(255, &type_char)), "(== c:c 255:c):i", ""),
        {"s > 32767", [&] { return bin(OP_GT, use(s), num(32767)); }, "0:i", warn},
        {"us < 65536", [&] { return bin(OP_LT, use(us), num(65536)); }, "1:i", warn},
        {"field > 15", [&] { return bin(OP_GT, use(field), num(15)); }, "0:i", warn},
        TC("field < 15 stays", bin(OP_LT, use(field), num(15)), "(< field:bits4@0 15:i):i", ""),
        {"i < 0x80000000u", [&] { return bin(OP_LT, use(i), num(int32_t(0x80000000), &type_uint)); }, "1:i", warn},
        TC("i < 5u stays", bin(OP_LT, use(i), num(5, &type_uint)), "(< i:i 5:ui):i", ""),
        TC("i < 5 stays", bin(OP_LT, use(i), num(5)), "(< i:i 5:i):i", ""),
        {"u < -1", [&] { return bin(OP_LT, use(u), num(-1)); }, "0:i", warn},
        {"u > -5", [&] { return bin(OP_GT, use(u), num(-5)); }, "1:i", warn},
        {"u < 0", [&] { return bin(OP_LT, use(u), num(0)); }, "0:i", warn},
        {"u >= 0", [&] { return bin(OP_GE, use(u), num(0)); }, "1:i", warn},
        TC("u < 0u stays", bin(OP_LT, use(u), num(0, &type_uint)), "(< u:ui 0:ui):i", ""),
        TC("u != 0 stays", bin(OP_NE, use(u), num(0)), "(!= u:ui 0:i):i", ""),
        {"fc() < 1000 keeps the call", [&] { return bin(OP_LT, call(var("fc2", fc->type)), num(1000)); },
         "(, (call &fc2:c()):c 1:i):i", warn},
    };
    RUN(cases);
    // The rewrite happens at every warning level.
    opt_ck = 0;
    EXPECT_EQ(tree(bin(OP_LT, use(uc), num(256))), "1");
    // -sa changes only the folding of two constants.
    opt_sa = 1;
    EXPECT_EQ(tree(bin(OP_LT, use(u), num(-1))), "0");
    EXPECT_EQ(messages.take(), "");
}

TEST_F(BinaryExpr, NarrowOperandsOfMixedSign) {
    Symbol *c = var("c", &type_char);
    Symbol *uc = var("uc", &type_uchar);
    Symbol *s = var("s", &type_short);
    Symbol *us = var("us", &type_ushort);
    Symbol *i = var("i", &type_int);
    Symbol *u = var("u", &type_uint);
    const TreeCase cases[] = {
        TC("c < uc", bin(OP_LT, use(c), use(uc)), "(< (cast c:c):i (cast uc:uc):i):i", ""),
        TC("us == s", bin(OP_EQ, use(us), use(s)), "(== (cast us:us):i (cast s:s):i):i", ""),
        TC("c < s, different widths", bin(OP_LT, use(c), use(s)), "(< c:c s:s):i", ""),
        TC("c < c2, one sign", bin(OP_LT, use(c), use(var("c2", &type_char))), "(< c:c c2:c):i", ""),
        TC("i < u, full width", bin(OP_LT, use(i), use(u)), "(< i:i u:ui):i", ""),
    };
    RUN(cases);
}

TEST_F(BinaryExpr, ChainedAssignmentOfZeroIsTakenApart) {
    Symbol *x = var("x", &type_int);
    Symbol *y = var("y", &type_char);
    Symbol *d = var("d", &type_double);
    auto assign = [](ExprNode *l, ExprNode *r) { return bin(OP_ASSIGN, l, r); };
    EXPECT_EQ(typed(assign(use(x), assign(use(y), num(0)))), "(, (= y:c 0:i):c (= x:i 0:i):i):i");
    EXPECT_EQ(typed(assign(use(d), assign(use(x), num(0)))), "(, (= x:i 0:i):i (= d:d 0r:d):d):d");
    EXPECT_EQ(tree(assign(use(x), assign(use(y), num(1)))), "(= x (= y 1))");
    // Behind a comma on the right.
    ExprNode *comma = new_expr(OP_COMMA);
    comma->left = use(d);
    comma->right = assign(use(y), num(0));
    comma->type = &type_char;
    EXPECT_EQ(tree(assign(use(x), comma)), "(, (, d (= y 0)) (= x 0))");
    EXPECT_EQ(messages.take(), "");
}

TEST_F(BinaryExpr, DeepChainsDoNotRecurse) {
    // A long chain of additions of one pointer base folds into one leaf,
    // and a long chain of mixed terms types without trouble.
    Symbol *a = var("a", array(&type_char, 100000));
    Symbol *i = var("i", &type_int);
    ExprNode *e = use(a);
    for (int n = 0; n < 10000; n++)
        e = bin(OP_ADD, e, num(1));
    EXPECT_EQ(tree(e), "&a+10000");
    ExprNode *sum = use(i);
    for (int n = 0; n < 10000; n++)
        sum = bin(n % 2 ? OP_ADD : OP_SUB, sum, n % 3 ? use(i) : num(n));
    EXPECT_EQ(sum->op, OP_ADD);
    EXPECT_EQ(messages.take(), "");
}

TEST_F(BinaryExpr, RandomTreesAlwaysGetATypedResult) {
    // Operands of every kind, extreme constants among them, combined by
    // every operator three levels deep: each result is a typed tree, and
    // the sanitizer build finds any undefined arithmetic on the way.
    Symbol *f = var("f", function(&type_int));
    Symbol *syms[] = {
        var("i", &type_int),          var("u", &type_uint),
        var("c", &type_char),         var("uc", &type_uchar),
        var("l", &type_long),         var("d", &type_double),
        var("p", pointer(&type_int)), var("vp", pointer(&type_void)),
        var("fp", pointer(&type_char, ATTR_FAR)),
        var("b", bit_field(TY_INT_BITS, 2, 1)),
        var("w", bit_field(TY_SHORT_BITS, 0, 7)),
        var("s", structure()),        var("a", array(&type_int, 3)),
    };
    const int32_t constants[] = {0, 1, -1, 2, 31, 32, 255, 256, INT32_MIN, INT32_MAX, 8, -8};
    const int ops[] = {OP_ADD, OP_SUB, OP_MUL, OP_DIV, OP_MOD, OP_SHL, OP_SHR, OP_AND, OP_OR, OP_XOR,
                       OP_LT, OP_GE, OP_GT, OP_LE, OP_EQ, OP_NE, OP_LOGAND, OP_LOGOR};
    uint32_t seed = 12345;
    auto next = [&](uint32_t n) {
        seed = seed * 1103515245u + 12345u;
        return (seed >> 8) % n;
    };
    std::function<ExprNode *(int)> build = [&](int depth) -> ExprNode * {
        uint32_t kind = depth == 0 ? next(4) : next(7);
        switch (kind) {
        case 0:
            return num(constants[next(sizeof constants / sizeof constants[0])],
                       next(3) == 0 ? &type_uint : &type_int);
        case 1:
        case 2:
            return use(syms[next(sizeof syms / sizeof syms[0])]);
        case 3:
            return next(2) ? real(next(2) ? 0.0 : 2.5) : call(f);
        case 4:
            return unary(next(2) ? OP_NEG : OP_COMPL, build(depth - 1));
        case 5:
            return cond(build(depth - 1), build(depth - 1), build(depth - 1));
        default:
            return bin(ops[next(sizeof ops / sizeof ops[0])], build(depth - 1), build(depth - 1));
        }
    };
    for (int n = 0; n < 20000; n++) {
        ExprNode *e = bin(ops[next(sizeof ops / sizeof ops[0])], build(2), build(2));
        ASSERT_NE(e, nullptr);
        ASSERT_NE(e->type, nullptr) << typed(e);
        if (n % 512 == 0)
            messages.take();
    }
    messages.take();
}

} // namespace
