// Macro expansion in place.  A token list is walked from left to right; a
// macro name is replaced by a copy of its body, in which the parameters have
// been replaced by the arguments of the call, # has made strings and ## has
// joined spellings, and which has been rescanned for further macros.
//
// Recursion is stopped by the state of each macro: bit 0 while its body is
// being rescanned, bit 1 once it has been expanded in the current top-level
// expansion.  A name met while its macro has a state bit of the current mode
// gets `no_expand` and stays a plain identifier.
#include <cctype>
#include <cstring>

#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"
#include "preproc/macros/expansion.h"

namespace macro_expansion {

// The first token of a line pulled into a macro call that has no white space
// in front of it gets one blank, so that it stays apart from the token that
// ended the line before.
char blank_text[] = " ";

// Expansion nests as deep as macros call macros, a few hundred bytes of
// stack per level; a bound keeps a hostile source from exhausting the stack.
// Deeper names are left as they stand, with one error per line.
constexpr int EXPANSION_DEPTH_LIMIT = 4000;
int expansion_depth;
bool depth_reported;

// One line's expansion is held to a budget.  Bodies that use a parameter
// twice grow exponentially with nesting, and each level of a chain of macros
// rescans and splices the whole expansion below it, so a few lines of
// source could otherwise exhaust memory or run for hours.  From the start of
// each top-level expansion two things are counted: the bytes of the tokens
// and text it makes (token copies, the spellings of # and ##, built-in
// values), and the steps of its walks (a token passed, a character of a name
// looked up).  Past either budget the line goes on unexpanded, with one
// error.  Real programs stay far below both: a line that expands to a
// million tokens makes 45 MB and takes 5 million steps, while a hostile
// line stops within a second or so.
constexpr uint64_t EXPANSION_MEMORY_LIMIT = uint64_t(1) << 28;
constexpr uint64_t EXPANSION_STEP_LIMIT = uint64_t(1) << 27;
uint64_t bytes_made;
uint64_t walk_steps;
bool size_reported;

// A token made counts a fixed 40 bytes, whatever the size of the record on
// the host, so that where the budget ends depends on the source alone.
constexpr uint64_t TOKEN_COST = 40;

void note_tokens_made(uint64_t count) {
    bytes_made += count * TOKEN_COST;
}

// True past either budget; the error is reported once per line.
bool expansion_too_long() {
    if (bytes_made <= EXPANSION_MEMORY_LIMIT && walk_steps <= EXPANSION_STEP_LIMIT)
        return false;
    if (!size_reported) {
        size_reported = true;
        report("macro expansion too long");
    }
    return true;
}

enum CallResult { CALL_DONE, CALL_KEEP, CALL_FAIL };

void macro_error(const char *format, const MacroDef *macro) {
    report(format, int(macro->name_length), macro->name);
}

bool is_kind(const PpToken *token, uint16_t kind) {
    return token && token->kind == kind;
}

bool is_defined_name(const PpToken *token) {
    return token->kind == TOK_IDENT && token->length == 7 &&
           std::memcmp(token->text, "defined", 7) == 0;
}

// Looking a name up hashes its spelling, so the walk counts its length as
// well: a chain over copies of one long name costs that much more.
MacroDef *find_macro(PpToken *token) {
    walk_steps += token->length;
    return pptoken_name(token)->macro;
}

// The same for the operand that `defined` looks up, behind the name or
// behind its `(`.
void note_defined_operand(const PpToken *name) {
    const PpToken *operand = name->next;
    if (is_kind(operand, TOK_LPAREN))
        operand = operand->next;
    if (operand)
        walk_steps += operand->length;
}

void free_token(PpToken *token) {
    token->next = nullptr;
    pptoken_free_list(token);
}

PpToken *last_of(PpToken *list) {
    if (list)
        while (list->next)
            list = list->next;
    return list;
}

// splice_tokens that also gives the last token of `list`, or null if it is
// empty.
PpToken *splice_list(PpToken **link, PpToken *list) {
    PpToken *old = *link;
    if (!list) {
        *link = old->next;
        free_token(old);
        return nullptr;
    }
    list->space = old->space;
    list->space_length = old->space_length;
    PpToken *last = list;
    for (PpToken *token = list; token; token = token->next) {
        token->line = old->line;
        token->column = old->column;
        walk_steps++;
        last = token;
    }
    last->next = old->next;
    *link = list;
    free_token(old);
    return last;
}

// splice_list for a finished expansion, in the same walk: `*end_kept` tells
// whether the expansion ends in a name that stayed a plain identifier, told
// before the marks are cleared (such a name is never called by the text
// behind the expansion either), and with `clear_marks` every mark is
// cleared, as at the end of a top-level expansion.
PpToken *splice_expansion(PpToken **link, PpToken *list, bool clear_marks, bool *end_kept) {
    *end_kept = false;
    if (!list)
        return splice_list(link, list);
    PpToken *old = *link;
    list->space = old->space;
    list->space_length = old->space_length;
    PpToken *last = list;
    uint16_t last_mark = 0;
    for (PpToken *token = list; token; token = token->next) {
        token->line = old->line;
        token->column = old->column;
        walk_steps++;
        last_mark = token->no_expand;
        if (clear_marks)
            token->no_expand = 0;
        last = token;
    }
    *end_kept = last_mark != 0;
    last->next = old->next;
    *link = list;
    free_token(old);
    return last;
}

// A copy of the tokens from `first` up to, not including, `stop`.
PpToken *copy_range(const PpToken *first, const PpToken *stop, PpToken **last) {
    PpToken *head = nullptr;
    PpToken **tail = &head;
    *last = nullptr;
    for (const PpToken *token = first; token != stop; token = token->next) {
        PpToken *copy = pptoken_new();
        *copy = *token;
        copy->next = nullptr;
        note_tokens_made(1);
        *tail = copy;
        tail = &copy->next;
        *last = copy;
    }
    return head;
}

// splice_list(link, copy_tokens(list, nullptr)) in one walk: the copies of
// `list`, without its PP_EOL tokens, take the place of the token at `*link`.
PpToken *splice_copy(PpToken **link, const PpToken *list) {
    PpToken *old = *link;
    PpToken *head = nullptr;
    PpToken **tail = &head;
    PpToken *last = nullptr;
    for (const PpToken *token = list; token; token = token->next) {
        if (token->kind == PP_EOL)
            continue;
        PpToken *copy = pptoken_new();
        *copy = *token;
        copy->line = old->line;
        copy->column = old->column;
        note_tokens_made(1);
        walk_steps++;
        *tail = copy;
        tail = &copy->next;
        last = copy;
    }
    if (!head) {
        *link = old->next;
        free_token(old);
        return nullptr;
    }
    head->space = old->space;
    head->space_length = old->space_length;
    last->next = old->next;
    *link = head;
    free_token(old);
    return last;
}

// ---------------------------------------------------------------------------
// Collecting the arguments of a call.

// At the top level a call may go on over further lines.  Walks from the name
// to the end of the call, and where the list ends before it, reads the next
// line into its place: a line that starts with # is then plain text of the
// call.  Inside a directive the call must end on its line.
void pull_call_lines(PpToken *name) {
    PpToken **link = &name->next;
    int depth = 0;
    for (;;) {
        PpToken *token = *link;
        if (!token || (token->kind == PP_EOL && token->length == 0)) {
            if (in_directive)
                return;
            char *text = read_logical_line(1);
            if (!text)
                return;
            PpToken *more = scan_line(text);
            if (more && !more->space_length) {
                more->space = blank_text;
                more->space_length = 1;
            }
            if (token) {
                PpToken *rest = token->next;
                free_token(token);
                if (more)
                    last_of(more)->next = rest;
                else
                    more = rest;
            }
            *link = more;
            continue;
        }
        if (depth == 0 && token->kind != TOK_LPAREN)
            return;
        if (token->kind == TOK_LPAREN) {
            depth++;
        } else if (token->kind == TOK_RPAREN) {
            if (--depth == 0)
                return;
        }
        link = &token->next;
    }
}

// The token that ends the argument starting at `first`: a `,` outside inner
// parentheses or the `)` that closes the call; null if the list ends first.
PpToken *argument_end(PpToken *first) {
    int depth = 0;
    for (PpToken *token = first; token; token = token->next) {
        if (token->kind == TOK_LPAREN) {
            depth++;
        } else if (token->kind == TOK_RPAREN) {
            if (depth == 0)
                return token;
            depth--;
        } else if (token->kind == TOK_COMMA && depth == 0) {
            return token;
        }
    }
    return nullptr;
}

// Collects the call of the function-like `macro` whose name is at `*link`:
// the arguments go to `macro->args`, and the tokens from `(` to the end of
// the call leave the list.  The list is left untouched unless the call is
// complete, so that after an error it goes on unexpanded.
CallResult collect_call(PpToken **link, MacroDef *macro, int mode) {
    PpToken *name = *link;
    if (mode == 0)
        pull_call_lines(name);
    PpToken *open = name->next;
    if (!is_kind(open, TOK_LPAREN))
        return CALL_KEEP;
    if (!open->next) {
        macro_error("bad invocation of macro %.*s", macro);
        return CALL_FAIL;
    }

    PpToken *stop;
    if (open->next->kind == TOK_RPAREN) {
        if (macro->param_count != -1) {
            macro_error("missing argument for macro %.*s", macro);
            return CALL_FAIL;
        }
        stop = open->next;
    } else if (macro->param_count == -1) {
        // An empty parameter list called with tokens: they are dropped up
        // to the end of the call.
        int depth = 0;
        for (stop = open->next; stop; stop = stop->next) {
            if (stop->kind == TOK_LPAREN)
                depth++;
            else if (stop->kind == TOK_RPAREN && depth-- == 0)
                break;
        }
        if (!stop) {
            macro_error("bad invocation of macro %.*s", macro);
            return CALL_FAIL;
        }
        macro_error("too many arguments for macro %.*s", macro);
    } else {
        // First find every argument, then cut them out.
        int count = macro->param_count;
        int found = 0;
        stop = nullptr;
        for (PpToken *first = open->next; found < count; found++) {
            if (!first || first->kind == TOK_RPAREN || first->kind == TOK_COMMA)
                break;
            PpToken *end = argument_end(first);
            if (!end)
                break;
            stop = end;
            first = end->next;
            if (end->kind != TOK_COMMA && found + 1 < count) {
                found++;
                break;
            }
        }
        if (found < count) {
            macro_error("missing argument for macro %.*s", macro);
            return CALL_FAIL;
        }
        if (stop->kind != TOK_RPAREN)
            macro_error("too many arguments for macro %.*s", macro);
        PpToken *first = open->next;
        for (int i = 0; i < count; i++) {
            PpToken *end = argument_end(first);
            PpToken *last = first;
            while (last->next != end)
                last = last->next;
            last->next = nullptr;
            macro->args[i] = first;
            first = end->next;
            if (i + 1 < count)
                free_token(end);
        }
    }
    name->next = stop->next;
    free_token(stop);
    free_token(open);
    return CALL_DONE;
}

// Carries out the # and ## of a body; true if a parameter is left in it.
bool apply_operators(PpToken **body, MacroDef *macro) {
    bool has_param = false;
    PpToken **link = body;
    while (PpToken *token = *link) {
        if (expansion_too_long())
            break;
        // The string made by # can itself be an operand of ##.
        if (token->kind == PP_HASH) {
            if (is_kind(token->next, PP_PARAM))
                stringize(token, macro->args[token->next->length], macro);
            else
                macro_error("bad # argument in macro %.*s", macro);
        } else if (token->kind == PP_PASTE) {
            macro_error("missing ## argument in macro %.*s", macro);
            link = &token->next;
            continue;
        }
        while (is_kind(token->next, PP_PASTE) && !expansion_too_long()) {
            PpToken *right = token->next->next;
            if (!right || right->kind == PP_EOL) {
                macro_error("missing ## argument in macro %.*s", macro);
                link = &token->next;
                token = *link;
                break;
            }
            token = paste_tokens(link, macro);
        }
        if (token->kind == PP_PARAM)
            has_param = true;
        link = &token->next;
    }
    return has_param;
}

// Each # and ## works on a whole argument, and each parameter gets a copy
// of one, so a long body over a long argument multiplies them: the budget
// is looked at before each step.  Once it is spent the body is left half
// done, and the caller drops it.
void substitute(PpToken **body, MacroDef *macro) {
    bool has_param;
    if (macro->body_kinds & MACRO_BODY_OPERATORS) {
        has_param = apply_operators(body, macro);
    } else {
        // No # or ##: the walk would only look at the budget, which nothing
        // changes during it, and find the parameters.
        has_param = *body != nullptr && !expansion_too_long() &&
                    (macro->body_kinds & MACRO_BODY_PARAMS) != 0;
    }

    int count = macro->param_count;
    if (has_param && count > 0) {
        // A call of this macro inside one of its own arguments fills a fresh
        // argument array; the macro's state is not yet set, so such a call
        // is expanded.
        // A few parameters, the common case, get their array on the stack.
        constexpr int LOCAL_ARGS = 8;
        PpToken *local[LOCAL_ARGS];
        PpToken **args = macro->args;
        size_t size = static_cast<size_t>(count) * sizeof(PpToken *);
        PpToken **fresh = count <= LOCAL_ARGS
                              ? local
                              : static_cast<PpToken **>(checked_alloc(static_cast<unsigned>(size), nullptr));
        std::memset(fresh, 0, size);
        macro->args = fresh;
        for (int i = 0; i < count; i++)
            expand_macros(&args[i], 1);
        if (fresh != local)
            std::free(fresh);
        macro->args = args;

        PpToken **link = body;
        while (PpToken *token = *link) {
            if (expansion_too_long())
                break;
            if (token->kind != PP_PARAM) {
                link = &token->next;
                continue;
            }
            PpToken *last = splice_copy(link, args[token->length]);
            if (last)
                link = &last->next;
        }
    }
    for (int i = 0; i < count; i++) {
        pptoken_free_list(macro->args[i]);
        macro->args[i] = nullptr;
    }
}

// ---------------------------------------------------------------------------
// A body may end in a call whose arguments stand behind the macro's own
// call: with `#define G F`, `G(1)` must reach F.  Such a call, and a
// `defined` whose operand follows, takes its missing tokens from behind the
// call of `name`.

// Marks a pending `defined (`, which is no macro.
MacroDef defined_pending;

void complete_open_call(PpToken *body, PpToken *name) {
    PpToken *after = name->next;
    const MacroDef *pending = nullptr;
    int depth = 0;
    PpToken *last = nullptr;
    for (PpToken *token = body; token; token = token->next) {
        last = token;
        if (token->kind == TOK_LPAREN) {
            depth++;
        } else if (token->kind == TOK_RPAREN) {
            depth--;
            if (pending && depth == 0)
                pending = nullptr;
        } else if (!pending && token->kind == TOK_IDENT) {
            const PpToken *next = token->next ? token->next : after;
            if (!is_kind(next, TOK_LPAREN))
                continue;
            if (is_defined_name(token)) {
                pending = &defined_pending;
                depth = 0;
            } else if (!next->space_length) {
                const MacroDef *called = find_macro(token);
                if (called && !(called->state & 1)) {
                    pending = called;
                    depth = 0;
                }
            }
        }
    }
    if (!body || !after)
        return;
    if (pending) {
        PpToken *end = after;
        for (; end; end = end->next) {
            if (end->kind == TOK_LPAREN)
                depth++;
            else if (end->kind == TOK_RPAREN && --depth == 0)
                break;
        }
        if (!end)
            return;
        last->next = after;
        name->next = end->next;
        end->next = nullptr;
    } else if (is_defined_name(last) && after->kind == TOK_IDENT) {
        last->next = after;
        name->next = after->next;
        after->next = nullptr;
    }
}

// Whether `token`, the last of an expansion, names a function-like macro
// that may expand in this mode and has a `(` right behind it.
bool opens_call(PpToken *token, int mode) {
    if (token->kind != TOK_IDENT || token->no_expand || !is_kind(token->next, TOK_LPAREN) ||
        token->next->space_length)
        return false;
    const MacroDef *called = find_macro(token);
    return called && called->param_count != 0 && !(called->state & mode);
}

// Replaces the macro name at `*link` by its expansion.  Returns the last
// token of the expansion (null if it is empty), or `name` itself when the
// name stays, in which case `*failed` tells whether the walk must stop.
// `*end_kept` tells whether the last token is a name kept from expansion.
enum ExpandResult { EXPANDED, KEPT, STOPPED };

ExpandResult expand_one(PpToken **link, MacroDef *macro, int mode, PpToken **last, bool *end_kept) {
    PpToken *name = *link;
    macro->used = 1;
    if (macro->param_count != 0) {
        CallResult result = collect_call(link, macro, mode);
        if (result == CALL_KEEP)
            return KEPT;
        if (result == CALL_FAIL)
            return STOPPED;
    }
    PpToken *body = copy_tokens(macro->body, nullptr);
    substitute(&body, macro);

    bool listed = macro->state != 0;   // on hidden_macros iff state is not 0
    macro->state |= 1;
    complete_open_call(body, name);
    if (!listed) {
        macro->hidden_next = hidden_macros;
        hidden_macros = macro;
    }
    if (expand_macros(&body, 1))
        while (expand_macros(&body, 3)) {
        }
    macro->state = 2;
    if (expansion_too_long()) {
        // The expansion is dropped and the name stays, so that the levels
        // above it do not walk it again.
        pptoken_free_list(body);
        name->no_expand = 1;
        return KEPT;
    }
    *last = splice_expansion(link, body, mode == 0, end_kept);
    return EXPANDED;
}

}  // namespace macro_expansion

