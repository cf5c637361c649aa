// Scrambled source files: decoding, checked against hand-computed bytes and
// by the round trip through a scrambler, and their place in the file stack.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

#include "driver/options.h"
#include "file_text.h"
#include "preproc/source.h"

namespace {

// The inverse of decoding: the key is rotated left, the byte is combined
// with both halves of the key, and the scrambled byte becomes the low half.
std::string scramble(const std::string &plain, uint16_t key,
                     const std::string &filler = std::string(6, '\0')) {
    std::string out = "\xFE";
    out += static_cast<char>(key >> 8);
    out += static_cast<char>(key & 0xFF);
    out += filler;
    for (unsigned char p : plain) {
        key = static_cast<uint16_t>(key << 1 | key >> 15);
        auto c = static_cast<uint8_t>(p ^ (key & 0xFF) ^ (key >> 8));
        key = static_cast<uint16_t>((key & 0xFF00) | c);
        out += static_cast<char>(c);
    }
    return out;
}

class ScrambleTest : public ::testing::Test {
protected:
    std::string directory;
    FILE *errors = nullptr;

    void SetUp() override {
        char pattern[] = "/tmp/zcppc-scramble-XXXXXX";
        directory = mkdtemp(pattern);
        errors = std::tmpfile();
        error_stream = errors;
        error_count = 0;
        current_source = nullptr;
        opt_e = opt_l = opt_md = 0;
    }

    void TearDown() override {
        char line[64];
        while (read_source_line(line, sizeof line)) {
        }
        current_source = nullptr;
        error_stream = nullptr;
        std::fclose(errors);
        std::string remove = "rm -rf " + directory;
        ASSERT_EQ(std::system(remove.c_str()), 0);
    }

    std::string write_file(const std::string &name, const std::string &bytes) {
        std::string path = directory + "/" + name;
        write_text(path, bytes);
        return path;
    }

    static std::vector<std::string> all_lines(int32_t size = 256) {
        std::vector<std::string> lines;
        std::vector<char> buffer(size);
        while (char *end = read_source_line(buffer.data(), size))
            lines.emplace_back(buffer.data(), end - buffer.data());
        return lines;
    }
};

TEST_F(ScrambleTest, KnownBytes) {
    struct Case {
        const char *title;
        std::string file;
        std::vector<std::string> lines;
    };
    const Case cases[] = {
        {"key 0x1234", std::string("\xFE\x12\x34\0\0\0\0\0\0\x0D\x58", 11), {"A\n"}},
        // The rotation carries the top bit of the key round to bit 0.
        {"key 0x8001", std::string("\xFE\x80\x01\0\0\0\0\0\0\x59\xB8", 11), {"Z\n"}},
        {"bytes 3 to 8 have no effect", std::string("\xFE\x12\x34zzzzzz\x0D\x58", 11), {"A\n"}},
        {"header only", std::string("\xFE\x12\x34\0\0\0\0\0\0", 9), {}},
        {"shorter than the header", std::string("\xFE\x12", 2), {}},
        {"just the mark and a line end", std::string("\xFE\n", 2), {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.title);
        ASSERT_EQ(open_source(write_file("k.c", c.file).c_str(), 0), 1);
        EXPECT_EQ(all_lines(), c.lines);
        EXPECT_EQ(error_count, 0);
        current_source = nullptr;
    }
}

TEST_F(ScrambleTest, RoundTrip) {
    std::mt19937 random(7);
    std::string long_text;
    for (int i = 0; i < 300; ++i) long_text += "int v" + std::to_string(i) + " = " + std::to_string(i * 7) + ";\n";
    std::string all_bytes;
    for (int i = 1; i < 256; ++i)
        if (i != '\n' && i != '\r') all_bytes += static_cast<char>(i);
    const std::string texts[] = {"int x;\n", "a\n\nb\n", long_text, all_bytes + "\n"};
    for (const std::string &text : texts) {
        for (uint16_t key : {0x0000, 0xFFFF, 0x1234, 0x8000, static_cast<int>(random() & 0xFFFF)}) {
            SCOPED_TRACE(key);
            std::string filler;
            for (int i = 0; i < 6; ++i) filler += static_cast<char>(random());
            ASSERT_EQ(open_source(write_file("r.c", scramble(text, key, filler)).c_str(), 0), 1);
            std::string decoded;
            for (const std::string &line : all_lines()) decoded += line;
            EXPECT_EQ(decoded, text);
            current_source = nullptr;
        }
    }
}

TEST_F(ScrambleTest, LinesOfTheScrambledText) {
    struct Case {
        const char *title;
        std::string plain;
        int32_t size;
        std::vector<std::string> lines;
    };
    const Case cases[] = {
        {"unfinished last line is lost", "a\nbc", 256, {"a\n"}},
        {"CR in front of LF dropped", "a\r\nb\n", 256, {"a\n", "b\n"}},
        {"NUL read as blank", std::string("a\0b\n", 4), 256, {"a b\n"}},
        {"long line cut at size - 1", "abcdef\n", 4, {"abc", "def", "\n"}},
        {"254 at the start of the text is plain text", "\xFEx\n", 256, {"\xFEx\n"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.title);
        ASSERT_EQ(open_source(write_file("l.c", scramble(c.plain, 0x5A5A)).c_str(), 0), 1);
        EXPECT_EQ(all_lines(c.size), c.lines);
        EXPECT_EQ(current_source->line, c.lines.size());
        current_source = nullptr;
    }
}

TEST_F(ScrambleTest, ScrambledHeaderInPlainSource) {
    std::string main_path = write_file("main.c", "first\n\xFE not a mark\nlast\n");
    std::string header_path = write_file("h.h", scramble("secret\n", 0xBEEF));
    SourceFile **first_record = source_list_tail;
    ASSERT_EQ(open_source(main_path.c_str(), 0), 1);
    char line[64];
    ASSERT_NE(read_source_line(line, sizeof line), nullptr);
    EXPECT_STREQ(line, "first\n");
    ASSERT_EQ(open_source(header_path.c_str(), 1), 1);
    // Only the first line of a file can start the scrambled form.
    EXPECT_EQ(all_lines(), (std::vector<std::string>{"secret\n", "\xFE not a mark\n", "last\n"}));
    EXPECT_EQ((*first_record)->scramble, nullptr);
    EXPECT_NE((*first_record)->next->scramble, nullptr);
}

}  // namespace
