// The intermediate file as text, one record a line: what zirdump prints.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

// Prints the `size` bytes of an intermediate file at `data` to `out`, each
// field named, the records of data objects, functions, counted loops and
// switch tables indented under their opening record.  A code label opens
// its line as `L7:`, and jumps and branches name their targets as `L7`.  A malformed file gets
// a message on `err` with `name`, the byte offset and what was expected
// there, behind the records read before it.  `show_offsets` puts each
// record's offset in front of it.  Returns 0 for a well-formed file, else 1.
int dump_intermediate(const uint8_t *data, size_t size, const char *name,
                      bool show_offsets, FILE *out, FILE *err);
