// The token stream: pulls the token lists of logical lines from the line
// dispatcher and hands the parser one Token at a time, with keywords
// recognised, constants converted, adjacent strings joined and the lines of
// an assembly block merged into one text each.  A ring of three slots lets
// the parser give up to three tokens back.  The stream can read a private
// list for the expression of a directive, and can record the tokens of an
// inline function's body and replay them at each call.
#include <cstdlib>
#include <cstring>

#include "decl/symbol.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "preproc/directives.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"
#include "stmt/stmt_node.h"

Token *last_token;
int32_t token_mode;
SavedToken **record_tail;
SavedToken *replay_node;
TokenRing token_ring;

namespace {

constexpr int RING_SIZE = TOKEN_RING_SIZE;
Token (&ring)[RING_SIZE] = token_ring.slots;
int &ring_cursor = token_ring.cursor;
int &unget_count = token_ring.given_back;

// The list of the line being read, as the dispatcher returned it, and the
// cursor in it (or in a switched-to list).
PpToken *line_tokens;
PpToken *cur_pp;
// A node of line_tokens that the walk has reached, null before the first:
// the last one that read_token took, which is the line's closing PP_EOL once
// the line is read to its end.  The walk goes from node to node in order
// and nothing else changes the list, so once this node has no successor it
// is the end of the list, which then goes back to the free list without a
// walk of its own.
PpToken *line_reached;

// State saved by token_source_switch while a directive's list is read: the
// stream's own, the head of the expression pool's free list, and the state
// of the function around the directive.
struct SwitchSave {
    int ring_cursor;
    int unget_count;
    Token *last_token;
    uint8_t recovery_target;
    int32_t token_mode;
    PpToken *cur_pp;
    Token ring[RING_SIZE];
    ExprNode *expr_free_list;
    FuncState func_state;
};
SwitchSave saved;
bool switched;

// A heap copy of `length` bytes of text with a closing null; the receiver
// of a TOK_ASM token frees it.
char *copy_text(const char *text, unsigned length) {
    char *copy = static_cast<char *>(checked_alloc(length + 1, nullptr));
    if (length != 0)
        std::memcpy(copy, text, length);
    copy[length] = '\0';
    return copy;
}

// The tokens of an assembly line, from `first` to the end of the list, as
// one text: the spelling of the first, then white space and spelling of
// each further one.  The white space of the last token is the line end, so
// the text ends in it.  Leaves cur_pp on the last of them.  The length is
// held in 16 bits; a longer text, which no source line can give, is cut.
void merge_asm_line(Token *t, PpToken *first) {
    size_t total = first->length;
    PpToken *last = first;
    for (PpToken *pp = first->next; pp != nullptr && pp->kind == TOK_ASM; pp = pp->next) {
        total += size_t(pp->space_length) + pp->length;
        last = pp;
    }
    if (total > 0xFFFF)
        total = 0xFFFF;
    char *text = static_cast<char *>(checked_alloc(unsigned(total) + 1, nullptr));
    size_t used = 0;
    auto append = [&](const char *bytes, size_t length) {
        if (length > total - used)
            length = total - used;
        if (length != 0)
            std::memcpy(text + used, bytes, length);
        used += length;
    };
    append(first->text, first->length);
    for (PpToken *pp = first->next; pp != nullptr && pp != last->next; pp = pp->next) {
        append(pp->space, pp->space_length);
        append(pp->text, pp->length);
    }
    text[used] = '\0';
    t->code = TOK_ASM;
    t->length = static_cast<uint16_t>(used);
    t->value.text = text;
    cur_pp = last;
}

// Appends a copy of `t` at record_tail, for the body of an inline function.
void record_token(const Token *t) {
    unsigned extra = 0;
    if (t->code == TOK_ASM)
        extra = t->length + 1u;
    else if (t->code == TOK_STRING && t->value.string != nullptr)
        extra = unsigned(sizeof(StringConst)) + t->value.string->length;
    auto *node = static_cast<SavedToken *>(checked_alloc(unsigned(sizeof(SavedToken)) + extra, nullptr));
    node->file = current_file_name();
    node->token = *t;
    char *behind = reinterpret_cast<char *>(node + 1);
    if (t->code == TOK_ASM) {
        std::memcpy(behind, t->value.text, t->length);
        behind[t->length] = '\0';
        node->token.value.text = behind;
    } else if (extra != 0) {
        auto *copy = reinterpret_cast<StringConst *>(behind);
        std::memcpy(copy, t->value.string, sizeof(StringConst) + t->value.string->length);
        node->token.value.string = copy;
    }
    if (record_tail != nullptr) {
        *record_tail = node;
        record_tail = &node->next;
    }
}

// Replays the next saved token into `t`; false at the end of the list.
// The receiver gets its own TOK_ASM text, and a string is pooled anew, in
// the section in force now.
bool replay_token(Token *t) {
    SavedToken *node = record_tail != nullptr ? *record_tail : nullptr;
    if (node == nullptr) {
        replay_node = nullptr;
        return false;
    }
    replay_node = node;
    record_tail = &node->next;
    *t = node->token;
    if (t->code == TOK_ASM)
        t->value.text = copy_text(node->token.value.text, node->token.length);
    else if (t->code == TOK_STRING && node->token.value.string != nullptr)
        t->value.string = pool_string(node->token.value.string->bytes, node->token.value.string->length);
    return true;
}

// End of input: repeats for as long as it is asked for.
Token *end_of_input(Token *t) {
    t->code = TOK_EOF;
    t->line = current_line();
    t->column = 0;
    t->length = 0;
    t->value.integer = 0;
    last_token = t;
    return t;
}

// Gives the tokens of the line read last back and reads the next line
// through the preprocessor; false at the end of input.  Apart from
// read_next_token, whose every call would otherwise pay for what this
// needs once a line.
[[gnu::noinline]] bool fetch_line() {
    if (line_reached != nullptr && line_reached->next == nullptr)
        pptoken_free_range(line_tokens, line_reached);
    else
        pptoken_free_list(line_tokens);
    line_tokens = nullptr;
    line_reached = nullptr;
    char *line = read_logical_line(0);
    if (line == nullptr)
        return false;
    PpToken *scanned = scan_line(line);
    PpToken *list = scanned != nullptr ? dispatch_line(scanned) : nullptr;
    line_tokens = list;
    line_reached = nullptr;
    cur_pp = list;
    return true;
}

} // namespace

