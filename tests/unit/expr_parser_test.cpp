// The expression parser from inside: token lists are fed through the token
// stream's switch, and the shape of the typed tree is checked, with the
// messages.  Also the typing of assignments with their rewrites, the known
// values of variables and const objects, tests, constant expressions and
// deep nesting.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <deque>
#include <string>
#include <thread>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"
#include "stmt/stmt_node.h"
#include "message_capture.h"
#include "tree_print.h"

// Records live to the end of the run, as in the whole program; a sanitizer
// build is not to count them as leaks.
extern "C" const char *__asan_default_options() {
    return "detect_leaks=0";
}

namespace {

NameRecord *name_of(const char *text) { return intern_name(text, unsigned(std::strlen(text))); }

TypeNode *pointer(TypeNode *to, uint16_t attr = 0) {
    TypeNode *type = new_type(TY_POINTER, to);
    type->args = nullptr;
    type->attr = attr;
    return type;
}

TypeNode *array(TypeNode *of, int32_t dim) {
    TypeNode *type = new_type(TY_ARRAY, of);
    type->dim = dim;
    return type;
}

// A function type; `params` lists the argument types, and a closed
// prototype ends in void.  No list at all is the old form `()`.
TypeNode *function(TypeNode *result, std::initializer_list<TypeNode *> params, bool prototype = true) {
    TypeNode *type = new_type(TY_FUNCTION | TY_KEEP, result);
    type->args = nullptr;
    type->proto_symbols = nullptr;
    type->proto_tags = nullptr;
    if (!prototype)
        return type;
    Symbol **tail = &type->args;
    for (TypeNode *param : params) {
        Symbol *arg = new_symbol(tail, nullptr, SC_ARG, param);
        tail = &arg->next;
    }
    return type;
}

class ExprParser : public ::testing::Test {
protected:
    void SetUp() override {
        opt_sa = opt_np = opt_cc = opt_ck = opt_cp = opt_nc = opt_p = opt_u = opt_rb = 0;
        error_count = 0;
        func_state.known_values = nullptr;
        cond_depth = cond_expr_depth = in_member_access = 0;
        std::memset(func_defaults, 0, sizeof func_defaults);
        std::memset(data_defaults, 0, sizeof data_defaults);
        const_defaults = func_defaults;
        saved_list = symbol_list;
        declare("a", &type_int);
        declare("b", &type_int);
        declare("c", &type_int);
        declare("d", &type_int);
        declare("i", &type_int);
        declare("j", &type_int);
        declare("x", &type_int);
        declare("y", &type_int);
        declare("u", &type_uint);
        declare("ch", &type_char);
        declare("f", &type_float);
        declare("p", pointer(&type_int));
        declare("q", pointer(&type_int));
        declare("arr", array(&type_int, 10));

        // struct { int m0; int m4; char m8; } s, *sp;
        Symbol **tail = &members;
        const char *names[] = {"m0", "m4", "m8"};
        TypeNode *types[] = {&type_int, &type_int, &type_char};
        for (int n = 0; n < 3; n++) {
            Symbol *m = new_symbol(tail, name_of(names[n]), SC_MEMBER, types[n]);
            m->value = uint32_t(4 * n);
            tail = &m->next;
        }
        record = new_type(TY_STRUCT, nullptr);
        record->tag = nullptr;
        record->members = members;
        record->size = 12;
        declare("s", record);
        declare("sp", pointer(record));
    }
    void TearDown() override {
        symbol_list = release_symbols(symbol_list, saved_list);
        func_state.known_values = nullptr;
        opt_cp = opt_nc = opt_ck = opt_p = 0;
        error_count = 0;
    }

    Symbol *declare(const char *name, TypeNode *type, int sclass = SC_STATIC, uint16_t attr = 0) {
        Symbol *sym = new_symbol(&symbol_list, name_of(name), sclass, type);
        sym->attr = attr;
        sym->flags = SYM_DECLARED;
        return sym;
    }

    // Parses `text` as a full expression and gives its typed form; the
    // code of the first token left unread goes to `rest`.  The text stands
    // for code of the function, not for a directive: what it does to the
    // function's state stays when the switch gives the state back.
    std::string parse(const char *text, int discard = 0, int *rest = nullptr) {
        texts.emplace_back(std::string(text) + " ;\n");
        PpToken *list = scan_line(texts.back().data());
        token_source_switch(list);
        ExprNode *e = parse_expression(discard);
        std::string shape = typed(e);
        FuncState after = func_state;
        int next = token_source_switch(nullptr);
        func_state = after;
        pptoken_free_list(list);
        if (rest != nullptr)
            *rest = next;
        return shape;
    }

