// Preprocessing tokens and macros: the scanner that cuts a line into a
// token list, the macro table, and macro expansion in place.
#pragma once

#include <cstdint>

#include "lexer/token.h"

// ---------------------------------------------------------------------------
// A preprocessing token: one node of a line's token list.  Spellings are not
// copied: `text` and `space` point into the line buffer, into kept text or
// into a macro's text block, which must outlive the token.
struct PpToken {
    PpToken *next;          // next token of the line, null at the end
    char *space;            // white space and comments in front of the token
    char *text;             // the spelling, not null-terminated
    uint16_t space_length;  // length of `space`
    uint16_t length;        // length of `text`; for PP_PARAM the parameter index
    uint32_t line;          // physical line of the token
    uint16_t column;        // offset in the physical line, from 0; bit 15 marks
                            // the first line of a block of assembly text
    uint16_t kind;          // PP_... below, or a token code of the parser
    uint16_t no_expand;     // 1 once seen as the name of a macro in expansion
    NameEntry *entry;       // TOK_IDENT: the entry of the spelling once it was
                            // looked up, else null; whoever changes `text`
                            // of an identifier clears it
};

// The name entry of the identifier `token`, looked up once per token and
// kept on it, and on its copies, for every later question about the name.
inline NameEntry *pptoken_name(PpToken *token) {
    if (token->entry == nullptr)
        token->entry = name_entry(token->text, token->length);
    return token->entry;
}

// Kinds that exist only before the parser.  Identifiers are TOK_IDENT (18),
// strings TOK_STRING (4); operators carry their parser token codes.
enum : uint16_t {
    PP_PARAM = 0,            // in a macro body: parameter, index in `length`
    PP_NUMBER = 19,          // preprocessing number
    PP_HASH = 20,            // #
    PP_PASTE = 21,           // ##
    PP_CHAR = 22,            // character constant, with its optional L
    PP_EOL = 23,             // end of line; `space` holds what stood behind
                             // the last token, line end included
    PP_BAD = 24,             // a character that starts no token
    PP_BACKSLASH_HASH = 52,  // \#
};

// Cuts the null-terminated `text` into a token list; never null for a text
// of at least one character.  Reports "unbalanced %c" for an open string or
// character constant in active code outside assembly text.
PpToken *scan_line(char *text);

// What the last scan_line saw: the list it returned, and the number of its
// identifiers that named a macro or a built-in macro when they were cut.  A
// text line of that list without such a name is left as it stands, with no
// walk for macro expansion.
extern PpToken *scanned_list;
extern int32_t scanned_macro_names;

// A node from the free list, or a new one; `next` is null, all other fields
// are the caller's to set.
PpToken *pptoken_new();

// Gives a whole list back to the free list in one step; null is accepted.
void pptoken_free_list(PpToken *list);

// The same for a list whose last node `last` the caller knows, without a
// walk to find it.
void pptoken_free_range(PpToken *first, PpToken *last);

// ---------------------------------------------------------------------------
// Macros.  Every macro is on `macro_list`; its name finds it through
// `macro_trie`, whose terminal nodes hold the MacroDef.
struct MacroDef {
    MacroDef *next;         // next record of macro_list
    MacroDef *hidden_next;  // link of hidden_macros
    PpToken *body;          // replacement list, parameters as PP_PARAM
    PpToken **args;         // arguments of the call in progress, one per parameter
    int32_t param_count;    // 0 object-like, -1 empty parameter list, else count
    uint8_t state;          // bit 0: being expanded; bit 1: expanded during the
                            // current top-level expansion
    uint8_t used;           // 1 once expanded since the last write_used_macros
    uint8_t name_length;    // length of the name, cut to 255 for messages
    uint8_t body_kinds;     // MACRO_BODY_... below: what the body holds, so
                            // that an expansion skips the walks it needs not
    MacroDef **list_link;   // index beside macro_list: the field that points
                            // at this record, so that removal needs no walk
    char name[1];           // the name in full, null-terminated
};

enum : uint8_t {
    MACRO_BODY_PARAMS = 1,     // a parameter
    MACRO_BODY_OPERATORS = 2,  // a # or a ##
};

struct TrieNode;
extern TrieNode *macro_trie;
extern MacroDef *macro_list;
extern MacroDef *hidden_macros;  // macros whose state is not 0

// `name` is the identifier behind #define; the tokens behind it are taken
// over by the macro.  Returns the macro, or null after an error in the
// parameter list, in which case nothing of it remains.
MacroDef *macro_define(PpToken *name);

// The macro named by an identifier token, or null.  One hash of its
// spelling, through an index kept beside the trie.
MacroDef *macro_lookup(const PpToken *token);

// Removes the macro named by `token`, if there is one, with all its storage.
void macro_undefine(const PpToken *token);

// True if the two definitions are the same: parameter count, token kinds,
// presence of white space, lengths, and spellings of names and constants.
bool macro_same(const MacroDef *macro, const MacroDef *other);

// Expands the list at `*link` in place.  `mode` is 0 for a top-level call;
// the inner levels pass 1 or 3.  Returns 1 if anything was replaced.
int expand_macros(PpToken **link, int mode);

// Clears the expansion state of every macro on hidden_macros.
void reset_hidden_macros();

// For each macro expanded since the last call: `used` is cleared, and its
// name and the spelling of the first token of its body go to the
// macro_used event (source.h), which the debug information writes.
void write_used_macros();

// Only a spelling of 7 or 8 characters can name a built-in macro: a test
// that spares the call for every other name.
inline bool may_name_builtin(const PpToken *token) {
    return token->length == 7 || token->length == 8;
}

// Built-in names: 1 defined, 2 __DATE__, 3 __TIME__, 4 __FILE__, 5 __LINE__,
// 6 __STDC__, 7 __ZPHN__, 8 __TRGT__; 0 for every other token.
int builtin_macro_code(const PpToken *token);

// Replaces the built-in name at `*link` (code from builtin_macro_code), and
// for `defined` its operand, by one token with the value; returns that
// token.  In mode 1 a `defined` at the end of the list is returned as it is,
// to be completed by the outer level.
PpToken *expand_builtin(PpToken **link, int code, int mode);

// Replaces the token at `*link` by `list`.  The first token of `list` takes
// over the old token's white space; all take over its line and column.  An
// empty list just removes the token.
void splice_tokens(PpToken **link, PpToken *list);

// A copy of `list` without its PP_EOL tokens, with `tail` linked behind it.
PpToken *copy_tokens(const PpToken *list, PpToken *tail);

#include "preproc/directives.h"
