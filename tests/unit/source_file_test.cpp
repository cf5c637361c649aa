// Source files: physical lines as the buffered reader delivers them, and the
// position that messages show.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "driver/options.h"
#include "file_text.h"
#include "lexer/token.h"
#include "preproc/source.h"

extern Token *last_token;

namespace {

class SourceFileTest : public ::testing::Test {
protected:
    std::string path = new_scratch_file("zcppc-source");

    void TearDown() override {
        while (next_line() != "<end>") {
        }
        current_source = nullptr;
        std::remove(path.c_str());
    }

    void open_text(const std::string &text) {
        write_text(path, text);
        ASSERT_EQ(open_source(path.c_str(), 0), 1);
    }

    static std::string next_line(int32_t size = 256) {
        std::vector<char> line(size);
        char *end = read_source_line(line.data(), size);
        return end ? std::string(line.data(), end - line.data()) : "<end>";
    }
};

// A line longer than the caller's buffer comes in pieces of size - 1; a CR
// in front of the line end goes, also when the cut falls between the two.
TEST_F(SourceFileTest, PhysicalLineText) {
    struct Case {
        std::string file;
        int32_t size;
        std::vector<std::string> lines;
    };
    std::string big(100000, 'b');
    const Case cases[] = {
        {"a\nb", 256, {"a\n", "b"}},
        {"a\rb\r", 256, {"a\rb\r"}},
        {"a\r\r\n", 256, {"a\r\n"}},
        {"abcdefgh\n", 4, {"abc", "def", "gh\n"}},
        {"abc\r\nd\n", 4, {"abc", "\n", "d\n"}},
        {"ab\r\nd\n", 4, {"ab\n", "d\n"}},
        {"ab\rd\n", 4, {"ab\r", "d\n"}},
        {big + "\nz\n", 200000, {big + "\n", "z\n"}},
    };
    for (const Case &c : cases) {
        open_text(c.file);
        for (const std::string &expected : c.lines)
            EXPECT_EQ(next_line(c.size), expected) << c.file;
        EXPECT_EQ(next_line(c.size), "<end>");
        EXPECT_EQ(current_source->line, c.lines.size());
        current_source = nullptr;
    }
    // Many lines, so that line ends fall on every place of the read buffer.
    std::string text;
    for (int i = 0; i < 50000; ++i)
        text += "line " + std::to_string(i) + "\r\n";
    open_text(text);
    for (int i = 0; i < 50000; ++i)
        ASSERT_EQ(next_line(), "line " + std::to_string(i) + "\n");
    EXPECT_EQ(next_line(), "<end>");
}

// A message is placed at the token read last, unless that has no code; the
// mark of the first line of an assembly block is no part of the column.
TEST_F(SourceFileTest, TokenPosition) {
    open_text("a\nb\n");
    next_line();
    next_line();
    Token token = {.code = TOK_IDENT, .line = 7, .column = 0x8000 | 12, .length = 3, .value = {}};
    last_token = &token;
    uint32_t line = 0;
    int32_t column = 0;
    EXPECT_EQ(token_position(&line, &column), 3);
    EXPECT_EQ(std::pair(line, column), std::pair(7u, 12));
    token.code = 0;
    EXPECT_EQ(token_position(&line, &column), 0);
    EXPECT_EQ(std::pair(line, column), std::pair(2u, -1));
    last_token = nullptr;
}

}  // namespace
