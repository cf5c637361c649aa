// Type services: sizes and alignments where the target model is more than
// a table (pointers by space, -f, arrays, structs, errors), frame offsets,
// type identity and assignability, merging of redeclarations and the range
// warnings of assignments.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "message_capture.h"

// Records live to the end of the run; a sanitizer build is not to count them.
extern "C" const char *__asan_default_options() { return "detect_leaks=0"; }

namespace {

TypeNode *const C = &type_char, *const UC = &type_uchar, *const S = &type_short, *const I = &type_int,
                *const U = &type_uint, *const L = &type_long, *const FL = &type_float, *const D = &type_double,
                *const V = &type_void;
const uint16_t TINY = ATTR_TINY, NEAR = ATTR_NEAR, FAR = ATTR_FAR, CONST = ATTR_CONST;
enum { F = 1, NE = 2, SA = 4 };   // options of a case

class TypeServices : public ::testing::Test {
protected:
    void SetUp() override { opt_ck = 1; }
    void TearDown() override { opt_f = opt_sa = opt_ne = opt_ck = 0; }
    void set_options(int options) {
        opt_f = options & F;
        opt_ne = (options & NE) != 0;
        opt_sa = (options & SA) != 0;
    }
    Messages messages;
};

// Builders of type chains, outermost derivation first.  `word` fills the
// variant word: a pointer's attributes, an array's count, a bit-field's width.
TypeNode *node(int32_t code, TypeNode *next, int32_t word) {
    TypeNode *type = new_type(code, next);
    type->args = type->members = nullptr;
    type->size = 0;
    if (code == TY_POINTER)
        type->attr = uint16_t(word);
    else if (code == TY_ARRAY)
        type->dim = word;
    else
        type->bit_width = uint8_t(word);
    return type;
}
TypeNode *ptr(uint16_t attr, TypeNode *to) { return node(TY_POINTER, to, attr); }
TypeNode *array(int32_t dim, TypeNode *of) { return node(TY_ARRAY, of, dim); }
TypeNode *bits(uint8_t code, uint8_t width) { return node(code, nullptr, width); }

Symbol *list_of(std::vector<TypeNode *> types, int32_t sclass) {
    Symbol *list = nullptr;
    for (size_t i = types.size(); i-- > 0;)
        new_symbol(&list, nullptr, sclass, types[i]);
    return list;
}

// A struct, union or enum with these member types; none makes it incomplete.
TypeNode *aggregate(uint8_t code, std::vector<TypeNode *> members, uint32_t size = 0, TypeNode *next = nullptr) {
    TypeNode *type = node(code, next, 0);
    type->members = list_of(members, code == TY_ENUM ? SC_ENUM_MEMBER : SC_MEMBER);
    type->size = size;
    return type;
}
TypeNode *enum_of(TypeNode *representation) { return aggregate(TY_ENUM, {representation}, 0, representation); }

// function(nullptr) has no argument list; f(types...) is a prototype,
// closed by a nameless void entry, open(...) one ending in `...`, and
// old_style(n) a list of n names without types.
TypeNode *function(Symbol *args, TypeNode *result = V) {
    TypeNode *type = node(TY_FUNCTION, result, 0);
    type->args = args;
    return type;
}
TypeNode *open(std::vector<TypeNode *> types) { return function(list_of(types, SC_ARG)); }
TypeNode *f(std::vector<TypeNode *> types) {
    types.push_back(V);
    return open(types);
}
TypeNode *old_style(int count) { return open(std::vector<TypeNode *>(size_t(count), nullptr)); }

TEST_F(TypeServices, SizesAndAlignments) {
    TypeNode *double_struct = aggregate(TY_STRUCT, {D}, 8);
    TypeNode *no_members = aggregate(TY_ENUM, {}, 0, I);
    const char *UNKNOWN = "size unknown\n", *OPEN = "struct/union size unknown\n", *NO_DIM = "array size unknown\n";
    const struct { TypeNode *type; int options; int32_t size, shift; const char *message; } cases[] = {
        {bits(TY_SHORT_BITS, 5), 0, 2, 1, ""},   {bits(TY_LONG_BITS, 17), 0, 4, 2, ""},
        {D, 0, 8, 3, ""},                        {D, F, 4, 2, ""},
        {ptr(0, C), 0, 2, 1, ""},                {ptr(TINY, C), 0, 1, 0, ""},
        {ptr(CONST | FAR, C), 0, 4, 2, ""},
        {array(2, array(3, S)), 0, 12, 1, ""},   {array(5, ptr(TINY, C)), 0, 5, 0, ""},
        {double_struct, 0, 8, 3, ""},            {double_struct, F, 8, 2, ""},
        {aggregate(TY_UNION, {C, ptr(FAR, V)}, 4), 0, 4, 2, ""},
        {aggregate(TY_STRUCT, {C, aggregate(TY_STRUCT, {S}, 2)}, 4), 0, 4, 1, ""},
        // The product of the dimensions wraps at 32 bits.
        {array(0x40000000, I), 0, 0, 2, ""},     {V, 0, 0, 2, UNKNOWN},
        {array(2, aggregate(TY_UNION, {})), 0, 0, 0, OPEN},
        {array(0, I), 0, 0, 2, NO_DIM},          {array(4, array(0, I)), 0, 0, 2, NO_DIM},
        {no_members, 0, 4, 2, "enum size unknown\n"}, {no_members, NE, 4, 2, ""},
    };
    for (size_t i = 0; i < std::size(cases); i++) {
        set_options(cases[i].options);
        EXPECT_EQ(type_size(cases[i].type), cases[i].size) << "case " << i;
        EXPECT_EQ(messages.take(), cases[i].message) << "case " << i;
        EXPECT_EQ(align_shift(cases[i].type), cases[i].shift) << "case " << i;
    }
}

TEST_F(TypeServices, AlignUpMovesNegativeOffsetsAwayFromZero) {
    const struct { int32_t offset; TypeNode *type; int32_t result; } cases[] = {
        {-3, I, -4},   {5, I, 8},  {8, I, 8},     {-4, I, -4},    {-1, C, -1},
        {1, S, 2},     {-1, S, -2}, {-9, D, -16}, {1, D, 8},
        {0x7FFFFFFF, I, INT32_MIN}, {INT32_MIN + 1, I, INT32_MIN},
    };
    for (const auto &c : cases)
        EXPECT_EQ(align_up(c.offset, c.type), c.result) << c.offset << " code " << int(c.type->code);
}

TEST_F(TypeServices, SameTypeOverPairs) {
    TypeNode *s = aggregate(TY_STRUCT, {I}, 4), *s_again = node(TY_STRUCT, nullptr, 0);
    s_again->members = s->members;   // another node of the same struct
    TypeNode *no_proto = function(nullptr);
    TypeNode *char_ptr = ptr(0, C), *const_char_ptr = ptr(CONST, C);
    const struct { TypeNode *a, *b; bool same; int options; } cases[] = {
        {enum_of(I), I, true, 0},                      {I, enum_of(I), true, 0},
        {s, s_again, true, 0},                         {s, aggregate(TY_STRUCT, {I}, 4), false, 0},
        {aggregate(TY_STRUCT, {}), aggregate(TY_STRUCT, {}), true, 0},
        // Pointers compare their spaces, none given counting as near, and
        // not their qualifiers.
        {ptr(NEAR, I), ptr(0, I), true, 0},            {ptr(NEAR, I), ptr(FAR, I), false, 0},
        {const_char_ptr, char_ptr, true, 0},           {ptr(0, array(3, I)), ptr(0, array(0, I)), true, 0},
        {array(2, array(3, I)), array(2, array(4, I)), false, 0},
        {I, nullptr, false, 0},                        {f({I}), f({I}), true, 0},
        {f({I}), f({L}), false, 0},                    {open({I}), f({I}), false, 0},
        // A prototype against none: only types that promotion leaves alone,
        // and no `...`; against names, as many types as names.
        {f({S}), no_proto, true, 0},                   {no_proto, f({S}), true, 0},
        {f({C}), no_proto, false, 0},                  {f({FL}), no_proto, false, 0},
        {f({FL}), no_proto, true, F},                  {open({I}), no_proto, false, 0},
        {f({}), no_proto, true, 0},                    {old_style(2), no_proto, true, 0},
        {f({I, I}), old_style(2), true, 0},            {f({I, I}), old_style(1), false, 0},
        // Pointers to void match any pointer; -sa compares qualifiers.
        {f({char_ptr}), f({ptr(0, V)}), true, 0},      {f({ptr(0, I)}), f({char_ptr}), false, 0},
        {f({const_char_ptr}), f({char_ptr}), true, 0}, {f({const_char_ptr}), f({char_ptr}), false, SA},
        {f({ptr(ATTR_VOLATILE, C)}), f({ptr(ATTR_VOLATILE, C)}), true, SA},
    };
    for (size_t i = 0; i < std::size(cases); i++) {
        set_options(cases[i].options);
        EXPECT_EQ(same_type(cases[i].a, cases[i].b), cases[i].same) << "case " << i;
    }
    EXPECT_EQ(messages.take(), "");
}

TEST_F(TypeServices, AssignableTypeOverPairs) {
    auto p = [](uint16_t attr) { return ptr(attr, C); };
    auto pp = [](uint16_t outer, uint16_t inner) { return ptr(outer, ptr(inner, C)); };
    const uint16_t CV = ATTR_CONST | ATTR_VOLATILE;
    const struct { TypeNode *target, *source; bool assignable; int options; } cases[] = {
        // A pointer goes into a wider space only, none given counting as near.
        {p(FAR), p(NEAR), true, 0},                    {p(NEAR), p(FAR), false, 0},
        {p(0), p(FAR), false, 0},                      {p(TINY), p(NEAR), false, 0},
        // Qualifiers may be added only, under -sa.
        {p(0), p(CONST), true, 0},                     {p(0), p(CONST), false, SA},
        {p(CONST), p(ATTR_VOLATILE), false, SA},       {p(CV | FAR), p(CV), true, SA},
        {ptr(0, V), ptr(0, I), true, 0},               {ptr(0, I), p(0), false, 0},
        {p(0), I, false, 0},
        // Behind the first level the spaces must agree.
        {pp(FAR, FAR), pp(0, FAR), true, 0},           {pp(FAR, FAR), pp(0, NEAR), false, 0},
        {ptr(0, pp(0, FAR)), ptr(0, pp(0, TINY)), false, 0}, {pp(0, 0), ptr(0, ptr(0, V)), true, 0},
    };
    for (size_t i = 0; i < std::size(cases); i++) {
        set_options(cases[i].options);
        EXPECT_EQ(assignable_type(cases[i].target, cases[i].source), cases[i].assignable) << "case " << i;
    }
}

TEST_F(TypeServices, MergeTypesCompletesTheFirstDeclaration) {
    Symbol old_decl{}, new_decl{};
    auto merge = [&](TypeNode *first, TypeNode *later) {
        old_decl.type = first;
        new_decl.type = later;
        merge_types(&old_decl, &new_decl);
        return first;
    };
    // extern char *p[]; char @far *p[4]; -- the old Symbol learns the
    // dimension and the attributes of the pointed-to chars.
    TypeNode *p = merge(array(0, ptr(CONST, C)), array(4, ptr(FAR, C)));
    EXPECT_EQ(p->dim, 4);
    EXPECT_EQ(p->next->attr, CONST | FAR);
    EXPECT_EQ(new_decl.type->next->attr, FAR);
    EXPECT_EQ(merge(array(3, I), array(0, I))->dim, 3);   // a known dimension stays
    // An old-style function takes the arguments of the later prototype,
    // behind a pointer; a declaration without arguments gives none.
    TypeNode *proto = f({I}), *old_style_ptr = ptr(0, function(nullptr, I));
    EXPECT_EQ(merge(old_style_ptr, ptr(0, proto))->next->args, proto->args);
    EXPECT_EQ(merge(old_style_ptr, ptr(0, function(nullptr, I)))->next->args, proto->args);
    // An enum stands for its integer type: the walk goes on behind it
    // without taking the enum for a derivation of the other chain.
    p = merge(ptr(0, enum_of(I)), ptr(ATTR_VOLATILE, I));
    EXPECT_EQ(p->attr, ATTR_VOLATILE);
    EXPECT_EQ(p->next->code, TY_ENUM);
}

// A constant (lflags 0) is checked against the range of the target; any
// other value against the width of its type, a real type counting double.
TEST_F(TypeServices, AssignmentRangeWarnings) {
    const char *RANGE = "value out of range\n", *CUT = "truncating assignment\n";
    TypeNode *bits3 = bits(TY_INT_BITS, 3);
    const struct { TypeNode *target, *source; int32_t value; uint8_t lflags; const char *message; } cases[] = {
        {UC, I, 255, 0, ""},           {UC, I, 256, 0, RANGE},         {C, I, 128, 0, RANGE},
        {C, I, 127, 0, ""},            {C, I, -128, 0, ""},            {C, I, -129, 0, RANGE},
        {UC, I, -1, 0, RANGE},         {&type_ushort, I, 65536, 0, RANGE},
        {S, I, 32768, 0, RANGE},       {I, U, -1, 0, RANGE},           {&type_ulong, L, -1, 0, ""},
        {C, U, -1, 0, RANGE},          {bits3, I, 8, 0, RANGE},        {bits3, I, -1, 0, RANGE},
        {enum_of(UC), I, 256, 0, RANGE}, {ptr(0, C), I, 0x8000, 0, RANGE}, {ptr(FAR, C), I, 1000000, 0, ""},
        {C, I, 1, 3, CUT},             {I, C, 1, 3, ""},               {L, FL, 1, 3, CUT},
        {FL, D, 1, 3, CUT},            {ptr(0, C), ptr(FAR, C), 1, 3, CUT},
        // An array is its first element's address: a pointer of two bytes.
        {C, array(10, C), 1, 3, CUT},  {I, array(10, C), 1, 3, ""},
    };
    ExprNode *e = new_expr(OP_LEAF);
    e->left = nullptr;
    for (size_t i = 0; i < std::size(cases); i++) {
        e->type = cases[i].source;
        e->value = cases[i].value;
        e->lflags = cases[i].lflags;
        check_assign_range(cases[i].target, e);
        EXPECT_EQ(messages.take(), cases[i].message) << "case " << i;
    }
    // Both are warnings, of level one as the table shows.
    opt_ck = 0;
    e->type = I;
    e->value = 1000;
    for (uint8_t lflags : {0, 3}) {
        e->lflags = lflags;
        check_assign_range(C, e);
    }
    EXPECT_EQ(messages.take(), "");
}

} // namespace
