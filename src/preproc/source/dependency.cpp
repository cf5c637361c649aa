// The make dependency line of -md: the target, then every file opened,
// once, wrapped before it would pass column 78.  The driver writes the final
// line end.
#include <cstdio>
#include <cstring>

#include "driver/options.h"
#include "preproc/source.h"
#include "preproc/source_io.h"

namespace {

// The column the line has reached.  A line without a target counts from 1,
// so it wraps one column earlier than one with a target.
int64_t dependency_column = 1;

// What follows the last `\` or `/` of `name`.
const char *base_name(const char *name) {
    const char *base = name;
    for (const char *p = name; *p; ++p)
        if (*p == '\\' || *p == '/') base = p + 1;
    return base;
}

}  // namespace

void start_dependency_line(const char *target) {
    if (!target) {
        dependency_column = 1;
        return;
    }
    std::fprintf(output_stream, "%s:", target);
    dependency_column = static_cast<int64_t>(std::strlen(target)) + 1;
}

void write_dependency(const char *name) {
    // Names are compared before -xp cuts them, so two headers of one base
    // name in two directories are both written.
    if (source_opened_before(name)) return;
    const char *text = opt_xp ? base_name(name) : name;
    int64_t length = static_cast<int64_t>(std::strlen(text));
    int64_t column = dependency_column + length + 1;
    if (column > DEPENDENCY_COLUMN_LIMIT) {
        std::fputs(" \\\n", output_stream);
        column = length + 1;
    }
    if (std::strchr(text, ' ')) {
        std::fprintf(output_stream, " \"%s\"", text);
        column += 2;
    } else {
        std::fprintf(output_stream, " %s", text);
    }
    dependency_column = column;
}
