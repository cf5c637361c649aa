// The built-in macro names: `defined`, the date and time of the run, the
// position in the source, and the names that tell the compiled code about
// the target and the options of the run.
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"

namespace {

enum {
    BUILTIN_DEFINED = 1,
    BUILTIN_DATE = 2,
    BUILTIN_TIME = 3,
    BUILTIN_FILE = 4,
    BUILTIN_LINE = 5,
    BUILTIN_STDC = 6,
    BUILTIN_ZPHN = 7,
    BUILTIN_TRGT = 8,
};

// The spellings of the one-character numbers are never written to, so they
// can be shared by every token that needs them.
char zero_text[] = "0";
char one_text[] = "1";

// Date and time come from one sample of the local time, taken at the first
// use, so that __DATE__ and __TIME__ agree for the whole run.
char date_text[14];   // "Mmm dd yyyy" with its quotes
char time_text[11];   // "hh:mm:ss" with its quotes
bool time_sampled;

void sample_time() {
    time_sampled = true;
    std::time_t now = std::time(nullptr);
    const std::tm *local = std::localtime(&now);
    // The 24-character form "Www Mmm dd hh:mm:ss yyyy" of the system.
    char text[64] = "Thu Jan 01 00:00:00 1970";
    if (local)
        std::strftime(text, sizeof text, "%a %b %d %H:%M:%S %Y", local);
    if (text[8] == '0')
        text[8] = ' ';
    std::snprintf(date_text, sizeof date_text, "\"%.3s %.2s %.4s\"", text + 4, text + 8, text + 20);
    std::snprintf(time_text, sizeof time_text, "\"%.8s\"", text + 11);
}

// Bits of __ZPHN__: 8 is always set for this target; the others follow the
// options that change how code is generated.
int zphn_value() {
    int value = 8;
    if (opt_f)
        value |= 2;
    if (opt_u)
        value |= 4;
    if (opt_rb)
        value |= 16;
    if (opt_ne)
        value |= 32;
    if (opt_nc)
        value |= 128;
    if (opt_cp)
        value |= 256;
    return value;
}

bool is_kind(const PpToken *token, uint16_t kind) {
    return token && token->kind == kind;
}

// `defined name` or `defined(name)`: sets `*text` to "1" or "0" and returns
// the last token that belongs to the expression, or null when the operand
// is still to come from behind an outer macro call.
PpToken *defined_operand(PpToken *name, int mode, char **text) {
    PpToken *last = name;
    PpToken *token = name->next;
    bool paren = is_kind(token, TOK_LPAREN);
    if (paren) {
        last = token;
        token = token->next;
    }
    if (!token && mode == 1)
        return nullptr;
    *text = zero_text;
    if (!is_kind(token, TOK_IDENT)) {
        report("bad defined syntax");
        return last;
    }
    if (builtin_macro_code(token) || macro_lookup(token))
        *text = one_text;
    last = token;
    if (paren) {
        if (is_kind(token->next, TOK_RPAREN))
            last = token->next;
        else
            report("missing ) in defined expansion");
    }
    return last;
}

// A quoted copy of the current file name, each backslash doubled.
char *file_name_text(uint16_t *length) {
    const char *name = current_file_name();
    std::string text = "\"";
    for (const char *c = name ? name : ""; *c; c++) {
        if (*c == '\\')
            text += '\\';
        text += *c;
    }
    text += '"';
    if (text.size() > 0xFFFF)
        text.resize(0xFFFF);
    *length = static_cast<uint16_t>(text.size());
    return keep_text(text.data(), text.size());
}

}  // namespace

int builtin_macro_code(const PpToken *token) {
    if (token->kind != TOK_IDENT)
        return 0;
    const char *text = token->text;
    if (token->length == 7)
        return std::memcmp(text, "defined", 7) == 0 ? BUILTIN_DEFINED : 0;
    if (token->length != 8 || text[0] != '_' || text[1] != '_' || text[6] != '_' || text[7] != '_')
        return 0;
    static const char names[][5] = {"DATE", "TIME", "FILE", "LINE", "STDC", "ZPHN", "TRGT"};
    for (int i = 0; i < 7; i++)
        if (std::memcmp(text + 2, names[i], 4) == 0)
            return BUILTIN_DATE + i;
    return 0;
}

PpToken *expand_builtin(PpToken **link, int code, int mode) {
    PpToken *name = *link;
    PpToken *last = name;
    char *text = nullptr;
    uint16_t length = 1;
    uint16_t kind = PP_NUMBER;
    char number[24];
    switch (code) {
    case BUILTIN_DEFINED:
        last = defined_operand(name, mode, &text);
        if (!last)
            return name;
        break;
    case BUILTIN_DATE:
    case BUILTIN_TIME:
        if (!time_sampled)
            sample_time();
        kind = TOK_STRING;
        text = code == BUILTIN_DATE ? date_text : time_text;
        length = static_cast<uint16_t>(std::strlen(text));
        text = keep_text(text, length);
        break;
    case BUILTIN_FILE:
        kind = TOK_STRING;
        text = file_name_text(&length);
        break;
    case BUILTIN_LINE:
    case BUILTIN_ZPHN:
        if (code == BUILTIN_LINE)
            length = static_cast<uint16_t>(
                std::snprintf(number, sizeof number, "%ld", static_cast<long>(current_line())));
        else
            length = static_cast<uint16_t>(std::snprintf(number, sizeof number, "%d", zphn_value()));
        text = keep_text(number, length);
        break;
    case BUILTIN_STDC:
        text = one_text;
        break;
    default:
        kind = TOK_STRING;
        length = 5;
        text = keep_text("\"PPC\"", length);
        break;
    }

    PpToken *result = pptoken_new();
    result->space = name->space;
    result->space_length = name->space_length;
    result->text = text;
    result->length = length;
    result->line = name->line;
    result->column = name->column;
    result->kind = kind;
    result->no_expand = 0;
    result->next = last->next;
    last->next = nullptr;
    *link = result;
    pptoken_free_list(name);
    return result;
}
