// The writer's side of the source layer's events: what the end of a source
// file and a used macro put into the intermediate file.  They are installed
// when a normal run starts the file, and only then.
#include "output/records.h"

#include "driver/options.h"
#include "preproc/source.h"

namespace {

// Under -x a file's debug block closes when the file ends.  Its symbols may
// carry the bits of space modifiers the file made, so those are announced
// first: a space name must come before the first record that uses its bit.
void end_of_source_file() {
    if (!opt_x) return;
    write_space_names();
    debug_file_mark(nullptr, nullptr);
}

// A macro used since the last file end record: its name, then the spelling
// of the first token of its body.
void write_used_macro(NameRecord *name, const char *body, size_t length) {
    write_debug_macro_name(name);
    write_string_value(body, length);
}

}  // namespace

void start_intermediate_file() {
    write_file_header();
    source_events.file_end = end_of_source_file;
    source_events.macro_used = write_used_macro;
}
