// Types: the TypeNode chain, the type codes and attribute bits, the static
// base types, the type pool, the type services that size, align, compare
// and promote chains for this target, and the memory-space table.
#pragma once

#include <cstdint>

struct Symbol;

// ---------------------------------------------------------------------------
// Type codes.  The high nibble is the width class of a scalar, bit 0 means
// unsigned, bit 1 marks a bit-field type.  The order of the codes carries
// meaning too: the integer codes come first, narrowest first, then the
// reals, then the rest.  Every test of a code's class is one of the
// predicates below the table.
enum : uint8_t {
    TY_CHAR = 0x10,
    TY_UCHAR = 0x11,
    TY_CHAR_BITS = 0x13,     // bit-field in a char unit, always unsigned
    TY_SHORT = 0x20,
    TY_USHORT = 0x21,
    TY_SHORT_BITS = 0x23,
    TY_INT = 0x30,
    TY_UINT = 0x31,
    TY_INT_BITS = 0x33,      // bit-field in an int or long unit
    TY_LONG = 0x40,
    TY_ULONG = 0x41,
    TY_LONG_BITS = 0x43,     // treated like TY_INT_BITS; no declaration makes it
    TY_FLOAT = 0x58,
    TY_DOUBLE = 0x5C,        // double and long double
    TY_STRUCT = 0x60,
    TY_UNION = 0x64,
    TY_ENUM = 0x68,          // `next` is the integer type that represents it
    TY_VOID = 0x70,
    TY_POINTER = 0x80,
    TY_ARRAY = 0x84,
    TY_FUNCTION = 0x88,
};

// The predicates on type codes.
constexpr bool is_unsigned_code(int code) { return (code & 1) != 0; }
constexpr bool is_bit_field_code(int code) { return code < 68 && (code & 2) != 0; }
constexpr bool is_real_code(int code) { return (code & 0xF0) == 0x50; }
// The width class: the same for the integer types of one width, signed or
// not, and the bit-fields of that unit; the reals share one class.
constexpr int width_class(int code) { return code & 0xF0; }
// char and unsigned char, their bit-fields aside.
constexpr bool is_char_code(int code) { return code < 18; }
// One byte wide: char, unsigned char and the bit-fields of a char unit.
constexpr bool is_byte_code(int code) { return code < 32; }
// The char and short classes: narrower than int, so promoted to int.
constexpr bool is_narrow_code(int code) { return code < 48; }
// char, short and int, signed or not, and the bit-fields of char and short
// units: values that an int holds as they are.
constexpr bool fits_int_code(int code) { return code < 50; }
// long, unsigned long and everything after them in the order of codes.
constexpr bool is_wider_than_int_code(int code) { return code >= 64; }
// The integer types whose values a constant leaf holds: all but the
// bit-fields of a long unit.
constexpr bool is_int_const_code(int code) { return code < 66; }
constexpr bool is_integer_code(int code) { return code < 68; }
// Integers, bit-fields and the reals.
constexpr bool is_arith_code(int code) { return code < 93; }
// The types that a test or an operator takes as one value.
constexpr bool is_scalar_code(int code) { return is_arith_code(code) || code == TY_POINTER; }
constexpr bool is_struct_code(int code) { return code == TY_STRUCT || code == TY_UNION; }

// Given to new_type together with a code: the node comes from the heap and
// enters neither the free list nor the chain, so it outlives the function
// in which it was made (the type of an implicitly declared function).
constexpr int32_t TY_KEEP = 0x100;

// ---------------------------------------------------------------------------
// Attribute word: on Symbol.attr for the object itself, and on the attr of
// a pointer node for the thing the pointer reaches.
enum : uint16_t {
    ATTR_CONST = 0x8000,
    ATTR_VOLATILE = 0x4000,  // on a function's Symbol: the argument list is open;
                             // in a section word: uninitialised data
    ATTR_SPACE = 0x3000,     // two-bit space field, 0 = none given (counts as near)
    ATTR_TINY = 0x1000,
    ATTR_NEAR = 0x2000,
    ATTR_FAR = 0x3000,
    ATTR_FUNCTION = 0x0800,  // declarator ended in a function suffix, or implicit function
    ATTR_NOSTACK = 0x0400,
    ATTR_INLINE = 0x0200,
    ATTR_PACKED = 0x0100,
    ATTR_USER = 0x00FF,      // spaces named by the source, 0x80 first, 0x01 last
};

