// The output and error streams of a run, the exit status, and the end of a
// run by the interrupt signal.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "driver/options.h"
#include "preproc/source.h"

const char *removable_output;

namespace {

// Only a regular file is removed when a run fails or ends by interrupt: a
// run writing to a device or a pipe (-o /dev/null, +e /dev/stderr) must
// never delete it.
bool is_regular_file(const char *name) {
    struct stat info;
    return stat(name, &info) == 0 && S_ISREG(info.st_mode);
}

}  // namespace

int open_streams(const char *name) {
    if (error_name != nullptr) {
        error_stream = std::fopen(error_name, "w");
        if (error_stream == nullptr) {
            report_no_position(name, true);
            std::fprintf(stderr, "can't create %s\n", error_name);
            return 0;
        }
    } else {
        error_stream = stderr;
    }

    if (output_name == nullptr || opt_md) {
        if (!opt_e) {
            report_no_position(name, true);
            std::fputs("missing output file name\n", stderr);
            return 0;
        }
        output_stream = stdout;
        // The -o name is the make target; no file of that name is made.
        if (opt_md)
            start_dependency_line(output_name);
        return 1;
    }

    // Preprocessed text is text; the intermediate file is binary.
    output_stream = std::fopen(output_name, opt_e ? "w" : "wb");
    if (output_stream == nullptr) {
        report_no_position(name, true);
        std::fprintf(stderr, "can't create %s\n", output_name);
        return 0;
    }
    if (is_regular_file(output_name))
        removable_output = output_name;
    return 1;
}

int finish_errors(int32_t count) {
    if (error_name != nullptr) {
        if (error_stream != nullptr && error_stream != stderr)
            std::fclose(error_stream);
        error_stream = stderr;
        // An error file is kept only when it holds errors.
        if (count != 0)
            std::fprintf(stderr, "errors reported in %s\n", error_name);
        else if (is_regular_file(error_name))
            std::remove(error_name);
    }
    return count != 0 ? 1 : 0;
}

void on_interrupt() {
    if (output_name != nullptr) {
        if (output_stream != nullptr && output_stream != stdout)
            std::fclose(output_stream);
        output_stream = nullptr;
        if (removable_output != nullptr)
            std::remove(removable_output);
    }
    std::exit(2);
}
