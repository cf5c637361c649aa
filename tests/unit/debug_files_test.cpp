// The per-file list of symbols for debug information, and the labels of a
// file's debug block.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "preproc/source.h"

namespace {

class DebugMarkTest : public ::testing::Test {
protected:
    std::string path;
    void SetUp() override {
        char pattern[] = "/tmp/zcppc-debug-XXXXXX";
        int fd = mkstemp(pattern);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(write(fd, "x\n", 2), 2);
        close(fd);
        path = pattern;
        current_source = nullptr;
        ASSERT_EQ(open_source(path.c_str(), 0), 1);
    }
    void TearDown() override {
        char line[16];
        while (read_source_line(line, sizeof line)) {
        }
        std::remove(path.c_str());
    }
    static std::vector<Symbol *> noted() {
        std::vector<Symbol *> list;
        for (Symbol *s = current_source->symbols; s && list.size() < 100; s = s->dbg_next)
            list.push_back(s);
        return list;
    }
};

TEST_F(DebugMarkTest, NoteEachSymbolOnce) {
    Symbol a = {}, b = {}, c = {}, inline_function = {}, failed = {};
    inline_function.attr = ATTR_INLINE;
    failed.dbg_next = &failed;   // a failed declaration stays off every list
    debug_note(&a);
    debug_note(&b);
    debug_note(&a);   // the last element, whose dbg_next is null
    debug_note(&b);   // the head
    debug_note(&inline_function);
    debug_note(&failed);
    debug_note(&c);
    debug_note(&a);
    EXPECT_EQ(noted(), (std::vector<Symbol *>{&c, &b, &a}));
    EXPECT_EQ(inline_function.dbg_next, nullptr);
}

TEST_F(DebugMarkTest, BlockLabels) {
    SourceFile *file = current_source;
    // A file with neither function nor symbols opens no block.
    debug_file_mark(nullptr, nullptr);
    EXPECT_EQ(file->debug_label, 0);

    Symbol function = {};
    debug_file_mark("f.c", &function);
    uint16_t first = file->debug_label;
    EXPECT_NE(first, 0);
    EXPECT_EQ(first % 2, 1);
    EXPECT_NE(file->debug_end_label, 0);
    // A second function keeps the open block.
    debug_file_mark("f.c", &function);
    EXPECT_EQ(file->debug_label, first);
    // The end of the file closes it.
    debug_file_mark(nullptr, nullptr);
    EXPECT_EQ(file->debug_label, 0);

    // Noted symbols alone open a block at the end of the file.
    Symbol s = {};
    debug_note(&s);
    debug_file_mark(nullptr, nullptr);
    EXPECT_EQ(file->debug_label, 0);
    EXPECT_GT(file->debug_end_label, first + 2);
}

}  // namespace
