// The make dependency line: wrapping at column 78, quoting, -xp, and each
// file written once.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

#include "driver/options.h"
#include "preproc/source.h"

namespace {

class DependencyTest : public ::testing::Test {
protected:
    FILE *output = nullptr;

    void SetUp() override {
        output = std::tmpfile();
        output_stream = output;
        opt_xp = 0;
    }
    void TearDown() override {
        output_stream = nullptr;
        opt_md = 0;
        opt_xp = 0;
        std::fclose(output);
    }
    std::string written() {
        std::fflush(output);
        std::rewind(output);
        std::string text;
        for (int c; (c = std::fgetc(output)) != EOF;) text += static_cast<char>(c);
        return text;
    }
};

TEST_F(DependencyTest, Layout) {
    struct Case {
        const char *title;
        int32_t column;
        int32_t xp;
        std::vector<std::string> names;
        std::string text;
        int32_t end_column;
    };
    std::string n64(62, 'n');
    n64 += ".h";
    std::string n65 = "m" + n64;
    const Case cases[] = {
        {"no target", 1, 0, {"a.c", "b.h"}, " a.c b.h", 9},
        {"after a target", 4, 0, {"a.c"}, " a.c", 8},
        {"ends on column 78", 70, 0, {"abc.hhh"}, " abc.hhh", 78},
        {"would reach column 79", 71, 0, {"abc.hhh"}, " \\\n abc.hhh", 8},
        {"wraps after a full line", 70, 0, {"abc.hhh", "x.h"}, " abc.hhh \\\n x.h", 4},
        {"blank means quotes", 1, 0, {"my file.h"}, " \"my file.h\"", 13},
        // The quotes count: without them the next name would fit.
        {"quotes add 2 to the column", 1, 0, {"my file.h", n65}, " \"my file.h\" \\\n " + n65, 66},
        {"quoted name after a wrap", 75, 0, {"a b.h"}, " \\\n \"a b.h\"", 8},
        {"-xp cuts the directory", 1, 1, {"dir/sub/x.h", "d\\y.h", "z.h"}, " x.h y.h z.h", 13},
        {"-xp of a name with a blank", 1, 1, {"my dir/a b.h"}, " \"a b.h\"", 9},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.title);
        std::fclose(output);
        output = std::tmpfile();
        output_stream = output;
        opt_md = c.column;
        opt_xp = c.xp;
        for (const std::string &name : c.names) write_dependency(name.c_str());
        EXPECT_EQ(written(), c.text);
        EXPECT_EQ(opt_md, c.end_column);
    }
}

TEST_F(DependencyTest, EachFileOnceAsOpened) {
    char pattern[] = "/tmp/zcppc-dependency-XXXXXX";
    std::string directory = mkdtemp(pattern);
    char cwd[4096];
    std::string home = getcwd(cwd, sizeof cwd);
    ASSERT_EQ(chdir(directory.c_str()), 0);
    ASSERT_EQ(std::system("mkdir d1 d2 && echo >a.c && echo >d1/x.h && echo >d2/x.h"), 0);
    const char *slots[2] = {"d2", "d1"};
    PathList search = {0, 2, slots};
    include_search = &search;
    include_capacity = 2;
    error_count = 0;
    opt_md = 1;
    opt_xp = 1;

    ASSERT_EQ(open_source("a.c", 0), 1);
    ASSERT_EQ(open_source("x.h", 1), 1);      // d1/x.h
    ASSERT_EQ(open_source("d2/x.h", 1), 1);   // same base name, other file
    ASSERT_EQ(open_source("a.c", 1), 1);      // opened before: not written again
    ASSERT_EQ(open_source("d1/x.h", 1), 1);   // the name d1/x.h was opened by the search
    EXPECT_EQ(open_source("none.h", 1), 0);   // not opened, not written
    EXPECT_EQ(written(), " a.c x.h x.h");

    // A file opened twice has two records.
    int records = 0;
    for (SourceFile *file = source_list; file; file = file->next)
        if (std::string(file->name) == "a.c") ++records;
    EXPECT_EQ(records, 2);

    char line[64];
    while (read_source_line(line, sizeof line)) {
    }
    include_search = nullptr;
    ASSERT_EQ(chdir(home.c_str()), 0);
    ASSERT_EQ(std::system(("rm -rf " + directory).c_str()), 0);
}

}  // namespace
