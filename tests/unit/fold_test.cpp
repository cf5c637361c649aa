// The last fold of a finished tree: deferred zero divisions, narrowing to
// the width of use, byte loads for shifts of words in memory on this
// big-endian target, strlen of a literal through an @inline declaration,
// and uses of an object through the register holding its address.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "message_capture.h"
#include "tree_print.h"

// Records live to the end of the run, as in the whole program; a sanitizer
// build is not to count them as leaks.
extern "C" const char *__asan_default_options() {
    return "detect_leaks=0";
}

namespace {

Symbol *symbols = nullptr;

Symbol *var(const char *name, TypeNode *type, int sclass = SC_STATIC, uint16_t attr = 0) {
    Symbol *sym = new_symbol(&symbols, intern_name(name, unsigned(std::strlen(name))), sclass, type);
    sym->attr = attr;
    return sym;
}

ExprNode *use(Symbol *sym) {
    ExprNode *e = new_expr(OP_LEAF);
    e->sym = sym;
    e->value = 0;
    e->lflags = LEAF_VARIABLE;
    e->type = sym->type;
    return e;
}

ExprNode *num(int32_t value, TypeNode *type = &type_int) {
    ExprNode *e = make_int_const(nullptr, value);
    e->type = type;
    return e;
}

ExprNode *node(int op, ExprNode *left, ExprNode *right, TypeNode *type) {
    ExprNode *e = new_expr(op);
    e->left = left;
    e->right = right;
    e->type = type;
    return e;
}

ExprNode *cast(TypeNode *type, ExprNode *operand) { return node(OP_CAST, operand, nullptr, type); }

TypeNode *pointer(TypeNode *to, uint16_t attr = 0) {
    TypeNode *type = new_type(TY_POINTER, to);
    type->args = nullptr;
    type->attr = attr;
    return type;
}

TypeNode *function(TypeNode *result) {
    TypeNode *type = new_type(TY_FUNCTION, result);
    type->args = nullptr;
    type->proto_symbols = nullptr;
    type->proto_tags = nullptr;
    return type;
}

// The callee of a call as the parser leaves it: the function's address.
ExprNode *callee(Symbol *sym) {
    ExprNode *e = new_expr(OP_LEAF);
    e->sym = sym;
    e->value = 0;
    e->lflags = LEAF_ADDRESS;
    e->type = pointer(sym->type);
    return e;
}

ExprNode *literal(const char *bytes, unsigned length) {
    ExprNode *e = new_expr(OP_LEAF);
    e->literal = pool_string(bytes, length);
    e->value = 0;
    e->lflags = LEAF_LITERAL;
    e->type = pointer(&type_char);
    return e;
}

std::string folded(ExprNode *e, int want = 0) {
    fold_expr(e, want);
    return typed(e);
}

class Fold : public ::testing::Test {
protected:
    void SetUp() override { opt_ck = opt_sa = 0; }
    Messages messages;
};

}  // namespace

