// The preprocessing scanner: cuts one text into a list of preprocessing
// tokens in a single pass.  Nothing is converted or copied: spellings point
// into the text, and the white space and comments in front of a token stay
// beside it, so that the line can be written out again exactly.
#include <cstring>

#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"

PpToken *scanned_list;
int32_t scanned_macro_names;

namespace {

// Character classes of the C locale, bytes taken as unsigned: only the 52
// ASCII letters are letters; bytes from 128 up belong to no class.
enum : uint8_t {
    CC_LETTER = 1,
    CC_DIGIT = 2,
    CC_HEX = 4,
    CC_IDENT = 8,    // letter, digit or _
    CC_SPACE = 16,   // blank, tab, line feed, vertical tab, form feed, return
    CC_OCTAL = 32,
    CC_SKIP = 64,    // may start white space or a comment: blank, '/', ';'
};

struct CharClasses {
    uint8_t of[256];
    constexpr CharClasses() : of() {
        for (int c = 'a'; c <= 'z'; c++)
            of[c] = CC_LETTER | CC_IDENT;
        for (int c = 'A'; c <= 'Z'; c++)
            of[c] = CC_LETTER | CC_IDENT;
        for (int c = '0'; c <= '9'; c++)
            of[c] = CC_DIGIT | CC_HEX | CC_IDENT | (c < '8' ? CC_OCTAL : 0);
        for (int c = 'a'; c <= 'f'; c++)
            of[c] |= CC_HEX;
        for (int c = 'A'; c <= 'F'; c++)
            of[c] |= CC_HEX;
        of[static_cast<int>('_')] = CC_IDENT;
        of[static_cast<int>(' ')] = CC_SPACE | CC_SKIP;
        of[static_cast<int>('\t')] = CC_SPACE | CC_SKIP;
        of[static_cast<int>('\n')] = CC_SPACE | CC_SKIP;
        of[static_cast<int>('\v')] = CC_SPACE | CC_SKIP;
        of[static_cast<int>('\f')] = CC_SPACE | CC_SKIP;
        of[static_cast<int>('\r')] = CC_SPACE | CC_SKIP;
        of[static_cast<int>('/')] = CC_SKIP;
        of[static_cast<int>(';')] = CC_SKIP;
    }
};

constexpr CharClasses char_classes;

inline bool has_class(char c, uint8_t cls) {
    return char_classes.of[static_cast<unsigned char>(c)] & cls;
}

PpToken *free_tokens;

// Nodes are carved from blocks, so that a cold start does not make one
// allocation per token; afterwards the free list serves.
constexpr int TOKEN_BLOCK = 256;
PpToken *block_cursor;
int block_left;

// Steps over white space and comments from `p`.  `first` is the first token
// of the line so far (null while the first token's white space is skipped):
// in assembly text a ';' starts a comment, except behind the '#' of a
// directive line.
char *skip_space(char *p, const PpToken *first) {
    // Most tokens follow one another with no white space, or one blank.
    if (!in_comment && !has_class(*p, CC_SKIP))
        return p;
    for (;;) {
        if (in_comment) {
            while (*p && !(p[0] == '*' && p[1] == '/'))
                p++;
            if (!*p)
                return p;
            p += 2;
            in_comment = 0;
            continue;
        }
        char c = *p;
        if (c == '/' && p[1] == '*') {
            in_comment = 1;
            p += 2;
            continue;
        }
        if (c == '/' && p[1] == '/' && (!opt_sa || opt_c99)) {
            while (*p)
                p++;
            return p;
        }
        if (c == ';' && asm_mode && (!first || first->kind != PP_HASH)) {
            while (*p)
                p++;
            return p;
        }
        if (!has_class(c, CC_SPACE))
            return p;
        p++;
    }
}

// A preprocessing number: digits, letters, '_' and '.', and a sign behind
// an exponent letter.  Without -sa a hexadecimal number ends in front of
// such a sign, so that 0xe+1 stays three tokens.
char *scan_number(char *p) {
    bool hex_start = p[0] == '0' && (p[1] == 'x' || p[1] == 'X');
    p++;
    for (;;) {
        char c = *p;
        if (c == 'e' || c == 'E') {
            p++;
            if (*p == '+' || *p == '-') {
                if (!opt_sa && hex_start)
                    return p;
                p++;
            }
        } else if (c == '.' || has_class(c, CC_IDENT)) {
            p++;
        } else {
            return p;
        }
    }
}

// A string or character constant from its quote (behind any L).  Escape
// sequences are stepped over as units so that an escaped quote does not
// end the constant.  An open constant runs to the end of the text.
char *scan_quoted(char *p, bool *closed) {
    char quote = *p++;
    for (;;) {
        char c = *p;
        if (c == quote) {
            *closed = true;
            return p + 1;
        }
        if (!c)
            break;
        if (c != '\\') {
            p++;
            continue;
        }
        char e = p[1];
        if (has_class(e, CC_OCTAL)) {
            p += 2;
            for (int i = 1; i < 3 && has_class(*p, CC_OCTAL); i++)
                p++;
        } else if ((e == 'x' || e == 'X') && has_class(p[2], CC_HEX)) {
            p += 3;
            while (has_class(*p, CC_HEX))
                p++;
        } else if (e && std::strchr("\"'?\\abfnrtv", e)) {
            p += 2;
        } else {
            p++;
        }
    }
    *closed = false;
    return p;
}

// An operator or punctuator: the longest spelling wins.  Returns the end and
// sets the kind.
char *scan_operator(char *p, uint16_t *kind) {
    char c = p[0], d = p[1];
    switch (c) {
    case '!': if (d == '=') { *kind = TOK_NE; return p + 2; } *kind = TOK_NOT; return p + 1;
    case '#': if (d == '#') { *kind = PP_PASTE; return p + 2; } *kind = PP_HASH; return p + 1;
    case '%': if (d == '=') { *kind = TOK_MOD_ASSIGN; return p + 2; } *kind = TOK_PERCENT; return p + 1;
    case '&':
        if (d == '&') { *kind = TOK_ANDAND; return p + 2; }
        if (d == '=') { *kind = TOK_AND_ASSIGN; return p + 2; }
        *kind = TOK_AMP; return p + 1;
    case '(': *kind = TOK_LPAREN; return p + 1;
    case ')': *kind = TOK_RPAREN; return p + 1;
    case '*': if (d == '=') { *kind = TOK_MUL_ASSIGN; return p + 2; } *kind = TOK_STAR; return p + 1;
    case '+':
        if (d == '+') { *kind = TOK_INC; return p + 2; }
        if (d == '=') { *kind = TOK_ADD_ASSIGN; return p + 2; }
        *kind = TOK_PLUS; return p + 1;
    case ',': *kind = TOK_COMMA; return p + 1;
    case '-':
        if (d == '-') { *kind = TOK_DEC; return p + 2; }
        if (d == '=') { *kind = TOK_SUB_ASSIGN; return p + 2; }
        if (d == '>') { *kind = TOK_ARROW; return p + 2; }
        *kind = TOK_MINUS; return p + 1;
    case '.':
        if (d == '.' && p[2] == '.') { *kind = TOK_ELLIPSIS; return p + 3; }
        *kind = TOK_DOT; return p + 1;
    case '/': if (d == '=') { *kind = TOK_DIV_ASSIGN; return p + 2; } *kind = TOK_SLASH; return p + 1;
    case ':': *kind = TOK_COLON; return p + 1;
    case ';': *kind = TOK_SEMI; return p + 1;
    case '<':
        if (d == '<') {
            if (p[2] == '=') { *kind = TOK_SHL_ASSIGN; return p + 3; }
            *kind = TOK_SHL; return p + 2;
        }
        if (d == '=') { *kind = TOK_LE; return p + 2; }
        *kind = TOK_LT; return p + 1;
    case '=': if (d == '=') { *kind = TOK_EQ; return p + 2; } *kind = TOK_ASSIGN; return p + 1;
    case '>':
        if (d == '>') {
            if (p[2] == '=') { *kind = TOK_SHR_ASSIGN; return p + 3; }
            *kind = TOK_SHR; return p + 2;
        }
        if (d == '=') { *kind = TOK_GE; return p + 2; }
        *kind = TOK_GT; return p + 1;
    case '?': *kind = TOK_QUESTION; return p + 1;
    case '@': *kind = TOK_AT; return p + 1;
    case '[': *kind = TOK_LBRACKET; return p + 1;
    case '\\': if (d == '#') { *kind = PP_BACKSLASH_HASH; return p + 2; } *kind = PP_BAD; return p + 1;
    case ']': *kind = TOK_RBRACKET; return p + 1;
    case '^': if (d == '=') { *kind = TOK_XOR_ASSIGN; return p + 2; } *kind = TOK_CARET; return p + 1;
    case '{': *kind = TOK_LBRACE; return p + 1;
    case '|':
        if (d == '|') { *kind = TOK_OROR; return p + 2; }
        if (d == '=') { *kind = TOK_OR_ASSIGN; return p + 2; }
        *kind = TOK_BAR; return p + 1;
    case '}': *kind = TOK_RBRACE; return p + 1;
    case '~': *kind = TOK_TILDE; return p + 1;
    default: *kind = PP_BAD; return p + 1;
    }
}

}  // namespace

