// The words in which the tools report a malformed file.
#include <cstdio>

#include "zir/zir_reader.h"

std::string zir_error_text(const char *name, const ZirError &e) {
    char where[64];
    std::snprintf(where, sizeof where, ": offset %zu (0x%zx): expected ", e.offset, e.offset);
    return std::string(name) + where + e.expected + ", found " + e.found;
}
