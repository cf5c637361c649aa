// The declaration parser from inside: the type chains and attribute words
// that specifiers and declarators build, the layout of bit-fields (bit
// positions show nowhere else), scopes of tags and enum constants in
// argument lists, and nesting and sizes far beyond what one source line can
// hold.  Argument lists and a struct that holds itself are run by
// tests/e2e/decl and tests/e2e/robustness.
#include <gtest/gtest.h>

#include <ctime>
#include <cstring>
#include <deque>
#include <string>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"
#include "message_capture.h"
#include "type_text.h"

extern "C" const char *__asan_default_options() {
    return "detect_leaks=0";
}

namespace {

NameRecord *name_of(const char *text) { return intern_name(text, unsigned(std::strlen(text))); }

std::string name_text(const NameRecord *name) {
    return name != nullptr ? std::string(name->text, name->length) : std::string("-");
}

// Attribute letters: space t n f, c const, v volatile, F function, P packed.
std::string attr_text(uint16_t attr) {
    std::string text;
    static const char *const spaces[] = {"", "t", "n", "f"};
    text += spaces[(attr & ATTR_SPACE) >> 12];
    if (attr & ATTR_CONST) text += "c";
    if (attr & ATTR_VOLATILE) text += "v";
    if (attr & ATTR_FUNCTION) text += "F";
    if (attr & ATTR_PACKED) text += "P";
    return text;
}

// A chain read from its head: `*` with the pointer's attribute letters,
// `[dim]`, `(arguments)`, then the base type, e.g. `[3] * i`.
std::string chain(const TypeNode *t);

std::string arguments(const Symbol *args) {
    std::string text = "(";
    for (const Symbol *a = args; a != nullptr; a = a->next) {
        if (a != args) text += ",";
        if (a->name != nullptr) text += name_text(a->name) + " ";
        text += a->type != nullptr ? chain(a->type) : "?";
        if (a->attr != 0) text += " @" + attr_text(a->attr);
    }
    return text + ")";
}

std::string chain(const TypeNode *t) {
    std::string text;
    for (; t != nullptr; t = t->next) {
        switch (t->code) {
        case TY_POINTER: text += "*" + attr_text(t->attr) + " "; break;
        case TY_ARRAY: text += "[" + std::to_string(t->dim) + "] "; break;
        case TY_FUNCTION: text += arguments(t->args) + " "; break;
        case TY_ENUM: return text + "enum";
        default: return text + type_text(t);
        }
    }
    return text + "null";
}

// Members with their offsets, then the size: `a@0 bits3@0, b@1 c; 2`.
std::string layout(const TypeNode *type) {
    std::string text;
    for (const Symbol *m = type->members; m != nullptr; m = m->next) {
        if (m != type->members) text += ", ";
        text += name_text(m->name) + "@" + std::to_string(m->value) + " " + chain(m->type);
        if (m->flags & SYM_ANON_ALIAS) text += " alias";
    }
    return text + "; " + std::to_string(type->size);
}

class DeclParser : public ::testing::Test {
protected:
    void SetUp() override {
        opt_u = opt_c99 = opt_rb = opt_csb = opt_ne = opt_sa = opt_ck = opt_f = 0;
        std::memset(func_defaults, 0, sizeof func_defaults);
        std::memset(data_defaults, 0, sizeof data_defaults);
        const_defaults = func_defaults;
        init_spaces();
        error_count = 0;
        saved_symbols = symbol_list;
        saved_tags = tag_list;
    }
    void TearDown() override {
        symbol_list = release_symbols(symbol_list, saved_symbols);
        tag_list = saved_tags;
        opt_u = opt_c99 = opt_rb = opt_csb = opt_ne = opt_sa = opt_ck = opt_f = 0;
        std::memset(func_defaults, 0, sizeof func_defaults);
        std::memset(data_defaults, 0, sizeof data_defaults);
        error_count = 0;
    }

