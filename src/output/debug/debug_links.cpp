// The small pieces of the debug data: links, label marks, strings, the
// names a function uses, macro names and addresses in a @nostack frame.
#include "output/debug/debug_writer.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "decl/symbol.h"
#include "driver/options.h"
#include "lexer/token.h"
#include "stmt/stmt_node.h"

uint16_t file_name_label;

void write_debug_link(uint16_t label) {
    put_byte(REC_ADDRESS4);
    put_byte(0);
    put_u16(label);
    put_u32(0);
}

void write_debug_label(uint16_t label) {
    put_byte(REC_DEBUG_LABEL);
    put_u16(0);
    put_u16(label);
}

uint16_t new_debug_label() { return uint16_t(new_label()); }

void write_debug_string(const char *text, size_t length) { write_string_value(text, length); }

const char *debug_file_name(const char *name) {
    if (!opt_xp) return name;
    const char *separator = last_path_separator(name);
    return separator ? separator + 1 : name;
}

namespace {

// One REC_DEBUG_NAME: a length byte and the characters.  A text longer
// than the byte can count keeps its first characters.
void write_debug_name(const char *prefix, const NameRecord *name) {
    size_t prefix_length = std::strlen(prefix);
    size_t length = name ? name->length : 0;
    if (prefix_length + length > MAX_PIECE) length = MAX_PIECE - prefix_length;
    put_byte(REC_DEBUG_NAME);
    put_byte(uint32_t(prefix_length + length));
    put_bytes(prefix, prefix_length);
    if (length) put_bytes(name->text, length);
}

void write_flagged_name(Symbol *sym) {
    write_debug_name("", sym->name);
    sym->flags &= ~uint32_t(SYM_DBG_CALLED | SYM_DBG_USED);
}

uint32_t write_flagged_names(Symbol *list, uint32_t mask) {
    uint32_t count = 0;
    for (Symbol *sym = list; sym != nullptr; sym = sym->next) {
        if (!(sym->flags & mask)) continue;
        write_flagged_name(sym);
        count++;
    }
    return count;
}

// The names that got a use bit since the last function record.  Entries
// of locals go stale when their function ends, so only file-scope names are
// taken from here; the locals are found in the function's blocks.
std::vector<Symbol *> &noted_names() {
    static std::vector<Symbol *> names;
    return names;
}

// The file-scope names with a bit of `mask`, in the order of symbol_list:
// it only grows at its head, so the newest comes first.
uint32_t write_flagged_globals(uint32_t mask) {
    std::vector<Symbol *> found;
    for (Symbol *sym : noted_names())
        if ((sym->flags & SYM_FILE_SCOPE) && (sym->flags & mask)) found.push_back(sym);
    std::sort(found.begin(), found.end(),
              [](const Symbol *a, const Symbol *b) { return a->made > b->made; });
    found.erase(std::unique(found.begin(), found.end()), found.end());
    for (Symbol *sym : found) write_flagged_name(sym);
    return uint32_t(found.size());
}

}  // namespace

void note_debug_name_use(Symbol *sym) {
    if (opt_x) noted_names().push_back(sym);
}

// Called with the blocks of the function for the names it calls, then
// without blocks for the names it uses, which ends the function's record:
// every file-scope name noted so far has lost its bits then.
void write_debug_names(StmtNode *block, uint32_t mask) {
    uint32_t count = write_flagged_globals(mask);
    for (StmtNode *b = block; b != nullptr; b = b->next_block)
        count += write_flagged_names(b->locals, mask);
    write_debug_int4(count);
    if (block == nullptr && mask == SYM_DBG_USED) noted_names().clear();
}

void write_debug_macro_name(NameRecord *name) { write_debug_name("#", name); }

void write_debug_frame_address(uint32_t offset) {
    const NameRecord *name = nostack_name;
    unsigned length = name ? name->length : 0;
    if (length > MAX_NAME_TEXT) length = MAX_NAME_TEXT;
    put_byte(REC_ADDRESS4);
    put_byte(length + 1);
    put_u16(nostack_label);
    put_byte((nostack_attr & ATTR_SPACE) == ATTR_FAR ? NK_OBJECT + NK_FAR : NK_OBJECT);
    if (length) put_bytes(name->text, length);
    put_u32(offset);
}
