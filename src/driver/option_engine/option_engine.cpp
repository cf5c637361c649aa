// The flag parser: a table of descriptor texts drives the matching of every
// argument, so that the engine knows nothing of what a flag means.
#include <cstdarg>
#include <cstring>

#include "driver/options.h"

char program_name[12];

namespace {

const char MAKER_LINE[] = "ZEPHON Software";
const char VERSION[] = "V4.8.12.1";
const char VERSION_DATE[] = "18 Dec 2008";
const char SYSTEM_WORD[] = "Win32";

struct FlagDescriptor {
    const char *text;
    void *variable;
};

bool ends_flag_pattern(char c) {
    return c == ' ' || c == '\t' || c == '\0';
}

// The help listing: banner, usage line, then every descriptor that is not
// hidden.  Ends the run.
[[noreturn]] void print_usage(const char *title, const char *operand,
                              const FlagDescriptor *table, int count) {
    print_banner(title);
    std::fprintf(stderr, "\nusage: %s [options] %s\n", program_name, operand);
    for (int i = 0; i < count; i++) {
        const char *text = table[i].text;
        if (text[0] == '<')
            continue;
        std::fprintf(stderr, "    %s%s\n", text[0] == '+' ? "" : "-", text);
    }
    std::exit(1);
}

[[noreturn]] void print_version(const char *title) {
    print_banner(title);
    std::fprintf(stderr, " - %s - %s\n", VERSION_DATE, SYSTEM_WORD);
    std::exit(1);
}

[[noreturn]] void unknown_option(const char *text) {
    std::fprintf(stderr, "%s: unknown option %s%s\n", program_name,
                 text[0] == '+' ? "" : "-", text);
    std::exit(1);
}

// What a matched descriptor stores: the number when `##` was seen or no `*`
// was, otherwise the text.
struct FlagValue {
    long number;
    const char *text;
    bool has_text;
    bool force_number;
};

void store_value(void *variable, const FlagValue &value) {
    if (value.has_text && !value.force_number)
        *static_cast<const char **>(variable) = value.text;
    else
        *static_cast<int32_t *>(variable) = static_cast<int32_t>(value.number);
}

void store_in_list(void *variable, const FlagValue &value) {
    PathList *list = static_cast<PathList *>(variable);
    if (--list->count < 0) {
        std::fputs("argument list overflow\n", stderr);
        std::exit(1);
    }
    if (value.has_text && !value.force_number)
        list->slot[list->count] = value.text;
    else
        list->slot[list->count] = reinterpret_cast<const char *>(static_cast<intptr_t>(value.number));
}

// Matches one descriptor against `text`.  Returns where the rest of the
// argument starts, or null when the descriptor does not fit.  A `#` or `*`
// whose value stands in the next argument moves *argc and *argv on.
const char *match_descriptor(const FlagDescriptor &descriptor, const char *text,
                             int *argc, char ***argv) {
    const char *spec = descriptor.text;
    if (*spec == '<')
        spec++;
    const char *cursor = text;
    FlagValue value = {1, nullptr, false, false};
    for (;;) {
        char c = *spec;
        if (ends_flag_pattern(c)) {
            store_value(descriptor.variable, value);
            return cursor;
        }
        spec++;
        switch (c) {
        case '#': {
            if (*cursor == '\0') {
                --*argc;
                if (*argc > 0) {
                    ++*argv;
                    cursor = **argv;
                }
            }
            const char *start = cursor;
            const char *stop = parse_long(start, &value.number, 1);
            if (*stop != '\0') {
                std::fprintf(stderr, "invalid number: %.*s\n",
                             static_cast<int>(stop - start + 1), start);
                std::exit(1);
            }
            cursor = stop;
            if (*spec == '#') {
                value.force_number = true;
                spec++;
            }
            break;
        }
        case '*':
            if (*cursor == '\0') {
                --*argc;
                if (*argc > 0) {
                    ++*argv;
                    cursor = **argv;
                }
            }
            value.text = cursor;
            value.has_text = true;
            cursor += std::strlen(cursor);
            break;
        case '?':
            value.number = static_cast<unsigned char>(*cursor);
            if (*cursor != '\0')
                cursor++;
            break;
        case '>':
            store_in_list(descriptor.variable, value);
            return cursor;
        default:
            if (*cursor != c)
                return nullptr;
            cursor++;
            break;
        }
    }
}

}  // namespace