using namespace macro_expansion;

PpToken *copy_tokens(const PpToken *list, PpToken *tail) {
    PpToken *head = nullptr;
    PpToken **link = &head;
    for (const PpToken *token = list; token; token = token->next) {
        if (token->kind == PP_EOL)
            continue;
        PpToken *copy = pptoken_new();
        *copy = *token;
        copy->next = nullptr;
        note_tokens_made(1);
        *link = copy;
        link = &copy->next;
    }
    *link = tail;
    return head;
}

void splice_tokens(PpToken **link, PpToken *list) {
    splice_list(link, list);
}

void reset_hidden_macros() {
    MacroDef *macro = hidden_macros;
    while (macro) {
        MacroDef *next = macro->hidden_next;
        macro->state = 0;
        macro->hidden_next = nullptr;
        macro = next;
    }
    hidden_macros = nullptr;
}

int expand_macros(PpToken **link, int mode) {
    if (mode == 0) {
        reset_hidden_macros();
        depth_reported = false;
        size_reported = false;
        bytes_made = 0;
        walk_steps = 0;
    }
    int replaced = 0;
    expansion_depth++;
    while (PpToken *token = *link) {
        walk_steps++;
        if (token->kind != TOK_IDENT) {
            link = &token->next;
            continue;
        }
        if (int code = may_name_builtin(token) ? builtin_macro_code(token) : 0) {
            if (is_defined_name(token))
                note_defined_operand(token);
            PpToken *result = expand_builtin(link, code, mode);
            note_tokens_made(1);
            bytes_made += result->length;
            replaced = 1;
            link = &result->next;
            continue;
        }
        MacroDef *macro = find_macro(token);
        if (!macro || token->no_expand) {
            link = &token->next;
            continue;
        }
        if (expansion_depth > EXPANSION_DEPTH_LIMIT && !depth_reported) {
            depth_reported = true;
            report("macro expansion too deep");
        }
        bool too_long = expansion_too_long();
        if ((macro->state & mode) || expansion_depth > EXPANSION_DEPTH_LIMIT || too_long) {
            token->no_expand = 1;
            link = &token->next;
            continue;
        }
        PpToken *last = nullptr;
        bool end_kept = false;
        ExpandResult result = expand_one(link, macro, mode, &last, &end_kept);
        if (result == KEPT) {
            link = &token->next;
            continue;
        }
        if (result == STOPPED)
            break;
        replaced = 1;
        if (mode == 0)
            reset_hidden_macros();
        if (last && !end_kept && opens_call(last, mode)) {
            // The expansion ends in a function-like name and the text goes
            // on with `(`: the walk takes up that name again, so that
            // `CAT(A,B)(x)` calls the AB that CAT pasted.
            while (*link != last)
                link = &(*link)->next;
        } else if (last) {
            link = &last->next;
        }
    }
    expansion_depth--;
    return replaced;
}
