// Diagnostics about the source text: one line per message, positioned on the
// last token delivered to the parser, in the default or the -ge format.
#include <cstring>

#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/source.h"

int32_t error_count;
uint32_t last_report_line;
int32_t last_report_column;

namespace {

// The C type a conversion of a message format takes its value as.
enum ArgumentKind { ARG_INT, ARG_LONG, ARG_TEXT, ARG_POINTER };

// The values of one message, handed out in order; a value that the format
// wants beyond those given is 0, or the empty text.
struct Arguments {
    intptr_t value[2];
    int count;
    int used;
    intptr_t next() { return used < count ? value[used++] : 0; }
};

// Writes one conversion `spec` with `value`, preceded by the `stars` values
// of a `*` width or precision.
template <typename T>
void write_value(FILE *stream, const char *spec, int stars, const int *star_value, T value) {
    if (stars == 0)
        std::fprintf(stream, spec, value);
    else if (stars == 1)
        std::fprintf(stream, spec, star_value[0], value);
    else
        std::fprintf(stream, spec, star_value[0], star_value[1], value);
}

// Writes one conversion `spec` (from `%` through its letter) with its
// values.  A `*` width or precision takes an int of its own.
void write_conversion(FILE *stream, const char *spec, ArgumentKind kind, int stars,
                      Arguments &arguments) {
    int star_value[2] = {0, 0};
    for (int i = 0; i < stars; i++)
        star_value[i] = static_cast<int>(arguments.next());
    intptr_t raw = arguments.next();
    switch (kind) {
    case ARG_INT:
        write_value(stream, spec, stars, star_value, static_cast<int>(raw));
        break;
    case ARG_LONG:
        write_value(stream, spec, stars, star_value, static_cast<long>(raw));
        break;
    case ARG_TEXT: {
        const char *value = reinterpret_cast<const char *>(raw);
        if (value == nullptr)
            value = "";
        // A precision caps what is read; a negative one means none.
        write_value(stream, spec, stars, star_value, value);
        break;
    }
    case ARG_POINTER:
        write_value(stream, spec, stars, star_value, reinterpret_cast<const void *>(raw));
        break;
    }
}

// Writes a message format with its values, each passed with the type its
// conversion wants.  Conversions this system's messages never use (reals,
// %n) are written as they stand.
void write_message(FILE *stream, const char *format, Arguments &arguments) {
    const char *literal = format;
    const char *cursor = format;
    while (*cursor != '\0') {
        if (*cursor != '%') {
            cursor++;
            continue;
        }
        std::fwrite(literal, 1, static_cast<size_t>(cursor - literal), stream);
        const char *start = cursor++;
        if (*cursor == '%') {
            std::fputc('%', stream);
            literal = ++cursor;
            continue;
        }
        int stars = 0;
        bool is_long = false;
        while (std::strchr("-+ #0", *cursor) && *cursor != '\0')
            cursor++;
        while ((*cursor >= '0' && *cursor <= '9') || *cursor == '*' || *cursor == '.') {
            if (*cursor == '*')
                stars++;
            cursor++;
        }
        while (*cursor == 'h' || *cursor == 'l') {
            is_long = is_long || *cursor == 'l';
            cursor++;
        }
        char letter = *cursor;
        int kind = -1;
        if (letter != '\0' && std::strchr("dicouxX", letter))
            kind = is_long ? ARG_LONG : ARG_INT;
        else if (letter == 's')
            kind = ARG_TEXT;
        else if (letter == 'p')
            kind = ARG_POINTER;
        if (kind < 0 || stars > 2 || cursor - start > 30) {
            // Not a conversion that takes one of our values: text as it stands.
            literal = start;
            if (*cursor != '\0')
                cursor++;
            continue;
        }
        cursor++;
        char spec[40];
        size_t length = static_cast<size_t>(cursor - start);
        std::memcpy(spec, start, length);
        spec[length] = '\0';
        // Length modifiers are ours to choose: int or long as decided above.
        size_t out = 1;
        for (size_t i = 1; i < length - 1; i++)
            if (spec[i] != 'h' && spec[i] != 'l')
                spec[out++] = spec[i];
        if (kind == ARG_LONG)
            spec[out++] = 'l';
        spec[out++] = letter;
        spec[out] = '\0';
        write_conversion(stream, spec, static_cast<ArgumentKind>(kind), stars, arguments);
        literal = cursor;
    }
    std::fwrite(literal, 1, static_cast<size_t>(cursor - literal), stream);
}

}  // namespace

void report_no_position(const char *name, bool is_error) {
    if (name == nullptr)
        name = "";
    if (opt_ge)
        std::fprintf(stderr, "%s:1:1:%s ", name, is_error ? "" : " warning:");
    else
        std::fprintf(stderr, "#%s %s %s:0 ", is_error ? "error" : "warning", program_name, name);
}

void report(const char *format, intptr_t first, intptr_t second) {
    bool is_error = true;
    if (format[0] == 'W' && format[1] >= '0' && format[1] <= '9') {
        if (opt_ck >= 0) {
            if (opt_ck < format[1] - '0')
                return;
            is_error = false;
        }
        format += 2;
    }
    FILE *stream = error_stream ? error_stream : stderr;

    if (current_source == nullptr) {
        report_no_position(source_name, is_error);
    } else {
        uint32_t line;
        int32_t column;
        int32_t length = token_position(&line, &column);
        const char *file = current_file_name();
        const char *kind = is_error ? "error" : "warning";
        const char *tag = is_error ? "" : " warning:";
        // Once an error has been counted, a second message at the same
        // place adds nothing: it is most likely a consequence of the first.
        if (column < 0) {
            if (last_token != nullptr && error_count != 0 && line == last_report_line)
                return;
            if (opt_ge)
                std::fprintf(stream, "%s:%ld:1:%s ", file, static_cast<long>(line), tag);
            else
                std::fprintf(stream, "#%s %s %s:%ld ", kind, program_name, file,
                             static_cast<long>(line));
        } else {
            if (error_count != 0 && line == last_report_line && column == last_report_column)
                return;
            if (opt_ge) {
                std::fprintf(stream, "%s:%ld:%d:%s ", file, static_cast<long>(line),
                             static_cast<int>(column), tag);
            } else {
                std::fprintf(stream, "#%s %s %s:%ld(%d", kind, program_name, file,
                             static_cast<long>(line), static_cast<int>(column));
                if (length > 1)
                    std::fprintf(stream, "+%d) ", static_cast<int>(length));
                else
                    std::fputs(") ", stream);
            }
            last_report_column = column;
        }
        last_report_line = line;
    }

    Arguments arguments = {{first, second}, first != 0 ? 2 : 1, 0};
    if (first == 0)
        arguments.value[0] = second;
    write_message(stream, format, arguments);
    std::fputc('\n', stream);
    if (is_error)
        error_count++;
}
