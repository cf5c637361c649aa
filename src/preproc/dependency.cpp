// The make dependency line of -md: every file opened, once, wrapped before
// it would pass column 78.  The driver writes the target in front and the
// final line end.
#include <cstdio>
#include <cstring>

#include "driver/options.h"
#include "preproc/source.h"
#include "preproc/source_io.h"

namespace {

// What follows the last `\` or `/` of `name`.
const char *base_name(const char *name) {
    const char *base = name;
    for (const char *p = name; *p; ++p)
        if (*p == '\\' || *p == '/') base = p + 1;
    return base;
}

}  // namespace

void write_dependency(const char *name) {
    // Names are compared before -xp cuts them, so two headers of one base
    // name in two directories are both written.
    if (source_opened_before(name)) return;
    const char *text = opt_xp ? base_name(name) : name;
    int64_t length = static_cast<int64_t>(std::strlen(text));
    int64_t column = static_cast<int64_t>(opt_md) + length + 1;
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
    opt_md = column > INT32_MAX ? INT32_MAX : static_cast<int32_t>(column);
}
