// Stand-ins for calls of the driver into layers that are not written yet;
// each real definition overrides its weak one here.
#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/source.h"

// The translation loop: until the token stream exists, a normal run reads
// the whole input as logical lines, so that the messages of source input
// and line building appear.
__attribute__((weak)) void translate_unit() {
    while (read_logical_line(0) != nullptr) {
    }
}

// The token stream's last delivered token, which positions diagnostics.
__attribute__((weak)) Token *last_token = nullptr;
