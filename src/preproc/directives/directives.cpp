// The line dispatcher and the directives that define text: #define, #undef,
// -d, #line, #error, #asm and #endasm.
#include <cstring>

#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"

int32_t asm_mode;
int32_t in_directive;
char name_buffer[NAME_BUFFER_SIZE];

namespace {

void table_asm(PpToken **) { dir_asm(); }
void table_endasm(PpToken **) { dir_endasm(); }

}  // namespace

// The #if family acts in skipped groups too, so that the nesting of the
// conditionals is followed there.
const Directive directive_table[DIRECTIVE_COUNT] = {
    {"if", 2, 1, dir_if},
    {"asm", 3, 0, table_asm},
    {"else", 4, 1, dir_else},
    {"elif", 4, 1, dir_elif},
    {"line", 4, 0, dir_line},
    {"endif", 5, 1, dir_endif},
    {"error", 5, 0, dir_error},
    {"undef", 5, 0, dir_undef},
    {"ifdef", 5, 1, dir_ifdef},
    {"define", 6, 0, dir_define},
    {"endasm", 6, 0, table_endasm},
    {"ifndef", 6, 1, dir_ifndef},
    {"pragma", 6, 0, dir_pragma},
    {"include", 7, 0, dir_include},
};

bool is_word(const PpToken *token, const char *word) {
    size_t length = std::strlen(word);
    return token && token->kind == TOK_IDENT && token->length == length &&
           std::memcmp(token->text, word, length) == 0;
}

// The text of a directive's operands in name_buffer, as #error and
// #pragma message show it: every token but the line end, each with the white
// space that stands in front of it, but the first.  A text longer than the
// buffer is cut.
void build_line_text(const PpToken *list) {
    unsigned used = 0;
    auto put = [&used](const char *text, unsigned length) {
        unsigned room = NAME_BUFFER_SIZE - 1 - used;
        if (length > room)
            length = room;
        std::memcpy(name_buffer + used, text, length);
        used += length;
    };
    for (const PpToken *token = list; token; token = token->next) {
        if (token->kind == PP_EOL)
            continue;
        if (token != list && token->space_length)
            put(token->space, token->space_length);
        put(token->text, token->length);
    }
    name_buffer[used] = 0;
}

namespace {

const Directive *find_directive(const PpToken *name) {
    for (const Directive &directive : directive_table)
        if (directive.length == name->length &&
            std::memcmp(directive.name, name->text, name->length) == 0)
            return &directive;
    return nullptr;
}

// A directive line whose last comment is still open takes in the lines up to
// the end of the comment: the tokens behind it belong to the directive.
void take_comment_lines(PpToken *list) {
    PpToken *tail = list;
    while (in_comment) {
        char *more = read_logical_line(1);
        if (!more)
            break;
        while (tail->next)
            tail = tail->next;
        tail->next = scan_line(more);
    }
}

// Carries out the directive line `list`.  The result is null, or with -e the
// whole line of a #pragma that goes through to the preprocessed text.
PpToken *carry_out_directive(PpToken *list) {
    PpToken *name = list->next;
    if (name && name->kind == TOK_IDENT) {
        take_comment_lines(list);
        const Directive *directive = find_directive(name);
        bool active = in_active_code();
        if (!directive) {
            if (active)
                report("bad # directive: %.*s", int(name->length), name->text);
        } else if (active || directive->acts_when_skipped) {
            // With -e a #pragma is the business of the next pass, except the
            // two words that change what is assembly text.
            if (opt_e && directive->function == dir_pragma && !is_word(name->next, "asm") &&
                !is_word(name->next, "endasm"))
                return list;
            in_directive = 1;
            directive->function(&name->next);
            in_directive = 0;
        }
    } else if (name && name->kind != PP_EOL && in_active_code()) {
        report("bad # syntax");
    }
    pptoken_free_list(list);
    return nullptr;
}

}  // namespace

PpToken *dispatch_line(PpToken *list) {
    for (;;) {
        if (!list)
            return nullptr;
        if (list->kind == PP_HASH)
            return carry_out_directive(list);
        if (!in_active_code()) {
            pptoken_free_list(list);
            return nullptr;
        }
        // Assembly text keeps its names unless -ad asks for expansion.  A
        // line just cut by the scanner that names no macro needs no walk.
        bool may_expand = list != scanned_list || scanned_macro_names != 0;
        if ((!asm_mode || opt_ad) && may_expand)
            expand_macros(&list, 0);
        if (!list)
            return nullptr;
        if (list->kind != PP_BACKSLASH_HASH)
            break;
        // A line that begins with \#, written or made by a macro, is carried
        // out as a directive.
        list->kind = PP_HASH;
        list->text++;
        list->length--;
    }
    if (asm_mode) {
        for (PpToken *token = list; token; token = token->next)
            token->kind = TOK_ASM;
        if (asm_mode == 1) {
            list->column |= 0x8000;
            asm_mode = 2;
        }
    }
    return list;
}

