// Expression nodes: constant leaves and their tests, the comparison and
// negation of trees, the decay of arrays and functions, the unary
// operators and casts with the folds and rewrites they make while typing.
#include <cstdlib>

#include "binary_test_support.h"

using namespace binary_test;

namespace {

TypeNode *enumeration(TypeNode *representation) {
    TypeNode *type = new_type(TY_ENUM, representation);
    type->tag = nullptr;
    type->members = nullptr;
    return type;
}

ExprNode *str(const char *text) {
    ExprNode *e = new_expr(OP_LEAF);
    unsigned length = unsigned(std::strlen(text));
    e->literal = pool_string(text, length);
    e->value = 0;
    e->lflags = LEAF_LITERAL;
    e->type = array(&type_char, int32_t(length + 1));
    return e;
}

// An operator node with its type given by hand, as if it had been typed.
ExprNode *node(int op, ExprNode *left, ExprNode *right, TypeNode *type) {
    ExprNode *e = new_expr(op);
    e->left = left;
    e->right = right;
    e->type = type;
    return e;
}

ExprNode *cast(TypeNode *type, ExprNode *operand) {
    ExprNode *e = new_expr(OP_CAST);
    e->left = operand;
    e->type = type;
    return cast_expr(e);
}

class ExprNodes : public ::testing::Test {
protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }
    static void reset() {
        opt_sa = opt_np = opt_cc = opt_ck = opt_f = 0;
        in_member_access = 0;
        std::memset(func_defaults, 0, sizeof func_defaults);
        std::memset(data_defaults, 0, sizeof data_defaults);
        const_defaults = func_defaults;
    }
    Messages messages;
};

// ---------------------------------------------------------------------------

TEST_F(ExprNodes, ConstantLeavesAndTheirTests) {
    ExprNode *e = make_int_const(nullptr, -7);
    EXPECT_EQ(typed(e), "-7:i");
    EXPECT_EQ(e->sym, nullptr);
    // An operator node becomes a leaf in place.
    ExprNode *op = node(OP_ADD, num(1), num(2), &type_long);
    EXPECT_EQ(make_int_const(op, 3), op);
    EXPECT_EQ(typed(op), "3:i");

    Symbol *x = var("x", &type_int);
    ExprNode *address = use(x);
    address->lflags = LEAF_ADDRESS;
    address->type = pointer(&type_int);
    ExprNode *pointer_const = num(0x100, pointer(&type_char));
    ExprNode *absolute = num(0x100);
    absolute->lflags = LEAF_ABSOLUTE;
    ExprNode *function_leaf = use(var("fn", function(&type_int)));
    function_leaf->lflags = LEAF_ADDRESS;
    ExprNode *marked_zero = num(0);
    marked_zero->lflags |= LF_ZERO_DIVIDE;

    struct Case {
        const char *what;
        ExprNode *e;
        bool int_const, int_or_pointer, real_const, address_const;
    };
    const Case cases[] = {
        {"int constant", num(5), true, true, false, false},
        {"unsigned long constant", num(5, &type_ulong), true, true, false, false},
        {"char constant", num(5, &type_char), true, true, false, false},
        {"marked zero", marked_zero, true, true, false, false},
        {"pointer constant", pointer_const, false, true, false, true},
        {"variable", use(x), false, false, false, false},
        {"address of x", address, false, false, false, true},
        {"absolute contents", absolute, false, false, false, false},
        {"real constant", real(1.5), false, false, true, false},
        {"float constant", real(1.5, &type_float), false, false, true, false},
        {"real variable", use(var("d", &type_double)), false, false, false, false},
        {"function designator", function_leaf, false, false, false, true},
        {"operator", node(OP_ADD, num(1), num(2), &type_int), false, false, false, false},
        {"null", nullptr, false, false, false, false},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(is_int_const(c.e), c.int_const) << c.what;
        EXPECT_EQ(is_int_or_pointer_const(c.e), c.int_or_pointer) << c.what;
        EXPECT_EQ(is_real_const(c.e), c.real_const) << c.what;
        EXPECT_EQ(is_address_const(c.e), c.address_const) << c.what;
    }
}

TEST_F(ExprNodes, RealConstantsArePooledDoubles) {
    ExprNode *a = real(2.5);
    ExprNode *b = real(2.5);
    EXPECT_EQ(a->literal, b->literal);   // one pool entry per value
    EXPECT_EQ(a->literal->length, 8u);
    EXPECT_EQ(real_value(a), 2.5);
    uint16_t uses = a->literal->extra_uses;
    ASSERT_GE(uses, 1);
    drop_literal_use(a->literal);
    EXPECT_EQ(a->literal->extra_uses, uses - 1);
    // A use count never wraps below zero.
    ExprNode *once = real(123.25);
    uint16_t base = once->literal->extra_uses;
    for (int i = 0; i <= base; i++)
        drop_literal_use(once->literal);
    EXPECT_EQ(once->literal->extra_uses, 0);
    EXPECT_EQ(real_value(num(3)), 0.0);
}

