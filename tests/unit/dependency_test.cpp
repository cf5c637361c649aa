// The make dependency line: the column kept from one name to the next.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "driver/options.h"
#include "file_text.h"
#include "preproc/source.h"

namespace {

// A name of `length` characters that no file opened so far has.
std::string fresh_name(size_t length) {
    static char next = 'a';
    std::string name(length, next);
    next = next == 'z' ? 'a' : char(next + 1);
    return name;
}

// Wrapping behind a target, quotes and -xp on plain names are checked by
// the md_* end-to-end cases.  Here each case ends in a name that just fits
// on column 78, or passes it by one, so that the column kept for it is
// checked: after a line without a target, -xp cut at either separator, a
// quoted name, and a wrap.
TEST(Dependency, ColumnKeptForTheNextName) {
    struct Case {
        const char *what;
        int32_t xp;
        std::vector<std::string> names;   // written in this order
        std::string text;                 // their text, the last name left out
        size_t fits;                      // the longest last name on this line
    };
    const Case cases[] = {
        {"no target: the count starts at 1", 0, {"a.h"}, " a.h", 72},
        {"-xp counts the cut text", 1, {"dir/sub/x.h", "d\\y.h", "z.h"}, " x.h y.h z.h", 64},
        {"quotes count", 1, {"my dir/a b.h"}, " \"a b.h\"", 68},
        {"a wrap counts from the start of the new line",
         0, {fresh_name(60), fresh_name(20)}, "", 56},
    };
    for (const Case &c : cases) {
        for (size_t extra : {0, 1}) {
            SCOPED_TRACE(testing::Message() << c.what << ", last name " << c.fits + extra);
            FILE *output = std::tmpfile();
            ASSERT_NE(output, nullptr);
            output_stream = output;
            opt_xp = c.xp;
            start_dependency_line(nullptr);
            for (const std::string &name : c.names) write_dependency(name.c_str());
            std::string before = file_text(output);
            if (!c.text.empty()) {
                EXPECT_EQ(before, c.text);
            }
            std::string last = fresh_name(c.fits + extra);
            write_dependency(last.c_str());
            EXPECT_EQ(file_text(output).substr(before.size()),
                      (extra ? " \\\n " : " ") + last);
            output_stream = nullptr;
            opt_xp = 0;
            std::fclose(output);
        }
    }
}

}  // namespace
