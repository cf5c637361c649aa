// #pragma: the words that the preprocessor carries out itself, and the
// hand-over of the others to the declaration layer.
#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"

int32_t unroll_limit;

namespace {

// #pragma unroll [n]: the budget of loop unrolling; without a number
// unrolling is off.
void pragma_unroll(PpToken *number) {
    if (!number || number->kind != PP_NUMBER) {
        unroll_limit = 0;
        return;
    }
    Token converted{};
    convert_number(&converted, number);
    if (converted.code >= 164)  // the codes of real constants
        report("bad #pragma unroll directive");
    else
        unroll_limit = static_cast<int32_t>(converted.value.integer);
}

// #pragma message text: the text, macros expanded, goes to the diagnostics
// stream as it stands.  It is no diagnostic: no position, no count.
void pragma_message(PpToken **link) {
    expand_macros(link, 0);
    build_line_text(*link);
    std::fprintf(error_stream, "#message %s\n", name_buffer);
}

}  // namespace

// Other lines, and words that are not known, are ignored without a message.
void dir_pragma(PpToken **link) {
    PpToken *word = *link;
    if (!word || word->kind != TOK_IDENT)
        return;
    if (is_word(word, "space"))
        declaration_pragma(PRAGMA_SPACE, &word->next);
    else if (is_word(word, "section"))
        declaration_pragma(PRAGMA_SECTION, &word->next);
    else if (is_word(word, "attribute"))
        declaration_pragma(PRAGMA_ATTRIBUTE, &word->next);
    else if (is_word(word, "asm"))
        dir_asm();
    else if (is_word(word, "endasm"))
        dir_endasm();
    else if (is_word(word, "unroll"))
        pragma_unroll(word->next);
    else if (is_word(word, "message"))
        pragma_message(&word->next);
}
