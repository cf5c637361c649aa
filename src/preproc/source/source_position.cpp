// The position of the text being processed, as diagnostics, __LINE__ and
// __FILE__ see it: a replayed token's own position first, then #line, then
// the file being read.
#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/source.h"

uint32_t current_line() {
    uint32_t line;
    const char *file;
    if (replay_token_place(&line, &file)) return line;
    if (line_override_active) return line_override;
    return current_source ? current_source->line : 0;
}

const char *current_file_name() {
    uint32_t line;
    const char *file;
    if (replay_token_place(&line, &file)) return file;
    if (file_override) return file_override;
    if (current_source) return current_source->name;
    return source_name ? source_name : "";
}

int32_t token_position(uint32_t *line, int32_t *column) {
    if (last_token && last_token->code != 0) {
        *line = last_token->line;
        *column = last_token->column & 0x7FFF;   // bit 15 marks assembly text
        return last_token->length;
    }
    *line = current_line();
    *column = -1;
    return 0;
}
