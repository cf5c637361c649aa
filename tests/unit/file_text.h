// Whole files for tests: what a scratch file holds, and writing a file.
#pragma once

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <string>

// Everything written to `file`, read from its start.
inline std::string file_text(FILE *file) {
    std::fflush(file);
    std::rewind(file);
    std::string text;
    for (int c; (c = std::fgetc(file)) != EOF;)
        text += static_cast<char>(c);
    return text;
}

// Makes the file at `path` hold exactly `text`.
inline void write_text(const std::string &path, const std::string &text) {
    FILE *file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr) << path;
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
}

// Creates an empty scratch file named from `prefix` and gives its path.
inline std::string new_scratch_file(const char *prefix) {
    std::string pattern = std::string("/tmp/") + prefix + "-XXXXXX";
    int fd = mkstemp(pattern.data());
    EXPECT_GE(fd, 0) << pattern;
    if (fd >= 0)
        close(fd);
    return pattern;
}
