// Private to macro expansion: what the walk over a line (macro_expand.cpp)
// and the operators of a body (macro_operators.cpp) share.
#pragma once

#include <cstdint>

#include "preproc/pptoken.h"

namespace macro_expansion {

// In macro_expand.cpp.  The line's budget: bytes of tokens and text made,
// and steps of the walks.
extern uint64_t bytes_made;
extern uint64_t walk_steps;
void note_tokens_made(uint64_t count);      // counts against the line's budget
void macro_error(const char *format, const MacroDef *macro);
bool is_kind(const PpToken *token, uint16_t kind);
void free_token(PpToken *token);
PpToken *last_of(PpToken *list);
// splice_tokens that also gives the last token of `list`, or null.
PpToken *splice_list(PpToken **link, PpToken *list);
// Copies of the tokens from `first` up to `stop`; `*last` gets the last copy.
PpToken *copy_range(const PpToken *first, const PpToken *stop, PpToken **last);

// In macro_operators.cpp.
// Replaces `hash` (a # and its parameter) by the string of `argument`.
void stringize(PpToken *hash, const PpToken *argument, const MacroDef *macro);
// Joins the token at *link with the one behind its ##; gives the token to
// go on with and leaves `link` at it.
PpToken *paste_tokens(PpToken **&link, const MacroDef *macro);

}  // namespace macro_expansion