// ---------------------------------------------------------------------------
// #define, #undef, -d

namespace {

// True when `name`, the token after #define or #undef, is an identifier that
// does not name a built-in macro; otherwise reports `bad_syntax` or
// `builtin`, the latter with the name.
bool is_user_macro_name(const PpToken *name, const char *bad_syntax, const char *builtin) {
    if (!name || name->kind != TOK_IDENT) {
        report("%s", bad_syntax);
        return false;
    }
    if (builtin_macro_code(name)) {
        report(builtin, int(name->length), name->text);
        return false;
    }
    return true;
}

}  // namespace

void dir_define(PpToken **link) {
    PpToken *name = *link;
    if (!is_user_macro_name(name, "bad #define syntax", "can't redefine macro %.*s"))
        return;
    const MacroDef *old = macro_lookup(name);
    if (!old) {
        macro_define(name);
        return;
    }
    // A second definition is parsed under a name that no source text can
    // hold (the first character moved below the letters), compared with the
    // first, and dropped: the first definition stays in force.
    name->text[0] = static_cast<char>(name->text[0] - 65);
    name->entry = nullptr;
    const MacroDef *other = macro_define(name);
    if (other) {
        if (!macro_same(old, other)) {
            name->text[0] = static_cast<char>(name->text[0] + 65);
            report("can't redefine macro %.*s", int(name->length), name->text);
            name->text[0] = static_cast<char>(name->text[0] - 65);
        }
        macro_undefine(name);
    }
    name->text[0] = static_cast<char>(name->text[0] + 65);
}

void dir_undef(PpToken **link) {
    PpToken *name = *link;
    if (!is_user_macro_name(name, "bad #undef syntax", "can't undef macro %.*s"))
        return;
    macro_undefine(name);
    if (opt_sa && name->next && name->next->kind != PP_EOL)
        report("unexpected token");
}

// -d name defines name as 1, -d name=text as text.  The definition is made
// like a #define line; only object-like macros can be had this way.
void define_from_option(const char *text) {
    const char *cursor = text;
    while (*cursor == '_' || (*cursor >= '0' && *cursor <= '9') ||
           ((*cursor | 0x20) >= 'a' && (*cursor | 0x20) <= 'z'))
        cursor++;
    size_t name_length = static_cast<size_t>(cursor - text);
    size_t total = *cursor ? std::strlen(text) : name_length + 2;
    if (*cursor && *cursor != '=') {
        report("bad symbol definition");
        return;
    }
    // The text must live while it is scanned and defined; a long one does
    // not fit name_buffer and gets a block of its own.
    char *definition = name_buffer;
    if (total + 1 > NAME_BUFFER_SIZE)
        definition = static_cast<char *>(checked_alloc(static_cast<unsigned>(total + 1), nullptr));
    std::memcpy(definition, text, name_length);
    if (*cursor) {
        definition[name_length] = ' ';
        std::strcpy(definition + name_length + 1, cursor + 1);
    } else {
        std::strcpy(definition + name_length, " 1");
    }
    // A comment opened in an option must not swallow the source file.
    auto saved_comment = in_comment;
    PpToken *list = scan_line(definition);
    in_comment = saved_comment;
    dir_define(&list);
    pptoken_free_list(list);
    if (definition != name_buffer)
        std::free(definition);
}

// ---------------------------------------------------------------------------
// #line, #error, #asm, #endasm

void dir_line(PpToken **link) {
    expand_macros(link, 0);
    PpToken *number = *link;
    if (!number || number->kind == PP_EOL) {
        report("missing line number");
        return;
    }
    Token converted{};
    if (number->kind == PP_NUMBER)
        convert_number(&converted, number);
    if (number->kind == PP_NUMBER && converted.code >= TOK_INT && converted.code <= TOK_ULONG) {
        // read_source_line counts the next line in.
        line_override = static_cast<uint32_t>(converted.value.integer) - 1;
        line_override_active = 1;
    } else {
        report("invalid line number");
    }
    PpToken *name = number->next;
    if (!name || name->kind == PP_EOL)
        return;
    if (name->kind != TOK_STRING) {
        report("string constant expected");
        return;
    }
    convert_string(&converted, name);
    const StringConst *text = converted.value.string;
    if (file_override && std::strlen(file_override) == text->length &&
        std::memcmp(file_override, text->bytes, text->length) == 0)
        return;
    // The old name is not freed: conditional frames and saved tokens may
    // still point to it.
    char *copy = static_cast<char *>(checked_alloc(text->length + 1u, nullptr));
    std::memcpy(copy, text->bytes, text->length);
    copy[text->length] = 0;
    file_override = copy;
}

void dir_error(PpToken **link) {
    build_line_text(*link);
    report("%s", name_buffer);
}

void dir_asm() {
    if (asm_mode)
        report("bad #asm directive");
    asm_mode = 1;
}

void dir_endasm() {
    if (!asm_mode)
        report("bad #endasm directive");
    asm_mode = 0;
}