    // Reads `text` from a token list; `read` does the parse.  Returns what
    // `read` gives and checks that the parse stopped at the end.
    template <typename F>
    std::string from(const std::string &text, F read) {
        texts.emplace_back(text + " ;\n");
        PpToken *list = scan_line(texts.back().data());
        token_source_switch(list);
        std::string result = read();
        int rest = token_source_switch(nullptr);
        pptoken_free_list(list);
        EXPECT_EQ(rest, TOK_SEMI) << text;
        return result;
    }

    // A declaration of one declarator, as a block would read it:
    // `name: chain @object-attributes`.
    std::string declare(const std::string &text) {
        return from(text, [] {
            Symbol record{};
            parse_decl_specifiers(&record, block_classes);
            Symbol decl = record;
            if (!parse_declarator(&decl))
                return std::string("no declarator: ") + chain(decl.type);
            std::string shape = name_text(decl.name) + ": " + chain(decl.type);
            if (decl.attr != 0) shape += " @" + attr_text(decl.attr);
            return shape;
        });
    }

    // The type of a specifier list, such as a struct with its body.
    TypeNode *specified(const std::string &text) {
        TypeNode *type = nullptr;
        from(text, [&type] {
            Symbol record{};
            parse_decl_specifiers(&record, nullptr);
            type = record.type;
            return std::string();
        });
        return type;
    }

    Symbol *add_typedef(const char *name, TypeNode *type, uint16_t attr) {
        Symbol *sym = new_symbol(&symbol_list, name_of(name), SC_TYPEDEF, type);
        sym->attr = attr;
        sym->flags = SYM_DECLARED;
        return sym;
    }

    std::deque<std::string> texts;
    Symbol *saved_symbols = nullptr;
    Symbol *saved_tags = nullptr;
    Messages messages;
};

struct Case {
    const char *source;
    const char *shape;
    const char *messages;
};

}  // namespace

TEST_F(DeclParser, SpecifiersAndDeclaratorsBuildTheChain) {
    add_typedef("CT", &type_int, ATTR_CONST);
    add_typedef("NT", &type_int, ATTR_NEAR);
    static const Case cases[] = {
        {"long long x", "x: l", "repeated type specification\n"},
        {"long float x", "x: i", "illegal type specification\n"},
        {"long double x", "x: d", ""},
        {"unsigned short int x", "x: us", ""},
        {"signed x", "x: i", ""},
        {"const const int x", "x: i @c", "repeated type specification\n"},
        {"const CT x", "x: i @c", "repeated qualifier specification\n"},
        {"volatile CT x", "x: i @cv", ""},
        {"CT CT", "CT: i @c", ""},
        {"unsigned CT", "CT: ui", ""},
        {"int CT", "CT: i", ""},
        {"extern static int x", "x: i", "invalid storage class\n"},
        {"@near NT x", "x: i @n", ""},
        {"@far NT x", "x: i @f", "space attribute conflict\n"},
        {"x", "x: i", ""},
        {"int *p[3]", "p: [3] * i", ""},
        {"int (*p)[3]", "p: * [3] i", ""},
        {"int a[2][3]", "a: [2] [3] i", ""},
        {"int (*fp)(void)", "fp: *F (v,v) i", ""},
        {"char *(*(*x)[4])(int)", "x: * [4] *F (i,v) * c", ""},
        {"const char @far *q", "q: *fc c", ""},
        {"char * @far const p", "p: * c @fc", ""},
        {"char @near * @far p", "p: *n c @f", ""},
        {"int * const const p", "p: * i @c", "repeated qualifier specification\n"},
        {"int * volatile * const p", "p: *v * i @c", ""},
        {"int f()()", "f: () () i @F", "invalid function return type\n"},
        {"int f[]()", "f: [0] () i @F", "invalid function return type\n"},
        {"int a()[3]", "a: () [3] i @F", "invalid array type\n"},
        {"int a[0]", "a: [0] i", "invalid array dimension\n"},
        {"int a[-1]", "a: [0] i", "invalid array dimension\n"},
        {"int ((x))", "x: i", ""},
        {"int (f(void))", "f: (v,v) i @F", ""},
        {"int (*)", "-: * i", ""},
        {"int", "no declarator: i", ""},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(declare(c.source), c.shape) << c.source;
        EXPECT_EQ(messages.take(), c.messages) << c.source;
    }
    opt_c99 = 1;
    EXPECT_EQ(declare("const CT x"), "x: i @c");
    EXPECT_EQ(declare("int * const const p"), "p: * i @c");
    EXPECT_EQ(declare("const const int x"), "x: i @c");
    EXPECT_EQ(messages.take(), "repeated type specification\n");
    opt_u = 1;
    EXPECT_EQ(declare("char c"), "c: uc");
    EXPECT_EQ(declare("signed char c"), "c: c");
}

