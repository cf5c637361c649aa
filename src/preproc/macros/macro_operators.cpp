// The operators of a macro body: # makes a string of an argument's
// spelling, ## joins two spellings into one token.  Both build their text in
// a work text of their own, which grows as needed.
#include <cctype>
#include <cstdlib>
#include <cstring>

#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"
#include "preproc/macros/expansion.h"

namespace macro_expansion {

namespace {

// The text that stringizing and pasting build.  It grows as needed; a token
// spelling is 16 bits long, so a built text is cut at that length.
constexpr size_t WORK_TEXT_LIMIT = 0xFFFF;
char *work_text;
size_t work_capacity;
size_t work_length;

void work_reset() {
    work_length = 0;
}

void work_append(const char *text, size_t length) {
    if (length > WORK_TEXT_LIMIT - work_length)
        length = WORK_TEXT_LIMIT - work_length;
    if (work_length + length + 1 > work_capacity) {
        size_t capacity = work_capacity ? work_capacity : 1024;
        while (capacity < work_length + length + 1)
            capacity *= 2;
        char *grown = static_cast<char *>(checked_alloc(static_cast<unsigned>(capacity), nullptr));
        if (work_text) {
            std::memcpy(grown, work_text, work_length);
            std::free(work_text);
        }
        work_text = grown;
        work_capacity = capacity;
    }
    std::memcpy(work_text + work_length, text, length);
    work_length += length;
    work_text[work_length] = 0;
}

void work_append_char(char c) {
    work_append(&c, 1);
}

bool is_quoted_kind(uint16_t kind) {
    return kind == TOK_STRING || kind == PP_CHAR;
}

// True if a string built by # closes where it should: its text is walked by
// the escape rules of the scanner.
bool string_closes(const char *text, size_t length) {
    size_t i = 1;
    while (i < length) {
        char c = text[i];
        if (c == '"')
            return true;
        if (c != '\\') {
            i++;
            continue;
        }
        char e = i + 1 < length ? text[i + 1] : 0;
        if (e >= '0' && e <= '7') {
            i += 2;
            for (int n = 1; n < 3 && i < length && text[i] >= '0' && text[i] <= '7'; n++)
                i++;
        } else if ((e == 'x' || e == 'X') && i + 2 < length && std::isxdigit(static_cast<unsigned char>(text[i + 2]))) {
            i += 3;
            while (i < length && std::isxdigit(static_cast<unsigned char>(text[i])))
                i++;
        } else if (e && std::strchr("\"'?\\abfnrtv", e)) {
            i += 2;
        } else {
            i++;
        }
    }
    return false;
}

}  // namespace

// `#param`: the `#` token becomes a string of the raw argument, with the
// white space between its tokens as written, and quotes and backslashes of
// strings and characters escaped.
void stringize(PpToken *hash, const PpToken *argument, const MacroDef *macro) {
    work_reset();
    work_append_char('"');
    // Past the longest spelling nothing more is kept.
    for (const PpToken *token = argument; token && work_length < WORK_TEXT_LIMIT; token = token->next) {
        walk_steps++;
        if (token != argument)
            work_append(token->space, token->space_length);
        if (!is_quoted_kind(token->kind)) {
            work_append(token->text, token->length);
            continue;
        }
        for (unsigned i = 0; i < token->length; i++) {
            char c = token->text[i];
            if (c == '\\' || c == '"')
                work_append_char('\\');
            work_append_char(c);
        }
    }
    if (work_length == WORK_TEXT_LIMIT)
        work_length--;
    work_append_char('"');

    PpToken *param = hash->next;
    hash->next = param->next;
    free_token(param);
    hash->kind = TOK_STRING;
    hash->text = keep_text(work_text, work_length);
    bytes_made += work_length;
    hash->length = static_cast<uint16_t>(work_length);
    if (!string_closes(hash->text, hash->length))
        report("unbalanced \" in string constant");
}

// `left ## right` at `*link`: the spellings are joined and scanned again, and
// the tokens that result take the place of the operands.  A parameter
// operand brings its raw argument: all but the last token of a left one, and
// all but the first of a right one, stay beside the result.  Returns the
// first token of the result, and leaves `link` at the link that holds it.
PpToken *paste_tokens(PpToken **&link, const MacroDef *macro) {
    PpToken *left = *link;
    PpToken *op = left->next;
    PpToken *right = op->next;

    const PpToken *left_operand = left;
    if (left->kind == PP_PARAM) {
        PpToken *argument = macro->args[left->length];
        left_operand = last_of(argument);
        if (argument != left_operand) {
            PpToken *last;
            PpToken *front = copy_range(argument, left_operand, &last);
            *link = front;
            last->next = left;
            link = &last->next;
        }
    }
    const PpToken *right_operand = right;
    PpToken *right_rest = nullptr;
    if (right->kind == PP_PARAM) {
        PpToken *argument = macro->args[right->length];
        right_operand = argument;
        if (argument && argument->next)
            right_rest = copy_tokens(argument->next, nullptr);
    }

    // Two slashes would scan as a comment; they are joined as /= and the
    // result then made the comment token, which drops the rest of the line.
    bool comment = is_kind(left_operand, TOK_SLASH) && is_kind(right_operand, TOK_SLASH);
    work_reset();
    if (comment) {
        work_append("/=", 2);
    } else {
        if (left_operand)
            work_append(left_operand->text, left_operand->length);
        if (right_operand)
            work_append(right_operand->text, right_operand->length);
    }

    left->next = right->next;
    free_token(op);
    free_token(right);
    if (right_rest) {
        last_of(right_rest)->next = left->next;
        left->next = right_rest;
    }

    int32_t saved_comment = in_comment;
    in_comment = 0;
    PpToken *result = scan_line(keep_text(work_text, work_length + 1));
    in_comment = saved_comment;
    bytes_made += work_length + 1;
    // The PP_EOL that ends the scan is dropped.
    PpToken **end = &result;
    for (; *end && (*end)->next; end = &(*end)->next)
        note_tokens_made(1);
    if (*end) {
        note_tokens_made(1);
        if ((*end)->kind == PP_EOL) {
            pptoken_free_list(*end);
            *end = nullptr;
        }
    }
    if (!result) {
        macro_error("bad ## arguments in macro %.*s", macro);
        return left;
    }
    if (comment) {
        result->kind = PP_EOL;
        result->text[1] = '/';
    }
    splice_list(link, result);
    return result;
}

// ---------------------------------------------------------------------------
// Substitution in a copy of a body.

}  // namespace macro_expansion