bool replay_token_place(uint32_t *line, const char **file) {
    if (token_mode != 2 || replay_node == nullptr)
        return false;
    *line = replay_node->token.line;
    *file = replay_node->file;
    return true;
}

namespace {

// The kinds that a token of the list does not simply hand on: a line end,
// a string (which waits for more strings), constants to convert, a bad
// character, assembly text.  All are below 64.
constexpr uint64_t SPECIAL_KINDS = uint64_t(1) << PP_EOL | uint64_t(1) << TOK_STRING |
                                   uint64_t(1) << PP_NUMBER | uint64_t(1) << PP_CHAR |
                                   uint64_t(1) << PP_BAD | uint64_t(1) << TOK_ASM;

bool is_special_kind(uint16_t kind) {
    return kind < 64 && (SPECIAL_KINDS >> kind & 1) != 0;
}

Token *read_token(Token *t);

// A name of the line becomes its keyword, or an identifier with its
// interned name; the lookup was made once, when the name was cut.
inline void name_token(Token *t, PpToken *pp) {
    NameEntry *entry = pptoken_name(pp);
    if (entry->keyword != 0) {
        t->code = entry->keyword;
        t->value.integer = 0;
    } else {
        t->code = TOK_IDENT;
        t->value.name = entry_name(entry);
    }
}

} // namespace

// Most tokens are a name already looked up or an operator of a line already
// read: they are handed on here, by a path that calls nothing and so saves
// no registers; the rest go to read_token.  The path does not move
// line_reached: every line ends in a PP_EOL, which read_token passes, so the
// end of the line is still reached there.
Token *read_next_token() {
    Token *t = &ring[ring_cursor];
    ring_cursor = ring_cursor == RING_SIZE - 1 ? 0 : ring_cursor + 1;
    PpToken *pp = cur_pp;
    if (token_mode != 0 || pp == nullptr || is_special_kind(pp->kind) ||
        (pp->kind == TOK_IDENT && pp->entry == nullptr))
        return read_token(t);
    t->line = pp->line;
    t->column = pp->column;
    t->length = pp->length;
    if (pp->kind == TOK_IDENT) {
        name_token(t, pp);
    } else {
        t->code = pp->kind;
        t->value.integer = 0;
    }
    cur_pp = pp->next;
    last_token = t;
    return t;
}

