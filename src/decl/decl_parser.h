// Private to the declaration parser (specifiers, declarators, argument
// lists, tags, struct layout, enums, type names): the keyword bits of a
// specifier list, the tests on types that its rules make, and the name
// index of the argument list being parsed.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <unordered_set>

#include "decl/symbol.h"
#include "decl/type.h"

// ---------------------------------------------------------------------------
// Keyword bits of a specifier list: `spec` while the list is read, and
// spec_seen for what the list held.  struct, union and enum share a bit.
enum : uint16_t {
    SPEC_CHAR = 0x1,
    SPEC_SHORT = 0x2,
    SPEC_INT = 0x4,
    SPEC_LONG = 0x8,
    SPEC_FLOAT = 0x10,
    SPEC_DOUBLE = 0x20,
    SPEC_SIGNED = 0x40,
    SPEC_UNSIGNED = 0x80,
    SPEC_CONST = 0x100,
    SPEC_VOLATILE = 0x200,
    SPEC_VOID = 0x400,
    SPEC_TAG = 0x800,        // struct, union or enum
    SPEC_TYPEDEF = 0x1000,   // a typedef name was taken
};

// ---------------------------------------------------------------------------
// Tests on types.
inline bool is_struct_or_union(const TypeNode *type) {
    return type != nullptr && (type->code == TY_STRUCT || type->code == TY_UNION);
}

inline bool is_function_type(const TypeNode *type) { return type != nullptr && type->code == TY_FUNCTION; }

inline bool is_array_type(const TypeNode *type) { return type != nullptr && type->code == TY_ARRAY; }

// An enum that was only named, never defined.
inline bool is_undefined_enum(const TypeNode *type) {
    return type != nullptr && type->code == TY_ENUM && type->members == nullptr;
}

// A pointer node to `next` reaching things with the attribute word `attr`.
TypeNode *new_pointer(TypeNode *next, uint16_t attr);

// ---------------------------------------------------------------------------
// The names of the argument list being parsed, beside its lists: the
// arguments declared so far, and the enum constants and tags that
// proto_symbol_list and proto_tag_list received inside it.  A lookup in
// these lists is a question about a name, answered here without a walk, so
// that a list of many arguments, constants or tags stays linear.  The lists
// stay the truth: only parse_arguments, parse_enum_body and parse_tag add
// to them while an argument list is open, and each of them notes what it
// adds here.  parse_arguments saves the index of an enclosing list with the
// lists themselves and gives it back at the end.
struct ProtoNames {
    std::unordered_set<NameRecord *> arguments;          // names in fn.args
    std::unordered_set<NameRecord *> constants;          // names in proto_symbol_list
    std::unordered_map<NameRecord *, Symbol *> tags;     // newest tag of each name in proto_tag_list
};

// The index of the innermost open argument list, null when none is open.
extern ProtoNames *proto_names;
