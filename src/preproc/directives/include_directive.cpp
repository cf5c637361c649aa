// #include in its three forms: "name", <name>, and a macro that gives one
// of the two.
#include <cstring>

#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"

namespace {

// A file that includes itself, directly or through others, would nest until
// the host runs out of streams.  The open files are limited to what a stream
// table of the original host holds, and one more level gets the message of
// a file that cannot be opened.
constexpr int MAX_OPEN_SOURCES = 500;

// The limit of open files bounds the depth but not the work: a file that
// includes itself twice doubles it at each level, some 2^500 inclusions.
// The files opened by #include in one run are counted, and past this many
// further #include lines are not carried out, with one error.  A real unit
// opens a few thousand files at most, counting each header as often as it
// is included; each opening costs a few system calls, and in a file that
// includes itself each level at the limit of open files costs an error
// message too, so the limit is also low enough for such a file to end
// within a few seconds.
constexpr uint32_t INCLUDE_LIMIT = 100000;
uint32_t include_count;
bool include_limit_reported;

bool include_budget_spent() {
    if (include_count < INCLUDE_LIMIT)
        return false;
    if (!include_limit_reported) {
        include_limit_reported = true;
        report("too many included files");
    }
    return true;
}

bool include_too_deep() {
    int depth = 1;
    for (const IncludeFrame *frame = include_stack; frame; frame = frame->link)
        if (++depth >= MAX_OPEN_SOURCES)
            return true;
    return false;
}

// The file name of a <...> form: the spellings of all tokens up to the next
// '>', joined without the white space between them.  Null after
// "missing '>' in #include".
const PpToken *find_closing_angle(const PpToken *open, size_t *length) {
    size_t total = 0;
    for (const PpToken *token = open->next; token && token->kind != PP_EOL; token = token->next) {
        if (token->kind == TOK_GT) {
            *length = total;
            return token;
        }
        total += token->length;
    }
    report("missing '>' in #include");
    return nullptr;
}

}  // namespace

void dir_include(PpToken **link) {
    PpToken *first = *link;
    if (!first || (first->kind != TOK_STRING && first->kind != TOK_LT)) {
        expand_macros(link, 0);
        first = *link;
    }
    if (!first || (first->kind != TOK_STRING && first->kind != TOK_LT)) {
        report("bad #include syntax");
        return;
    }
    // No escape sequence is looked at in a file name.
    size_t length = 0;
    const PpToken *close = nullptr;
    if (first->kind == TOK_STRING) {
        length = first->length >= 2 ? first->length - 2u : 0;
    } else {
        close = find_closing_angle(first, &length);
        if (!close)
            return;
    }
    if (length == 0) {
        report("missing file name in #include");
        return;
    }
    char *name = name_buffer;
    if (length + 1 > NAME_BUFFER_SIZE)
        name = static_cast<char *>(checked_alloc(static_cast<unsigned>(length + 1), nullptr));
    if (first->kind == TOK_STRING) {
        std::memcpy(name, first->text + 1, length);
    } else {
        char *write = name;
        for (const PpToken *token = first->next; token != close; token = token->next) {
            std::memcpy(write, token->text, token->length);
            write += token->length;
        }
    }
    name[length] = 0;
    // Text behind the name is not looked at.  The new file starts with the
    // next line that is read.
    if (!include_budget_spent()) {
        if (include_too_deep())
            report("can't open %s", name);
        else
            include_count += static_cast<uint32_t>(open_source(name, 1));
    }
    if (name != name_buffer)
        std::free(name);
}
