// Code labels and the jumps to them.
#include "output/records.h"

// A jump, then a label, either left out when 0.  A label with a source line
// carries a flag byte: 1 marks the bottom test of a for or while loop.  A
// label without a line has no flag byte at all.
void write_label_ops(uint16_t jump_label, uint16_t define_label, uint32_t line, int flag) {
    if (jump_label != 0) {
        put_byte(REC_JUMP);
        put_u16(jump_label);
    }
    if (define_label != 0) {
        put_byte(REC_LABEL);
        put_u16(define_label);
        put_u32(line);
        if (line != 0) put_byte(flag != 0 ? 1 : 0);
    }
}