TEST_F(ExprNodes, NegatedTests) {
    Symbol *a = var("a", &type_int);
    Symbol *b = var("b", &type_int);
    auto cmp = [&](int op) { return node(op, use(a), use(b), &type_int); };
    struct Case {
        const char *what;
        ExprNode *test;
        const char *expected;
    };
    const Case cases[] = {
        {"<", cmp(OP_LT), "(>= a b)"},
        {">=", cmp(OP_GE), "(< a b)"},
        {">", cmp(OP_GT), "(<= a b)"},
        {"<=", cmp(OP_LE), "(> a b)"},
        {"==", cmp(OP_EQ), "(!= a b)"},
        {"!=", cmp(OP_NE), "(== a b)"},
        {"De Morgan &&", node(OP_LOGAND, cmp(OP_LT), cmp(OP_EQ), &type_int), "(|| (>= a b) (!= a b))"},
        {"De Morgan ||", node(OP_LOGOR, cmp(OP_GT), node(OP_LOGAND, cmp(OP_NE), cmp(OP_LE), &type_int), &type_int),
         "(&& (<= a b) (|| (== a b) (> a b)))"},
        {"comma negates its right only", node(OP_COMMA, cmp(OP_LT), cmp(OP_EQ), &type_int), "(, (< a b) (!= a b))"},
        {"leaf 0", num(0), "1"},
        {"leaf 5", num(5), "0"},
        {"comma over a leaf", node(OP_COMMA, use(a), num(0), &type_int), "(, a 1)"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(tree(negate_test(c.test)), c.expected) << c.what;
}

TEST_F(ExprNodes, SameExpressions) {
    Symbol *a = var("a", &type_int);
    Symbol *b = var("b", &type_int);
    Symbol *v = var("v", &type_int, SC_STATIC, ATTR_VOLATILE);
    Symbol *p = var("p", pointer(&type_int));
    Symbol *vp = var("vp", pointer(&type_int, ATTR_VOLATILE));
    auto bin = [](int op, ExprNode *l, ExprNode *r) { return node(op, l, r, &type_int); };
    auto with_offset = [&](int32_t value) {
        ExprNode *e = use(a);
        e->value = value;
        return e;
    };
    auto marked = [&]() {
        ExprNode *e = use(a);
        e->lflags |= LF_INIT_TARGET;
        return e;
    };
    auto field = [&](uint8_t offset) {
        ExprNode *e = use(a);
        e->type = bit_field(TY_INT_BITS, offset, 3);
        return e;
    };
    auto cond = [&](ExprNode *test, ExprNode *middle, ExprNode *third) {
        ExprNode *e = node(OP_COND, test, third, &type_int);
        e->middle = middle;
        return e;
    };
    auto deref = [&](Symbol *pointer_sym) { return node(OP_DEREF, use(pointer_sym), nullptr, &type_int); };
    struct Case {
        const char *what;
        ExprNode *a, *b;
        int strict;
        bool expected;
    };
    const Case cases[] = {
        {"same variable", use(a), use(a), 1, true},
        {"other variable", use(a), use(b), 1, false},
        {"other offset", with_offset(2), with_offset(4), 1, false},
        {"same constant", num(3), num(3), 1, true},
        {"other constant", num(3), num(4), 1, false},
        {"other type", num(3), num(3, &type_char), 0, false},
        {"address and contents", [&] { ExprNode *e = use(a); e->lflags = LEAF_ADDRESS; return e; }(), use(a), 0, false},
        {"initialisation mark is ignored", marked(), use(a), 1, true},
        {"volatile, loose", use(v), use(v), 0, true},
        {"volatile, strict", use(v), use(v), 1, false},
        {"volatile below an operator is strict", bin(OP_ADD, use(v), num(1)), bin(OP_ADD, use(v), num(1)), 0, false},
        {"volatile below a cast is strict", node(OP_CAST, use(v), nullptr, &type_char),
         node(OP_CAST, use(v), nullptr, &type_char), 0, false},
        {"bit-fields at one place", field(3), field(3), 1, true},
        {"bit-fields at two places", field(3), field(5), 1, false},
        {"pointers of any kind", use(p), [&] { ExprNode *e = use(p); e->type = pointer(&type_char, ATTR_FAR); return e; }(), 1, true},
        {"commutative +", bin(OP_ADD, use(a), use(b)), bin(OP_ADD, use(b), use(a)), 1, true},
        {"commutative &", bin(OP_AND, use(a), use(b)), bin(OP_AND, use(b), use(a)), 1, true},
        {"commutative ==", bin(OP_EQ, use(a), use(b)), bin(OP_EQ, use(b), use(a)), 1, true},
        {"- is not commutative", bin(OP_SUB, use(a), use(b)), bin(OP_SUB, use(b), use(a)), 1, false},
        {"< is not commutative", bin(OP_LT, use(a), use(b)), bin(OP_LT, use(b), use(a)), 1, false},
        {"same difference", bin(OP_SUB, use(a), use(b)), bin(OP_SUB, use(a), use(b)), 1, true},
        {"other operator", bin(OP_ADD, use(a), use(b)), bin(OP_MUL, use(a), use(b)), 1, false},
        {"calls never", node(OP_CALL, use(a), nullptr, &type_int), node(OP_CALL, use(a), nullptr, &type_int), 0, false},
        {"assignments never", bin(OP_ASSIGN, use(a), num(1)), bin(OP_ASSIGN, use(a), num(1)), 0, false},
        {"compound assignments never", bin(OP_ADD_ASSIGN, use(a), num(1)), bin(OP_ADD_ASSIGN, use(a), num(1)), 0,
         false},
        {"post-increments never", bin(OP_POSTINC, use(a), num(1)), bin(OP_POSTINC, use(a), num(1)), 0, false},
        {"deref", deref(p), deref(p), 1, true},
        {"deref of volatile pointer, loose", deref(vp), deref(vp), 0, true},
        {"deref of volatile pointer, strict", deref(vp), deref(vp), 1, false},
        {"conditional", cond(use(a), use(b), num(1)), cond(use(a), use(b), num(1)), 1, true},
        {"conditional, other middle", cond(use(a), use(b), num(1)), cond(use(a), use(a), num(1)), 1, false},
        {"conditional, other third", cond(use(a), use(b), num(1)), cond(use(a), use(b), num(2)), 1, false},
        {"unary", node(OP_NEG, use(a), nullptr, &type_int), node(OP_NEG, use(a), nullptr, &type_int), 1, true},
        {"unary of others", node(OP_NEG, use(a), nullptr, &type_int), node(OP_NEG, use(b), nullptr, &type_int), 1,
         false},
        {"comma", bin(OP_COMMA, use(a), use(b)), bin(OP_COMMA, use(a), use(b)), 1, true},
        {"comma of others", bin(OP_COMMA, use(a), use(b)), bin(OP_COMMA, use(b), use(a)), 1, false},
    };
    for (const Case &c : cases)
        EXPECT_EQ(same_expr(c.a, c.b, c.strict), c.expected) << c.what;
}

TEST_F(ExprNodes, TruncatedConstants) {
    struct Case {
        int32_t value;
        TypeNode *type;
        int32_t expected;
        const char *message;
    };
    const Case cases[] = {
        {300, &type_char, 44, "W1truncating constant cast (0x12c)"},
        {200, &type_char, -56, "W1truncating constant cast (0xc8)"},
        {-56, &type_char, -56, ""},
        {-1, &type_uchar, 255, "W1truncating constant cast (0xffffffff)"},
        {255, &type_uchar, 255, ""},
        {0x18000, &type_short, -32768, "W1truncating constant cast (0x18000)"},
        {-1, &type_ushort, 65535, "W1truncating constant cast (0xffffffff)"},
        {-1, &type_int, -1, ""},
        {0x7FFFFFFF, &type_ulong, 0x7FFFFFFF, ""},
    };
    opt_ck = 1;
    for (const Case &c : cases) {
        ExprNode *e = num(c.value);
        truncate_const(e, c.type, 1);
        EXPECT_EQ(e->value, c.expected) << c.value << " to " << type_text(c.type);
        std::string message = messages.take();
        EXPECT_NE(message.find(c.message + (c.message[0] ? 2 : 0)), std::string::npos)
            << c.value << " to " << type_text(c.type);
        if (c.message[0] == '\0') {
            EXPECT_EQ(message, "");
        }
        // Without warn nothing is reported.
        e = num(c.value);
        truncate_const(e, c.type, 0);
        EXPECT_EQ(e->value, c.expected);
        EXPECT_EQ(messages.take(), "");
    }
    // -cc keeps constants as they are.
    opt_cc = 1;
    ExprNode *e = num(300);
    truncate_const(e, &type_char, 1);
    EXPECT_EQ(e->value, 300);
    EXPECT_EQ(messages.take(), "");
}

TEST_F(ExprNodes, ConversionAddsACastOnlyWhenTypesDiffer) {
    Symbol *i = var("i", &type_int);
    ExprNode *e = use(i);
    EXPECT_EQ(convert_to(e, &type_int), e);
    EXPECT_EQ(convert_to(e, enumeration(&type_int)), e);
    EXPECT_EQ(typed(convert_to(use(i), &type_long)), "(cast i:i):l");
    // Through cast_expr: a constant is converted at once.
    EXPECT_EQ(typed(convert_to(num(300), &type_char)), "44:c");
    EXPECT_EQ(typed(convert_to(num(2), &type_double)), "2r:d");
}

TEST_F(ExprNodes, DecayToPointer) {
    data_defaults[3] = ATTR_FAR;
    func_defaults[3] = ATTR_TINY;
    Symbol *arr = var("arr", array(&type_int, 4), SC_STATIC, ATTR_NEAR);
    Symbol *plain = var("plain", array(&type_short, 4));
    Symbol *fn = var("fn", function(&type_int), SC_EXTERN, ATTR_FUNCTION);
    Symbol *pa = var("pa", pointer(array(&type_char, 3), ATTR_CONST | ATTR_NEAR));
    const TreeCase cases[] = {
        // The object's own space wins over the defaults of pointers.
        {"array variable", [&] { ExprNode *e = use(arr); decay_to_pointer(e); return e; }, "&arr:i*n", ""},
        {"array variable without space",
         [&] { ExprNode *e = use(plain); decay_to_pointer(e); return e; }, "&plain:s*f", ""},
        {"function", [&] { ExprNode *e = use(fn); decay_to_pointer(e); return e; }, "&fn:i()*t", ""},
        {"string literal is const", [&] { ExprNode *e = str("ab"); decay_to_pointer(e); return e; }, "\"ab\":c*tc", ""},
        {"*pa decays to pa",
         [&] {
             ExprNode *e = node(OP_DEREF, use(pa), nullptr, array(&type_char, 3));
             decay_to_pointer(e);
             return e;
         },
         "pa:c*nc", ""},
        {"not an lvalue, without -sa",
         [&] {
             ExprNode *e = use(arr);
             e->eflags |= EF_NOT_LVALUE;
             decay_to_pointer(e);
             return e;
         },
         "&arr:i*n{N}", ""},
    };
    RUN(cases);

    opt_sa = 1;
    const TreeCase strict_cases[] = {
        {"string literal under -sa", [&] { ExprNode *e = str("ab"); decay_to_pointer(e); return e; }, "\"ab\":c*f", ""},
        {"not an lvalue under -sa",
         [&] {
             ExprNode *e = use(arr);
             e->eflags |= EF_NOT_LVALUE;
             decay_to_pointer(e);
             return e;
         },
         "&arr:i*n{N}", "invalid lvalue\n"},
    };
    run_cases(messages, strict_cases, std::size(strict_cases));
}

TEST_F(ExprNodes, ArithmeticUnaryOperators) {
    Symbol *a = var("a", &type_int);
    Symbol *b = var("b", &type_int);
    Symbol *c = var("c", &type_char);
    Symbol *u = var("u", &type_ushort);
    Symbol *d = var("d", &type_double);
    Symbol *p = var("p", pointer(&type_int));
    Symbol *s = var("s", structure());
    const TreeCase cases[] = {
        TC("-5", unary(OP_NEG, num(5)), "-5:i", ""),
        TC("- of the lowest int wraps", unary(OP_NEG, num(INT32_MIN)), "-2147483648:i", ""),
        TC("-1.5", unary(OP_NEG, real(1.5)), "-1.5r:d", ""),
        TC("-a", unary(OP_NEG, use(a)), "(neg a:i):i", ""),
        TC("-c promotes", unary(OP_NEG, use(c)), "(neg c:c):i", ""),
        TC("-u promotes", unary(OP_NEG, use(u)), "(neg u:us):i", ""),
        TC("-d", unary(OP_NEG, use(d)), "(neg d:d):d", ""),
        TC("-(-c) is c, no lvalue, its own type", unary(OP_NEG, unary(OP_NEG, use(c))), "c:c{N}", ""),
        TC("-(a - b) is b - a", unary(OP_NEG, node(OP_SUB, use(a), use(b), &type_int)), "(- b:i a:i):i", ""),
        TC("-p", unary(OP_NEG, use(p)), "(neg p:i*):i*", "invalid operand type\n"),
        TC("-s", unary(OP_NEG, use(s)), "(neg s:struct):struct", "invalid operand type\n"),
        TC("~5", unary(OP_COMPL, num(5)), "-6:i", ""),
        TC("~c promotes", unary(OP_COMPL, use(c)), "(~ c:c):i", ""),
        TC("~~c is c", unary(OP_COMPL, unary(OP_COMPL, use(c))), "c:c{N}", ""),
        TC("~d", unary(OP_COMPL, use(d)), "(~ d:d):d", "invalid operand type\n"),
        TC("~1.5 stays", unary(OP_COMPL, real(1.5)), "(~ 1.5r:d):d", "invalid operand type\n"),
        TC("!0", unary(OP_NOT, num(0)), "1:i", ""),
        TC("!7", unary(OP_NOT, num(7)), "0:i", ""),
        TC("!(a < b)", unary(OP_NOT, node(OP_LT, use(a), use(b), &type_int)), "(>= a:i b:i):i", ""),
        {"!(a && b < a)",
         [&] {
             return unary(OP_NOT, node(OP_LOGAND, node(OP_NE, use(a), num(0), &type_int),
                                       node(OP_LT, use(b), use(a), &type_int), &type_int));
         },
         "(|| (== a:i 0:i):i (>= b:i a:i):i):i", ""},
        TC("!!a is the test of a", unary(OP_NOT, unary(OP_NOT, use(a))), "(!= a:i 0:i):i", ""),
        TC("!s", unary(OP_NOT, use(s)), "(! s:struct):i", "invalid operand type\n"),
        TC("!!s", unary(OP_NOT, unary(OP_NOT, use(s))), "s:struct{N}", "invalid operand type\n"),
    };
    RUN(cases);
}

TEST_F(ExprNodes, NegatingARealConstantMovesItsUse) {
    ExprNode *x = real(6.25);
    StringConst *old_entry = x->literal;
    ExprNode *again = real(6.25);   // a second use of the same value
    (void)again;
    uint16_t uses = old_entry->extra_uses;
    ExprNode *result = unary(OP_NEG, x);
    EXPECT_EQ(result, x);
    EXPECT_EQ(old_entry->extra_uses, uses - 1);
    EXPECT_EQ(real_value(result), -6.25);
}

TEST_F(ExprNodes, IndirectionAndAddress) {
    data_defaults[3] = ATTR_NEAR;
    Symbol *a = var("a", &type_int);
    Symbol *far_a = var("fa", &type_int, SC_STATIC, ATTR_FAR);
    Symbol *r = var("r", &type_int, SC_REGISTER);
    Symbol *ra = var("ra", &type_int, SC_REG_ARG);
    Symbol *arg = var("arg", &type_int, SC_ARG);
    Symbol *p = var("p", pointer(&type_int, ATTR_NEAR));
    Symbol *vp = var("vp", pointer(&type_void));
    Symbol *arr = var("arr", array(&type_short, 3));
    Symbol *fn = var("fn", function(&type_int), SC_EXTERN, ATTR_FUNCTION);
    Symbol *ep = var("ep", pointer(enumeration(&type_uchar)));
    Symbol *s = var("s", structure());
    Symbol *bits = var("bits", bit_field(TY_INT_BITS, 2, 3));
    auto absolute = [](uint16_t attr) { return num(0x100, pointer(&type_char, attr)); };
    auto call = [&](TypeNode *type) { return node(OP_CALL, use(fn), nullptr, type); };
    const TreeCase cases[] = {
        TC("&a is an address leaf", unary(OP_ADDR, use(a)), "&a:i*n", ""),
        TC("*&a is a again", unary(OP_DEREF, unary(OP_ADDR, use(a))), "a:i", ""),
        TC("&*p is p", unary(OP_ADDR, unary(OP_DEREF, use(p))), "p:i*n", ""),
        TC("*p", unary(OP_DEREF, use(p)), "(deref p:i*n):i", ""),
        TC("*&fa keeps the far access", unary(OP_DEREF, unary(OP_ADDR, use(far_a))), "(deref &fa:i*f):i", ""),
        TC("*(char *)0x100 is an absolute access", unary(OP_DEREF, absolute(0)), "@256:c", ""),
        {"retyped address loses the mark",
         [&] {
             ExprNode *e = absolute(0);
             e->eflags |= EF_RETYPED | EF_NOT_LVALUE;
             return unary(OP_DEREF, e);
         },
         "@256:c", ""},
        TC("through a const pointer", unary(OP_DEREF, absolute(ATTR_CONST)), "(deref 256:c*c):c", ""),
        TC("through a volatile pointer", unary(OP_DEREF, absolute(ATTR_VOLATILE)), "(deref 256:c*v):c", ""),
        TC("through a far pointer", unary(OP_DEREF, absolute(ATTR_FAR)), "(deref 256:c*f):c", ""),
        TC("through a user space", unary(OP_DEREF, absolute(0x04)), "(deref 256:c*):c", ""),
        TC("through a near pointer", unary(OP_DEREF, absolute(ATTR_NEAR)), "@256:c", ""),
        {"a function pointer of any kind",
         [&] { return unary(OP_DEREF, num(0x100, pointer(function(&type_int), ATTR_FUNCTION | ATTR_FAR))); },
         "@256:i()", ""},
        TC("*arr is its first element", unary(OP_DEREF, use(arr)), "arr:s", ""),
        TC("*fn is fn", unary(OP_DEREF, use(fn)), "fn:i()", ""),
        TC("*ep reads the enum's integer", unary(OP_DEREF, use(ep)), "(deref ep:enum*):uc", ""),
        TC("*vp", unary(OP_DEREF, use(vp)), "(deref vp:v*):v*", "invalid indirection operand\n"),
        TC("*a", unary(OP_DEREF, use(a)), "(deref a:i):i", "invalid indirection operand\n"),
        {"the result of * is an lvalue",
         [&] {
             ExprNode *e = use(p);
             e->eflags |= EF_NOT_LVALUE;
             ExprNode *d = new_expr(OP_DEREF);
             d->left = e;
             d->eflags |= EF_NOT_LVALUE;
             return unary_expr(d);
         },
         "(deref p:i*n{N}):i", ""},
        TC("&r", unary(OP_ADDR, use(r)), "&r:i*n", "invalid address operand\n"),
        TC("&ra", unary(OP_ADDR, use(ra)), "&ra:i*n", "invalid address operand\n"),
        TC("&arg", unary(OP_ADDR, use(arg)), "&arg:i*n", ""),
        TC("&bits", unary(OP_ADDR, use(bits)), "(addr bits:bits3@2):i*n", "invalid address type\n"),
        TC("&5", unary(OP_ADDR, num(5)), "5:i*n", "invalid address operand\n"),
        {"&(a + 1)", [&] { return unary(OP_ADDR, node(OP_ADD, use(a), num(1), &type_int)); },
         "(addr (+ a:i 1:i):i):i*n", "invalid address expression\n"},
        TC("&f() of a struct", unary(OP_ADDR, call(structure())), "(addr (call fn:i()):struct):struct*n", ""),
        {"&f() of an int", [&] { return unary(OP_ADDR, call(&type_int)); }, "(addr (call fn:i()):i):i*n",
         "invalid address expression\n"},
        {"*&f() is the call", [&] { return unary(OP_DEREF, unary(OP_ADDR, call(structure()))); },
         "(deref (addr (call fn:i()):struct):struct*n):struct", ""},
        {"& of no lvalue",
         [&] {
             ExprNode *e = use(a);
             e->eflags |= EF_NOT_LVALUE;
             return unary(OP_ADDR, e);
         },
         "&a:i*n{N}", "invalid lvalue\n"},
        {"&s.m path: &*(&s) keeps the pointer attributes",
         [&] {
             ExprNode *address = unary(OP_ADDR, use(s));
             address->type->attr |= ATTR_CONST;
             return unary(OP_ADDR, unary(OP_DEREF, node(OP_ADD, address, num(2), address->type)));
         },
         "(+ &s:struct*nc 2:i):struct*nc", ""},
    };
    RUN(cases);
}

TEST_F(ExprNodes, AddressMarksTheSymbolOutsideMemberAccess) {
    data_defaults[3] = ATTR_FAR;
    Symbol *a = var("a", &type_int);
    Symbol *n = var("n", &type_char, SC_STATIC, ATTR_NEAR | ATTR_CONST);
    Symbol *p = var("p", pointer(&type_int));
    ExprNode *e = unary(OP_ADDR, use(a));
    EXPECT_EQ(typed(e), "&a:i*f");
    EXPECT_NE(a->flags & SYM_ADDR_TAKEN, 0u);
    // The object's own attributes go on the pointer; the defaults fill in.
    EXPECT_EQ(typed(unary(OP_ADDR, use(n))), "&n:c*nc");

    in_member_access = 1;
    Symbol *b = var("b", &type_int);
    EXPECT_EQ(typed(unary(OP_ADDR, use(b))), "&b:i*f");
    EXPECT_EQ(b->flags & SYM_ADDR_TAKEN, 0u);
    // Through a pointer: the not-lvalue mark goes for a member access.
    ExprNode *pointer_leaf = use(p);
    pointer_leaf->eflags |= EF_NOT_LVALUE;
    ExprNode *result = unary(OP_ADDR, node(OP_DEREF, pointer_leaf, nullptr, &type_int));
    EXPECT_EQ(typed(result), "p:i*");
    in_member_access = 0;
    pointer_leaf = use(p);
    pointer_leaf->eflags |= EF_NOT_LVALUE;
    result = unary(OP_ADDR, node(OP_DEREF, pointer_leaf, nullptr, &type_int));
    EXPECT_EQ(typed(result), "p:i*{N}");
    EXPECT_EQ(messages.take(), "");
}

TEST_F(ExprNodes, CastsOfConstants) {
    const TreeCase cases[] = {
        TC("(char)300", cast(&type_char, num(300)), "44:c", ""),
        TC("(char)200", cast(&type_char, num(200)), "-56:c", ""),
        TC("(unsigned short)-1", cast(&type_ushort, num(-1)), "65535:us", ""),
        TC("(unsigned char)-1", cast(&type_uchar, num(-1)), "255:uc", ""),
        TC("(short)0x18000", cast(&type_short, num(0x18000)), "-32768:s", ""),
        TC("(long)-1", cast(&type_long, num(-1)), "-1:l", ""),
        TC("(enum)5 takes the integer type", cast(enumeration(&type_uchar), num(300)), "44:uc", ""),
        TC("(int)3.7", cast(&type_int, real(3.7)), "3:i", ""),
        TC("(int)-3.7", cast(&type_int, real(-3.7)), "-3:i", ""),
        TC("(char)300.0 is not narrowed", cast(&type_char, real(300.0)), "300:c", ""),
        TC("(unsigned)-1.0", cast(&type_uint, real(-1.0)), "-1:ui", ""),
        TC("(unsigned)3e9", cast(&type_uint, real(3e9)), "-1294967296:ui", ""),
        TC("(int)1e10 without checks", cast(&type_int, real(1e10)), "1410065408:i", ""),
        TC("(double)5", cast(&type_double, num(5)), "5r:d", ""),
        TC("(double)-5", cast(&type_double, num(-5)), "-5r:d", ""),
        TC("(float)-1 of unsigned int", cast(&type_float, num(-1, &type_uint)), "4.29497e+09r:f", ""),
        TC("(double)-1 of unsigned long", cast(&type_double, num(-1, &type_ulong)), "4.29497e+09r:d", ""),
        TC("(double)-1 of long", cast(&type_double, num(-1, &type_long)), "-1r:d", ""),
        TC("(double)-1 of unsigned char", cast(&type_double, num(-1, &type_uchar)), "255r:d", ""),
        TC("(double)-1 of char bits", cast(&type_double, num(-1, bit_field(TY_CHAR_BITS, 0, 3))), "255r:d", ""),
        TC("(double)-1 of unsigned short", cast(&type_double, num(-1, &type_ushort)), "65535r:d", ""),
        TC("(double)-1 of int bits", cast(&type_double, num(-1, bit_field(TY_INT_BITS, 0, 3))), "4.29497e+09r:d", ""),
        TC("(float)1.5", cast(&type_float, real(1.5)), "1.5r:f", ""),
        TC("(char *)5", cast(pointer(&type_char), num(5)), "5:c*{R}", ""),
        TC("(void)5", cast(&type_void, num(5)), "(cast 5:i):v", ""),
    };
    RUN(cases);
}

TEST_F(ExprNodes, RealToIntegerRangeWarning) {
    opt_ck = 1;
    const TreeCase cases[] = {
        TC("(int)1e10", cast(&type_int, real(1e10)), "1410065408:i", "W1float value too large for integer cast\n"),
        {"(int)4294967296.0", [&] { return cast(&type_int, real(4294967296.0)); }, "0:i",
         "W1float value too large for integer cast\n"},
        TC("(unsigned)4294967295.0", cast(&type_uint, real(4294967295.0)), "-1:ui", ""),
        TC("(int)-2147483648.0", cast(&type_int, real(-2147483648.0)), "-2147483648:i", ""),
        {"(int)-2147483649.0", [&] { return cast(&type_int, real(-2147483649.0)); }, "2147483647:i",
         "W1float value too large for integer cast\n"},
        TC("(unsigned)-1.0", cast(&type_uint, real(-1.0)), "-1:ui", ""),
    };
    for (const TreeCase &c : cases) {
        ExprNode *result = c.build();
        EXPECT_EQ(typed(result), c.expected) << c.what;
        std::string text = messages.take();
        // The warning is reported as a warning: "W1" is not part of the text.
        std::string wanted = c.messages[0] ? std::string(c.messages + 2) : "";
        EXPECT_EQ(text, wanted) << c.what;
    }
}

TEST_F(ExprNodes, CastsUnderCompatibilityOption) {
    opt_cc = 1;
    EXPECT_EQ(typed(cast(&type_char, num(300))), "300:c");
    EXPECT_EQ(typed(cast(&type_ushort, num(-1))), "-1:us");
    EXPECT_EQ(messages.take(), "");
}

TEST_F(ExprNodes, CastsOfExpressions) {
    Symbol *i = var("i", &type_int);
    Symbol *l = var("l", &type_long);
    Symbol *c = var("c", &type_char);
    Symbol *v = var("v", &type_uint);
    Symbol *f = var("f", &type_float);
    Symbol *p = var("p", pointer(&type_int));
    Symbol *s = var("s", structure());
    Symbol *bits = var("bits", bit_field(TY_INT_BITS, 0, 4));
    Symbol *fn = var("fn", function(&type_void), SC_EXTERN, ATTR_FUNCTION);
    auto bin = [](int op, ExprNode *left, ExprNode *right, TypeNode *type) { return node(op, left, right, type); };
    const TreeCase cases[] = {
        {"(char)(i + 1) retypes the sum", [&] { return cast(&type_char, bin(OP_ADD, use(i), num(1), &type_int)); },
         "(+ i:i 1:i):c{R}", ""},
        TC("(char)(i % 3) retypes", cast(&type_char, bin(OP_MOD, use(i), num(3), &type_int)), "(% i:i 3:i):c{R}", ""),
        {"(char)(i / 2) converts", [&] { return cast(&type_char, bin(OP_DIV, use(i), num(2), &type_int)); },
         "(cast (/ i:i 2:i):i):c", ""},
        {"(char)(i >> 1) converts", [&] { return cast(&type_char, bin(OP_SHR, use(i), num(1), &type_int)); },
         "(cast (>> i:i 1:i):i):c", ""},
        TC("(char)(i << 1) retypes", cast(&type_char, bin(OP_SHL, use(i), num(1), &type_int)), "(<< i:i 1:i):c{R}", ""),
        {"(char)*p converts",
         [&] { return cast(&type_char, node(OP_DEREF, use(p), nullptr, &type_int)); }, "(cast (deref p:i*):i):c",
         ""},
        TC("(char)-i retypes", cast(&type_char, node(OP_NEG, use(i), nullptr, &type_int)), "(neg i:i):c{R}", ""),
        TC("(char)i converts a variable", cast(&type_char, use(i)), "(cast i:i):c", ""),
        TC("(int)i of the same type retypes", cast(&type_int, use(i)), "i:i{R}", ""),
        {"(long)(i + 1) widens", [&] { return cast(&type_long, bin(OP_ADD, use(i), num(1), &type_int)); },
         "(cast (+ i:i 1:i):i):l", ""},
        {"(int)(l + 1) narrows by retyping", [&] { return cast(&type_int, bin(OP_ADD, use(l), num(1), &type_long)); },
         "(+ l:l 1:i):i{R}", ""},
        TC("(int)c converts", cast(&type_int, use(c)), "(cast c:c):i", ""),
        TC("(char)(v & 0x100) is 0", cast(&type_uchar, bin(OP_AND, use(v), num(0x100), &type_uint)), "0:uc", ""),
        {"(char)(v & 0x1FF) keeps the low byte of the mask",
         [&] { return cast(&type_uchar, bin(OP_AND, use(v), num(0x1FF), &type_uint)); },
         "(cast (& v:ui 255:i):ui):uc", ""},
        {"signed char of a mask is no mask rewrite",
         [&] { return cast(&type_char, bin(OP_AND, use(v), num(0x100), &type_uint)); }, "(& v:ui 256:i):c{R}", ""},
        TC("(int)f converts", cast(&type_int, use(f)), "(cast f:f):i", ""),
        {"(int)(f + 1) converts a real sum",
         [&] { return cast(&type_int, bin(OP_ADD, use(f), real(1.0), &type_float)); },
         "(cast (+ f:f 1r:d):f):i", ""},
        {"(char)(bits + 1) of a bit-field retypes",
         [&] { return cast(&type_char, bin(OP_ADD, use(bits), num(1), bit_field(TY_INT_BITS, 0, 4))); },
         "(+ bits:bits4@0 1:i):c{R}", ""},
        {"(long)(bits + 1) of a bit-field retypes",
         [&] { return cast(&type_long, bin(OP_ADD, use(bits), num(1), bit_field(TY_INT_BITS, 0, 4))); },
         "(+ bits:bits4@0 1:i):l{R}", ""},
        TC("(double)i converts", cast(&type_double, use(i)), "(cast i:i):d", ""),
        TC("(double)p", cast(&type_double, use(p)), "(cast p:i*):d", "invalid cast operand\n"),
        TC("(int)s", cast(&type_int, use(s)), "(cast s:struct):i", "invalid cast operand\n"),
        TC("(struct)i", cast(structure(), use(i)), "(cast i:i):struct", "invalid cast type\n"),
        TC("(int[2])i", cast(array(&type_int, 2), use(i)), "(cast i:i):i[2]", "invalid cast type\n"),
        TC("(void)i keeps the cast", cast(&type_void, use(i)), "(cast i:i):v", ""),
        {"(void)fn() is the call", [&] { return cast(&type_void, node(OP_CALL, use(fn), nullptr, &type_void)); },
         "(call fn:v()):v{R}", ""},
    };
    RUN(cases);
}

TEST_F(ExprNodes, PointerCasts) {
    Symbol *i = var("i", &type_int);
    Symbol *near_p = var("np", pointer(&type_char, ATTR_NEAR));
    Symbol *plain_p = var("pp", pointer(&type_char));
    Symbol *far_p = var("fp", pointer(&type_char, ATTR_FAR));
    Symbol *tiny_p = var("tp", pointer(&type_char, ATTR_TINY));
    Symbol *tiny_obj = var("t", &type_char, SC_STATIC, ATTR_TINY);
    Symbol *arr = var("arr", array(&type_char, 4), SC_STATIC, ATTR_FAR);
    TypeNode *to_tiny = pointer(&type_char, ATTR_TINY);
    TypeNode *to_near = pointer(&type_char, ATTR_NEAR);
    TypeNode *to_far = pointer(&type_char, ATTR_FAR);
    auto far_const = [&] { return num(0x1234, pointer(&type_int, ATTR_FAR)); };
    const TreeCase cases[] = {
        TC("(char @near *)i converts", cast(to_near, use(i)), "(cast i:i):c*n", ""),
        TC("same space retypes", cast(to_near, use(near_p)), "np:c*n{R}", ""),
        TC("no space counts as near", cast(to_near, use(plain_p)), "pp:c*n{R}", ""),
        TC("widening converts", cast(to_far, use(near_p)), "(cast np:c*n):c*f", ""),
        TC("tiny variable to near converts", cast(to_near, use(tiny_p)), "(cast tp:c*t):c*n", ""),
        TC("tiny address to near retypes", cast(to_near, unary(OP_ADDR, use(tiny_obj))), "&t:c*n{R}", ""),
        TC("tiny address to far converts", cast(to_far, unary(OP_ADDR, use(tiny_obj))), "(cast &t:c*t):c*f", ""),
        TC("narrowing a variable", cast(to_tiny, use(far_p)), "(cast fp:c*f):c*t", "invalid narrow pointer cast\n"),
        TC("narrowing a constant", cast(to_near, far_const()), "(cast 4660:i*f):c*n", "invalid narrow pointer cast\n"),
        TC("an array decays first", cast(to_far, use(arr)), "&arr:c*f{R}", ""),
        TC("an array narrowed", cast(to_near, use(arr)), "(cast &arr:c*f):c*n", "invalid narrow pointer cast\n"),
        TC("(char *)1.5", cast(to_near, real(1.5)), "(cast 1.5r:d):c*n", "invalid pointer cast operand\n"),
        TC("(short)far pointer", cast(&type_short, use(far_p)), "(cast fp:c*f):s", "invalid narrow pointer cast\n"),
        TC("(short)near pointer", cast(&type_short, use(near_p)), "(cast np:c*n):s", ""),
        TC("(char)near pointer", cast(&type_char, use(near_p)), "(cast np:c*n):c", "invalid narrow pointer cast\n"),
        TC("(long)far pointer constant retypes", cast(&type_long, far_const()), "4660:l{R}", ""),
        TC("(int)address converts", cast(&type_int, unary(OP_ADDR, use(tiny_obj))), "(cast &t:c*t):i", ""),
    };
    RUN(cases);

    opt_np = 1;
    const TreeCase np_cases[] = {
        TC("narrowing a variable under -np", cast(to_tiny, use(far_p)), "(cast fp:c*f):c*t", ""),
        TC("narrowing a constant under -np", cast(to_near, far_const()), "4660:c*n{R}", ""),
        TC("narrowing an address under -np", cast(to_near, use(arr)), "(cast &arr:c*f):c*n", ""),
        TC("(short)far pointer under -np", cast(&type_short, use(far_p)), "(cast fp:c*f):s", ""),
    };
    run_cases(messages, np_cases, std::size(np_cases));
}

TEST_F(ExprNodes, NotedZeroDivisorKeepsItsMarkThroughARealCast) {
    ExprNode *zero = num(0);
    zero->lflags |= LF_ZERO_DIVIDE;
    ExprNode *result = cast(&type_double, zero);
    EXPECT_EQ(typed(result), "(cast 0!div:i):d");
    // An unmarked 0 becomes a real constant at once.
    EXPECT_EQ(typed(cast(&type_double, num(0))), "0r:d");
}

TEST_F(ExprNodes, SavedPositionIsACopy) {
    Token *saved = last_token;
    Token current{};
    current.code = TOK_SLASH;
    current.line = 42;
    current.column = 7;
    current.length = 1;
    last_token = &current;
    Token *copy = save_position();
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, &current);
    current.line = 99;
    EXPECT_EQ(copy->line, 42u);
    EXPECT_EQ(copy->column, 7);
    EXPECT_EQ(copy->code, TOK_SLASH);
    std::free(copy);
    last_token = nullptr;
    EXPECT_EQ(save_position(), nullptr);
    last_token = saved;
}

} // namespace
