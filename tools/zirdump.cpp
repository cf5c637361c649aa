// Prints an intermediate file as text, one record per line.
//
//   zirdump [-a] FILE
//
// -a puts the byte offset of each record in front of it.  FILE "-" is the
// standard input.  The status is 0 for a well-formed file and 1 for a
// malformed or unreadable one.
#include <cstdio>
#include <cstring>
#include <vector>

#include "zir/zir_dump.h"

namespace {

int usage() {
    std::fputs("usage: zirdump [-a] FILE\n", stderr);
    return 1;
}

// Reads the whole stream; false on a read error.
bool read_all(FILE *in, std::vector<uint8_t> *bytes) {
    uint8_t buffer[65536];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, in)) > 0)
        bytes->insert(bytes->end(), buffer, buffer + n);
    return !std::ferror(in);
}

}  // namespace

int main(int argc, char **argv) {
    bool show_offsets = false;
    const char *name = nullptr;
    for (int i = 1; i < argc; i++) {
        if (std::strcmp(argv[i], "-a") == 0) show_offsets = true;
        else if (!name) name = argv[i];
        else return usage();
    }
    if (!name) return usage();

    bool from_stdin = std::strcmp(name, "-") == 0;
    FILE *in = from_stdin ? stdin : std::fopen(name, "rb");
    if (!in) {
        std::fprintf(stderr, "zirdump: cannot open %s\n", name);
        return 1;
    }
    std::vector<uint8_t> bytes;
    bool ok = read_all(in, &bytes);
    if (!from_stdin) std::fclose(in);
    if (!ok) {
        std::fprintf(stderr, "zirdump: cannot read %s\n", name);
        return 1;
    }
    int status = dump_intermediate(bytes.data(), bytes.size(), from_stdin ? "<stdin>" : name,
                                   show_offsets, stdout, stderr);
    if (std::fflush(stdout) != 0) return 1;
    return status;
}
