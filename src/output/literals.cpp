// The literal pool goes out as unnamed data objects, each at its label.
#include "output/records.h"

#include "decl/type.h"
#include "lexer/token.h"

// Each entry that was referred to is written once.  A real constant has
// four labels, one for each form it may be asked for (L for a 1-byte form,
// L+2 for 2 bytes, L+4 float, L+6 double); `variants` tells which forms were
// asked for and `written` which are out already, so that a later call (at a
// change of the constant section, then at the end of the unit) writes only
// what is new.
void write_literals() {
    for (StringConst *entry = literal_pool; entry; entry = entry->next) {
        if (entry->label == 0) continue;
        if (entry->variants != 0) {
            uint32_t label = entry->label;
            for (uint32_t form = 1; form <= 8; form <<= 1, label += 2) {
                if (!(entry->variants & form) || (entry->written & form)) continue;
                entry->written |= uint8_t(form);
                put_byte(REC_LITERAL);
                put_byte(uint32_t(align_shift(form == 8 ? &type_double : &type_float)));
                put_byte(0);
                put_u16(0);
                put_u16(label);
                write_float_value(entry->bytes, form < 4 ? 2 : int(form));
                write_data_end();
            }
            continue;
        }
        if (entry->written & 0x80) continue;
        entry->written |= 0x80;
        write_literal_label(entry->label, 0);
        if (entry->length != 0) write_string_value(entry->bytes, entry->length);
        else write_int_value(0, 1);
        write_data_end();
    }
}