void print_banner(const char *title) {
    std::fputs(MAKER_LINE, stderr);
    if (title[0] != ' ')
        std::fputc(' ', stderr);
    std::fprintf(stderr, "%s %s", title, VERSION);
}

void set_program_name(const char *path) {
    if (path == nullptr)
        path = "";
    const char *separator = last_path_separator(path);
    const char *base = separator ? separator + 1 : path;
    // Twelve bytes hold a name of eleven characters; a longer base name is
    // cut there.
    size_t length = 0;
    while (base[length] != '\0' && base[length] != '.' && length < sizeof program_name - 1) {
        char c = base[length];
        program_name[length] = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
        length++;
    }
    program_name[length] = '\0';
}

bool is_path_separator(char c) {
    return c == '\\' || c == '/';
}

const char *last_path_separator(const char *text) {
    const char *last = nullptr;
    for (; *text != '\0'; text++)
        if (is_path_separator(*text))
            last = text;
    return last;
}

const char *parse_long(const char *text, long *result, int base) {
    while (*text == ' ' || (*text >= '\t' && *text <= '\r'))
        text++;
    bool negative = false;
    if (*text == '+' || *text == '-')
        negative = *text++ == '-';
    bool hex_prefix = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    if (base == 16 && hex_prefix) {
        text += 2;
    } else if (base == 1) {
        if (text[0] != '0') {
            base = 10;
        } else if (hex_prefix) {
            base = 16;
            text += 2;
        } else {
            base = 8;
        }
    }
    // The value wraps modulo 2 to the 32, as on the 32-bit original.
    uint32_t value = 0;
    for (;; text++) {
        char c = *text;
        int digit;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (c >= 'a' && c <= 'z')
            digit = c - 'a' + 10;
        else if (c >= 'A' && c <= 'Z')
            digit = c - 'A' + 10;
        else
            break;
        if (digit >= base)
            break;
        value = value * static_cast<uint32_t>(base) + static_cast<uint32_t>(digit);
    }
    if (negative)
        value = 0u - value;
    *result = static_cast<int32_t>(value);
    return text;
}

void parse_flags(int *argc, char ***argv, const char *title, const char *operand, ...) {
    if (program_name[0] == '\0' && *argc > 0)
        set_program_name((*argv)[0]);

    // Gather the descriptor and variable pairs into a table.
    va_list pairs;
    va_start(pairs, operand);
    int count = 0;
    {
        va_list counting;
        va_copy(counting, pairs);
        while (va_arg(counting, const char *) != nullptr) {
            va_arg(counting, void *);
            count++;
        }
        va_end(counting);
    }
    FlagDescriptor *table = static_cast<FlagDescriptor *>(
        checked_alloc(static_cast<unsigned>((count + 1) * sizeof(FlagDescriptor)), nullptr));
    for (int i = 0; i < count; i++) {
        table[i].text = va_arg(pairs, const char *);
        table[i].variable = va_arg(pairs, void *);
    }
    va_end(pairs);

    bool option_seen = false;
    for (;;) {
        ++*argv;
        if (*argc != 0)
            --*argc;
        if (*argc == 0)
            break;
        const char *text = **argv;
        if (text[0] == '-') {
            text++;
            if (text[0] == '\0')
                break;                      // a lone minus is an operand
            if (text[0] == '-' && text[1] == '\0') {
                ++*argv;                    // `--` ends the flags
                --*argc;
                break;
            }
        } else if (text[0] != '+') {
            break;
        }
        if (std::strncmp(text, "help", 4) == 0)
            print_usage(title, operand, table, count);
        if (std::strncmp(text, "vers", 4) == 0)
            print_version(title);
        while (*text != '\0') {
            option_seen = true;
            const char *rest = nullptr;
            for (int i = 0; i < count && rest == nullptr; i++)
                rest = match_descriptor(table[i], text, argc, argv);
            if (rest == nullptr)
                unknown_option(text);
            text = rest;
        }
    }
    expand_wildcards(argc, argv);
    if (!option_seen && *argc == 0)
        print_usage(title, operand, table, count);
    std::free(table);
}
