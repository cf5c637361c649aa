// Files of blank-separated tokens: an -i entry that names a regular file
// holds further entries, one or more a line, `#` starting a comment.
#include <cstring>

#include "driver/options.h"

namespace {

constexpr size_t TOKEN_LINE_SIZE = 10240;            // line buffer of the reader
constexpr size_t TOKEN_LINE_LIMIT = TOKEN_LINE_SIZE - 2;  // longest line accepted

bool is_blank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// Finds the next token of `text` at or behind `cursor`.  Returns null when
// the line has no more tokens (its end, or a `#` at the start of a token);
// otherwise the token's first character, with *end set behind it.  A quoted
// token runs to the same quote, which may be missing.
const char *next_token_text(const char *cursor, const char **end) {
    while (is_blank(*cursor))
        cursor++;
    if (*cursor == '\0' || *cursor == '#')
        return nullptr;
    const char *token = cursor;
    if (*cursor == '"' || *cursor == '\'') {
        const char *close = std::strchr(cursor + 1, *cursor);
        *end = close ? close + 1 : cursor + std::strlen(cursor);
    } else {
        while (*cursor != '\0' && !is_blank(*cursor))
            cursor++;
        *end = cursor;
    }
    return token;
}

// A message with its parameters, in storage of its own.
const char *make_message(const char *format, const char *name, int number, char quote,
                         const char *text) {
    size_t length = std::strlen(format) + (name ? std::strlen(name) : 0) +
                    (text ? std::strlen(text) : 0) + 16;
    char *message = static_cast<char *>(checked_alloc(static_cast<unsigned>(length), nullptr));
    if (text != nullptr)
        std::snprintf(message, length, format, quote, text);
    else if (number != 0)
        std::snprintf(message, length, format, number, name);
    else
        std::snprintf(message, length, format, name);
    return message;
}

// Reads one line of the file into `line` (TOKEN_LINE_SIZE bytes), without
// its line end; a carriage return in front of the line feed is dropped.
// Returns the length of the line, or -1 at the end of the file.  A line over
// the limit sets *too_long; only its first part is kept.
long read_line(FILE *file, char *line, bool *too_long) {
    size_t length = 0;
    int c, last = 0;
    while ((c = std::getc(file)) != EOF && c != '\n') {
        if (length <= TOKEN_LINE_LIMIT)
            line[length] = static_cast<char>(c);
        length++;
        last = c;
    }
    if (c == EOF && length == 0)
        return -1;
    if (last == '\r')
        length--;
    *too_long = length > TOKEN_LINE_LIMIT;
    if (*too_long)
        length = TOKEN_LINE_LIMIT;
    line[length] = '\0';
    return static_cast<long>(length);
}

}  // namespace

const char *read_token_file(const char *name, int *count, char ***vector) {
    FILE *file = std::fopen(name, "r");
    if (file == nullptr) {
        // Both separators are accepted in the name.
        size_t length = std::strlen(name);
        char *path = static_cast<char *>(checked_alloc(static_cast<unsigned>(length + 1), nullptr));
        for (size_t i = 0; i <= length; i++)
            path[i] = name[i] == '\\' ? '/' : name[i];
        file = std::fopen(path, "r");
        std::free(path);
        if (file == nullptr)
            return make_message("can't open file %s", name, 0, 0, nullptr);
    }

    // First pass: keep every line that holds a token, count the tokens.
    char *line = static_cast<char *>(checked_alloc(TOKEN_LINE_SIZE, nullptr));
    char *kept = nullptr;          // kept lines, each closed by a null
    size_t kept_size = 0, kept_capacity = 0;
    int tokens = 0;
    int line_number = 0;
    bool too_long = false;
    long length;
    while ((length = read_line(file, line, &too_long)) >= 0) {
        line_number++;
        if (too_long) {
            std::fclose(file);
            std::free(line);
            std::free(kept);
            return make_message("line %d too long in file %s", name, line_number, 0, nullptr);
        }
        length = static_cast<long>(std::strlen(line));   // a null byte ends the text
        int line_tokens = 0;
        const char *end;
        for (const char *cursor = line; (cursor = next_token_text(cursor, &end)) != nullptr;
             cursor = end)
            line_tokens++;
        if (line_tokens == 0)
            continue;
        tokens += line_tokens;
        size_t needed = kept_size + static_cast<size_t>(length) + 1;
        if (needed > kept_capacity) {
            kept_capacity = needed * 2;
            char *grown = static_cast<char *>(std::realloc(kept, kept_capacity));
            if (grown == nullptr) {
                std::fputs("no memory\n", stderr);
                std::exit(1);
            }
            kept = grown;
        }
        std::memcpy(kept + kept_size, line, static_cast<size_t>(length) + 1);
        kept_size = needed;
    }
    std::fclose(file);
    std::free(line);
    if (tokens == 0) {
        std::free(kept);
        return make_message("no command found in %s", name, 0, 0, nullptr);
    }

    // Second pass: copy each token, without its quotes.
    char **result = static_cast<char **>(
        checked_alloc(static_cast<unsigned>((static_cast<size_t>(tokens) + 1) * sizeof(char *)), nullptr));
    int stored = 0;
    for (size_t offset = 0; offset < kept_size; offset += std::strlen(kept + offset) + 1) {
        const char *text = kept + offset;
        const char *end;
        for (const char *cursor = text; (cursor = next_token_text(cursor, &end)) != nullptr;
             cursor = end) {
            const char *start = cursor;
            const char *stop = end;
            if (*cursor == '"' || *cursor == '\'') {
                if (stop == cursor + 1 || stop[-1] != *cursor) {
                    const char *message = make_message("unmatched %c in: %s", nullptr, 0, *cursor, text);
                    std::free(kept);
                    return message;
                }
                start++;
                stop--;
            }
            char *copy = static_cast<char *>(
                checked_alloc(static_cast<unsigned>(stop - start + 1), nullptr));
            std::memcpy(copy, start, static_cast<size_t>(stop - start));
            result[stored++] = copy;
        }
    }
    std::free(kept);
    result[stored] = nullptr;
    *count = stored;
    *vector = result;
    return nullptr;
}
