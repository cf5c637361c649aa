// Source files: opening along the search list, the include stack, physical
// lines as the buffered reader delivers them, and positions.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "driver/options.h"
#include "file_text.h"
#include "lexer/token.h"
#include "preproc/source.h"

extern Token *last_token;

namespace {

class SourceFileTest : public ::testing::Test {
protected:
    std::string home;
    std::string scratch;
    FILE *errors = nullptr;
    const char *search_slots[4] = {};
    PathList search = {4, 4, search_slots};

    void SetUp() override {
        char pattern[] = "/tmp/zcppc-source-XXXXXX";
        scratch = mkdtemp(pattern);
        char cwd[4096];
        home = getcwd(cwd, sizeof cwd);
        ASSERT_EQ(chdir(scratch.c_str()), 0);
        errors = std::tmpfile();
        error_stream = errors;
        error_count = 0;
        current_source = nullptr;
        line_override_active = 0;
        file_override = nullptr;
        in_comment = 0;
        include_search = &search;
        include_capacity = 4;
        opt_md = opt_e = opt_l = opt_x = 0;
        last_token = nullptr;
    }

    void TearDown() override {
        char line[256];
        while (read_source_line(line, sizeof line)) {
        }
        current_source = nullptr;
        include_search = nullptr;
        error_stream = nullptr;
        std::fclose(errors);
        ASSERT_EQ(chdir(home.c_str()), 0);
        std::string remove = "rm -rf " + scratch;
        ASSERT_EQ(std::system(remove.c_str()), 0);
    }

    static void write_file(const std::string &path, const std::string &text) {
        for (size_t slash = path.find('/'); slash != std::string::npos;
             slash = path.find('/', slash + 1))
            mkdir(path.substr(0, slash).c_str(), 0755);
        write_text(path, text);
    }

    // Search directories in the order they are tried.
    void set_search(std::vector<const char *> directories) {
        search.count = 4 - static_cast<int32_t>(directories.size());
        for (size_t i = 0; i < directories.size(); ++i) search_slots[3 - i] = directories[i];
    }

    std::string messages() { return file_text(errors); }

    static std::string next_line(int32_t size = 256) {
        std::vector<char> line(size);
        char *end = read_source_line(line.data(), size);
        if (!end) return "<end>";
        EXPECT_EQ(*end, 0);
        return std::string(line.data(), end - line.data());
    }
};

TEST_F(SourceFileTest, SearchOrder) {
    struct Case {
        const char *title;
        std::vector<const char *> files;   // each holds its own path as text
        std::vector<const char *> search;
        const char *name;
        int search_flag;
        const char *opened;                // null: "can't open"
    };
    const Case cases[] = {
        {"-i entries in their order", {"a/x.h", "b/x.h"}, {"a", "b"}, "x.h", 1, "a/x.h"},
        {"later entry when the first lacks it", {"b/x.h"}, {"a", "b"}, "x.h", 1, "b/x.h"},
        {"main source is not searched", {"a/x.h"}, {"a"}, "x.h", 0, nullptr},
        {"backslash rooted name is not searched", {"a/x.h"}, {"a"}, "\\x.h", 1, nullptr},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.title);
        ASSERT_EQ(std::system("rm -rf ./*"), 0);
        for (const char *file : c.files) write_file(file, std::string(file) + "\n");
        set_search(c.search);
        current_source = nullptr;
        int before = error_count;
        int result = open_source(c.name, c.search_flag);
        if (c.opened) {
            EXPECT_EQ(result, 1);
            ASSERT_NE(current_source, nullptr);
            EXPECT_STREQ(current_source->name, c.opened);
            EXPECT_EQ(next_line(), std::string(c.opened) + "\n");
            EXPECT_EQ(error_count, before);
        } else {
            EXPECT_EQ(result, 0);
            EXPECT_EQ(current_source, nullptr);
            EXPECT_EQ(error_count, before + 1);
            EXPECT_NE(messages().find(std::string("can't open ") + c.name + "\n"),
                      std::string::npos);
        }
        char line[64];
        while (read_source_line(line, sizeof line)) {
        }
    }
}

TEST_F(SourceFileTest, IncludedFileEndIsInvisible) {
    write_file("main.c", "m1\nm2\n");
    write_file("inc.h", "i1\ni2");
    SourceFile **first_record = source_list_tail;
    ASSERT_EQ(open_source("main.c", 0), 1);
    SourceFile *main_file = current_source;
    EXPECT_EQ(next_line(), "m1\n");
    ASSERT_EQ(open_source("inc.h", 1), 1);
    EXPECT_EQ(include_stack->source, main_file);
    EXPECT_EQ(next_line(), "i1\n");
    EXPECT_EQ(current_line(), 1u);
    EXPECT_STREQ(current_file_name(), "inc.h");
    EXPECT_EQ(next_line(), "i2");
    EXPECT_EQ(current_line(), 2u);
    // The include ends: reading goes on in main.c where it stopped.
    EXPECT_EQ(next_line(), "m2\n");
    EXPECT_EQ(current_source, main_file);
    EXPECT_EQ(include_stack, nullptr);
    EXPECT_EQ(current_line(), 2u);
    EXPECT_EQ(next_line(), "<end>");
    EXPECT_EQ(next_line(), "<end>");
    EXPECT_EQ(current_source, main_file);   // later messages name the last file
    // Both records stay on source_list, in order of opening.
    EXPECT_EQ(*first_record, main_file);
    EXPECT_STREQ(main_file->next->name, "inc.h");
    EXPECT_EQ(source_list_tail, &main_file->next->next);
}