// The pointer slot of the defaults goes to every pointer by what it
// reaches: data_defaults for data, func_defaults for functions; the
// innermost pointer of a nested declarator gets it when the chains join.
TEST_F(DeclParser, PointersTakeTheDefaultsOfWhatTheyReach) {
    data_defaults[3] = ATTR_FAR;
    func_defaults[3] = ATTR_TINY;
    static const Case cases[] = {
        {"char *p", "p: *f c", ""},
        {"char @near *p", "p: *n c", ""},
        {"int (*fp)(void)", "fp: *tF (v,v) i", ""},
        {"int (**fpp)(void)", "fpp: *f *tF (v,v) i", ""},
        {"char (*pa)[3]", "pa: *f [3] c", ""},
        {"char *f(char *s)", "f: (s *f c,v) *f c @F", ""},
        {"void g(int a[], int h(void))", "g: (a *f i,h *tF (v,v) i,v) v @F", ""},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(declare(c.source), c.shape) << c.source;
        EXPECT_EQ(messages.take(), c.messages) << c.source;
    }
    // The argument slot of the defaults completes the arguments' own words.
    data_defaults[2] = ATTR_NEAR;
    EXPECT_EQ(declare("void f(char c, register int r)"), "f: (c c @n,r i @n,v) v @F");
    EXPECT_EQ(declare("void f(static int s)"), "f: (s i,v) v @F");
    EXPECT_EQ(messages.take(), "illegal storage class\n");
}

// Tags and enum constants of an argument list stay out of the file's
// lists; the function node keeps them.
TEST_F(DeclParser, TagsAndConstantsOfAnArgumentListStayInIt) {
    TypeNode *fn = nullptr;
    from("int f(enum e { P, Q } x, struct t { int a; } *p, struct t *q)", [&fn] {
        Symbol record{};
        parse_decl_specifiers(&record, block_classes);
        parse_declarator(&record);
        fn = record.type;
        return std::string();
    });
    EXPECT_EQ(messages.take(), "");
    ASSERT_EQ(fn->code, TY_FUNCTION);
    EXPECT_EQ(find_symbol(name_of("P"), symbol_list, nullptr), nullptr);
    EXPECT_EQ(find_symbol(name_of("t"), tag_list, nullptr), nullptr);
    ASSERT_NE(fn->proto_symbols, nullptr);
    EXPECT_EQ(name_text(fn->proto_symbols->name), "Q");
    EXPECT_EQ(fn->proto_symbols->next->name, name_of("P"));
    Symbol *tags = fn->proto_tags;
    ASSERT_NE(tags, nullptr);
    EXPECT_EQ(name_text(tags->name), "t");
    EXPECT_EQ(name_text(tags->next->name), "e");
    EXPECT_EQ(tags->next->next, nullptr);
    // Both pointers reach the one tag of the list.
    Symbol *p = fn->args->next;
    EXPECT_EQ(p->type->next, p->next->type->next);
    EXPECT_EQ(proto_symbol_list, nullptr);
    EXPECT_EQ(proto_tag_list, nullptr);
    EXPECT_EQ(proto_depth, 0);

    from("int g(enum { R } a, enum { R } b)", [] {
        Symbol record{};
        parse_decl_specifiers(&record, block_classes);
        parse_declarator(&record);
        return std::string();
    });
    EXPECT_EQ(messages.take(), "redeclared enum member R\n");
}