    std::string parse_test(const char *text) {
        func_state.known_values = nullptr;
        texts.emplace_back(std::string(text) + " ;\n");
        PpToken *list = scan_line(texts.back().data());
        token_source_switch(list);
        ExprNode *e = parse_expression(0);
        std::string shape = e != nullptr && make_test(&e) != nullptr ? tree(e) : "no test";
        token_source_switch(nullptr);
        pptoken_free_list(list);
        return shape;
    }

    std::deque<std::string> texts;
    Symbol *saved_list = nullptr;
    Symbol *members = nullptr;
    TypeNode *record = nullptr;
    Messages messages;
};

struct Case {
    const char *source;
    const char *expected;
    const char *messages;
};

}  // namespace

// Exposes the protected helper to the table runner.
class ExprParserTable : public ExprParser {
public:
    std::string shape(const char *text, int discard, int *rest) {
        func_state.known_values = nullptr;
        return parse(text, discard, rest);
    }
    void table(const Case *cases, size_t count, int discard = 0) {
        for (size_t n = 0; n < count; n++) {
            EXPECT_EQ(shape(cases[n].source, discard, nullptr), cases[n].expected) << cases[n].source;
            EXPECT_EQ(messages.take(), cases[n].messages) << cases[n].source;
        }
    }
};

TEST_F(ExprParserTable, GroupingFollowsThePrecedenceTable) {
    static const Case cases[] = {
        {"a - b - c", "(- (- a:i b:i):i c:i):i", ""},
        {"a * b + c * d", "(+ (* a:i b:i):i (* c:i d:i):i):i", ""},
        {"a + b * c", "(+ (* b:i c:i):i a:i):i", ""},
        {"a << b + c", "(<< a:i (+ b:i c:i):i):i", ""},
        {"a < b == c", "(== (< a:i b:i):i c:i):i", ""},
        {"a & b == c", "(& (== b:i c:i):i a:i):i", ""},
        {"a | b ^ c & d", "(| (^ (& c:i d:i):i b:i):i a:i):i", ""},
        {"a = b = c", "(= a:i (= b:i c:i):i):i", ""},
        {"a += b -= c", "(+= a:i (-= b:i c:i):i):i", ""},
        {"a ? b : c ? d : x", "(?: (!= a:i 0:i):i b:i (?: (!= c:i 0:i):i d:i x:i):i):i", ""},
        {"a || b && c", "(|| (!= a:i 0:i):i (&& (!= b:i 0:i):i (!= c:i 0:i):i):i):i", ""},
        {"a || b || c", "(|| (!= a:i 0:i):i (|| (!= b:i 0:i):i (!= c:i 0:i):i):i):i", ""},
        {"a && b && c", "(&& (!= a:i 0:i):i (&& (!= b:i 0:i):i (!= c:i 0:i):i):i):i", ""},
        {"a / b % c * d", "(* (% (/ a:i b:i):i c:i):i d:i):i", ""},
        {"(a + b) * c", "(* (+ a:i b:i):i c:i):i", ""},
        {"a ? b , c : d", "(?: (!= a:i 0:i):i c:i{N} d:i):i", ""},
    };
    table(cases, sizeof cases / sizeof cases[0]);
}

TEST_F(ExprParserTable, AnAssignmentInTheThirdOperandEndsTheConditional) {
    static const Case cases[] = {
        {"a ? b : c = d", "(= (?: (!= a:i 0:i):i b:i c:i):i d:i):i", "invalid lvalue\n"},
        {"a ? b : (c = d)", "(?: (!= a:i 0:i):i b:i (= c:i d:i):i):i", ""},
    };
    table(cases, sizeof cases / sizeof cases[0]);
}

TEST_F(ExprParserTable, LiteralsTakeTheTypesOfTheirSpelling) {
    static const Case cases[] = {
        {"2147483648", "-2147483648:ul", ""},
        {"-2147483648", "-2147483648:l", ""},
        {"32768", "32768:l", ""},
        {"-32768", "-32768:i", ""},
        {"0x80000000u", "-2147483648:ui", ""},
        {"'a'", "97:i", ""},
        {"7u", "7:ui", ""},
        {"1.5", "1.5r:d", ""},
        {"\"ab\"", "\"ab\":c[3]", ""},
        {"sizeof x", "4:ui", ""},
        {"sizeof \"abc\"", "4:ui", ""},
        {"sizeof (ch)", "1:ui", ""},
        {"sizeof @ ch", "4:ui", ""},
        {"sizeof @ arr", "4:ui", ""},
        {"sizeof arr", "40:ui", ""},
    };
    table(cases, sizeof cases / sizeof cases[0]);
}

