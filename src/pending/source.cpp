// Stand-ins for functions of other subsystems that source input calls, so
// that the program links before they exist.  Each is weak: the real
// definition replaces it.
#include "decl/symbol.h"
#include "lexer/token.h"
#include "preproc/source.h"

#define PENDING __attribute__((weak))

// Token stream: the last token delivered, and the replay of inline bodies.
PENDING Token *last_token = nullptr;
PENDING bool replay_token_place(uint32_t *, const char **) { return false; }

// Labels.
PENDING int32_t new_label() {
    static int32_t label = 1;
    return label += 2;
}

// Output writer: space names and debug records.
PENDING void write_space_names() {}
PENDING void write_debug_source_file(const char *, uint16_t, uint16_t) {}
PENDING uint16_t write_debug_function(const char *, Symbol *, uint16_t, uint16_t end_label) {
    return end_label;
}
PENDING void write_debug_file_end(Symbol *, uint16_t, uint16_t, uint32_t) {}
