// Diagnostics: both message formats, warning levels, the typing of message
// parameters, the suppression of repeats at one position, and the count.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/source.h"

extern Token *last_token;

namespace {

class Report : public testing::Test {
protected:
    alignas(SourceFile) unsigned char storage[sizeof(SourceFile) + 16];
    SourceFile *file = reinterpret_cast<SourceFile *>(storage);
    Token token = {};
    FILE *saved_error_stream = error_stream;
    SourceFile *saved_source = current_source;

    void SetUp() override {
        std::memset(storage, 0, sizeof storage);
        std::strcpy(file->name, "a.c");
        file->line = 12;
        current_source = file;
        source_name = "src.c";
        opt_ck = 1;
        opt_ge = 0;
        error_count = 0;
        last_report_line = 0;
        last_report_column = 0;
        last_token = nullptr;
        set_program_name("zcppc");
    }
    void TearDown() override {
        current_source = saved_source;
        error_stream = saved_error_stream;
        last_token = nullptr;
        opt_ck = 0;
        opt_ge = 0;
        error_count = 0;
    }

    // What one report writes to the error stream, and to standard error.
    std::string error_text, stderr_text;
    void run(const char *format) {
        error_stream = std::tmpfile();
        ASSERT_NE(error_stream, nullptr);
        testing::internal::CaptureStderr();
        // The format is the message itself, warning prefix and all.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
        report(format);
#pragma GCC diagnostic pop
        stderr_text = testing::internal::GetCapturedStderr();
        std::fflush(error_stream);
        std::rewind(error_stream);
        error_text.clear();
        char buffer[512];
        size_t n;
        while ((n = std::fread(buffer, 1, sizeof buffer, error_stream)) > 0)
            error_text.append(buffer, n);
        std::fclose(error_stream);
        error_stream = nullptr;
    }

    // Points the last token at line 12, column 7, length 3.  Returns false
    // when the token stream that reads it is not part of the build yet.
    bool use_token(uint16_t length = 3) {
        token.code = 18;
        token.line = 12;
        token.column = 7;
        token.length = length;
        last_token = &token;
        uint32_t line;
        int32_t column;
        token_position(&line, &column);
        return column == 7;
    }
};

TEST_F(Report, PrefixInBothFormats) {
    struct Case {
        int32_t ge, ck;
        bool source_open;
        const char *format;
        const char *error_text, *stderr_text;
    } const cases[] = {
        {0, 1, true, "syntax error", "#error zcppc a.c:12 syntax error\n", ""},
        {1, 1, true, "syntax error", "a.c:12:1: syntax error\n", ""},
        {0, 1, true, "W1unreachable code", "#warning zcppc a.c:12 unreachable code\n", ""},
        {1, 1, true, "W1unreachable code", "a.c:12:1: warning: unreachable code\n", ""},
        {0, -1, true, "W1unreachable code", "#error zcppc a.c:12 unreachable code\n", ""},
        {1, -1, true, "W1unreachable code", "a.c:12:1: unreachable code\n", ""},
        {0, 1, false, "can't open x", "can't open x\n", "#error zcppc src.c:0 "},
        {1, 1, false, "can't open x", "can't open x\n", "src.c:1:1: "},
        {0, 1, false, "W1note", "note\n", "#warning zcppc src.c:0 "},
        {1, 1, false, "W1note", "note\n", "src.c:1:1: warning: "},
        {0, 1, true, "Wrong value", "#error zcppc a.c:12 Wrong value\n", ""},
    };
    for (const Case &c : cases) {
        opt_ge = c.ge;
        opt_ck = c.ck;
        current_source = c.source_open ? file : nullptr;
        run(c.format);
        EXPECT_EQ(error_text, c.error_text) << c.format << " ge=" << c.ge;
        EXPECT_EQ(stderr_text, c.stderr_text) << c.format << " ge=" << c.ge;
    }
}

TEST_F(Report, WarningLevelsDecideWhatIsWrittenAndCounted) {
    struct Case {
        int32_t ck;
        const char *format;
        bool written;
        int32_t counted;
    } const cases[] = {
        {0, "W1x", false, 0}, {1, "W1x", true, 0},  {1, "W2x", false, 0},
        {7, "W2x", true, 0},  {-1, "W1x", true, 1}, {-1, "W7x", true, 1},
        {0, "x", true, 1},
    };
    for (const Case &c : cases) {
        opt_ck = c.ck;
        error_count = 0;
        last_report_line = 99;
        run(c.format);
        EXPECT_EQ(!error_text.empty(), c.written) << c.format << " ck=" << c.ck;
        EXPECT_EQ(error_count, c.counted) << c.format << " ck=" << c.ck;
        // A filtered warning leaves the last position alone.
        EXPECT_EQ(last_report_line, c.written ? 12u : 99u) << c.format << " ck=" << c.ck;
    }
}

TEST_F(Report, RepeatsWithoutColumnAreDroppedAfterAnError) {
    Token no_code = {};   // a last token exists but has no code: no column
    last_token = &no_code;
    run("first");
    EXPECT_EQ(error_text, "#error zcppc a.c:12 first\n");
    run("second");
    EXPECT_EQ(error_text, "");
    EXPECT_EQ(error_count, 1);
    // Without any last token, every message is written.
    last_token = nullptr;
    run("third");
    EXPECT_EQ(error_text, "#error zcppc a.c:12 third\n");
    // On another line it is written again.
    last_token = &no_code;
    file->line = 13;
    run("fourth");
    EXPECT_EQ(error_text, "#error zcppc a.c:13 fourth\n");
    EXPECT_EQ(error_count, 3);
}

TEST_F(Report, WarningsBeforeTheFirstErrorAreAllWritten) {
    Token no_code = {};
    last_token = &no_code;
    run("W1one");
    run("W1two");
    EXPECT_EQ(error_text, "#warning zcppc a.c:12 two\n");
    run("now an error");
    EXPECT_EQ(error_text, "#error zcppc a.c:12 now an error\n");
    EXPECT_EQ(error_count, 1);
}

TEST_F(Report, TokenPositionInBothFormats) {
    if (!use_token())
        GTEST_SKIP() << "no token stream linked yet";
    run("syntax error");
    EXPECT_EQ(error_text, "#error zcppc a.c:12(7+3) syntax error\n");
    opt_ge = 1;
    error_count = 0;
    run("W1unreachable code");
    EXPECT_EQ(error_text, "a.c:12:7: warning: unreachable code\n");
    opt_ge = 0;
    use_token(1);
    error_count = 0;
    run("bad");
    EXPECT_EQ(error_text, "#error zcppc a.c:12(7) bad\n");
}

TEST_F(Report, RepeatsAtOneTokenAreDroppedAfterAnError) {
    if (!use_token())
        GTEST_SKIP() << "no token stream linked yet";
    run("first");
    run("second");
    EXPECT_EQ(error_text, "");
    EXPECT_EQ(error_count, 1);
    // Only the last position counts: after a message elsewhere the same
    // token gets its message again.
    token.column = 9;
    run("elsewhere");
    EXPECT_EQ(error_text, "#error zcppc a.c:12(9+3) elsewhere\n");
    token.column = 7;
    run("again");
    EXPECT_EQ(error_text, "#error zcppc a.c:12(7+3) again\n");
    // A filtered warning does not move the last position.
    token.column = 9;
    opt_ck = 0;
    run("W1hidden");
    token.column = 7;
    opt_ck = 1;
    run("repeat");
    EXPECT_EQ(error_text, "");
    EXPECT_EQ(error_count, 3);
}

}  // namespace
