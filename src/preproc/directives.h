// Directives, conditional inclusion and the preprocessed-text writer.
//
// `dispatch_line` stands between the scanner and every consumer of text: it
// receives the token list of one logical line, carries out directive lines,
// drops the lines of skipped conditional groups, expands macros in all other
// lines and marks assembly text.  What it returns goes to the parser's token
// stream, or with -e to `write_preprocessed`.
#pragma once

#include <cstdint>

struct PpToken;

// ---------------------------------------------------------------------------
// Conditional stack.  One frame per open #if, #ifdef or #ifndef.
//
//   state 'I'  if or elif part; a branch of this conditional may still be taken
//   state 'i'  if or elif part; no further branch can be taken, because the
//              enclosing code is skipped or an earlier branch was taken
//   state 'E'  else part behind 'I'
//   state 'e'  else part behind 'i'
//
// Code is active when the stack is empty or the top frame's `taken` is set.
// A conditional opened inside a skipped group gets 'i' and `taken` 0, so the
// test never has to walk the stack.  The stack is independent of the file
// stack: a conditional may open in a header and close in its includer.
struct CondFrame {
    CondFrame *link;     // enclosing conditional
    const char *file;    // file name of the last directive of this conditional
    uint16_t line;       // line of that directive, cut to 16 bits
    char state;          // 'I', 'i', 'E' or 'e'
    uint8_t taken;       // 1 while text is processed, 0 while it is skipped
};

extern CondFrame *cond_stack;

int in_active_code();

// Reports "missing #endif directive" at the innermost open conditional, if
// any; called at the end of the unit (not with -e).  The frames stay.
void check_open_conditionals();

// ---------------------------------------------------------------------------
// Shared state of the directives.

// 0 outside assembly text; 1 after #asm or #pragma asm until the first line
// of the text has gone through `dispatch_line`; 2 on the further lines.
extern int32_t asm_mode;

// 1 while a directive function runs: a function-like macro name at the end
// of a directive line must not pull in the next source line.
extern int32_t in_directive;

// Scratch text shared by #include, #error, #pragma message, -d and the line
// control of the -e writer.
constexpr unsigned NAME_BUFFER_SIZE = 128;
extern char name_buffer[NAME_BUFFER_SIZE];

// Loop unrolling budget set by #pragma unroll, read by the loop rewriting.
extern int32_t unroll_limit;

// ---------------------------------------------------------------------------
// The line dispatcher.  Takes the token list of a logical line and returns
// the list the consumer is to see, or null when nothing is left (a
// directive, a skipped line, a line that expanded to nothing).
PpToken *dispatch_line(PpToken *list);

// The macro definition of one -d flag: "name" or "name=text".
void define_from_option(const char *text);

// ---------------------------------------------------------------------------
// Directive functions.  Each gets the link to the token behind the
// directive's name (the `next` field of the name token) and may replace what
// hangs there, for macro expansion.
using DirectiveFunction = void (*)(PpToken **link);

struct Directive {
    const char *name;
    uint8_t length;
    uint8_t acts_when_skipped;   // #if family: keeps the stack balanced
    DirectiveFunction function;
};

// In the order of search.
constexpr int DIRECTIVE_COUNT = 14;
extern const Directive directive_table[DIRECTIVE_COUNT];

void dir_if(PpToken **link);
void dir_else(PpToken **link);
void dir_elif(PpToken **link);
void dir_line(PpToken **link);
void dir_endif(PpToken **link);
void dir_error(PpToken **link);
void dir_undef(PpToken **link);
void dir_ifdef(PpToken **link);
void dir_define(PpToken **link);
void dir_ifndef(PpToken **link);
void dir_pragma(PpToken **link);
void dir_include(PpToken **link);

// Helpers of the directive functions: an identifier with exactly the
// spelling `word`; the text of a directive's operands, as #error shows it,
// built in name_buffer and cut to its size.
bool is_word(const PpToken *token, const char *word);
void build_line_text(const PpToken *list);

// The effect of #asm and #endasm, also reached through #pragma asm/endasm;
// the table reaches them through wrappers that ignore the rest of the line.
void dir_asm();
void dir_endasm();

// ---------------------------------------------------------------------------
// Calls into later layers.

// Value of the expression of #if (is_elif 0) or #elif (is_elif 1): expands
// the macros of the list at *link, turns identifiers into numbers, parses it
// as a constant expression and reports "bad #if expression", "incomplete #if
// expression" or their #elif forms.  Result 1 when the value is not 0; a bad
// expression counts as 0.  Belongs to the expression layer.
int eval_if_expression(PpToken **link, int is_elif);

// #pragma space, section and attribute: `word` is one of the PRAGMA_ codes,
// `link` the link behind the word.  The declaration layer parses the rest of
// the line through the token stream.
enum { PRAGMA_SPACE = 0, PRAGMA_SECTION = 1, PRAGMA_ATTRIBUTE = 2 };
void declaration_pragma(int word, PpToken **link);

// ---------------------------------------------------------------------------
// -e and -md: pulls every line of the input through the scanner and
// `dispatch_line` and writes the text that is left to `output_stream` (with
// -md only the side effects of opening files remain).
void write_preprocessed();
