// The static base types and the target model: sizes, alignments and the
// promotions of types.
//
// The target is 32-bit PowerPC with 8-bit char, 16-bit short, 32-bit int
// and long, 32-bit float and 64-bit double (32-bit under -f).  A pointer's
// width is not fixed: it follows the memory space of the pointer node, one
// byte for tiny, two for near (and for no space at all), four for far.
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"

namespace {

constexpr TypeNode base_type(uint8_t code) {
    TypeNode type{};
    type.code = code;
    return type;
}

} // namespace

TypeNode type_uchar = base_type(TY_UCHAR);
TypeNode type_char = base_type(TY_CHAR);
TypeNode type_ushort = base_type(TY_USHORT);
TypeNode type_short = base_type(TY_SHORT);
TypeNode type_uint = base_type(TY_UINT);
TypeNode type_int = base_type(TY_INT);
TypeNode type_ulong = base_type(TY_ULONG);
TypeNode type_long = base_type(TY_LONG);
TypeNode type_float = base_type(TY_FLOAT);
TypeNode type_double = base_type(TY_DOUBLE);
TypeNode type_void = base_type(TY_VOID);

namespace {

// Bytes and alignment shift of a pointer by its space field.
int32_t pointer_size(uint16_t attr) {
    switch (pointer_space(attr)) {
    case ATTR_TINY: return 1;
    case ATTR_FAR: return 4;
    default: return 2;
    }
}

// Nesting of struct members that align_shift follows.  Only a struct that
// holds itself, which declarations never let through, comes near it.
constexpr int MAX_MEMBER_NESTING = 1000;

int32_t align_shift_at(TypeNode *type, int nesting) {
    for (;;) {
        if (type == nullptr)
            return 2;
        switch (type->code) {
        case TY_CHAR: case TY_UCHAR: case TY_CHAR_BITS:
            return 0;
        case TY_SHORT: case TY_USHORT: case TY_SHORT_BITS:
            return 1;
        case TY_DOUBLE:
            return opt_f ? 2 : 3;
        case TY_POINTER:
            switch (pointer_space(type->attr)) {
            case ATTR_TINY: return 0;
            case ATTR_FAR: return 2;
            default: return 1;
            }
        case TY_ENUM:
        case TY_ARRAY:
            type = type->next;
            continue;
        case TY_STRUCT:
        case TY_UNION: {
            if (type->body_shift != 0)
                return type->body_shift - 1;
            int32_t shift = 0;
            if (nesting >= MAX_MEMBER_NESTING)
                return shift;
            for (Symbol *member = type->members; member != nullptr; member = member->next) {
                int32_t member_shift = align_shift_at(member->type, nesting + 1);
                if (member_shift > shift)
                    shift = member_shift;
            }
            return shift;
        }
        default:
            return 2;
        }
    }
}

} // namespace

int32_t type_size(TypeNode *type) {
    // Arrays multiply their element counts on the way to the element type.
    // The product wraps at 32 bits like the target's arithmetic.
    uint32_t count = 1;
    for (;;) {
        if (type == nullptr) {
            report("size unknown");
            return 0;
        }
        uint32_t size;
        switch (type->code) {
        case TY_ENUM:
            if (type->members == nullptr && !opt_ne)
                report("enum size unknown");
            type = type->next;
            continue;
        case TY_ARRAY:
            if (type->dim == 0) {
                report("array size unknown");
                return 0;
            }
            count *= uint32_t(type->dim);
            type = type->next;
            continue;
        case TY_CHAR: case TY_UCHAR: case TY_CHAR_BITS:
            size = 1;
            break;
        case TY_SHORT: case TY_USHORT: case TY_SHORT_BITS:
            size = 2;
            break;
        case TY_INT: case TY_UINT: case TY_INT_BITS: case TY_LONG_BITS:
        case TY_LONG: case TY_ULONG: case TY_FLOAT:
            size = 4;
            break;
        case TY_DOUBLE:
            size = opt_f ? 4 : 8;
            break;
        case TY_POINTER:
            size = uint32_t(pointer_size(type->attr));
            break;
        case TY_STRUCT:
        case TY_UNION:
            if (type->members == nullptr) {
                report("struct/union size unknown");
                return 0;
            }
            size = type->size;
            break;
        default:
            report("size unknown");
            return 0;
        }
        return int32_t(count * size);
    }
}

int32_t align_shift(TypeNode *type) { return align_shift_at(type, 0); }

int32_t align_up(int32_t offset, TypeNode *type) {
    uint32_t mask = (1u << align_shift(type)) - 1;
    uint32_t bits = uint32_t(offset);
    if ((bits & mask) == 0)
        return offset;
    // A frame grows downwards, so a negative offset moves away from zero.
    if (offset > 0)
        return int32_t((bits + mask) & ~mask);
    return int32_t(bits & ~mask);
}

TypeNode *promote_type(TypeNode *type, int32_t for_call) {
    if (type == nullptr)
        return type;
    if (type->code == TY_ENUM && type->next != nullptr)
        type = type->next;
    switch (type->code) {
    case TY_CHAR: case TY_UCHAR: case TY_CHAR_BITS:
    case TY_SHORT: case TY_USHORT: case TY_SHORT_BITS:
        return &type_int;
    case TY_INT_BITS:
    case TY_LONG_BITS:
        return &type_uint;
    case TY_FLOAT:
        // A float argument travels as a double, unless doubles are floats.
        return for_call && !opt_f ? &type_double : type;
    case TY_POINTER:
        // A near or tiny pointer is passed as a full word.
        if (for_call && (type->attr & ATTR_SPACE) != ATTR_FAR)
            return &type_uint;
        return type;
    default:
        return type;
    }
}

bool wider_code(int32_t a, int32_t b) {
    // int and long have one width here, so they rank together.
    auto rank = [](int32_t code) {
        if (code == TY_INT) return int32_t(TY_LONG);
        if (code == TY_UINT) return int32_t(TY_ULONG);
        return code;
    };
    return rank(a) > rank(b);
}