TEST_F(Fold, ShiftsOfWordsInMemoryBecomeNarrowerLoads) {
    Symbol *x = var("x", &type_int);
    Symbol *ux = var("ux", &type_uint);
    Symbol *r = var("r", &type_int, SC_REGISTER);
    Symbol *h = var("h", &type_short);
    struct Case {
        const char *what;
        ExprNode *tree;
        const char *expected;
    } cases[] = {
        // The low byte of the high half is at offset 2, the top byte at 0.
        {"(char)(x >> 8)", cast(&type_char, node(OP_SHR, use(x), num(8), &type_int)), "(cast x+2:c):c"},
        {"(char)(x >> 24)", cast(&type_char, node(OP_SHR, use(x), num(24), &type_int)), "(cast x:c):c"},
        {"(unsigned char)(ux >> 24)", cast(&type_uchar, node(OP_SHR, use(ux), num(24), &type_uint)),
         "(cast ux:uc):uc"},
        {"(short)(x >> 16)", cast(&type_short, node(OP_SHR, use(x), num(16), &type_int)), "(cast x:s):s"},
        {"(char)(x >> 16)", cast(&type_char, node(OP_SHR, use(x), num(16), &type_int)), "(cast x+1:c):c"},
        {"(short)(x >> 8) keeps its shift", cast(&type_short, node(OP_SHR, use(x), num(8), &type_int)),
         "(cast (>> x:i 8:i):i):s"},
        {"(char)(x >> 20) shifts the high half", cast(&type_char, node(OP_SHR, use(x), num(20), &type_int)),
         "(cast (>> x:s 4:i):c):c"},
        {"(short)(x << 8) shifts the low half", cast(&type_short, node(OP_SHL, use(x), num(8), &type_int)),
         "(cast (<< x+2:us 8:i):s):s"},
        {"(char)(h >> 8) reads the high byte of a short", cast(&type_char, node(OP_SHR, use(h), num(8), &type_int)),
         "(cast h:c):c"},
        {"a register keeps the shift", cast(&type_char, node(OP_SHR, use(r), num(8), &type_int)),
         "(cast (>> r:i 8:i):i):c"},
        {"no narrow use keeps the shift", node(OP_SHR, use(x), num(8), &type_int), "(>> x:i 8:i):i"},
    };
    for (Case &c : cases)
        EXPECT_EQ(folded(c.tree), c.expected) << c.what;
    EXPECT_EQ(messages.take(), "");
}

TEST_F(Fold, NarrowingFollowsTheWidthOfUse) {
    Symbol *x = var("nx", &type_int);
    Symbol *c = var("nc", &type_uchar);
    struct Case {
        const char *what;
        ExprNode *tree;
        int want;
        const char *expected;
    } cases[] = {
        {"a constant takes the wanted width", num(300), TY_CHAR, "300:c"},
        {"a cast to a wider type narrows", cast(&type_int, use(c)), TY_CHAR, "(cast nc:c):c"},
        {"a comparison narrows to the use, its operands keep their own",
         node(OP_EQ, use(c), num(1), &type_int), TY_UCHAR, "(== nc:uc 1:i):uc"},
        {"a comparison's constant takes its operand's width", node(OP_LT, use(c), num(1, &type_uchar), &type_int), 0,
         "(< nc:uc 1:uc):i"},
        {"a conversion that must stay", cast(&type_short, use(x)), TY_CHAR, "(cast nx:i):s{R}"},
    };
    cases[4].tree->eflags |= EF_RETYPED;
    for (Case &c : cases)
        EXPECT_EQ(folded(c.tree, c.want), c.expected) << c.what;

    struct NarrowCase {
        TypeNode *type;
        int code;
        const char *expected;
    } narrow[] = {
        {&type_int, TY_UCHAR, "c"},   {&type_uint, TY_CHAR, "uc"}, {&type_long, TY_USHORT, "s"},
        {&type_ulong, TY_SHORT, "us"}, {&type_char, TY_LONG, "l"},  {&type_int, TY_FLOAT, "i"},
        {&type_int, TY_CHAR_BITS, "i"}, {pointer(&type_int), TY_SHORT, "us"},
    };
    for (NarrowCase &n : narrow) {
        ExprNode *e = use(x);
        e->type = n.type;
        narrow_type(e, n.code);
        EXPECT_EQ(type_text(e->type), n.expected) << n.code;
    }
    // An operator with an unsigned char operand counts as unsigned for
    // unsigned char.
    ExprNode *sum = node(OP_ADD, use(c), use(x), &type_int);
    narrow_type(sum, TY_UCHAR);
    EXPECT_EQ(type_text(sum->type), "uc");
}

