// The records that hold the debug data together: one per source file, one
// per function, and the end record of each file.  They form a chain: the
// file record links to the first function record (or to the end record),
// each function record to the next one and back to the file record.
#include "output/debug/debug_writer.h"

#include <cstring>
#include <string>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"
#include "stmt/stmt_node.h"

namespace {

constexpr uint32_t KIND_SOURCE_FILE = 140;
// The line numbers of an end record: the lines from 1 to the file's last.
constexpr uint32_t FIRST_LINE = 1;

// The function whose record write_debug_function writes: its body and the
// line of its declarator.
StmtNode *pending_root;
uint32_t pending_line;

// REC_DEBUG_FILE and REC_DEBUG_FUNCTION: byte 0, then a NameBlock that only
// carries a text.  A text too long for the block keeps its end.
void write_debug_text_record(uint8_t tag, const std::string &text) {
    size_t length = text.size();
    const char *start = text.data();
    if (length > MAX_NAME_TEXT) {
        start += length - MAX_NAME_TEXT;
        length = MAX_NAME_TEXT;
    }
    put_byte(tag);
    put_byte(0);
    put_byte(uint32_t(length + 1));
    put_u16(0);
    put_byte(0);
    put_bytes(start, length);
}

// Symbols that a function record lists: those that write_debug_symbol may
// write something for.
bool is_listed_local(const Symbol *sym) {
    switch (sym->sclass) {
    case SC_EXTERN: case SC_REG_COPY: return false;
    case SC_REGISTER: return sym->partner == nullptr;
    case SC_TYPEDEF: return opt_xx != 0;
    case SC_ENUM_MEMBER: return true;
    default: return sym->type == nullptr || sym->type->code != TY_FUNCTION;
    }
}

bool is_listed_global(const Symbol *sym) {
    switch (sym->sclass) {
    case SC_EXTERN: return false;
    case SC_TYPEDEF: return opt_xx != 0;
    case SC_ENUM_MEMBER: return true;
    default: return sym->type == nullptr || sym->type->code != TY_FUNCTION;
    }
}

// The compiler's own names begin with a dot, which no source name can.
bool is_compiler_name(const Symbol *sym) {
    return sym->name != nullptr && sym->name->length != 0 && sym->name->text[0] == '.';
}

bool has_listed_local(StmtNode *root) {
    for (StmtNode *block = root; block != nullptr; block = block->next_block)
        for (Symbol *sym = block->locals; sym != nullptr; sym = sym->next)
            if (is_listed_local(sym)) return true;
    return false;
}

void write_locals_pass(StmtNode *root, int pass) {
    for (StmtNode *block = root; block != nullptr; block = block->next_block)
        for (Symbol *sym = block->locals; sym != nullptr; sym = sym->next)
            write_debug_symbol(sym, pass);
    if (opt_xx)
        for (Symbol *label = label_list; label != nullptr; label = label->next)
            if ((label->flags & SYM_DECLARED) && !is_compiler_name(label))
                write_debug_statement_label(label, pass);
}

// The next Symbol of a file's list.  A Symbol whose declaration failed
// points at itself and is on no list.
Symbol *next_noted(Symbol *sym) { return sym->dbg_next == sym ? nullptr : sym->dbg_next; }

}  // namespace

void write_debug_source_file(const char *name, uint16_t label, uint16_t end_label) {
    const char *shown = debug_file_name(name);
    write_debug_text_record(REC_DEBUG_FILE, shown);
    write_debug_label(label);
    file_name_label = new_debug_label();
    write_debug_link(file_name_label);
    write_debug_link(end_label);
    write_debug_label(file_name_label);
    write_debug_string(shown, std::strlen(shown));
    write_debug_int1(KIND_SOURCE_FILE);
}

void note_debug_function(StmtNode *root, uint32_t line) {
    pending_root = root;
    pending_line = line;
}

uint16_t write_debug_function(const char *file, Symbol *function, uint16_t label,
                              uint16_t end_label) {
    TypeNode *result = function->type ? function->type->next : nullptr;
    uint16_t name_label = new_debug_label();
    write_debug_label(name_label);
    NameRecord *name = function->name;
    write_debug_string(name ? name->text : "", name ? name->length : 0);
    write_debug_int1(debug_kind(function));
    write_debug_type(result, 0, function);

    std::string text = debug_file_name(file ? file : "");
    text += '~';
    if (name) text.append(name->text, name->length);
    write_debug_text_record(REC_DEBUG_FUNCTION, text);

    uint16_t next_label = new_debug_label();
    write_debug_label(end_label);
    write_debug_link(next_label);
    write_debug_link(label);
    write_debug_link(name_label);
    write_debug_int4(pending_line);
    write_debug_int4(pending_root ? pending_root->end_line : 0);
    write_debug_type(result, 1, function);
    return next_label;
}

void write_debug_locals(StmtNode *root) {
    uint16_t names_label = new_debug_label();
    if (has_listed_local(root) || label_list != nullptr) {
        uint16_t list_label = new_debug_label();
        write_debug_link(list_label);
        write_debug_link(names_label);
        write_locals_pass(root, 0);
        write_debug_label(list_label);
        write_locals_pass(root, 1);
        write_debug_link(0);
    } else {
        write_debug_link(0);
        write_debug_link(names_label);
    }
    write_debug_label(names_label);
    write_debug_names(root, SYM_DBG_CALLED);
    write_debug_names(nullptr, SYM_DBG_USED);
}

void write_debug_file_end(Symbol *symbols, uint16_t label, uint16_t end_label, uint32_t lines) {
    write_debug_label(end_label);
    write_debug_link(0);
    write_debug_link(label);
    write_debug_link(0);
    write_debug_int4(FIRST_LINE);
    write_debug_int4(lines);
    write_debug_int4(0);
    write_debug_link(0);
    bool any = false;
    for (Symbol *sym = symbols; sym != nullptr && !any; sym = next_noted(sym))
        any = is_listed_global(sym);
    if (any) {
        uint16_t list_label = new_debug_label();
        write_debug_link(list_label);
        for (Symbol *sym = symbols; sym != nullptr; sym = next_noted(sym)) write_debug_symbol(sym, 0);
        write_debug_label(list_label);
        for (Symbol *sym = symbols; sym != nullptr; sym = next_noted(sym)) write_debug_symbol(sym, 1);
    }
    write_debug_link(0);
    if (opt_xx) write_used_macros();
}