namespace {

// Any token: the whole walk, with line reading, joining of strings,
// conversion of constants, recording and replay.
[[gnu::noinline]] Token *read_token(Token *t) {
    if (token_mode == 2) {
        if (replay_token(t)) {
            last_token = t;
            return t;
        }
        return end_of_input(t);
    }

    t->code = TOK_NONE;
    for (;;) {
        last_token = nullptr;
        if (cur_pp == nullptr) {
            // A switched-to list is the whole input: no line is read while
            // a directive's expression is parsed.
            if (switched || !fetch_line())
                return end_of_input(t);     // a string still waiting is lost
            continue;
        }

        PpToken *pp = cur_pp;
        if (!switched)
            line_reached = pp;
        if (pp->kind == PP_EOL) {
            // A `//` made by pasting in a macro comments out the rest.
            if (pp->length == 2 && pp->text[0] == '/' && pp->text[1] == '/')
                cur_pp = nullptr;
            else
                cur_pp = pp->next;
            continue;
        }

        if (t->code != TOK_NONE) {
            // A string is waiting for adjacent strings, across line ends
            // and directives.  Anything else ends it, unread.
            if (pp->kind == TOK_STRING) {
                StringConst *first = t->value.string;
                convert_string(t, pp);
                concat_strings(t, first);
                cur_pp = pp->next;
                continue;
            }
            break;
        }

        t->line = pp->line;
        t->column = pp->column;
        t->length = pp->length;
        switch (pp->kind) {
        case TOK_STRING:
            convert_string(t, pp);
            cur_pp = pp->next;
            continue;
        case TOK_IDENT:
            name_token(t, pp);
            break;
        case PP_NUMBER:
            convert_number(t, pp);
            break;
        case PP_CHAR:
            convert_char(t, pp);
            break;
        case PP_BAD:
            // The character is dropped; the token behind it follows at once.
            report("bad character %c", static_cast<unsigned char>(pp->text[0]));
            cur_pp = pp->next;
            continue;
        case TOK_ASM:
            merge_asm_line(t, pp);
            break;
        default:
            t->code = pp->kind;
            t->value.integer = 0;
            break;
        }
        cur_pp = cur_pp->next;
        last_token = t;
        break;
    }

    if (token_mode == 1)
        record_token(t);
    return t;
}

} // namespace

void token_overflow() {
    // A parser that gives back more than it took: no source can cause this,
    // so the run ends here, as after any error, with status 1.
    report("token overflow");
    std::exit(finish_errors(error_count != 0 ? error_count : 1));
}

int token_source_switch(PpToken *list) {
    if (list != nullptr) {
        // One save area: a switch inside a switch only moves the cursor.
        if (!switched) {
            saved.ring_cursor = ring_cursor;
            saved.unget_count = unget_count;
            saved.last_token = last_token;
            saved.recovery_target = recovery_target;
            saved.token_mode = token_mode;
            saved.cur_pp = cur_pp;
            std::memcpy(saved.ring, ring, sizeof ring);
            saved.expr_free_list = expr_free_list;
            saved.func_state = func_state;
            switched = true;
        }
        ring_cursor = 0;
        last_token = nullptr;
        cur_pp = list;
        unget_count = 0;
        recovery_target = 0;
        token_mode = 0;
        return 0;
    }

    uint16_t code = TOK_EOF;
    if (unget_count != 0)
        code = ring[ring_cursor].code;
    else if (cur_pp != nullptr)
        code = cur_pp->kind;
    if (switched) {
        ring_cursor = saved.ring_cursor;
        unget_count = saved.unget_count;
        last_token = saved.last_token;
        recovery_target = saved.recovery_target;
        token_mode = saved.token_mode;
        // The switch happens while a line is being fetched, so this is
        // null in practice: the fetch sets the cursor from its own result.
        cur_pp = saved.cur_pp;
        std::memcpy(ring, saved.ring, sizeof ring);
        // The nodes of the directive's expression are given back, and with
        // them what the function's state learnt from them: the directive is
        // no code, so its operators, calls and assignments count for
        // nothing, and no known value may point into the nodes given back.
        expr_free_list = saved.expr_free_list;
        func_state = saved.func_state;
        switched = false;
    }
    return code & 0xFF;
}
