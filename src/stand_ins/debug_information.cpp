// Stand-ins for the debug information writer, which is not written yet: the
// source and macro layers already call it, and for now nothing is written.
// These definitions go when the debug writer lands.
#include "output/records.h"

void write_debug_source_file(const char *, uint16_t, uint16_t) {}

uint16_t write_debug_function(const char *, Symbol *, uint16_t, uint16_t end_label) {
    return end_label;
}

void write_debug_file_end(Symbol *, uint16_t, uint16_t, uint32_t) {}

void write_debug_macro_name(NameRecord *) {}
