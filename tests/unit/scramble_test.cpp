// Scrambled source files: decoding, checked against hand-computed bytes, and
// the lines of text put through a scrambler.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "driver/options.h"
#include "file_text.h"
#include "preproc/source.h"

namespace {

// The inverse of decoding: the key is rotated left, the byte is combined
// with both halves of the key, and the scrambled byte becomes the low half.
std::string scramble(const std::string &plain, uint16_t key) {
    std::string out = "\xFE" + std::string(1, char(key >> 8)) + char(key & 0xFF) + "zzzzzz";
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
    std::string path = new_scratch_file("zcppc-scramble");

    void TearDown() override { std::remove(path.c_str()); }

    // Every line of a file holding `bytes`, read with a buffer of `size`.
    std::vector<std::string> lines_of(const std::string &bytes, int32_t size = 256) {
        write_text(path, bytes);
        EXPECT_EQ(open_source(path.c_str(), 0), 1);
        std::vector<std::string> lines;
        std::vector<char> buffer(size);
        while (char *end = read_source_line(buffer.data(), size))
            lines.emplace_back(buffer.data(), end - buffer.data());
        current_source = nullptr;
        return lines;
    }
};

TEST_F(ScrambleTest, Lines) {
    struct Case {
        std::string file;
        int32_t size;
        std::vector<std::string> lines;
    };
    const Case cases[] = {
        // Hand-computed: the rotation carries the top bit of the key round
        // to bit 0, and bytes 3 to 8 have no effect.
        {std::string("\xFE\x12\x34\0\0\0\0\0\0\x0D\x58", 11), 256, {"A\n"}},
        {std::string("\xFE\x80\x01zzzzzz\x59\xB8", 11), 256, {"Z\n"}},
        // Header only, shorter than the header, and the mark with a line end.
        {std::string("\xFE\x12\x34\0\0\0\0\0\0", 9), 256, {}},
        {"\xFE\x12", 256, {}},
        {"\xFE\n", 256, {}},
        // Only the first byte of a file can mark the scrambled form.
        {"a\n\xFE b\n", 256, {"a\n", "\xFE b\n"}},
        // The decoded text: an unfinished last line is lost, a CR in front
        // of the line end dropped, a NUL read as a blank.
        {scramble("a\nbc", 0x5A5A), 256, {"a\n"}},
        {scramble("a\r\nb\n", 0x5A5A), 256, {"a\n", "b\n"}},
        {scramble(std::string("a\0b\n", 4), 0x5A5A), 256, {"a b\n"}},
        {scramble("abcdef\n", 0x5A5A), 4, {"abc", "def", "\n"}},
        {scramble("\xFEx\n", 0xFFFF), 256, {"\xFEx\n"}},
    };
    for (const Case &c : cases)
        EXPECT_EQ(lines_of(c.file, c.size), c.lines) << c.file;
    EXPECT_EQ(error_count, 0);
}

}  // namespace