PpToken *pptoken_new() {
    PpToken *token = free_tokens;
    if (token) {
        free_tokens = token->next;
    } else {
        if (!block_left) {
            block_cursor = static_cast<PpToken *>(
                checked_alloc(TOKEN_BLOCK * sizeof(PpToken), nullptr));
            block_left = TOKEN_BLOCK;
        }
        token = block_cursor++;
        block_left--;
    }
    token->next = nullptr;
    token->entry = nullptr;
    return token;
}

void pptoken_free_list(PpToken *list) {
    if (!list)
        return;
    PpToken *last = list;
    while (last->next)
        last = last->next;
    last->next = free_tokens;
    free_tokens = list;
}

void pptoken_free_range(PpToken *first, PpToken *last) {
    last->next = free_tokens;
    free_tokens = first;
}

PpToken *scan_line(char *text) {
    int32_t macro_names = 0;
    PpToken *list = nullptr;
    PpToken **tail = &list;
    char *p = text;
    // Nothing in the scan moves the source position, so the line is asked
    // for once.
    const uint32_t text_line = current_line();
    const bool spliced = splice_count > 1;
    while (*p) {
        PpToken *token = pptoken_new();
        *tail = token;
        tail = &token->next;
        token->space = p;
        token->no_expand = 0;
        p = skip_space(p, list == token ? nullptr : list);
        token->space_length = static_cast<uint16_t>(p - token->space);

        uint32_t line = text_line;
        uint32_t column = static_cast<uint32_t>(p - text);
        if (spliced)
            physical_position(&line, &column);
        token->line = line;
        token->column = static_cast<uint16_t>(column);
        token->text = p;

        char c = *p;
        if (!c) {
            token->kind = PP_EOL;
            token->length = 0;
            break;
        }
        char *end;
        // Names first, as the most frequent tokens; an L in front of a
        // quote starts a wide constant, not a name.
        bool wide_quote = c == 'L' && (p[1] == '"' || p[1] == '\'');
        if ((has_class(c, CC_LETTER) || c == '_') && !wide_quote) {
            // Each name is looked up as it is cut, hashed on the way; the
            // token keeps its entry.
            uint32_t hash = name_hash_step(NAME_HASH_START, c);
            end = p + 1;
            while (has_class(*end, CC_IDENT))
                hash = name_hash_step(hash, *end++);
            token->kind = TOK_IDENT;
            token->length = static_cast<uint16_t>(end - p);
            NameEntry *entry = name_entry_hashed(p, token->length, name_hash_finish(hash));
            token->entry = entry;
            if (entry->macro != nullptr || (may_name_builtin(token) && builtin_macro_code(token) != 0))
                macro_names++;
        } else if (has_class(c, CC_DIGIT) || (c == '.' && has_class(p[1], CC_DIGIT))) {
            end = scan_number(p);
            token->kind = PP_NUMBER;
        } else if (c == '"' || c == '\'' || wide_quote) {
            char *quote = c == 'L' ? p + 1 : p;
            bool closed;
            end = scan_quoted(quote, &closed);
            token->kind = *quote == '"' ? uint16_t{TOK_STRING} : uint16_t{PP_CHAR};
            if (!closed && !asm_mode && in_active_code())
                report("unbalanced %c", *quote);
        } else {
            end = scan_operator(p, &token->kind);
        }
        token->length = static_cast<uint16_t>(end - p);
        p = end;
    }
    scanned_list = list;
    scanned_macro_names = macro_names;
    return list;
}