TEST_F(ExprParserTable, CommasDropOperandsWithoutEffects) {
    static const Case cases[] = {
        {"(1, x)", "x:i{N}", ""},
        {"(y, x)", "x:i{N}", ""},
        {"(y = 1, x)", "(, (= y:i 1:i):i x:i):i", ""},
        {"x, ", "x:i", "missing expression\n"},
    };
    table(cases, sizeof cases / sizeof cases[0]);
}

TEST_F(ExprParserTable, PostfixIncrementBecomesCompoundWhereNobodyReadsIt) {
    static const Case kept[] = {
        {"x++", "(post++ x:i 1:i):i", ""},
        {"y = x++", "(= y:i (post++ x:i 1:i):i):i", ""},
        {"y = (x++, 2)", "(= y:i (, (+= x:i 1:i):i 2:i):i):i", ""},
        {"++x", "(+= x:i 1:i):i", ""},
        {"--x", "(-= x:i 1:i):i", ""},
    };
    table(kept, sizeof kept / sizeof kept[0]);
    static const Case discarded[] = {
        {"x++", "(+= x:i 1:i):i", ""},
        {"x--, y++", "(, (-= x:i 1:i):i (+= y:i 1:i):i):i", ""},
    };
    table(discarded, sizeof discarded / sizeof discarded[0], 1);
}

TEST_F(ExprParserTable, ArraysAndMembers) {
    static const Case cases[] = {
        {"arr[3]", "arr+12:i", ""},
        {"arr[i]", "(deref (+ &arr:i* (<< i:i 2:i):i):i*):i", ""},
        {"p[1]", "(deref (+ p:i* 4:i):i*):i", ""},
        {"s.m4", "s+4:i", ""},
        {"s.m0", "s:i", ""},
        {"s.m8", "s+8:c", ""},
        {"sp->m4", "(deref (+ sp:c* 4:i):i*):i", ""},
        {"sp->m0", "(deref sp:i*):i", ""},
    };
    table(cases, sizeof cases / sizeof cases[0]);
}

TEST_F(ExprParserTable, ErrorsOfOperandsAndPunctuation) {
    static const Case cases[] = {
        {"1 +", "1:i", "missing expression\n"},
        {"-", "0:i", "missing expression\n"},
        {"(1", "1:i", "missing )\n"},
        {"()", "0:i", "invalid expression\n"},
        {"arr[]", "arr:i", "missing array subscript\n"},
        {"s.", "s:i", "missing member name\n"},
        {"x.m0", "x:i", "bad struct/union operand\n"},
        {"s.zz", "s:i", "zz not a member\n"},
        {"+p", "p:i*{N}", "invalid arithmetic operand\n"},
        {"+ch", "(cast ch:c):i{N}", ""},
        {"a ? : b", "(?: (!= a:i 0:i):i 0:i b:i):i", "missing ? test expression\n"},
        {"x = 1 ? 2", "(= x:i 1:i):i", "missing :\nmissing expression\n"},
    };
    table(cases, sizeof cases / sizeof cases[0]);
}

TEST_F(ExprParserTable, CallsCheckTheirPrototypes) {
    declare("fv", function(&type_int, {&type_void}));
    declare("f2", function(&type_int, {&type_int, &type_long, &type_void}));
    declare("fdots", function(&type_int, {&type_int}));
    declare("fold", function(&type_int, {}, false));
    declare("fc", function(&type_int, {&type_char, &type_void}));
    declare("fp", function(&type_int, {pointer(&type_int), &type_void}));
    declare("fl", function(&type_long, {&type_long, &type_void}));
    static const Case cases[] = {
        {"fv()", "(call &fv:i()*):i", ""},
        {"fv(1)", "(call &fv:i()* 1:i):i{O}", "too many arguments\n"},
        {"f2(1, 2)", "(call &f2:i()* (arg 1:i 2:l):i):i", ""},
        {"f2(1)", "(call &f2:i()* 1:i):i", "missing argument\n"},
        {"f2(1, )", "(call &f2:i()* (arg 1:i 0:l):i):i", "missing argument\n"},
        {"fdots(1, 2.0)", "(call &fdots:i()* (arg 1:i 2r:d):i):i{O}", ""},
        {"fdots(1)", "(call &fdots:i()* 1:i):i{O}", ""},
        {"fold(1, 2)", "(call &fold:i()* (arg 1:i 2:i):i):i", ""},
        {"fc(ch)", "(call &fc:i()* ch:c):i", ""},
        {"fl(x)", "(call &fl:l()* (cast x:i):l):l", ""},
        {"fp(0)", "(call &fp:i()* 0:i*{R}):i", ""},
        {"fp(x)", "(call &fp:i()* x:i):i", "incompatible argument type\n"},
        {"x(1)", "(call x:i 1:i):i", "invalid function type\n"},
    };
    table(cases, sizeof cases / sizeof cases[0]);
}

