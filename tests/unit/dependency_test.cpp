// The make dependency line under -xp.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "driver/options.h"
#include "file_text.h"
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
    std::string written() { return file_text(output); }
};

// Wrapping at column 78, quotes and -xp on plain names are checked by the
// md_* end-to-end cases; here the column kept for the next name, and -xp
// on names with a backslash or a blank.
TEST_F(DependencyTest, XpCutsAtEitherSeparator) {
    struct Case {
        std::vector<std::string> names;
        std::string text;
        int32_t end_column;
    };
    const Case cases[] = {
        {{"dir/sub/x.h", "d\\y.h", "z.h"}, " x.h y.h z.h", 13},
        {{"my dir/a b.h"}, " \"a b.h\"", 9},
    };
    for (const Case &c : cases) {
        std::fclose(output);
        output = std::tmpfile();
        output_stream = output;
        opt_md = 1;
        opt_xp = 1;
        for (const std::string &name : c.names) write_dependency(name.c_str());
        EXPECT_EQ(written(), c.text);
        EXPECT_EQ(opt_md, c.end_column);
    }
}

}  // namespace
