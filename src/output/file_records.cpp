// Records of the file level: the header, source file and line, space
// names, section pragmas and assembly text.
#include "output/records.h"

#include <cstring>
#include <vector>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/source.h"

namespace {

// The name pointer of the last REC_SOURCE_FILE.  Names are compared by
// pointer: a file that is left and entered again gets a new record, since
// the line records in between belonged to another file.
const char *last_file_name;

// space_list only grows at its head, and every entry from this one on has
// been announced: the next announcement walks the new entries only.
Symbol *announced_spaces;

}  // namespace

void write_file_header() {
    last_file_name = nullptr;
    announced_spaces = nullptr;
    uint32_t options = 0;
    if (opt_f) options |= HDR_SINGLE_FLOAT;
    if (opt_x || opt_xx || opt_xd) options |= HDR_DEBUG;
    if (opt_xd) options |= HDR_DEBUG_DATA;
    if (opt_fr) options |= HDR_FLOAT_REGS;
    put_byte(HEADER_FIRST);
    put_byte(HEADER_SECOND);
    put_byte(options);
    put_byte(HEADER_FOURTH);
    put_byte(HEADER_FIFTH);
}

// The block holds the name as opened.  Under -xp it holds the part behind
// the last separator, then a 0 byte and the directory up to and including
// the separator, all counted in the one length byte.  A name too long for
// that byte keeps its end, the part that tells files apart: its last
// characters, and under -xp the whole file part with as much of the end of
// the directory as still fits.
void write_source_file(const char *name) {
    if (!name || name == last_file_name) return;
    last_file_name = name;
    size_t length = std::strlen(name);
    const char *file = name;
    size_t file_length = length, dir_length = 0;
    const char *dir = name;
    if (opt_xp) {
        const char *separator = last_path_separator(name);
        if (separator) {
            file = separator + 1;
            file_length = length - size_t(file - name);
            dir_length = size_t(file - name);
        }
    }
    if (file_length > MAX_NAME_TEXT) {
        file += file_length - MAX_NAME_TEXT;
        file_length = MAX_NAME_TEXT;
    }
    if (dir_length != 0 && file_length + 1 + dir_length > MAX_NAME_TEXT) {
        size_t room = file_length + 1 < MAX_NAME_TEXT ? MAX_NAME_TEXT - file_length - 1 : 0;
        dir += dir_length - room;
        dir_length = room;
    }
    size_t text_length = dir_length ? file_length + 1 + dir_length : file_length;
    put_byte(REC_SOURCE_FILE);
    put_byte(uint32_t(text_length + 1));
    put_u16(0);
    put_byte(0);
    put_bytes(file, file_length);
    if (dir_length) {
        put_byte(0);
        put_bytes(dir, dir_length);
    }
}

void write_line(uint32_t line) {
    put_byte(REC_LINE);
    put_u32(line);
}

void write_position(uint32_t line) {
    write_source_file(current_file_name());
    write_line(line);
}

// Each space modifier made by the source is announced once, oldest first,
// before the first record that may use its bit: the code generator gives
// the bits in the order of the announcements.
void write_space_names() {
    static std::vector<Symbol *> fresh;
    fresh.clear();
    for (Symbol *s = space_list; s && s != announced_spaces; s = s->next)
        if (!(s->flags & SYM_DECLARED)) fresh.push_back(s);
    announced_spaces = space_list;
    for (size_t i = fresh.size(); i-- > 0;) {
        Symbol *s = fresh[i];
        s->flags |= SYM_DECLARED;
        unsigned length = s->name ? s->name->length : 0;
        if (length > MAX_NAME_TEXT) length = MAX_NAME_TEXT;
        put_byte(REC_SPACE_NAME);
        put_byte(length + 1);
        put_u16(0);
        put_byte(0);
        if (length) put_bytes(s->name->text, length);
    }
}

void write_pragma_section(uint32_t line, uint16_t attr, const NameRecord *name) {
    write_position(line);
    put_byte(REC_SECTION);
    put_u16(attr);
    if (!name) {
        put_byte(0);
        return;
    }
    put_byte(name->length);
    put_bytes(name->text, name->length);
}

// Assembly text is copied through in pieces of at most 255 bytes, each full
// but the last; an empty text writes nothing.
void write_asm_text(const void *bytes, size_t length) {
    const uint8_t *p = static_cast<const uint8_t *>(bytes);
    while (length > 0) {
        size_t piece = length < MAX_PIECE ? length : MAX_PIECE;
        put_byte(REC_ASM_TEXT);
        put_byte(uint32_t(piece));
        put_bytes(p, piece);
        p += piece;
        length -= piece;
    }
}
