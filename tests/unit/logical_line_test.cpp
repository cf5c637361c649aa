// Logical lines: further lines read behind the first until the line buffer
// is full, and text kept for the lines in the buffer.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "driver/options.h"
#include "file_text.h"
#include "message_capture.h"
#include "preproc/source.h"

namespace {

class LogicalLineTest : public ::testing::Test {
protected:
    std::string path = new_scratch_file("zcppc-logical");
    Messages messages;

    void TearDown() override {
        while (read_logical_line(0)) {
        }
        std::remove(path.c_str());
    }

    void open_text(const std::string &text) {
        write_text(path, text);
        input_ended = 0;
        ASSERT_EQ(open_source(path.c_str(), 0), 1);
    }
};

// A macro call that spans lines reads them behind the first; what was read
// stays intact.  A line that does not fit is cut at the end of the buffer,
// as a physical line too long for it is, and then nothing more is read.
TEST_F(LogicalLineTest, FurtherLinesUntilTheBufferIsFull) {
    std::string text;
    for (int i = 0; i < 40; ++i)
        text += std::string(999, 'a' + i % 26) + "\n";
    open_text(text);
    std::vector<std::string> lines = {read_logical_line(0)};
    while (char *line = read_logical_line(1))
        lines.push_back(line);
    ASSERT_EQ(lines.size(), 21u);
    for (size_t i = 0; i < 20; ++i)
        ASSERT_EQ(lines[i], std::string(999, 'a' + i) + "\n") << i;
    // 20 lines of 1000 bytes, each with its null, leave 459 bytes of text.
    EXPECT_EQ(lines[20], std::string(458, 'u') + "\n");
    EXPECT_TRUE(messages.take().ends_with(" line too long\n"));
    EXPECT_EQ(read_logical_line(0), std::string(541, 'u') + "\n");
}

// Kept text lives as long as the lines in the buffer, also across further
// lines, and goes when a new line is read.
TEST_F(LogicalLineTest, KeptText) {
    open_text("a\nb\nc\n");
    read_logical_line(0);
    char *first = keep_text("hello", 5);
    EXPECT_EQ(std::memcmp(first, "hello\0\0\0", 8), 0);
    EXPECT_STREQ(keep_text("x", 2), "x");   // callers may pass the closing null
    std::vector<char *> copies;
    for (int i = 0; i < 2000; ++i)
        copies.push_back(keep_text("0123456789", 10));
    std::string big(50000, 'k');
    EXPECT_EQ(std::string(keep_text(big.data(), big.size())), big);
    read_logical_line(1);
    EXPECT_STREQ(first, "hello");
    for (char *copy : copies)
        ASSERT_STREQ(copy, "0123456789");
    read_logical_line(0);
    EXPECT_STREQ(keep_text("abc", 3), "abc");
}

}  // namespace