TEST_F(ExprParserTable, ACallOfAnUndeclaredNameDeclaresIt) {
    EXPECT_EQ(shape("undeclared(1)", 0, nullptr), "(call &undeclared:i()* 1:i):i");
    Symbol *sym = find_symbol(name_of("undeclared"), symbol_list, nullptr);
    ASSERT_NE(sym, nullptr);
    EXPECT_EQ(sym->sclass, SC_EXTERN);
    EXPECT_EQ(sym->flags & (SYM_IMPLICIT_FN | SYM_DECLARED | SYM_USED | SYM_DBG_CALLED),
              uint32_t(SYM_IMPLICIT_FN | SYM_DECLARED | SYM_USED | SYM_DBG_CALLED));
    EXPECT_EQ(sym->attr & ATTR_FUNCTION, ATTR_FUNCTION);
    // The second call finds the declaration.
    EXPECT_EQ(shape("undeclared(2)", 0, nullptr), "(call &undeclared:i()* 2:i):i");
    EXPECT_EQ(find_symbol(name_of("undeclared"), sym->next, nullptr), nullptr);
    EXPECT_EQ(messages.take(), "");
    // Under -p a call without prototype is reported.
    opt_p = 1;
    EXPECT_EQ(shape("undeclared(3)", 0, nullptr), "(call &undeclared:i()* 3:i):i");
    EXPECT_EQ(messages.take(), "missing prototype\n");
}

TEST_F(ExprParserTable, AssignmentsAreRewritten) {
    opt_cp = 1;   // keep known values out of these shapes
    static const Case cases[] = {
        {"i = i + 1", "(+= i:i 1:i):i", ""},
        {"i = 2 * i", "(<<= i:i 1:i):i", ""},
        {"i = i - j", "(-= i:i j:i):i", ""},
        {"i = j - i", "(= i:i (- j:i i:i):i):i", ""},
        {"u /= 8", "(>>= u:ui 3:i):ui", ""},
        {"i /= 8", "(/= i:i 8:i):i", ""},
        {"u %= 8", "(&= u:ui 7:i):ui", ""},
        {"x *= 1", "x:i", ""},
        {"x += 0", "x:i", ""},
        {"x /= 1", "x:i", ""},
        {"x %= 1", "(= x:i 0:i):i", ""},
        {"x *= -1", "(= x:i (neg x:i):i):i", ""},
        {"x *= 0", "(= x:i 0:i):i", ""},
        {"x /= 0", "(/= x:i 0!div:i):i", ""},
        {"x %= 0", "(%= x:i 0!mod:i):i", ""},
        {"x += x", "(<<= x:i 1:i):i", ""},
        {"x -= x", "(= x:i 0:i):i", ""},
        {"x = x", "x:i", ""},
        {"f += 1.5", "(+= f:f 1.5r:d):f", ""},
        {"f %= 2", "(%= f:f 2:i):f", "invalid floating point operation\n"},
        {"f <<= 1", "(<<= f:f 1:i):f", "invalid floating point operation\n"},
        {"i += 1.5", "(+= i:i 1:i):i", ""},
        {"p = p + 1", "(+= p:i* 4:i):i*", ""},
        {"p += 2", "(+= p:i* 8:i):i*", ""},
        {"p += i", "(+= p:i* (<< i:i 2:i):i):i*", ""},
        {"p *= 2", "(*= p:i* 2:i):i*", "incompatible pointer operation\n"},
        {"p = 0", "(= p:i* 0:i):i*", ""},
        {"p = x", "(= p:i* x:i):i*", "incompatible pointer types\n"},
        {"x = p", "(= x:i p:i*):i", "incompatible pointer assignment\n"},
        {"arr = p", "(= arr:i[10] p:i*):i[10]", "invalid assignment type\nincompatible pointer assignment\n"},
        {"1 = x", "(= 1:i x:i):i", "invalid lvalue\n"},
        {"s = s", "(= s:struct s:struct):struct", ""},
        {"s += s", "(+= s:struct s:struct):struct", "invalid struct/union operation\n"},
    };
    table(cases, sizeof cases / sizeof cases[0]);
}