TEST_F(SourceFileTest, PhysicalLineText) {
    struct Case {
        const char *title;
        std::string file;
        int32_t size;
        std::vector<std::string> lines;
    };
    std::string big(100000, 'b');
    const Case cases[] = {
        {"line ends kept", "a\n\nb\n", 256, {"a\n", "\n", "b\n"}},
        {"last line without line end", "a\nb", 256, {"a\n", "b"}},
        {"lone CR kept", "a\rb\r", 256, {"a\rb\r"}},
        {"CR CR LF loses one CR", "a\r\r\n", 256, {"a\r\n"}},
        {"cut at size - 1", "abcdefgh\n", 4, {"abc", "def", "gh\n"}},
        {"cut between CR and LF", "abc\r\nd\n", 4, {"abc", "\n", "d\n"}},
        {"cut right after CR", "ab\r\nd\n", 4, {"ab\n", "d\n"}},
        {"line beyond the read buffer", big + "\nz\n", 200000, {big + "\n", "z\n"}},
        {"binary bytes pass", "\x01\xff\x7f\n", 256, {"\x01\xff\x7f\n"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.title);
        write_file("t.c", c.file);
        ASSERT_EQ(open_source("t.c", 0), 1);
        for (const std::string &expected : c.lines) EXPECT_EQ(next_line(c.size), expected);
        EXPECT_EQ(next_line(c.size), "<end>");
        EXPECT_EQ(current_source->line, c.lines.size());
        current_source = nullptr;
    }
}

TEST_F(SourceFileTest, ManyLinesAcrossBufferRefills) {
    std::string text;
    for (int i = 0; i < 50000; ++i) text += "line " + std::to_string(i) + "\r\n";
    write_file("many.c", text);
    ASSERT_EQ(open_source("many.c", 0), 1);
    for (int i = 0; i < 50000; ++i) {
        std::string expected = "line " + std::to_string(i) + "\n";
        std::string got = next_line();
        if (got != expected) {
            ADD_FAILURE() << "line " << i << ": " << got;
            break;
        }
    }
    EXPECT_EQ(next_line(), "<end>");
    EXPECT_EQ(current_line(), 50000u);
}

TEST_F(SourceFileTest, LineOverrideCountsOnThroughIncludes) {
    write_file("main.c", "1\n2\n3\n");
    write_file("inc.h", "i\n");
    ASSERT_EQ(open_source("main.c", 0), 1);
    next_line();
    // #line 100 "other.c" on line 1
    line_override = 99;
    line_override_active = 1;
    char name[] = "other.c";
    file_override = name;
    EXPECT_EQ(current_line(), 99u);
    next_line();
    EXPECT_EQ(current_line(), 100u);
    EXPECT_EQ(current_source->line, 2u);
    EXPECT_STREQ(current_file_name(), "other.c");
    ASSERT_EQ(open_source("inc.h", 1), 1);
    next_line();
    EXPECT_EQ(current_line(), 101u);
    EXPECT_STREQ(current_file_name(), "other.c");
    next_line();   // back in main.c: the override stays
    EXPECT_EQ(current_line(), 102u);
    EXPECT_EQ(current_source->line, 3u);
    file_override = nullptr;
    line_override_active = 0;
    EXPECT_EQ(current_line(), 3u);
    EXPECT_STREQ(current_file_name(), "main.c");
}

TEST_F(SourceFileTest, PositionBeforeAnyFile) {
    const char *saved = source_name;
    source_name = "given.c";
    EXPECT_EQ(current_source, nullptr);
    EXPECT_STREQ(current_file_name(), "given.c");
    EXPECT_EQ(current_line(), 0u);
    line_override = static_cast<uint32_t>(-1);
    line_override_active = 1;
    EXPECT_EQ(current_line(), UINT32_MAX);
    source_name = saved;
}

TEST_F(SourceFileTest, TokenPosition) {
    write_file("t.c", "a\nb\n");
    ASSERT_EQ(open_source("t.c", 0), 1);
    next_line();
    next_line();
    uint32_t line = 0;
    int32_t column = 0;
    EXPECT_EQ(token_position(&line, &column), 0);
    EXPECT_EQ(line, 2u);
    EXPECT_EQ(column, -1);

    Token token = {};
    token.code = TOK_IDENT;
    token.line = 7;
    token.column = 0x8000 | 12;   // first line of an assembly block
    token.length = 3;
    last_token = &token;
    EXPECT_EQ(token_position(&line, &column), 3);
    EXPECT_EQ(line, 7u);
    EXPECT_EQ(column, 12);

    token.code = 0;   // a token with no code does not position messages
    EXPECT_EQ(token_position(&line, &column), 0);
    EXPECT_EQ(line, 2u);
    EXPECT_EQ(column, -1);
    last_token = nullptr;
}

}  // namespace
