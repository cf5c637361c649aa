// Logical lines: physical lines with trigraphs replaced and joined where a
// backslash stands right in front of the line end, in the one line buffer
// of the program.  Tokens point into this buffer, so nothing is copied.
#include <cstring>

#include "driver/options.h"
#include "preproc/source.h"

char line_buffer[LINE_BUFFER_SIZE];
char *line_cursor = line_buffer;
uint16_t splice_offsets[SPLICE_LIMIT];
int32_t splice_count;
int32_t input_ended;
int32_t in_comment;

namespace {

// The character that a trigraph ??x stands for, indexed by x; 0 for none.
struct TrigraphTable {
    char replacement[256] = {};
    constexpr TrigraphTable() {
        const char from[] = "(/)'<!>-=";
        const char to[] = "[\\]^{|}~#";
        for (int i = 0; from[i]; ++i) replacement[static_cast<uint8_t>(from[i])] = to[i];
    }
};
constexpr TrigraphTable trigraphs;

// Replaces the trigraphs of text[0, length) in place, in one pass; returns
// the new length.  After a `?` that starts no trigraph the search goes on
// at the next character, so ???= gives ?#.
int32_t replace_trigraphs(char *text, int32_t length) {
    char *end = text + length;
    char *read = static_cast<char *>(std::memchr(text, '?', length));
    if (!read) return length;
    char *write = read;
    while (read < end) {
        if (read[0] == '?' && end - read >= 3 && read[1] == '?' &&
            trigraphs.replacement[static_cast<uint8_t>(read[2])]) {
            *write++ = trigraphs.replacement[static_cast<uint8_t>(read[2])];
            read += 3;
        } else {
            *write++ = *read++;
        }
    }
    return static_cast<int32_t>(write - text);
}

}  // namespace

char *read_logical_line(int more) {
    // room: bytes of the LINE_TEXT_LIMIT that are still free.  Invariant in
    // the loop: write + room == line_buffer + LINE_TEXT_LIMIT, so a physical
    // line of up to room - 1 bytes, the line end added behind a cut piece and
    // the closing null always fit.
    int32_t room;
    if (more) {
        room = LINE_TEXT_LIMIT - static_cast<int32_t>(line_cursor - line_buffer);
        if (room <= 0) return nullptr;
    } else {
        free_kept_text();
        line_cursor = line_buffer;
        room = LINE_TEXT_LIMIT;
    }
    splice_count = 0;
    if (input_ended) return nullptr;

    char *start = line_cursor;
    char *write = start;
    while (room > 0) {
        char *end = read_source_line(write, room);
        if (!end) {
            input_ended = 1;
            if (write == start) return nullptr;
            break;   // a file ending in a splice: what was joined is the last line
        }
        if (splice_count < SPLICE_LIMIT)
            splice_offsets[splice_count++] = static_cast<uint16_t>(write - start);
        // A last line without line end gets one, and so does the first piece
        // of a physical line too long for the buffer.
        if (end == write || end[-1] != '\n') *end++ = '\n';
        int32_t length = static_cast<int32_t>(end - write);
        room -= length;
        int32_t kept = source_line_trigraph_free ? length : replace_trigraphs(write, length);
        room += length - kept;
        write += kept;
        if (write - start >= 2 && write[-2] == '\\') {
            write -= 2;
            room += 2;
            continue;
        }
        break;
    }

    if (room == 0)
        report("line too long");
    else if (write - start > LOGICAL_LINE_LIMIT)
        report("logical line too long");
    *write = 0;
    line_cursor = write + 1;
    return start;
}

void physical_position(uint32_t *line, uint32_t *column) {
    if (splice_count <= 1) return;
    for (int32_t i = splice_count - 1; i >= 0; --i) {
        if (splice_offsets[i] > *column) {
            --*line;
            continue;
        }
        *column -= splice_offsets[i];
        return;
    }
}
