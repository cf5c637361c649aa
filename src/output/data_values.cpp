// Data objects: the opening records and the values that fill them.
#include "output/records.h"

#include <cstring>

#include "decl/symbol.h"
#include "decl/type.h"
#include "expr/expr_node.h"
#include "lexer/token.h"

// An object at a fixed address is opened by its address; any other by its
// alignment, and with the attribute word only when there is one.
void write_data_begin(const Symbol *sym) {
    if (sym->sclass == SC_ABSOLUTE) {
        put_byte(REC_ABSOLUTE);
        put_byte(0);
        write_name_block(sym);
        put_u32(sym->value);
        return;
    }
    put_byte(sym->attr != 0 ? REC_DATA_ATTR : REC_DATA);
    put_byte(uint32_t(align_shift(sym->type)));
    if (sym->attr != 0) put_u16(sym->attr);
    write_name_block(sym);
}

void write_data_end() {
    put_byte(REC_DATA_END);
}

// The value field has 4 bytes whatever the width; the low ones count.
void write_int_value(uint32_t value, int width) {
    put_byte(REC_INT);
    put_byte(uint32_t(width));
    put_u32(value);
}

// A real goes out as its double also when the target keeps a float: the
// code generator narrows it.
void write_float_value(const void *bytes, int width) {
    uint64_t bits;
    std::memcpy(&bits, bytes, sizeof bits);
    put_byte(REC_FLOAT);
    put_byte(uint32_t(width));
    put_u32(uint32_t(bits));
    put_u32(uint32_t(bits >> 32));
}

// A string value takes its bytes and an implied 0 behind them.  It is cut
// into full 255-byte pieces, and the first shorter piece ends it, so that a
// value whose length is a multiple of 255, the empty one included, ends in
// a piece of length 0.
void write_string_value(const void *bytes, size_t length) {
    const uint8_t *p = static_cast<const uint8_t *>(bytes);
    for (;;) {
        size_t piece = length < MAX_PIECE ? length : MAX_PIECE;
        put_byte(REC_STRING);
        put_byte(uint32_t(piece));
        put_bytes(p, piece);
        if (piece < MAX_PIECE) return;
        p += piece;
        length -= piece;
    }
}

void write_space(uint32_t count) {
    put_byte(REC_ZEROS);
    put_u32(count);
}

// The address of a name, a literal or a plain number, plus an offset.  A
// name the code generator does not know (a local, a member) contributes
// its value to the addend instead.
void write_address_value(ExprNode *node, int width) {
    put_byte(width == 1 ? REC_ADDRESS1 : width == 2 ? REC_ADDRESS2 : REC_ADDRESS4);
    uint32_t addend = 0;
    uint8_t lflags = uint8_t(node->lflags);
    if ((lflags & LF_SYMBOL) && node->sym) {
        const Symbol *sym = node->sym;
        uint8_t sclass = sym->sclass;
        if (sclass == SC_NONE || sclass == SC_STATIC || sclass == SC_EXTERN ||
            sclass == SC_ABSOLUTE) {
            write_name_block(sym);
        } else {
            put_byte(0);
            put_u16(0);
            addend = sym->value;
        }
    } else if ((lflags & LF_LITERAL) && node->literal) {
        StringConst *literal = node->literal;
        if (literal->label == 0) literal->label = uint16_t(new_label());
        put_byte(0);
        put_u16(literal->label);
    } else {
        put_byte(0);
        put_u16(0);
    }
    put_u32(addend + uint32_t(node->value));
}

// Sets a label at the current place of the open data object.
void write_literal_label(uint16_t label, int alignment) {
    put_byte(REC_LITERAL);
    put_byte(uint32_t(alignment));
    put_byte(0);
    put_u16(0);
    put_u16(label);
}