TEST_F(ExprParserTable, KnownValuesReplaceReads) {
    static const Case cases[] = {
        {"x = 1, y = x", "(, (= x:i 1:i):i (= y:i 1:i):i):i", ""},
        {"x = 1, x += 2, y = x", "(, (, (= x:i 1:i):i (+= x:i 2:i):i):i (= y:i 3:i):i):i", ""},
        {"x = 1, x = y, y = x", "(, (, (= x:i 1:i):i (= x:i y:i):i):i (= y:i x:i):i):i", ""},
        {"ch = 300, y = ch", "(, (= ch:c 44:i):c (= y:i 44:c):i):i", ""},
        {"x = 1, s = s, y = x", "(, (, (= x:i 1:i):i (= s:struct s:struct):struct):struct (= y:i 1:i):i):i", ""},
        {"x = 1, c ? (x = 2) : 0, y = x",
         "(, (, (= x:i 1:i):i (?: (!= c:i 0:i):i (= x:i 2:i):i 0:i):i):i (= y:i x:i):i):i", ""},
    };
    table(cases, sizeof cases / sizeof cases[0]);
    // A function pointer of known value is called directly; a data pointer
    // is not followed.
    TypeNode *ftype = function(&type_int, {&type_void});
    declare("fv", ftype);
    declare("fp", pointer(ftype));
    EXPECT_EQ(shape("fp = fv, fp()", 0, nullptr),
              "(, (= fp:i()* &fv:i()*):i()* (call &fv:i()*):i):i");
    EXPECT_EQ(shape("p = &arr[1], x = *p", 0, nullptr),
              "(, (= p:i* &arr+4:i*):i* (= x:i (deref p:i*):i):i):i");
    opt_cp = 1;
    EXPECT_EQ(shape("x = 1, y = x", 0, nullptr), "(, (= x:i 1:i):i (= y:i x:i):i):i");
    opt_cp = 0;
    // A variable whose address was taken is not followed.
    find_symbol(name_of("x"), symbol_list, nullptr)->flags |= SYM_ADDR_TAKEN;
    EXPECT_EQ(shape("x = 1, y = x", 0, nullptr), "(, (= x:i 1:i):i (= y:i x:i):i):i");
    // Nothing is replaced once an error was reported.
    find_symbol(name_of("x"), symbol_list, nullptr)->flags &= ~uint32_t(SYM_ADDR_TAKEN);
    error_count = 1;
    EXPECT_EQ(shape("x = 1, y = x", 0, nullptr), "(, (= x:i 1:i):i (= y:i x:i):i):i");
    EXPECT_EQ(messages.take(), "");
}

TEST_F(ExprParserTable, ConstObjectsReadTheirStoredValues) {
    TypeNode *const_int = &type_int;
    Symbol *k = declare("k", const_int, SC_STATIC, ATTR_CONST);
    k->init = make_int_const(nullptr, 5);

    // static const char str[] = "ab";
    Symbol *str = declare("str", array(&type_char, 3), SC_STATIC, ATTR_CONST);
    ExprNode *text = new_expr(4);
    text->literal = pool_string("ab", 2);
    text->size = 3;
    text->link = nullptr;
    str->init = text;

    // const struct { int m0; int m4; char m8; } v = { 1 };
    Symbol *v = declare("v", record, SC_STATIC, ATTR_CONST);
    ExprNode *whole = new_expr(96);
    whole->size = 12;
    whole->link = nullptr;
    whole->left = make_int_const(nullptr, 1);
    whole->left->link = nullptr;
    v->init = whole;

    static const Case cases[] = {
        {"y = k", "(= y:i 5:i):i", ""},
        {"y = str[1]", "(= y:i 98:c):i", ""},
        {"y = str[2]", "(= y:i 0:c):i", ""},
        {"y = str[i]", "(= y:i (deref (+ &str:c*c i:i):c*c):c):i", ""},
        {"y = \"abc\"[1]", "(= y:i 98:c):i", ""},
        {"y = v.m0", "(= y:i 1:i):i", ""},
        {"y = v.m4", "(= y:i 0:i):i", ""},
        {"k = 1", "(= k:i 1:i):i", "const assignment\n"},
    };
    table(cases, sizeof cases / sizeof cases[0]);
    opt_nc = 1;
    EXPECT_EQ(shape("y = k", 0, nullptr), "(= y:i k:i):i");
}

