// Scrambled source files.  Such a file starts with the byte 254, then the
// 16-bit starting key (high byte first) and six bytes that carry nothing;
// the text follows from offset 9.  Each byte is decoded with a key that is
// rotated left by one bit per byte and whose low byte is then replaced by
// the scrambled byte just read, so decoding must start at the beginning.
#include "driver/options.h"
#include "preproc/source.h"
#include "preproc/source_io.h"

namespace {

constexpr int32_t SCRAMBLE_HEADER_SIZE = 9;

}  // namespace

void start_scrambled_source(char *line) {
    // Neither preprocessed text nor line records may be had from a
    // scrambled file.
    if (opt_e || opt_l) {
        report("incompatible option for encrypted source");
        on_interrupt();
    }
    auto *state = static_cast<ScrambleState *>(checked_alloc(sizeof(ScrambleState), nullptr));
    state->cursor = state->buffer;
    state->count = 0;
    state->key = 0;
    // The key comes from the file itself rather than from the line just read,
    // which has had its NUL bytes and CR repaired.
    // A file shorter than its header has no text and ends at once; so does
    // one that cannot be read again from its start.
    uint8_t header[SCRAMBLE_HEADER_SIZE];
    if (!stream_seek(current_stream, 0))
        state->count = -1;
    else if (stream_read_bytes(current_stream, header, SCRAMBLE_HEADER_SIZE) == SCRAMBLE_HEADER_SIZE)
        state->key = static_cast<uint16_t>(header[1] << 8 | header[2]);
    current_source->scramble = state;
}

char *read_scrambled_line(char *buffer, int32_t size) {
    ScrambleState *state = current_source->scramble;
    if (state->count < 0) return nullptr;   // could not go back to the start
    int32_t limit = size - 1;
    int32_t n = 0;
    while (n < limit) {
        if (state->count == 0) {
            state->count = stream_read_bytes(current_stream, state->buffer, SCRAMBLE_BUFFER_SIZE);
            state->cursor = state->buffer;
            // The text of an unfinished last line is lost.
            if (state->count == 0) return nullptr;
        }
        uint16_t key = static_cast<uint16_t>(state->key << 1 | state->key >> 15);
        uint8_t scrambled = *state->cursor++;
        --state->count;
        uint8_t plain = static_cast<uint8_t>(scrambled ^ (key & 0xFF) ^ (key >> 8));
        state->key = static_cast<uint16_t>((key & 0xFF00) | scrambled);
        buffer[n++] = static_cast<char>(plain);
        if (plain == '\n') break;
    }
    return buffer + tidy_line(buffer, n);
}
