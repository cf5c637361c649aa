// A type chain as short text for the unit tests: `i` int, `uc` unsigned
// char, `c*f` a far pointer to char, `i[3]`, `i()`, `bits3@5` a bit-field of
// 3 bits at bit 5; a pointer's const and volatile follow its space.
#pragma once

#include <string>

#include "decl/type.h"

inline std::string type_text(const TypeNode *t) {
    if (t == nullptr)
        return "?";
    if (is_bit_field_code(t->code))
        return "bits" + std::to_string(t->bit_width) + "@" + std::to_string(t->bit_offset);
    switch (t->code) {
    case TY_CHAR: return "c";
    case TY_UCHAR: return "uc";
    case TY_SHORT: return "s";
    case TY_USHORT: return "us";
    case TY_INT: return "i";
    case TY_UINT: return "ui";
    case TY_LONG: return "l";
    case TY_ULONG: return "ul";
    case TY_FLOAT: return "f";
    case TY_DOUBLE: return "d";
    case TY_VOID: return "v";
    case TY_STRUCT: return "struct";
    case TY_UNION: return "union";
    case TY_ENUM: return "enum";
    case TY_POINTER: {
        static const char *const spaces[] = {"", "t", "n", "f"};
        return type_text(t->next) + "*" + spaces[(t->attr & ATTR_SPACE) >> 12] +
               (t->attr & ATTR_CONST ? "c" : "") + (t->attr & ATTR_VOLATILE ? "v" : "");
    }
    case TY_ARRAY: return type_text(t->next) + "[" + std::to_string(t->dim) + "]";
    case TY_FUNCTION: return type_text(t->next) + "()";
    default: return "code" + std::to_string(t->code);
    }
}
