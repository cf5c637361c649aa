// Wildcard operands.  A shell on this host has usually expanded them
// already; a pattern that reaches zcppc quoted is matched here against the
// entries of its directory.
#include <dirent.h>
#include <fnmatch.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "driver/options.h"

namespace {

// Capacity of the operand vector; it doubles whenever the vector fills and
// keeps its size for later calls.
int operand_capacity = 256;

bool has_wildcard(const char *text) {
    return std::strpbrk(text, "*?") != nullptr;
}

// Appends `name` to the vector, growing it by doubling.
void push_operand(char ***vector, int *count, char *name) {
    if (*count == operand_capacity) {
        void *grown = nullptr;
        if (operand_capacity <= (1 << 28))
            grown = std::realloc(*vector, (static_cast<size_t>(operand_capacity) * 2 + 1) * sizeof(char *));
        if (grown == nullptr) {
            std::fprintf(stderr, "%s: too many expanded filenames\n", program_name);
            std::exit(1);
        }
        operand_capacity *= 2;
        *vector = static_cast<char **>(grown);
    }
    (*vector)[(*count)++] = name;
}

// The names of the directory of `pattern` that its last component matches,
// in sorted order.  Found names are lower-cased; the directory prefix is
// kept as written.
void expand_pattern(const char *pattern, char ***vector, int *count) {
    const char *separator = last_path_separator(pattern);
    size_t prefix_length = separator ? static_cast<size_t>(separator - pattern) + 1 : 0;
    const char *base = pattern + prefix_length;

    // Both separators name a directory; the system wants `/`.
    std::string directory(pattern, prefix_length);
    std::replace(directory.begin(), directory.end(), '\\', '/');
    if (directory.empty())
        directory = ".";
    DIR *dir = opendir(directory.c_str());
    if (dir == nullptr)
        return;
    std::vector<std::string> found;
    while (const dirent *entry = readdir(dir)) {
        const char *name = entry->d_name;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0)
            continue;
        if (fnmatch(base, name, FNM_NOESCAPE) == 0)
            found.emplace_back(name);
    }
    closedir(dir);
    std::sort(found.begin(), found.end());
    for (const std::string &name : found) {
        char *path = static_cast<char *>(
            checked_alloc(static_cast<unsigned>(prefix_length + name.size() + 1), nullptr));
        std::memcpy(path, pattern, prefix_length);
        for (size_t i = 0; i < name.size(); i++) {
            char c = name[i];
            path[prefix_length + i] = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
        }
        path[prefix_length + name.size()] = '\0';
        push_operand(vector, count, path);
    }
}

}  // namespace

void expand_wildcards(int *argc, char ***argv) {
    char **vector = static_cast<char **>(
        std::malloc((static_cast<size_t>(operand_capacity) + 1) * sizeof(char *)));
    if (vector == nullptr) {
        std::fprintf(stderr, "%s: too many expanded filenames\n", program_name);
        std::exit(1);
    }
    int count = 0;
    bool wildcard_seen = false;
    for (int i = 0; i < *argc; i++) {
        char *operand = (*argv)[i];
        if (!has_wildcard(operand)) {
            push_operand(&vector, &count, operand);
            continue;
        }
        wildcard_seen = true;
        expand_pattern(operand, &vector, &count);
    }
    if (wildcard_seen) {
        vector[count] = nullptr;
        *argv = vector;
        *argc = count;
    } else {
        std::free(vector);
    }
}
