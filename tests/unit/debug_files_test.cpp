// The debug information of source files: the per-file list of symbols, the
// labels of a file's debug block, and the events through which reading the
// input reaches the writer (the end of a file, the macros used).
#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "file_text.h"
#include "lexer/token.h"
#include "output/records.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"

namespace {

class DebugFilesTest : public ::testing::Test {
protected:
    std::vector<std::string> paths;
    FILE *output = nullptr;

    void SetUp() override {
        opt_x = opt_xd = opt_e = opt_l = opt_md = 0;
        source_events = {};
        output = std::tmpfile();
        ASSERT_NE(output, nullptr);
        output_stream = output;
        open_main_file();
    }
    void TearDown() override {
        read_to_end();
        source_events = {};
        opt_x = 0;
        flush_output();
        output_stream = nullptr;
        std::fclose(output);
        for (const std::string &path : paths) std::remove(path.c_str());
    }
    static void read_to_end() {
        char line[16];
        while (read_source_line(line, sizeof line)) {
        }
    }
    // A main file of one line, "x", as the current file.
    void open_main_file() {
        read_to_end();
        current_source = nullptr;
        open(new_file("x\n"), 0);
    }
    const char *new_file(const std::string &text) {
        paths.push_back(new_scratch_file("zcppc-debug"));
        write_text(paths.back(), text);
        return paths.back().c_str();
    }
    static void open(const char *path, int search) { ASSERT_EQ(open_source(path, search), 1); }
    static std::vector<Symbol *> noted() {
        std::vector<Symbol *> list;
        for (Symbol *s = current_source->symbols; s && list.size() < 100; s = s->dbg_next)
            list.push_back(s);
        return list;
    }
};

TEST_F(DebugFilesTest, NoteEachSymbolOnce) {
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

TEST_F(DebugFilesTest, BlockLabels) {
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

// A header with a noted symbol and a space modifier of its own ends inside
// the main file.  Only a normal run under -x closes the header's debug block
// there, and announces the space first; the block of the main file stays
// untouched until the main file ends.  The block itself follows the space
// name.
TEST_F(DebugFilesTest, EndOfIncludedFile) {
    struct Case {
        bool normal_run;
        int32_t x;
    };
    const Case cases[] = {{false, 1}, {true, 0}, {true, 1}};
    const uint8_t space_name[] = {REC_SPACE_NAME, 4, 0, 0, 0, 'f', 'a', 'r'};
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << "normal run " << c.normal_run << ", -x " << c.x);
        source_events = {};
        opt_x = 0;
        open_main_file();
        init_spaces();
        new_symbol(&space_list, intern_name("far", 3), SC_NONE, nullptr);
        opt_x = c.x;
        if (c.normal_run) start_intermediate_file();
        std::string before = (flush_output(), file_text(output));

        SourceFile *main_file = current_source;
        open(new_file("y\n"), 1);
        SourceFile *included = current_source;
        Symbol symbol = {};
        debug_note(&symbol);
        char line[16];
        ASSERT_NE(read_source_line(line, sizeof line), nullptr);   // y
        ASSERT_NE(read_source_line(line, sizeof line), nullptr);   // x, of the main file
        EXPECT_EQ(current_source, main_file);

        bool closed = c.normal_run && c.x;
        EXPECT_EQ(included->debug_end_label != 0, closed);
        EXPECT_EQ(included->debug_label, 0);
        EXPECT_EQ(main_file->debug_end_label, 0);
        std::string written = (flush_output(), file_text(output)).substr(before.size());
        if (!closed) {
            EXPECT_EQ(written, "");
            continue;
        }
        // The space name, then the header's file record.
        std::string announced(std::begin(space_name), std::end(space_name));
        EXPECT_EQ(written.substr(0, announced.size()), announced);
        ASSERT_GT(written.size(), announced.size());
        EXPECT_EQ(uint8_t(written[announced.size()]), REC_DEBUG_FILE);
    }
}

// write_used_macros hands each macro expanded since its last call to the
// macro_used event once, with the spelling of the first token of its body,
// and nothing without a listener.
TEST_F(DebugFilesTest, UsedMacrosReachTheEvent) {
    static std::vector<std::pair<std::string, std::string>> heard;
    heard.clear();
    std::string definitions[] = {"UNUSED 1\n", "EMPTY\n", "CALL(a, b) b + a\n", "TEXT 12 + x\n"};
    std::vector<MacroDef *> macros;
    for (std::string &definition : definitions) {
        PpToken *list = scan_line(definition.data());
        macros.push_back(macro_define(list));
        pptoken_free_list(list);
        ASSERT_NE(macros.back(), nullptr) << definition;
    }
    for (size_t i = 1; i < macros.size(); ++i) macros[i]->used = 1;

    source_events.macro_used = [](NameRecord *name, const char *body, size_t length) {
        heard.emplace_back(std::string(name->text, name->length), std::string(body, length));
    };
    write_used_macros();
    write_used_macros();   // all were cleared by the first call
    // The newest definition comes first.
    using Heard = std::vector<std::pair<std::string, std::string>>;
    EXPECT_EQ(heard, (Heard{{"TEXT", "12"}, {"CALL", ""}, {"EMPTY", ""}}));

    // The writer's handler puts the body's spelling into the file.
    macros[3]->used = 1;
    start_intermediate_file();
    std::string before = (flush_output(), file_text(output));
    write_used_macros();
    std::string written = (flush_output(), file_text(output)).substr(before.size());
    const char string_value[] = {char(REC_STRING), 2, '1', '2'};
    EXPECT_EQ(written.substr(written.size() - 4), std::string(string_value, 4));

    // Without a listener nothing is written, and `used` is cleared all the same.
    source_events = {};
    macros[3]->used = 1;
    before = (flush_output(), file_text(output));
    write_used_macros();
    EXPECT_EQ((flush_output(), file_text(output)), before);
    EXPECT_EQ(macros[3]->used, 0);

    for (const char *name : {"UNUSED", "EMPTY", "CALL", "TEXT"}) {
        PpToken token{};
        token.kind = TOK_IDENT;
        token.text = const_cast<char *>(name);
        token.length = static_cast<uint16_t>(std::strlen(name));
        macro_undefine(&token);
    }
}

}  // namespace