TEST_F(Fold, ZeroDivisionsAreReportedWhereTheFoldReachesThem) {
    Symbol *x = var("zx", &type_int);
    ExprNode *zero = num(0);
    zero->lflags |= LF_ZERO_DIVIDE;
    zero->position = nullptr;
    fold_expr(node(OP_DIV, use(x), zero, &type_int), 0);
    EXPECT_EQ(messages.take(), "zero divide\n");

    ExprNode *modulus = num(0);
    modulus->lflags |= LF_ZERO_MODULUS;
    modulus->position = nullptr;
    fold_expr(node(OP_MOD_ASSIGN, use(x), modulus, &type_int), 0);
    EXPECT_EQ(messages.take(), "zero modulus\n");

    // Below an address nothing is walked.
    ExprNode *hidden = num(0);
    hidden->lflags |= LF_ZERO_DIVIDE;
    hidden->position = nullptr;
    fold_expr(node(OP_ADDR, node(OP_DIV, use(x), hidden, &type_int), nullptr, pointer(&type_int)), 0);
    EXPECT_EQ(messages.take(), "");
}

TEST_F(Fold, StrlenOfALiteralThroughAnInlineDeclaration) {
    Symbol *inline_strlen = var("strlen", function(&type_int), SC_EXTERN, ATTR_INLINE | ATTR_FUNCTION);
    ExprNode *call = node(OP_CALL, callee(inline_strlen), literal("ab\0cd", 5), &type_uint);
    EXPECT_EQ(folded(call), "2:ui");
    ExprNode *whole = node(OP_CALL, callee(inline_strlen), literal("abc", 3), &type_uint);
    EXPECT_EQ(folded(whole), "3:ui");

    Symbol *plain = var("strlen", function(&type_int), SC_EXTERN, ATTR_FUNCTION);
    ExprNode *kept = node(OP_CALL, callee(plain), literal("ab", 2), &type_uint);
    EXPECT_EQ(folded(kept), "(call &strlen:i()* \"ab\":c*{R}):ui");

    Symbol *other = var("other", function(&type_int), SC_EXTERN, ATTR_INLINE | ATTR_FUNCTION);
    other->value = 1;   // its tokens are stored
    fold_expr(node(OP_CALL, callee(other), num(1), &type_int), 0);
    EXPECT_EQ(messages.take(), "invalid inline function usage\n");
}

TEST_F(Fold, UsesOfAnObjectGoThroughItsPartner) {
    Symbol *g = var("g", &type_int);
    Symbol *reg = var("reg", pointer(&type_int), SC_REG_COPY);
    g->partner = reg;
    EXPECT_EQ(folded(use(g)), "(deref reg:i*):i");
    ExprNode *address = use(g);
    address->lflags = LEAF_ADDRESS;
    address->type = pointer(&type_int);
    EXPECT_EQ(folded(address), "reg:i*");
    g->partner = nullptr;
}

TEST_F(Fold, CastsOfOperatorsTakeTheNarrowType) {
    Symbol *a = var("ca", &type_short);
    Symbol *b = var("cb", &type_short);
    // Within one width class the operator takes the cast's type.
    EXPECT_EQ(folded(cast(&type_ushort, node(OP_ADD, use(a), use(b), &type_short))), "(cast (+ ca:s cb:s):us):us");
    // From another width class, or for a division, it keeps its own.
    EXPECT_EQ(folded(cast(&type_short, node(OP_ADD, use(a), use(b), &type_int))), "(cast (+ ca:s cb:s):i):s");
    EXPECT_EQ(folded(cast(&type_ushort, node(OP_DIV, use(a), use(b), &type_short))), "(cast (/ ca:s cb:s):s):us");
}

TEST_F(Fold, DeepTreesDoNotOverflowTheStack) {
    Symbol *x = var("dx", &type_int);
    ExprNode *e = use(x);
    for (int n = 0; n < 300000; n++)
        e = node(OP_ADD, e, use(x), &type_int);
    fold_expr(e, 0);
    EXPECT_EQ(e->op, OP_ADD);
    EXPECT_EQ(messages.take(), "");
}