TEST_F(ExprParserTable, TestsAndBitTests) {
    struct TestCase {
        const char *source;
        const char *expected;
    };
    static const TestCase cases[] = {
        {"x", "(!= x 0)"},
        {"x < y", "(< x y)"},
        {"(x, y)", "(!= y 0)"},
        {"(x = 1, y)", "(, (= x 1) (!= y 0))"},
        {"((x & 8) >> 3) == 0", "(== (& x 8) 0)"},
        {"((x & 8) >> 3) == 1", "(!= (& x 8) 0)"},
        {"((x & 8) >> 3) != 1", "(== (& x 8) 0)"},
        {"((x & 24) >> 3) == 1", "(== (>> (& x 24) 3) 1)"},
        {"((x & 12) >> 3) == 0", "(== (>> (& x 12) 3) 0)"},
        {"c ? 1 : 0", "(!= c 0)"},
        {"s", "no test"},
    };
    for (const TestCase &c : cases)
        EXPECT_EQ(parse_test(c.source), c.expected) << c.source;
    opt_ck = 1;
    EXPECT_EQ(parse_test("x = 1"), "(!= (= x 1) 0)");
    EXPECT_EQ(messages.take(), "constant assignment in a test\n");
    EXPECT_EQ(parse_test("x = y"), "(!= (= x y) 0)");
    EXPECT_EQ(messages.take(), "");
}


namespace {

struct ConstCase {
    const char *source;
    int found;
    int32_t value;
    const char *messages;
};

}  // namespace

TEST_F(ExprParserTable, ConstantExpressions) {
    static const ConstCase cases[] = {
        {"1 + 2 * 3", 1, 7, ""},
        {"-2147483647 - 1 < 0", 1, 1, ""},
        {"0x7fffffff + 1", 1, int32_t(0x80000000u), ""},
        {"+5", 1, 5, "invalid constant expression\n"},
        {"(1, 2)", 1, 2, "invalid constant expression\n"},
        {"x", 1, 0, "invalid constant expression\n"},
        {"1 / 0", 1, 0, "zero divide\ninvalid constant expression\n"},
        {"", 0, 0, "missing expression\n"},
    };
    for (const ConstCase &c : cases) {
        texts.emplace_back(std::string(c.source) + " ;\n");
        PpToken *list = scan_line(texts.back().data());
        token_source_switch(list);
        int32_t value = -99;
        int found = parse_const_expr(&value, 1);
        token_source_switch(nullptr);
        pptoken_free_list(list);
        EXPECT_EQ(found, c.found) << c.source;
        EXPECT_EQ(value, c.value) << c.source;
        EXPECT_EQ(messages.take(), c.messages) << c.source;
    }
}

// Deep nesting runs on further stacks where the first one would run out.
TEST_F(ExprParserTable, DeepNestingDoesNotOverflowTheStack) {
    const int depth = 100000;
    std::string text(depth, '(');
    text += "x";
    text += std::string(depth, ')');
    text += " + 1";
    EXPECT_EQ(shape(text.c_str(), 0, nullptr), "(+ x:i 1:i):i");

    std::string chain = "x";
    for (int n = 0; n < 20000; n++)
        chain += n % 2 ? " ? y : x" : " ? x : y";
    int rest = 0;
    std::string shaped = shape(chain.c_str(), 0, &rest);
    EXPECT_EQ(rest, TOK_SEMI);
    EXPECT_EQ(shaped.compare(0, 4, "(?: "), 0);

    std::string minus;
    for (int n = 0; n < depth; n++)
        minus += "- ";
    minus += "x";
    EXPECT_EQ(shape(minus.c_str(), 0, nullptr), "x:i{N}");

    // A thread with a stack of its own measures that stack.
    std::string in_thread;
    std::thread worker([&] { in_thread = shape(text.c_str(), 0, nullptr); });
    worker.join();
    EXPECT_EQ(in_thread, "(+ x:i 1:i):i");
    EXPECT_EQ(messages.take(), "");
}

// A compound assignment to a variable of known value computes the new
// value in the target's 32-bit arithmetic.
TEST_F(ExprParserTable, CompoundAssignmentsComputeKnownValues) {
    static const Case cases[] = {
        {"x = -7, x /= 2, y = x", "(, (, (= x:i -7:i):i (/= x:i 2:i):i):i (= y:i -3:i):i):i", ""},
        {"x = -7, x %= 2, y = x", "(, (, (= x:i -7:i):i (%= x:i 2:i):i):i (= y:i -1:i):i):i", ""},
        {"x = -8, x >>= 1, y = x", "(, (, (= x:i -8:i):i (>>= x:i 1:i):i):i (= y:i -4:i):i):i", ""},
        {"x = 3, x <<= 33, y = x", "(, (, (= x:i 3:i):i (<<= x:i 33:i):i):i (= y:i 6:i):i):i", ""},
        {"x = 2147483647, x += 1, y = x",
         "(, (, (= x:i 2147483647:i):i (+= x:i 1:i):i):i (= y:i -2147483648:i):i):i", ""},
        {"x = -2147483647 - 1, x /= -1, y = x",
         "(, (, (= x:i -2147483648:i):i (= x:i (neg x:i):i):i):i (= y:i -2147483648:i):i):i", ""},
        {"x = 6, x ^= 3, x |= 8, x &= 12, y = x",
         "(, (, (, (, (= x:i 6:i):i (^= x:i 3:i):i):i (|= x:i 8:i):i):i (&= x:i 12:i):i):i (= y:i 12:i):i):i", ""},
    };
    table(cases, sizeof cases / sizeof cases[0]);
}

