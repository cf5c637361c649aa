// Logical lines: trigraphs, splicing, the limits of the line buffer, the
// positions of physical lines within a logical line, and kept text.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "driver/options.h"
#include "file_text.h"
#include "preproc/source.h"

namespace {

class LogicalLineTest : public ::testing::Test {
protected:
    std::string path;
    FILE *errors = nullptr;

    void SetUp() override {
        path = new_scratch_file("zcppc-logical");
        errors = std::tmpfile();
        error_stream = errors;
        error_count = 0;
        current_source = nullptr;
        in_comment = 0;
        input_ended = 0;
    }

    void TearDown() override {
        while (read_logical_line(0)) {
        }
        current_source = nullptr;
        error_stream = nullptr;
        std::fclose(errors);
        std::remove(path.c_str());
    }

    void open_text(const std::string &text) {
        write_text(path, text);
        input_ended = 0;
        ASSERT_EQ(open_source(path.c_str(), 0), 1);
    }

    std::vector<std::string> all_lines() {
        std::vector<std::string> lines;
        while (char *line = read_logical_line(0)) lines.push_back(line);
        return lines;
    }

    std::string messages() { return file_text(errors); }
};

TEST_F(LogicalLineTest, TrigraphsAndSplicing) {
    struct Case {
        const char *title;
        std::string text;
        std::vector<std::string> lines;
    };
    const Case cases[] = {
        {"empty lines stay", "\n\n", {"\n", "\n"}},
        {"trigraph at the very end of the file", "a?\?)", {"a]\n"}},
        {"several joins", "a\\\nb\\\nc\nd\n", {"abc\n", "d\n"}},
        {"CR LF after backslash joins", "a\\\r\nb\r\n", {"ab\n"}},
        {"lone splice at the end gives nothing", "a\n\\\n", {"a\n"}},
        {"splice of an empty line", "\\\nx\n", {"x\n"}},
        {"trigraphs before joining, once", "?\?/?\?/\nx\n", {"\\x\n"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.title);
        open_text(c.text);
        EXPECT_EQ(all_lines(), c.lines);
        EXPECT_EQ(error_count, 0);
    }
}

TEST_F(LogicalLineTest, LogicalLineLimit) {
    struct Case {
        const char *title;
        std::string text;
        bool too_long;
    };
    std::string trigraphs;
    for (int i = 0; i < 2000; ++i) trigraphs += "?\?=";
    const Case cases[] = {
        {"16384 with its line end passes", std::string(16383, 'x') + "\n", false},
        {"one more is too long", std::string(16384, 'x') + "\n", true},
        {"trigraphs count by their replacement", trigraphs + std::string(12000, 'x') + "\n", false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.title);
        error_count = 0;
        open_text(c.text);
        char *line = read_logical_line(0);
        ASSERT_NE(line, nullptr);
        EXPECT_EQ(error_count, c.too_long ? 1 : 0);
        // The text stays and is used.
        EXPECT_EQ(line[std::strlen(line) - 1], '\n');
        EXPECT_EQ(read_logical_line(0), nullptr);
    }
    std::string text = messages();
    int logical = 0, any = 0;
    for (size_t at = 0; (at = text.find("logical line too long\n", at)) != std::string::npos; ++at)
        ++logical;
    for (size_t at = 0; (at = text.find("too long", at)) != std::string::npos; ++at) ++any;
    EXPECT_EQ(logical, 1);
    EXPECT_EQ(any, 1);
}

TEST_F(LogicalLineTest, OverlongPhysicalLine) {
    // The buffer holds 20479 bytes: the first 20478 of the line and an added
    // line end; the rest of the physical line becomes the next line.
    std::string text(30000, 'a');
    text[20477] = 'b';
    text[20478] = 'c';
    open_text(text + "\nz\n");
    char *line = read_logical_line(0);
    ASSERT_NE(line, nullptr);
    EXPECT_EQ(std::strlen(line), 20479u);
    EXPECT_EQ(line[20477], 'b');
    EXPECT_EQ(line[20478], '\n');
    EXPECT_EQ(error_count, 1);
    EXPECT_NE(messages().find(":1 line too long\n"), std::string::npos);
    line = read_logical_line(0);
    ASSERT_NE(line, nullptr);
    EXPECT_EQ(line[0], 'c');
    EXPECT_EQ(std::strlen(line), 30000u - 20478u + 1u);
    EXPECT_EQ(current_line(), 2u);
    EXPECT_EQ(error_count, 1);
    EXPECT_STREQ(read_logical_line(0), "z\n");
    EXPECT_EQ(current_line(), 3u);
    EXPECT_EQ(read_logical_line(0), nullptr);
}

TEST_F(LogicalLineTest, BufferFullOfJoinedLines) {
    // Joined lines that fill the buffer: "line too long", not "logical line
    // too long", and no byte is written past the buffer.
    std::string text;
    for (int i = 0; i < 300; ++i) text += std::string(99, 'q') + "\\\n";
    open_text(text + "end\n");
    int lines = 0;
    while (read_logical_line(0)) ++lines;
    EXPECT_EQ(lines, 2);
    EXPECT_EQ(error_count, 1);
    EXPECT_NE(messages().find(" line too long\n"), std::string::npos);
    EXPECT_EQ(messages().find("logical line"), std::string::npos);
}

TEST_F(LogicalLineTest, FurtherLineStaysBehindTheFirst) {
    open_text("first\nsecond\nthird\n");
    char *first = read_logical_line(0);
    ASSERT_EQ(first, line_buffer);
    char *second = read_logical_line(1);
    ASSERT_NE(second, nullptr);
    EXPECT_STREQ(first, "first\n");
    EXPECT_STREQ(second, "second\n");
    EXPECT_EQ(second, first + 7);
    EXPECT_EQ(read_logical_line(0), line_buffer);
    EXPECT_STREQ(line_buffer, "third\n");
    EXPECT_EQ(read_logical_line(1), nullptr);
    EXPECT_EQ(read_logical_line(0), nullptr);   // the end stays the end
}

TEST_F(LogicalLineTest, FurtherLinesUntilTheBufferIsFull) {
    std::string text;
    for (int i = 0; i < 40; ++i) text += std::string(999, 'a' + i % 26) + "\n";
    open_text(text);
    ASSERT_NE(read_logical_line(0), nullptr);
    int more = 0;
    char *line;
    while ((line = read_logical_line(1)) != nullptr) {
        ++more;
        ASSERT_LT(line, line_buffer + LINE_BUFFER_SIZE);
        ASSERT_LE(line + std::strlen(line), line_buffer + LINE_BUFFER_SIZE - 1);
    }
    EXPECT_GE(more, 19);
    EXPECT_EQ(line_cursor, line_buffer + LINE_BUFFER_SIZE);
    // The earlier lines are intact.
    EXPECT_EQ(std::string(line_buffer, 1000), std::string(999, 'a') + "\n");
    EXPECT_EQ(std::string(line_buffer + 1001, 1000), std::string(999, 'b') + "\n");
}

TEST_F(LogicalLineTest, PhysicalPositions) {
    open_text("ab\\\ncde\\\nf\n");
    char *line = read_logical_line(0);
    ASSERT_STREQ(line, "abcdef\n");
    ASSERT_EQ(splice_count, 3);
    EXPECT_EQ(splice_offsets[0], 0);
    EXPECT_EQ(splice_offsets[1], 2);
    EXPECT_EQ(splice_offsets[2], 5);
    EXPECT_EQ(current_line(), 3u);
    struct Case {
        uint32_t column, line, physical_column;
    };
    const Case cases[] = {
        {0, 1, 0}, {1, 1, 1}, {2, 2, 0}, {4, 2, 2}, {5, 3, 0}, {6, 3, 1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.column);
        uint32_t line_number = current_line();
        uint32_t column = c.column;
        physical_position(&line_number, &column);
        EXPECT_EQ(line_number, c.line);
        EXPECT_EQ(column, c.physical_column);
    }

    // A line of one physical line maps to itself.
    open_text("xyz\n");
    read_logical_line(0);
    uint32_t line_number = 1, column = 2;
    physical_position(&line_number, &column);
    EXPECT_EQ(line_number, 1u);
    EXPECT_EQ(column, 2u);
}

TEST_F(LogicalLineTest, TrigraphsShiftOffsetsOfLaterLines) {
    // Columns count in the text after replacement.
    open_text("?\?=a\\\nb\n");
    ASSERT_STREQ(read_logical_line(0), "#ab\n");
    ASSERT_EQ(splice_count, 2);
    EXPECT_EQ(splice_offsets[1], 2);
}

TEST_F(LogicalLineTest, OnlyTheFirst128PhysicalLinesAreRecorded) {
    std::string text;
    for (int i = 0; i < 200; ++i) text += "x\\\n";
    open_text(text + "y\n");
    char *line = read_logical_line(0);
    ASSERT_NE(line, nullptr);
    EXPECT_EQ(std::strlen(line), 202u);
    EXPECT_EQ(splice_count, SPLICE_LIMIT);
    EXPECT_EQ(splice_offsets[127], 127);
    EXPECT_EQ(error_count, 0);
    // Column 190 is on physical line 191, but only 128 starts are known:
    // the line comes out too high by the 72 lines that were not recorded.
    uint32_t line_number = current_line(), column = 190;
    EXPECT_EQ(line_number, 201u);
    physical_position(&line_number, &column);
    EXPECT_EQ(line_number, 201u);
    EXPECT_EQ(column, 190u - 127u);
}

TEST_F(LogicalLineTest, SpliceAcrossTheEndOfAnInclude) {
    // The end of an included file is invisible: a splice on its last line
    // joins with the next line of the includer.
    open_text("after\n");
    std::string header = path + ".h";
    write_text(header, "inc\\\n");
    ASSERT_EQ(open_source(header.c_str(), 1), 1);
    EXPECT_STREQ(read_logical_line(0), "incafter\n");
    std::remove(header.c_str());
}

TEST_F(LogicalLineTest, KeptText) {
    open_text("a\nb\n");
    read_logical_line(0);
    char *first = keep_text("hello", 5);
    EXPECT_EQ(std::memcmp(first, "hello\0\0\0", 8), 0);
    char *with_null = keep_text("x", 2);   // callers may pass the closing null
    EXPECT_STREQ(with_null, "x");
    std::vector<char *> copies;
    for (int i = 0; i < 2000; ++i) copies.push_back(keep_text("0123456789", 10));
    std::string big(50000, 'k');
    char *large = keep_text(big.data(), big.size());
    EXPECT_EQ(std::string(large), big);
    // Everything kept for this line is still intact.
    EXPECT_EQ(std::memcmp(first, "hello", 6), 0);
    for (char *copy : copies) ASSERT_STREQ(copy, "0123456789");
    // A further line for the same source line keeps them too.
    read_logical_line(1);
    EXPECT_STREQ(first, "hello");
    // A new line frees them, and later copies work as before.
    read_logical_line(0);
    char *again = keep_text("abc", 3);
    EXPECT_STREQ(again, "abc");
}

}  // namespace
