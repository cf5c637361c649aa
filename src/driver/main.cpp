// Entry point of zcppc: reads the command line, opens the streams, the
// source file and the forced headers, runs the preprocessor alone or the
// whole translation, and gives the exit status.
#include <unistd.h>

#include <csignal>
#include <cstring>

#include "decl/type.h"
#include "driver/options.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"

namespace {

// The interrupt signal removes the output, as on_interrupt does, but only
// with calls that are safe inside a signal handler: the interrupted code may
// hold the locks of the stream functions.
void interrupt_signal(int) {
    if (removable_output != nullptr)
        unlink(removable_output);
    _exit(2);
}

// The variable of the include path: "QV" over the first two characters of
// the program name, the rest upper-cased: QVPPC for zcppc.
void path_variable_name(char *name, size_t size) {
    size_t length = std::strlen(program_name);
    std::snprintf(name, size, "QV%s", length > 2 ? program_name + 2 : "");
    for (char *c = name + 2; *c != '\0'; c++)
        if (*c >= 'a' && *c <= 'z')
            *c = static_cast<char>(*c - 'a' + 'A');
}

// The source's own directory is searched after everything else, if a slot
// is left for it.  The separator in front of the base name becomes the
// host's own, `/`, so later messages and __FILE__ show that.
void add_source_directory(char *name) {
    char *separator = const_cast<char *>(last_path_separator(name));
    if (separator == nullptr || include_list.count <= 0)
        return;
    size_t length = static_cast<size_t>(separator - name);
    char *directory = static_cast<char *>(checked_alloc(static_cast<unsigned>(length + 1), nullptr));
    std::memcpy(directory, name, length);
    directory[length] = '\0';
    include_list.slot[--include_list.count] = directory;
    *separator = '/';
}

}  // namespace

int main(int argc, char **argv) {
    std::signal(SIGINT, interrupt_signal);

    include_list.count = FLAG_LIST_SLOTS;
    define_list.count = FLAG_LIST_SLOTS;
    header_list.count = FLAG_LIST_SLOTS;
    int32_t warning_level = 0;

    parse_command_line(&argc, &argv, &warning_level);
    if (argc == 0)
        return 0;

    char variable[16];
    path_variable_name(variable, sizeof variable);
    append_path_list(&include_list, variable);

    if (opt_md)
        opt_e = 1;
    if (!open_streams(argv[0]))
        return 1;

    // Plain char under -u: the type layer reads opt_u where a specifier
    // list names plain char.
    derive_implied_options(warning_level);
    if (opt_m != 0)
        set_model(opt_m);

    // A copy of the operand, since its separator may be rewritten.
    size_t name_length = std::strlen(argv[0]);
    char *name = static_cast<char *>(checked_alloc(static_cast<unsigned>(name_length + 1), nullptr));
    std::memcpy(name, argv[0], name_length + 1);
    add_source_directory(name);
    source_name = name;

    include_capacity = FLAG_LIST_SLOTS;
    include_search = expand_dir_list(&include_list, &include_capacity);

    // No source is open while the -d macros are defined; the last -d of the
    // command line comes first.
    line_override = static_cast<uint32_t>(-1);
    line_override_active = 1;
    for (int32_t i = define_list.count; i < FLAG_LIST_SLOTS; i++)
        define_from_option(define_list.slot[i]);
    line_override_active = 0;

    if (!open_source(source_name, 0))
        return finish_errors(1);
    // Each header stacks on the one opened before, so they are read in
    // command-line order, all before the source.
    for (int32_t i = header_list.count; i < FLAG_LIST_SLOTS; i++)
        if (!open_source(header_list.slot[i], 1))
            return finish_errors(1);

    init_spaces();
    if (opt_e)
        write_preprocessed();
    else
        translate_unit();

    if (opt_md)
        std::fputc('\n', output_stream);
    else if (output_name != nullptr)
        std::fclose(output_stream);
    return finish_errors(error_count);
}