// ---------------------------------------------------------------------------
// One link of a type chain.  A chain is read from its head, the outermost
// derivation, to its tail, the base type: `int *p[3]` is array(3), pointer,
// int.  Base types are the shared static nodes below; struct, union and
// enum nodes are shared by all users of the tag.
struct TypeNode {
    TypeNode *link;          // pool chain and free list; no meaning to users
    TypeNode *next;          // pointee, element, result type; enum: its integer type
    uint8_t code;
    uint16_t dbg_label;      // label of this type's debug record, 0 while none
    union {                  // the variant word, by code
        uint16_t attr;       // TY_POINTER: attributes of what it reaches
        int32_t dim;         // TY_ARRAY: element count, 0 = not known
        Symbol *args;        // TY_FUNCTION: argument list, null = ()
        Symbol *tag;         // TY_STRUCT, TY_UNION, TY_ENUM: tag Symbol or null
        struct {             // bit-field codes
            uint8_t bit_offset;
            uint8_t bit_width;
        };
    };
    union {
        Symbol *members;        // struct, union, enum: member list, null = incomplete
        Symbol *proto_symbols;  // TY_FUNCTION: enum constants declared in the arguments
    };
    union {
        uint32_t size;          // struct, union: size in bytes
        Symbol *proto_tags;     // TY_FUNCTION: tags declared in the arguments
    };
    // Struct, union: 1 + the largest alignment shift among the members laid
    // out so far, kept by the layout as each member is made; 0 = not known,
    // and align_shift walks the members.  So the alignment of a nested or
    // much-used aggregate costs no walk, and a struct that holds itself
    // through an array does not send align_shift round in circles.
    uint8_t body_shift;
};

// The static base types, made at start and never freed.  Under -f the code
// of type_double becomes TY_FLOAT (init_spaces does it).
extern TypeNode type_uchar, type_char, type_ushort, type_short, type_uint,
    type_int, type_ulong, type_long, type_float, type_double, type_void;

// ---------------------------------------------------------------------------
// Type pool.  new_type takes a node from the free list, or from the heap
// when the free list is empty or TY_KEEP is given; it sets code, next and
// clears dbg_label, nothing else.  mark_types at the start of a function
// definition and release_types at its end give back, in one assignment,
// every node taken in between.
TypeNode *new_type(int32_t code, TypeNode *next);
void mark_types();
void release_types();

// ---------------------------------------------------------------------------
// Type services for the target model.  Sizes are in bytes; alignments are
// shifts (alignment = 1 << shift).  A pointer's size comes from the space
// field of its attr: tiny 1, near or none 2, far 4.
int32_t type_size(TypeNode *type);
int32_t align_shift(TypeNode *type);
int32_t align_up(int32_t offset, TypeNode *type);
bool same_type(TypeNode *a, TypeNode *b);
bool assignable_type(TypeNode *target, TypeNode *source);
void merge_types(Symbol *dst, Symbol *src);
TypeNode *promote_type(TypeNode *type, int32_t for_call);
bool wider_code(int32_t a, int32_t b);

// The space of a pointer's attribute word for comparisons and sizes: the
// ATTR_SPACE field with "none given" counted as near.
inline uint16_t pointer_space(uint16_t attr) {
    uint16_t space = attr & ATTR_SPACE;
    return space ? space : uint16_t(ATTR_NEAR);
}

// ---------------------------------------------------------------------------
// Memory spaces (src/decl/memory_spaces.cpp).  space_list holds one Symbol
// per modifier, its attr the bits it stands for.  The default tables are
// indexed by slot: 0 extern (and everything not named), 1 static, 2 auto
// (auto, register, arguments), 3 pointer (the pseudo class `*`, code 99).
extern Symbol *space_list;
extern uint16_t func_defaults[4];
extern uint16_t data_defaults[4];
extern uint16_t *const_defaults;   // refers to func_defaults until #pragma space const

void init_spaces();
void set_model(int32_t number);
void parse_space_modifier(uint16_t *attr);
void apply_default_attrs(uint16_t *attr, int32_t sclass, int32_t type_code);