TEST_F(DeclParser, BitFieldsPackIntoUnitsOfTheirDeclaredWidth) {
    struct Layout {
        const char *source;
        int rb;
        const char *layout;
        const char *messages;
    };
    static const Layout cases[] = {
        {"struct { char a:3; char b:6; }", 0, "a@0 bits3@0, b@1 bits6@0; 2", ""},
        {"struct { char a:3; int b:4; }", 0, "a@0 bits3@0, b@4 bits4@0; 8", ""},
        {"struct { int a:3; int :0; int b:3; }", 0, "a@0 bits3@0, b@4 bits3@0; 8", ""},
        {"struct { int a:3; char c; }", 0, "a@0 bits3@0, c@4 c; 8", ""},
        {"struct { int a:3; int b:5; }", 0, "a@0 bits3@0, b@0 bits5@3; 4", ""},
        {"struct { int a:3; int b:5; }", 1, "a@0 bits3@29, b@0 bits5@24; 4", ""},
        {"struct { char a:3; char b:5; }", 1, "a@0 bits3@5, b@0 bits5@0; 1", ""},
        {"struct { short a:10; short b:7; }", 1, "a@0 bits10@6, b@2 bits7@9; 4", ""},
        {"struct { long x:4; }", 0, "x@0 bits4@0; 4", ""},
        {"struct { char c; short s:4; }", 0, "c@0 c, s@2 bits4@0; 4", ""},
        {"struct { char c; int :4; char d:2; }", 0, "c@0 c, d@8 bits2@0; 9", ""},
        {"struct { int a:30; int b:3; }", 0, "a@0 bits30@0, b@4 bits3@0; 8", ""},
        {"struct { int a:3; int :0; int :0; int b:3; }", 0, "a@0 bits3@0, b@4 bits3@0; 8", ""},
        {"struct { enum { K = 200 } e:3; }", 0, "e@0 bits3@0; 1", ""},
        {"union { char a:3; char b:4; int c; }", 0, "a@0 bits3@0, b@0 bits4@3, c@0 i; 4", ""},
        {"union { int c; char a:3; }", 0, "c@0 i, a@0 bits3@0; 4", ""},
        {"struct { int x:33; }", 0, "x@0 i; 0", "invalid bitfield size\n"},
        {"struct { char x:9; }", 0, "x@0 c; 0", "invalid bitfield size\n"},
        {"struct { float x:3; }", 0, "x@0 f; 0", "invalid bitfield type\n"},
        {"struct { int x:0; }", 0, "x@0 i; 0", "invalid bitfield size\n"},
        {"struct { int x:-1; }", 0, "x@0 i; 0", "invalid bitfield size\n"},
    };
    for (const Layout &c : cases) {
        opt_rb = c.rb;
        EXPECT_EQ(layout(specified(c.source)), c.layout) << c.source << " rb " << c.rb;
        EXPECT_EQ(messages.take(), c.messages) << c.source;
    }
    opt_rb = 0;
    // Under -csb a signed bit-field is reported once for its list.
    opt_csb = 1;
    specified("struct { signed int a:1, b:2; signed char c:1; int d:1; }");
    EXPECT_EQ(messages.take(), "signed bitfield not supported\nsigned bitfield not supported\n");
}

TEST_F(DeclParser, AnonymousMembersAreCopiedIntoTheirStruct) {
    EXPECT_EQ(layout(specified("struct { union { int a; char b; }; int c; }")), "a@0 i, b@0 c alias, c@4 i; 8");
    EXPECT_EQ(layout(specified("struct { char x; struct { short a; char b; }; }")), "x@0 c, a@2 s, b@4 c; 6");
    // The copies of an inner anonymous union come along with their marks.
    EXPECT_EQ(layout(specified("struct { char x; struct { int y; union { short a; char b; }; }; }")),
              "x@0 c, y@4 i, a@8 s, b@8 c alias; 12");
    EXPECT_EQ(messages.take(), "");
    specified("struct { int a; union { int a; }; }");
    EXPECT_EQ(messages.take(), "redefined anonymous member a\n");
    opt_sa = 1;
    specified("struct { union { int a; }; int c; }");
    EXPECT_EQ(messages.take(), "missing member name\n");
}