// The statement parser cuts known_values and sets it back to heads it kept;
// the lookups follow whatever list is in place.
TEST_F(ExprParserTable, KnownValuesFollowCutsAndRestoredHeads) {
    func_state.known_values = nullptr;
    parse("x = 1, y = 2", 0, nullptr);
    ExprNode *before = func_state.known_values;
    parse("x = 3", 0, nullptr);
    ExprNode *after = func_state.known_values;
    EXPECT_EQ(parse("c = x", 0, nullptr), "(= c:i 3:i):i");
    func_state.known_values = before;
    EXPECT_EQ(parse("c = x + y", 0, nullptr), "(= c:i 3:i):i");
    func_state.known_values = before;
    parse("x = 5", 0, nullptr);
    EXPECT_EQ(parse("c = x", 0, nullptr), "(= c:i 5:i):i");
    func_state.known_values = after;
    EXPECT_EQ(parse("c = x", 0, nullptr), "(= c:i 3:i):i");
    func_state.known_values = nullptr;
    EXPECT_EQ(parse("c = x", 0, nullptr), "(= c:i x:i):i");
    // A variable assigned something unknown hides what was known before.
    parse("x = 1, x = y + d", 0, nullptr);
    EXPECT_EQ(parse("c = x", 0, nullptr), "(= c:i x:i):i");
    EXPECT_EQ(messages.take(), "");
}

// Token soups over the names of this fixture: whatever comes, the parser
// reports and goes on, always moves forward, and the fold of what it built
// does not fail.  Run under the sanitizers this finds reads of missing
// operands and overflows in the constant arithmetic.
TEST_F(ExprParserTable, RandomTokenSoupsNeverStopTheParser) {
    declare("fv", function(&type_int, {&type_void}));
    declare("f2", function(&type_int, {&type_int, &type_long, &type_void}));
    static const char *const vocabulary[] = {
        "(", ")", "[", "]", "?", ":", ",", "+", "-", "*", "/", "%", "<<", ">>", "<", ">=", "==", "!=",
        "&", "|", "^", "&&", "||", "!", "~", "=", "+=", "/=", "%=", "<<=", "++", "--", ".", "->",
        "0", "1", "-1", "7u", "0x80000000", "2147483648", "32", "1.5", "0.0", "'a'", "\"st\"",
        "x", "y", "u", "ch", "f", "p", "arr", "s", "sp", "m4", "m8", "fv", "f2", "sizeof", "@", "{",
    };
    const size_t words = sizeof vocabulary / sizeof vocabulary[0];
    uint32_t seed = 12345;
    auto next_random = [&seed] {
        seed = seed * 1103515245u + 12345u;
        return seed >> 16;
    };
    for (int round = 0; round < 3000; round++) {
        std::string text;
        int count = int(next_random() % 25);
        for (int n = 0; n < count; n++) {
            text += vocabulary[next_random() % words];
            text += ' ';
        }
        func_state.known_values = nullptr;
        cond_depth = cond_expr_depth = 0;
        texts.emplace_back(text + " ;\n");
        PpToken *list = scan_line(texts.back().data());
        token_source_switch(list);
        int steps = 0;
        for (;;) {
            ExprNode *e = parse_expression(round & 1);
            if (e != nullptr)
                fold_expr(e, round % 3 == 0 ? TY_CHAR : 0);
            Token *t = next_token();
            if (t->code == TOK_SEMI || t->code == TOK_EOF)
                break;
            ASSERT_LT(++steps, count + 5) << text;
        }
        token_source_switch(nullptr);
        pptoken_free_list(list);
    }
    messages.take();
}

TEST_F(ExprParserTable, MembersOfCommasAndConditionalsAreNoLvalues) {
    declare("t", record);
    static const Case cases[] = {
        {"(x = 1, s).m4", "(deref (+ (, (= x:i 1:i):i &s:struct*):c*{N} 4:i):i*):i{N}", ""},
        {"(c ? s : t).m4", "(deref (+ (?: (!= c:i 0:i):i &s:struct* &t:struct*):c*{N} 4:i):i*):i{N}", ""},
        {"(c ? s : t).m4 = 1", "(= (deref (+ (?: (!= c:i 0:i):i &s:struct* &t:struct*):c*{N} 4:i):i*):i{N} 1:i):i",
         "invalid lvalue\n"},
    };
    table(cases, sizeof cases / sizeof cases[0]);
}

