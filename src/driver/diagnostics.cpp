// Diagnostics about the source text: one line per message, positioned on the
// last token delivered to the parser, in the default or the -ge format.
#include <cstdarg>
#include <cstring>

#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/source.h"

int32_t error_count;
uint32_t last_report_line;
int32_t last_report_column;

void report_no_position(const char *name, bool is_error) {
    if (name == nullptr)
        name = "";
    if (opt_ge)
        std::fprintf(stderr, "%s:1:1:%s ", name, is_error ? "" : " warning:");
    else
        std::fprintf(stderr, "#%s %s %s:0 ", is_error ? "error" : "warning", program_name, name);
}

void report(const char *format, ...) {
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

    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stream, format, arguments);
    va_end(arguments);
    std::fputc('\n', stream);
    if (is_error)
        error_count++;
}
