// TypeDesc: the type of a value as the code generator sees it.
#include "output/records.h"

#include "decl/type.h"
#include "driver/options.h"

namespace {

// The type byte of a type code; 0 for a code outside the table.  Void
// shares the byte of unsigned char, and long those of int.
uint32_t type_byte(uint32_t code) {
    switch (code) {
    case TY_CHAR: return TD_CHAR;
    case TY_UCHAR: case TY_VOID: return TD_UCHAR;
    case TY_SHORT: return TD_SHORT;
    case TY_SHORT_BITS: return TD_SHORT_BITS;
    case TY_USHORT: return TD_USHORT;
    case TY_INT: case TY_LONG: case TY_ARRAY: case TY_FUNCTION: return TD_INT;
    case TY_INT_BITS: case TY_LONG_BITS: return TD_INT_BITS;
    case TY_UINT: case TY_ULONG: return TD_UINT;
    case TY_FLOAT: return TD_FLOAT;
    case TY_DOUBLE: return TD_DOUBLE;
    case TY_POINTER: return TD_POINTER;
    case 0x50: case 0x54: return TD_REAL_OTHER;
    case TY_CHAR_BITS: case 0x01: return TD_CHAR_BITS;
    case TY_STRUCT: case TY_UNION: return TD_STRUCT;
    default: return 0;
    }
}

}  // namespace

void write_type(const TypeNode *type, uint16_t attr) {
    // An enum is written as the integer type that represents it.
    while (type && type->code == TY_ENUM) type = type->next;
    uint32_t code = type ? type->code : 0;
    uint32_t byte = type_byte(code);
    if (byte == 0) {
        report("PANIC! bad type code: %x", static_cast<unsigned>(code));
        byte = TD_CHAR;
        type = nullptr;   // nothing of the bad type follows the byte
    }
    if (attr != 0) {
        put_byte(byte | TD_HAS_ATTR);
        put_u16(attr);
    } else {
        put_byte(byte);
    }
    if (!type) return;
    if (byte == TD_POINTER) {
        put_u16(type->attr);
    } else if (is_bit_field_code(code)) {
        put_byte(type->bit_offset);
        put_byte(type->bit_width);
    } else if (byte == TD_STRUCT) {
        put_u32(type->size);
    }
}