TEST_F(ExprParserTable, InlineCallsAndCounters) {
    Symbol *inl = declare("inl", function(&type_int, {&type_void}), SC_STATIC, ATTR_INLINE | ATTR_FUNCTION);
    declare("fv", function(&type_int, {&type_void}));
    Symbol *ns = declare("ns", function(&type_int, {&type_int}), SC_STATIC, ATTR_NOSTACK | ATTR_FUNCTION);
    (void)ns;
    int32_t calls = func_state.call_count;
    int32_t inlines = func_state.pending_inline;
    shape("fv()", 0, nullptr);
    EXPECT_EQ(func_state.call_count, calls + 1);
    shape("inl()", 0, nullptr);
    EXPECT_EQ(func_state.call_count, calls + 1);     // expanded in place: no call
    EXPECT_EQ(func_state.pending_inline, inlines);   // no body stored yet
    inl->value = 1;
    shape("inl()", 0, nullptr);
    EXPECT_EQ(func_state.pending_inline, inlines + 1);
    inl->flags |= SYM_INLINE_OPEN;
    shape("inl()", 0, nullptr);
    EXPECT_EQ(messages.take(), "invalid recursive inline function\n");
    opt_ck = 1;
    EXPECT_EQ(shape("ns(1, 2)", 0, nullptr), "(call &ns:i()* (arg 1:i 2:i):i):i{O}");
    EXPECT_EQ(messages.take(), "variable arguments in nostack mode\n");
    // A call forgets every known value.
    func_state.known_values = nullptr;
    EXPECT_EQ(parse("x = 1, fv(), y = x", 0, nullptr),
              "(, (, (= x:i 1:i):i (call &fv:i()*):i):i (= y:i x:i):i):i");
}

// A directive's expression is no code of the function around it: the
// switch back gives the function's state back as it was before the switch.
TEST_F(ExprParserTable, SwitchingBackRestoresTheFunctionState) {
    declare("fv", function(&type_int, {&type_void}));
    func_state.known_values = nullptr;
    parse("x = 1", 0, nullptr);
    FuncState before = func_state;
    texts.emplace_back("y = 2, fv(), x + y ;\n");
    PpToken *list = scan_line(texts.back().data());
    token_source_switch(list);
    parse_expression(0);
    EXPECT_NE(func_state.op_count, before.op_count);
    token_source_switch(nullptr);
    pptoken_free_list(list);
    EXPECT_EQ(func_state.known_values, before.known_values);
    EXPECT_EQ(func_state.op_count, before.op_count);
    EXPECT_EQ(func_state.call_count, before.call_count);
    EXPECT_EQ(parse("c = x", 0, nullptr), "(= c:i 1:i):i");
    EXPECT_EQ(messages.take(), "");
}

// The expression of #if: enumeration constants keep their values unless
// -sa, other names are 0, sizeof( is left to the parser, and the state of
// the code around the directive stays as it was.
TEST_F(ExprParserTable, IfExpressionsSeeEnumerationConstants) {
    Symbol *red = declare("RED", &type_int, SC_ENUM_MEMBER);
    red->value = uint32_t(-3);
    red->flags |= SYM_LAST_ENUM;
    Symbol *low = declare("LOW", &type_int, SC_ENUM_MEMBER);
    low->value = 0x80000000u;
    low->flags |= SYM_LAST_ENUM;
    struct IfCase {
        int sa;
        const char *text;
        int taken;
        const char *messages;
    } cases[] = {
        {0, "RED == -3 && GREEN == 0", 1, ""},
        {0, "RED * 2 == -6 && 10 / RED == -3 && -RED == 3", 1, ""},
        {0, "LOW == -2147483647 - 1 && LOW < 0", 1, ""},
        {1, "RED == 0", 1, ""},
        {0, "sizeof(x) == 4 && sizeof(ch) == 1", 1, ""},
        {1, "sizeof(x) == 4", 0, "incomplete #if expression\n"},
        {0, "", 0, "missing expression\nbad #if expression\n"},
        {0, "1 2", 1, "incomplete #if expression\n"},
    };
    for (IfCase &c : cases) {
        opt_sa = c.sa;
        func_state.known_values = nullptr;
        parse("x = 1", 0, nullptr);
        ExprNode *known = func_state.known_values;
        texts.emplace_back(std::string(c.text) + "\n");
        PpToken *list = scan_line(texts.back().data());
        EXPECT_EQ(eval_if_expression(&list, 0), c.taken) << c.text;
        EXPECT_EQ(messages.take(), c.messages) << c.text;
        EXPECT_EQ(func_state.known_values, known) << c.text;
        pptoken_free_list(list);
    }
    opt_sa = 0;
}
