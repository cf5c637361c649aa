// The -e writer: preprocessed text with its white space as it stood, or with
// the hidden -cr the compact form with line control.  With -md the same loop
// runs only for the files it opens.
#include <cstring>

#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"

namespace {

// The output goes through a buffer of its own: the text is written token by
// token, and a stream call per token would cost more than the scanning.
class TextOut {
public:
    explicit TextOut(FILE *stream) : stream_(stream) {}
    ~TextOut() { flush(); }

    void put(const char *text, size_t length) {
        if (length > sizeof buffer_ - used_) {
            flush();
            if (length > sizeof buffer_) {
                std::fwrite(text, 1, length, stream_);
                return;
            }
        }
        std::memcpy(buffer_ + used_, text, length);
        used_ += length;
    }
    void put(char c) {
        if (used_ == sizeof buffer_)
            flush();
        buffer_[used_++] = c;
    }
    void put(const char *text) { put(text, std::strlen(text)); }
    void flush() {
        if (used_)
            std::fwrite(buffer_, 1, used_, stream_);
        used_ = 0;
    }

private:
    FILE *stream_;
    size_t used_ = 0;
    char buffer_[1 << 16];
};

// Past this column a line is broken in front of the next token.
constexpr long BREAK_COLUMN = 2048;

struct Writer {
    TextOut out;
    bool line_control_due;
    bool in_asm_output = false;
    const char *last_file = nullptr;   // compared as a pointer
    long next_line = 0;
    long column = 0;

    explicit Writer(FILE *stream) : out(stream), line_control_due(opt_cr != 0) {}

    // #line N "name", with each backslash of the name doubled so that the
    // name reads back as the string it was.
    void write_line_control(long line, const char *file) {
        char number[24];
        std::snprintf(number, sizeof number, "%ld", line);
        out.put("#line ");
        out.put(number);
        out.put(" \"");
        for (const char *c = file; *c; c++) {
            if (*c == '\\')
                out.put('\\');
            out.put(*c);
        }
        out.put("\"\n");
    }

    // With -cr the white space in front of a token shrinks to the blanks and
    // tabs at its start, or to one blank: a comment becomes a blank.
    void write_compact_space(const PpToken *token) {
        unsigned blanks = 0;
        while (blanks < token->space_length &&
               (token->space[blanks] == ' ' || token->space[blanks] == '\t'))
            blanks++;
        if (blanks) {
            out.put(token->space, blanks);
            column += blanks;
        } else {
            out.put(' ');
            column++;
        }
    }

    void write_line(PpToken *list);
};

void Writer::write_line(PpToken *list) {
    if (asm_mode && !in_asm_output) {
        out.put("#asm\n");
        in_asm_output = true;
        column = 0;
    } else if (in_asm_output && !asm_mode) {
        out.put("#endasm\n");
        in_asm_output = false;
        column = 0;
    }
    for (const PpToken *token = list; token; token = token->next) {
        if (line_control_due) {
            const char *file = current_file_name();
            if (file != last_file || static_cast<long>(token->line) != next_line) {
                next_line = token->line;
                write_line_control(next_line, file);
                last_file = file;
                line_control_due = false;
            }
        }
        // The end of a line of assembly text has lost its PP_EOL kind.  Its
        // white space holds the line end, which -cr would drop; there it
        // still ends the line, so that assembly lines stay apart.
        bool line_end = token->kind == PP_EOL ||
                        (opt_cr && token->kind == TOK_ASM && !token->next && token->length == 0);
        if (!line_end && column > BREAK_COLUMN) {
            out.put('\n');
            column = 0;
        }
        if (line_end) {
            if (opt_cr) {
                out.put('\n');
                next_line++;
                line_control_due = true;
            }
            column = 0;
        }
        if (token->space_length) {
            if (!opt_cr) {
                out.put(token->space, token->space_length);
                column += token->space_length;
            } else if (!line_end) {
                write_compact_space(token);
            }
        }
        if (token->length) {
            out.put(token->text, token->length);
            column += token->length;
        }
    }
}

}  // namespace

void write_preprocessed() {
    Writer writer(output_stream);
    while (char *line = read_logical_line(0)) {
        PpToken *list = dispatch_line(scan_line(line));
        if (!list)
            continue;
        if (!opt_md)
            writer.write_line(list);
        pptoken_free_list(list);
    }
    if (writer.in_asm_output)
        writer.out.put("#endasm\n");
    writer.out.flush();
}