// A mention binds to the tag wherever it is visible; a body declares a new
// tag in the current block unless it completes one the block declared.
TEST_F(DeclParser, TagsFollowTheirScopes) {
    TypeNode *outer = specified("struct s");
    tag_scope_mark = tag_list;   // a block is entered
    EXPECT_EQ(specified("struct s"), outer);
    TypeNode *inner = specified("struct s { int x; }");
    EXPECT_NE(inner, outer);
    EXPECT_EQ(outer->members, nullptr);
    EXPECT_EQ(specified("struct s"), inner);
    TypeNode *declared = specified("union t");
    EXPECT_EQ(specified("union t { char c; }"), declared);
    EXPECT_EQ(declared->size, 1u);
    EXPECT_EQ(messages.take(), "");
    specified("union t { int i; }");
    specified("struct t");
    EXPECT_EQ(messages.take(), "redefined tag name t\nredefined tag type t\n");
    tag_list = tag_scope_mark;   // and left
    tag_scope_mark = nullptr;
    EXPECT_EQ(specified("struct s"), outer);
    EXPECT_EQ(messages.take(), "");
}

// Nesting far beyond one source line: each recursion goes on on a fresh
// stack when the first runs low.
TEST_F(DeclParser, DeepNestingDoesNotOverflowTheStack) {
    const int depth = 100000;
    std::string stars(depth, '*');
    std::string shape = declare("int " + stars + "p");
    EXPECT_EQ(shape.size(), 4 + 2 * size_t(depth));
    EXPECT_EQ(declare("int " + std::string(depth, '(') + "*p" + std::string(depth, ')') + "[2]"), "p: * [2] i");
    std::string arrays;
    for (int n = 0; n < depth; n++)
        arrays += "[1]";
    EXPECT_EQ(declare("char a" + arrays).size(), 4 + 4 * size_t(depth));
    std::string functions;
    for (int n = 0; n < 20000; n++)
        functions += "(*";
    functions += "p";
    for (int n = 0; n < 20000; n++)
        functions += ")(int (*)(void))";
    EXPECT_EQ(declare("int " + functions).compare(0, 6, "p: *F "), 0);

    const int structs = 20000;
    std::string nested;
    for (int n = 0; n < structs; n++)
        nested += "struct { ";
    nested += "char c; int i;";
    for (int n = 0; n < structs; n++)
        nested += " } m;";
    TypeNode *type = specified(nested.substr(0, nested.size() - 3));
    EXPECT_EQ(type->size, 8u);
    EXPECT_EQ(align_shift(type), 2);
    EXPECT_EQ(messages.take(), "");
}

// An enum of many constants, then a struct and an argument list with the
// same names: no constant, member or argument is sought by a walk of the
// ones before it.  (A name that no Symbol ever had is never walked for, so
// the enum comes first.)  Processor time, since other work may share the
// machine.
TEST_F(DeclParser, LongBodiesTakeLinearTime) {
    const int count = 200000;
    std::string constants = "enum { ";
    std::string members = "struct { ";
    std::string arguments = "int f(";
    for (int n = 0; n < count; n++) {
        std::string name = "m" + std::to_string(n);
        constants += name + ", ";
        members += "char " + name + "; ";
        arguments += (n ? ", int " : "int ") + name;
    }
    constants += "last }";
    members += "}";
    arguments += ")";
    std::clock_t start = std::clock();
    TypeNode *enumeration = specified(constants);
    TypeNode *record = specified(members);
    declare(arguments);
    double seconds = double(std::clock() - start) / CLOCKS_PER_SEC;
    EXPECT_LT(seconds, 5.0);   // a walk per entry takes minutes
    EXPECT_EQ(enumeration->next, &type_ulong);
    EXPECT_EQ(record->size, uint32_t(count));
    EXPECT_EQ(messages.take(), "");
}
