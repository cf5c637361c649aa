// Type services: sizes and alignments of the target model, alignment of
// frame offsets, type identity and assignability, promotion, ranking of
// arithmetic types, merging of redeclarations and the assignment range
// warnings.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "message_capture.h"

// Records live to the end of the run, as in the whole program; a sanitizer
// build is not to count them as leaks.
extern "C" const char *__asan_default_options() {
    return "detect_leaks=0";
}

namespace {

// Options that the services read, restored after each test.
class TypeServices : public ::testing::Test {
protected:
    void SetUp() override {
        opt_f = opt_sa = opt_ne = 0;
        opt_ck = 7;
    }
    void TearDown() override {
        opt_f = opt_sa = opt_ne = opt_ck = 0;
    }
    Messages messages;
};

// Builders of type chains, outermost derivation first.
TypeNode *pointer(uint16_t attr, TypeNode *to) {
    TypeNode *type = new_type(TY_POINTER, to);
    type->attr = attr;
    return type;
}

TypeNode *array(int32_t dim, TypeNode *of) {
    TypeNode *type = new_type(TY_ARRAY, of);
    type->dim = dim;
    return type;
}

TypeNode *bit_field(uint8_t code, uint8_t offset, uint8_t width) {
    TypeNode *type = new_type(code, nullptr);
    type->bit_offset = offset;
    type->bit_width = width;
    return type;
}

TypeNode *enum_of(TypeNode *representation, bool complete = true) {
    TypeNode *type = new_type(TY_ENUM, representation);
    type->tag = nullptr;
    type->members = nullptr;
    if (complete)
        new_symbol(&type->members, nullptr, SC_ENUM_MEMBER, representation);
    return type;
}

// A struct or union whose members have the given types, in order.
TypeNode *aggregate(uint8_t code, std::vector<TypeNode *> members, uint32_t size) {
    TypeNode *type = new_type(code, nullptr);
    type->tag = nullptr;
    type->members = nullptr;
    type->size = size;
    Symbol **tail = &type->members;
    for (TypeNode *member : members)
        tail = &new_symbol(tail, nullptr, SC_MEMBER, member)->next;
    return type;
}

TypeNode *incomplete(uint8_t code) {
    TypeNode *type = new_type(code, nullptr);
    type->tag = nullptr;
    type->members = nullptr;
    type->size = 0;
    return type;
}

// Argument list: a prototype when the types are given, with `void_end` a
// nameless void entry closing it (no `...`).
Symbol *prototype(std::vector<TypeNode *> types, bool void_end = true) {
    Symbol *list = nullptr;
    Symbol **tail = &list;
    for (TypeNode *type : types)
        tail = &new_symbol(tail, nullptr, SC_ARG, type)->next;
    if (void_end)
        new_symbol(tail, nullptr, SC_ARG, &type_void);
    return list;
}

// An old-style list of `count` names without types.
Symbol *names(int count) {
    Symbol *list = nullptr;
    Symbol **tail = &list;
    for (int i = 0; i < count; i++)
        tail = &new_symbol(tail, nullptr, SC_ARG, nullptr)->next;
    return list;
}

TypeNode *function(Symbol *args, TypeNode *result = &type_void) {
    TypeNode *type = new_type(TY_FUNCTION, result);
    type->args = args;
    type->proto_symbols = nullptr;
    type->proto_tags = nullptr;
    return type;
}

ExprNode *leaf(TypeNode *type, int32_t value, uint8_t lflags) {
    ExprNode *e = new_expr(OP_LEAF);
    e->type = type;
    e->value = value;
    e->lflags = lflags;
    e->left = nullptr;
    return e;
}

// ---------------------------------------------------------------------------
struct SizeCase {
    const char *what;
    TypeNode *type;
    bool f_option;
    int32_t size;
    int32_t shift;
};

TEST_F(TypeServices, SizesAndAlignmentsOfTheTargetModel) {
    TypeNode *double_struct = aggregate(TY_STRUCT, {&type_double}, 8);
    const SizeCase cases[] = {
        {"char", &type_char, false, 1, 0},
        {"unsigned char", &type_uchar, false, 1, 0},
        {"char bit-field", bit_field(TY_CHAR_BITS, 0, 3), false, 1, 0},
        {"short", &type_short, false, 2, 1},
        {"unsigned short bit-field", bit_field(TY_SHORT_BITS, 2, 5), false, 2, 1},
        {"int", &type_int, false, 4, 2},
        {"int bit-field", bit_field(TY_INT_BITS, 0, 17), false, 4, 2},
        {"long bit-field class", bit_field(TY_LONG_BITS, 0, 17), false, 4, 2},
        {"long", &type_long, false, 4, 2},
        {"unsigned long", &type_ulong, false, 4, 2},
        {"float", &type_float, false, 4, 2},
        {"double", &type_double, false, 8, 3},
        {"double under -f", &type_double, true, 4, 2},
        {"char * without space", pointer(0, &type_char), false, 2, 1},
        {"char @tiny *", pointer(ATTR_TINY, &type_char), false, 1, 0},
        {"char @near *", pointer(ATTR_NEAR, &type_char), false, 2, 1},
        {"char @far *", pointer(ATTR_FAR, &type_char), false, 4, 2},
        {"const far pointer", pointer(ATTR_CONST | ATTR_FAR, &type_char), false, 4, 2},
        {"enum as short", enum_of(&type_short), false, 2, 1},
        {"int[3]", array(3, &type_int), false, 12, 2},
        {"short[2][3]", array(2, array(3, &type_short)), false, 12, 1},
        {"far pointer[5]", array(5, pointer(ATTR_FAR, &type_char)), false, 20, 2},
        {"tiny pointer[5]", array(5, pointer(ATTR_TINY, &type_char)), false, 5, 0},
        {"struct of a double", double_struct, false, 8, 3},
        {"struct of a double under -f", double_struct, true, 8, 2},
        {"struct of char and short", aggregate(TY_STRUCT, {&type_char, &type_short}, 4), false, 4, 1},
        {"union of char and far pointer",
         aggregate(TY_UNION, {&type_char, pointer(ATTR_FAR, &type_void)}, 4), false, 4, 2},
        {"struct in a struct",
         aggregate(TY_STRUCT, {&type_char, aggregate(TY_STRUCT, {&type_short}, 2)}, 4), false, 4, 1},
        {"array of structs", array(3, aggregate(TY_STRUCT, {&type_short, &type_char}, 4)), false, 12, 1},
    };
    for (const SizeCase &c : cases) {
        opt_f = c.f_option;
        EXPECT_EQ(type_size(c.type), c.size) << c.what;
        EXPECT_EQ(align_shift(c.type), c.shift) << c.what;
        EXPECT_EQ(messages.take(), "") << c.what;
    }
}

struct SizeErrorCase {
    const char *what;
    TypeNode *type;
    bool ne_option;
    int32_t size;
    const char *message;
};

TEST_F(TypeServices, SizeErrorsReportAndGiveZero) {
    const SizeErrorCase cases[] = {
        {"void", &type_void, false, 0, "size unknown\n"},
        {"function", function(nullptr, &type_int), false, 0, "size unknown\n"},
        {"incomplete struct", incomplete(TY_STRUCT), false, 0, "struct/union size unknown\n"},
        {"incomplete union", incomplete(TY_UNION), false, 0, "struct/union size unknown\n"},
        {"int[]", array(0, &type_int), false, 0, "array size unknown\n"},
        {"int[][4]", array(0, array(4, &type_int)), false, 0, "array size unknown\n"},
        {"int[4][]", array(4, array(0, &type_int)), false, 0, "array size unknown\n"},
        {"array of void", array(4, &type_void), false, 0, "size unknown\n"},
        {"array of incomplete struct", array(2, incomplete(TY_STRUCT)), false, 0, "struct/union size unknown\n"},
        {"enum without members", enum_of(&type_int, false), false, 4, "enum size unknown\n"},
        {"enum without members under -ne", enum_of(&type_int, false), true, 4, ""},
    };
    for (const SizeErrorCase &c : cases) {
        opt_ne = c.ne_option;
        EXPECT_EQ(type_size(c.type), c.size) << c.what;
        EXPECT_EQ(messages.take(), c.message) << c.what;
    }
}

TEST_F(TypeServices, HugeArraySizesWrapAt32Bits) {
    EXPECT_EQ(type_size(array(0x40000000, &type_int)), 0);
    EXPECT_EQ(type_size(array(0x7FFFFFFF, array(0x7FFFFFFF, &type_double))), 8);
    EXPECT_EQ(type_size(array(-2, &type_short)), -4);
    EXPECT_EQ(messages.take(), "");
}

TEST_F(TypeServices, StructWithoutMembersHasAlignmentZero) {
    EXPECT_EQ(align_shift(incomplete(TY_STRUCT)), 0);
    EXPECT_EQ(align_shift(&type_void), 2);
    EXPECT_EQ(align_shift(function(nullptr)), 2);
}

struct AlignCase {
    int32_t offset;
    TypeNode *type;
    int32_t result;
};

TEST_F(TypeServices, AlignUpMovesNegativeOffsetsAwayFromZero) {
    const AlignCase cases[] = {
        {-3, &type_int, -4},       {5, &type_int, 8},         {8, &type_int, 8},
        {0, &type_int, 0},         {-4, &type_int, -4},       {-1, &type_char, -1},
        {1, &type_short, 2},       {-1, &type_short, -2},     {7, &type_double, 8},
        {-9, &type_double, -16},   {1, &type_double, 8},      {-5, &type_long, -8},
        {0x7FFFFFFF, &type_int, INT32_MIN},
        {INT32_MIN + 1, &type_int, INT32_MIN},
    };
    for (const AlignCase &c : cases)
        EXPECT_EQ(align_up(c.offset, c.type), c.result) << c.offset << " code " << int(c.type->code);
}

// ---------------------------------------------------------------------------
struct SameCase {
    const char *what;
    TypeNode *a;
    TypeNode *b;
    bool same;
    bool f_option = false;
    bool sa_option = false;
};

TEST_F(TypeServices, SameTypeOverPairs) {
    TypeNode *s = aggregate(TY_STRUCT, {&type_int}, 4);
    TypeNode *s_again = new_type(TY_STRUCT, nullptr);
    s_again->members = s->members;
    TypeNode *other_s = aggregate(TY_STRUCT, {&type_int}, 4);
    TypeNode *char_ptr = pointer(0, &type_char);
    TypeNode *const_char_ptr = pointer(ATTR_CONST, &type_char);
    const SameCase cases[] = {
        {"int, int", &type_int, &type_int, true},
        {"int, unsigned", &type_int, &type_uint, false},
        {"int, long", &type_int, &type_long, false},
        {"enum as int, int", enum_of(&type_int), &type_int, true},
        {"int, enum as int", &type_int, enum_of(&type_int), true},
        {"two enums as int", enum_of(&type_int), enum_of(&type_int), true},
        {"enum as char, int", enum_of(&type_char), &type_int, false},
        {"struct, same members", s, s_again, true},
        {"struct, other members", s, other_s, false},
        {"two incomplete structs", incomplete(TY_STRUCT), incomplete(TY_STRUCT), true},
        {"incomplete struct and union", incomplete(TY_STRUCT), incomplete(TY_UNION), false},
        {"near and unspecified pointer", pointer(ATTR_NEAR, &type_int), pointer(0, &type_int), true},
        {"near and far pointer", pointer(ATTR_NEAR, &type_int), pointer(ATTR_FAR, &type_int), false},
        {"tiny and near pointer", pointer(ATTR_TINY, &type_int), pointer(ATTR_NEAR, &type_int), false},
        {"const is not compared", const_char_ptr, char_ptr, true},
        {"pointer to int and to char", pointer(0, &type_int), char_ptr, false},
        {"int (*)[3], int (*)[]", pointer(0, array(3, &type_int)), pointer(0, array(0, &type_int)), true},
        {"int (*)[3], int (*)[4]", pointer(0, array(3, &type_int)), pointer(0, array(4, &type_int)), false},
        {"int[2][3], int[2][4]", array(2, array(3, &type_int)), array(2, array(4, &type_int)), false},
        {"bit-fields of one class", bit_field(TY_INT_BITS, 0, 3), bit_field(TY_INT_BITS, 4, 5), true},
        {"null, null", nullptr, nullptr, true},
        {"null, int", nullptr, &type_int, false},
        {"int, null", &type_int, nullptr, false},
        {"int f(), char f()", function(nullptr, &type_int), function(nullptr, &type_char), false},
        {"f(int), f(int)", function(prototype({&type_int})), function(prototype({&type_int})), true},
        {"f(int), f(long)", function(prototype({&type_int})), function(prototype({&type_long})), false},
        {"f(int), f(int, int)", function(prototype({&type_int})), function(prototype({&type_int, &type_int})), false},
        {"f(int, ...), f(int)", function(prototype({&type_int}, false)), function(prototype({&type_int})), false},
        {"f(short), f()", function(prototype({&type_short})), function(nullptr), true},
        {"f(), f(short)", function(nullptr), function(prototype({&type_short})), true},
        {"f(char), f()", function(prototype({&type_char})), function(nullptr), false},
        {"f(unsigned char), f()", function(prototype({&type_uchar})), function(nullptr), false},
        {"f(float), f()", function(prototype({&type_float})), function(nullptr), false},
        {"f(float), f() under -f", function(prototype({&type_float})), function(nullptr), true, true},
        {"f(double), f()", function(prototype({&type_double})), function(nullptr), true},
        {"f(int, ...), f()", function(prototype({&type_int}, false)), function(nullptr), false},
        {"f(void), f()", function(prototype({})), function(nullptr), true},
        {"f(), f()", function(nullptr), function(nullptr), true},
        {"f(a, b), f()", function(names(2)), function(nullptr), true},
        {"f(int, int), f(a, b)", function(prototype({&type_int, &type_int})), function(names(2)), true},
        {"f(a, b), f(int, int)", function(names(2)), function(prototype({&type_int, &type_int})), true},
        {"f(int, int), f(a)", function(prototype({&type_int, &type_int})), function(names(1)), false},
        {"f(int, int), f(a, b, c)", function(prototype({&type_int, &type_int})), function(names(3)), false},
        {"f(char *), f(void *)", function(prototype({char_ptr})), function(prototype({pointer(0, &type_void)})), true},
        {"f(void @far *), f(char *)", function(prototype({pointer(ATTR_FAR, &type_void)})),
         function(prototype({char_ptr})), true},
        {"f(int *), f(char *)", function(prototype({pointer(0, &type_int)})), function(prototype({char_ptr})), false},
        {"f(const char *), f(char *)", function(prototype({const_char_ptr})), function(prototype({char_ptr})), true},
        {"f(const char *), f(char *) under -sa", function(prototype({const_char_ptr})),
         function(prototype({char_ptr})), false, false, true},
        {"f(const void *), f(void *) under -sa", function(prototype({pointer(ATTR_CONST, &type_void)})),
         function(prototype({pointer(0, &type_void)})), false, false, true},
        {"f(volatile char *), f(volatile char *) under -sa",
         function(prototype({pointer(ATTR_VOLATILE, &type_char)})),
         function(prototype({pointer(ATTR_VOLATILE, &type_char)})), true, false, true},
        {"pointers to functions differing in arguments", pointer(0, function(prototype({&type_int}))),
         pointer(0, function(prototype({&type_short}))), false},
    };
    for (const SameCase &c : cases) {
        opt_f = c.f_option;
        opt_sa = c.sa_option;
        EXPECT_EQ(same_type(c.a, c.b), c.same) << c.what;
    }
    EXPECT_EQ(messages.take(), "");
}

struct AssignCase {
    const char *what;
    TypeNode *target;
    TypeNode *source;
    bool assignable;
    bool sa_option = false;
};

TEST_F(TypeServices, AssignableTypeOverPairs) {
    TypeNode *s = aggregate(TY_STRUCT, {&type_int}, 4);
    TypeNode *s_again = new_type(TY_STRUCT, nullptr);
    s_again->members = s->members;
    const AssignCase cases[] = {
        {"near into far", pointer(ATTR_FAR, &type_char), pointer(ATTR_NEAR, &type_char), true},
        {"far into near", pointer(ATTR_NEAR, &type_char), pointer(ATTR_FAR, &type_char), false},
        {"far into unspecified", pointer(0, &type_char), pointer(ATTR_FAR, &type_char), false},
        {"tiny into unspecified", pointer(0, &type_char), pointer(ATTR_TINY, &type_char), true},
        {"unspecified into near", pointer(ATTR_NEAR, &type_char), pointer(0, &type_char), true},
        {"near into tiny", pointer(ATTR_TINY, &type_char), pointer(ATTR_NEAR, &type_char), false},
        {"const into plain", pointer(0, &type_char), pointer(ATTR_CONST, &type_char), true},
        {"const into plain under -sa", pointer(0, &type_char), pointer(ATTR_CONST, &type_char), false, true},
        {"volatile into const under -sa", pointer(ATTR_CONST, &type_char),
         pointer(ATTR_VOLATILE, &type_char), false, true},
        {"plain into const under -sa", pointer(ATTR_CONST, &type_char), pointer(0, &type_char), true, true},
        {"const volatile into const volatile far under -sa",
         pointer(ATTR_CONST | ATTR_VOLATILE | ATTR_FAR, &type_char),
         pointer(ATTR_CONST | ATTR_VOLATILE, &type_char), true, true},
        {"int * into void *", pointer(0, &type_void), pointer(0, &type_int), true},
        {"void * into int *", pointer(0, &type_int), pointer(0, &type_void), true},
        {"char * into int *", pointer(0, &type_int), pointer(0, &type_char), false},
        {"enum * into int *", pointer(0, &type_int), pointer(0, enum_of(&type_int)), true},
        {"int into pointer", pointer(0, &type_int), &type_int, false},
        {"pointer pointers of equal inner spaces", pointer(ATTR_FAR, pointer(ATTR_FAR, &type_char)),
         pointer(0, pointer(ATTR_FAR, &type_char)), true},
        {"pointer pointers of unequal inner spaces", pointer(ATTR_FAR, pointer(ATTR_FAR, &type_char)),
         pointer(0, pointer(ATTR_NEAR, &type_char)), false},
        {"inner spaces, none against near", pointer(0, pointer(0, &type_char)),
         pointer(0, pointer(ATTR_NEAR, &type_char)), true},
        {"third level spaces", pointer(0, pointer(0, pointer(ATTR_FAR, &type_int))),
         pointer(0, pointer(0, pointer(ATTR_TINY, &type_int))), false},
        {"void ** into char **", pointer(0, pointer(0, &type_char)), pointer(0, pointer(0, &type_void)), true},
        {"int ** into char **", pointer(0, pointer(0, &type_char)), pointer(0, pointer(0, &type_int)), false},
        {"pointer into int", &type_int, pointer(0, &type_int), false},
        {"struct into int", &type_int, s, false},
        {"double into char", &type_char, &type_double, true},
        {"enum into int", &type_int, enum_of(&type_char), true},
        {"struct into same struct", s, s_again, true},
        {"struct into other struct", s, aggregate(TY_STRUCT, {&type_int}, 4), false},
        {"int into struct", s, &type_int, false},
    };
    for (const AssignCase &c : cases) {
        opt_sa = c.sa_option;
        EXPECT_EQ(assignable_type(c.target, c.source), c.assignable) << c.what;
    }
}

// ---------------------------------------------------------------------------
struct PromoteCase {
    const char *what;
    TypeNode *type;
    int32_t for_call;
    bool f_option;
    TypeNode *result;
};

TEST_F(TypeServices, PromotionTable) {
    TypeNode *near_ptr = pointer(ATTR_NEAR, &type_char);
    TypeNode *plain_ptr = pointer(0, &type_char);
    TypeNode *tiny_ptr = pointer(ATTR_TINY, &type_char);
    TypeNode *far_ptr = pointer(ATTR_FAR | ATTR_CONST, &type_char);
    TypeNode *int_bits = bit_field(TY_INT_BITS, 0, 4);
    TypeNode *wide_array = array(3, &type_char);
    TypeNode *enum_char = enum_of(&type_uchar);
    TypeNode *enum_int = enum_of(&type_int);
    const PromoteCase cases[] = {
        {"char", &type_char, 0, false, &type_int},
        {"unsigned char", &type_uchar, 0, false, &type_int},
        {"char bit-field", bit_field(TY_CHAR_BITS, 0, 2), 0, false, &type_int},
        {"short", &type_short, 1, false, &type_int},
        {"unsigned short", &type_ushort, 0, false, &type_int},
        {"short bit-field", bit_field(TY_SHORT_BITS, 0, 9), 0, false, &type_int},
        {"int bit-field", int_bits, 0, false, &type_uint},
        {"int", &type_int, 1, false, &type_int},
        {"unsigned long", &type_ulong, 1, false, &type_ulong},
        {"float in an operator", &type_float, 0, false, &type_float},
        {"float as argument", &type_float, 1, false, &type_double},
        {"float as argument under -f", &type_float, 1, true, &type_float},
        {"double as argument", &type_double, 1, false, &type_double},
        {"near pointer in an operator", near_ptr, 0, false, near_ptr},
        {"near pointer as argument", near_ptr, 1, false, &type_uint},
        {"unspecified pointer as argument", plain_ptr, 1, false, &type_uint},
        {"tiny pointer as argument", tiny_ptr, 1, false, &type_uint},
        {"far pointer as argument", far_ptr, 1, false, far_ptr},
        {"enum as unsigned char", enum_char, 0, false, &type_int},
        {"enum as int", enum_int, 0, false, &type_int},
        {"array", wide_array, 1, false, wide_array},
    };
    for (const PromoteCase &c : cases) {
        opt_f = c.f_option;
        EXPECT_EQ(promote_type(c.type, c.for_call), c.result) << c.what;
    }
}

struct WiderCase {
    int32_t a;
    int32_t b;
    bool wider;
};

TEST_F(TypeServices, WiderCodeRanksIntAsLong) {
    const WiderCase cases[] = {
        {TY_INT, TY_LONG, false},    {TY_LONG, TY_INT, false},    {TY_UINT, TY_LONG, true},
        {TY_LONG, TY_UINT, false},   {TY_ULONG, TY_INT, true},    {TY_UINT, TY_ULONG, false},
        {TY_ULONG, TY_UINT, false},  {TY_INT, TY_USHORT, true},   {TY_SHORT, TY_INT, false},
        {TY_FLOAT, TY_ULONG, true},  {TY_DOUBLE, TY_FLOAT, true}, {TY_FLOAT, TY_DOUBLE, false},
        {TY_UINT, TY_INT, true},     {TY_CHAR, TY_CHAR, false},
    };
    for (const WiderCase &c : cases)
        EXPECT_EQ(wider_code(c.a, c.b), c.wider) << std::hex << c.a << " over " << c.b;
}

// ---------------------------------------------------------------------------
TEST_F(TypeServices, MergeTypesCompletesTheFirstDeclaration) {
    // extern char *p[]; char @far *p[4]; -- the old Symbol learns the
    // dimension and the attributes of the pointed-to chars.
    Symbol old_decl{};
    Symbol new_decl{};
    old_decl.type = array(0, pointer(ATTR_CONST, &type_char));
    new_decl.type = array(4, pointer(ATTR_FAR, &type_char));
    merge_types(&old_decl, &new_decl);
    EXPECT_EQ(old_decl.type->dim, 4);
    EXPECT_EQ(old_decl.type->next->attr, ATTR_CONST | ATTR_FAR);
    EXPECT_EQ(new_decl.type->next->attr, ATTR_FAR);

    // A known dimension stays.
    old_decl.type = array(3, &type_int);
    new_decl.type = array(0, &type_int);
    merge_types(&old_decl, &new_decl);
    EXPECT_EQ(old_decl.type->dim, 3);

    // An old-style function takes the arguments of the later prototype,
    // behind a pointer; a declaration without arguments gives none.
    Symbol *args = prototype({&type_int});
    old_decl.type = pointer(0, function(nullptr, &type_int));
    new_decl.type = pointer(0, function(args, &type_int));
    merge_types(&old_decl, &new_decl);
    EXPECT_EQ(old_decl.type->next->args, args);
    new_decl.type = pointer(0, function(nullptr, &type_int));
    merge_types(&old_decl, &new_decl);
    EXPECT_EQ(old_decl.type->next->args, args);

    // An enum stands for its integer type: the walk goes on behind it
    // without taking the enum for a derivation of the other chain.
    old_decl.type = pointer(0, enum_of(&type_int));
    new_decl.type = pointer(ATTR_VOLATILE, &type_int);
    merge_types(&old_decl, &new_decl);
    EXPECT_EQ(old_decl.type->attr, ATTR_VOLATILE);
    EXPECT_EQ(old_decl.type->next->code, TY_ENUM);
}

// ---------------------------------------------------------------------------
struct RangeCase {
    const char *what;
    TypeNode *target;
    int32_t value;
    TypeNode *constant_type;
    bool warns;
};

TEST_F(TypeServices, ConstantRangeOfAssignments) {
    TypeNode *bits3 = bit_field(TY_INT_BITS, 0, 3);
    const RangeCase cases[] = {
        {"255 into unsigned char", &type_uchar, 255, &type_int, false},
        {"256 into unsigned char", &type_uchar, 256, &type_int, true},
        {"200 into char", &type_char, 200, &type_int, true},
        {"127 into char", &type_char, 127, &type_int, false},
        {"128 into char", &type_char, 128, &type_int, true},
        {"-1 into char", &type_char, -1, &type_int, false},
        {"-128 into char", &type_char, -128, &type_int, false},
        {"-129 into char", &type_char, -129, &type_int, true},
        {"-1 into unsigned char", &type_uchar, -1, &type_int, true},
        {"65535 into unsigned short", &type_ushort, 65535, &type_int, false},
        {"65536 into unsigned short", &type_ushort, 65536, &type_int, true},
        {"-32768 into short", &type_short, -32768, &type_int, false},
        {"32768 into short", &type_short, 32768, &type_int, true},
        {"0x7FFFFFFF into int", &type_int, 0x7FFFFFFF, &type_int, false},
        {"0xFFFFFFFFu into int", &type_int, -1, &type_uint, true},
        {"-1 into unsigned", &type_uint, -1, &type_int, false},
        {"-1 into unsigned long", &type_ulong, -1, &type_long, false},
        {"0xFFFFFFFFu into char", &type_char, -1, &type_uint, true},
        {"7 into a 3-bit field", bits3, 7, &type_int, false},
        {"8 into a 3-bit field", bits3, 8, &type_int, true},
        {"-1 into a 3-bit field", bits3, -1, &type_int, true},
        {"256 into enum as unsigned char", enum_of(&type_uchar), 256, &type_int, true},
        {"255 into enum as unsigned char", enum_of(&type_uchar), 255, &type_int, false},
        {"0x8000 into a near pointer", pointer(0, &type_char), 0x8000, &type_int, true},
        {"0x7FFF into a near pointer", pointer(0, &type_char), 0x7FFF, &type_int, false},
        {"1e6 into a far pointer", pointer(ATTR_FAR, &type_char), 1000000, &type_int, false},
    };
    for (const RangeCase &c : cases) {
        check_assign_range(c.target, leaf(c.constant_type, c.value, 0));
        EXPECT_EQ(messages.take(), c.warns ? "value out of range\n" : "") << c.what;
    }
}

struct TruncateCase {
    const char *what;
    TypeNode *target;
    TypeNode *source;
    uint8_t lflags;
    bool warns;
};

TEST_F(TypeServices, TruncatingAssignments) {
    const TruncateCase cases[] = {
        {"int into char", &type_char, &type_int, 3, true},
        {"char into int", &type_int, &type_char, 3, false},
        {"long into short", &type_short, &type_long, 3, true},
        {"float into long", &type_long, &type_float, 3, true},
        {"long into float", &type_float, &type_long, 3, false},
        {"double into float", &type_float, &type_double, 3, true},
        {"float into double", &type_double, &type_float, 3, false},
        {"int constant into float", &type_float, &type_int, 0, false},
        {"far pointer into near pointer", pointer(0, &type_char), pointer(ATTR_FAR, &type_char), 3, true},
        {"near pointer into far pointer", pointer(ATTR_FAR, &type_char), pointer(0, &type_char), 3, false},
        {"array of char decays into char", &type_char, array(10, &type_char), 3, true},
        {"array of char decays into int", &type_int, array(10, &type_char), 3, false},
        {"int into an int bit-field", bit_field(TY_INT_BITS, 0, 3), &type_int, 3, false},
    };
    for (const TruncateCase &c : cases) {
        check_assign_range(c.target, leaf(c.source, 1, c.lflags));
        EXPECT_EQ(messages.take(), c.warns ? "truncating assignment\n" : "") << c.what;
    }
}

TEST_F(TypeServices, RangeWarningsAreOfLevelOne) {
    opt_ck = 0;
    check_assign_range(&type_char, leaf(&type_int, 1000, 0));
    check_assign_range(&type_char, leaf(&type_long, 1, 3));
    EXPECT_EQ(messages.take(), "");
    opt_ck = 1;
    check_assign_range(&type_char, leaf(&type_int, 1000, 0));
    EXPECT_EQ(messages.take(), "value out of range\n");
}

} // namespace
