// The line dispatcher from inside: the states of the conditional stack,
// assembly marking, pragmas, -d texts, #line and the messages of directives.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"

namespace {

class DirectivesTest : public ::testing::Test {
protected:
    void SetUp() override {
        set_program_name("zcppc");
        static bool opened = false;
        if (!opened) {
            // Messages need an open source file; its own lines are never read.
            char path[] = "/tmp/zcppc-directives-XXXXXX";
            int fd = mkstemp(path);
            ASSERT_GE(fd, 0);
            close(fd);
            ASSERT_EQ(open_source(path, 0), 1);
            unlink(path);
            opened = true;
        }
        errors_ = std::tmpfile();
        error_stream = errors_;
        error_count = 0;
        asm_mode = 0;
        opt_e = opt_sa = opt_ad = 0;
        file_override = const_cast<char *>("t.c");
        at_line(1);
    }
    void TearDown() override {
        close_conditionals();
        error_stream = stderr;
        std::fclose(errors_);
        asm_mode = 0;
        opt_e = opt_sa = opt_ad = 0;
    }

    // Pops every open conditional, so that the frames go back to their
    // free list; the messages of a stray #endif cannot arise here.
    void close_conditionals() {
        while (cond_stack)
            dir_endif(&no_tokens_);
    }

    // The position that messages of the next line show.
    void at_line(uint32_t line) {
        line_override = line;
        line_override_active = 1;
    }

    // One logical line through the scanner and the dispatcher.  The text
    // lives to the end of the test, as the line buffer would.
    PpToken *dispatch(const char *text) {
        texts_.emplace_back(std::string(text) + "\n");
        return dispatch_line(scan_line(texts_.back().data()));
    }

    // The spellings of what the dispatcher left, blank-separated, without
    // the line end; "-" for nothing.
    std::string result(const char *text) {
        PpToken *list = dispatch(text);
        if (!list)
            return "-";
        std::string out;
        for (PpToken *token = list; token; token = token->next) {
            if (token->kind == PP_EOL || (token->kind == TOK_ASM && token->length == 0))
                continue;
            if (!out.empty())
                out += ' ';
            out.append(token->text, token->length);
        }
        pptoken_free_list(list);
        return out;
    }

    std::string messages() {
        std::fflush(errors_);
        std::rewind(errors_);
        std::string out;
        char chunk[256];
        size_t got;
        while ((got = std::fread(chunk, 1, sizeof chunk, errors_)) > 0)
            out.append(chunk, got);
        std::fclose(errors_);
        errors_ = std::tmpfile();
        error_stream = errors_;
        return out;
    }

    int depth() {
        int count = 0;
        for (CondFrame *frame = cond_stack; frame; frame = frame->link)
            count++;
        return count;
    }

    FILE *errors_ = nullptr;
    PpToken *no_tokens_ = nullptr;
    std::deque<std::string> texts_;
};

// After each sequence of directive lines: the state and `taken` of the
// innermost conditional, whether text is processed, and the depth.
TEST_F(DirectivesTest, ConditionalStates) {
    struct Case {
        std::vector<const char *> lines;
        char state;
        int taken;
        int depth;
    };
    const Case cases[] = {
        {{"#ifdef CS_DEF"}, 'I', 1, 1},
        {{"#ifdef CS_UNDEF"}, 'I', 0, 1},
        {{"#ifndef CS_UNDEF"}, 'I', 1, 1},
        {{"#ifndef CS_DEF"}, 'I', 0, 1},
        {{"#ifdef __LINE__"}, 'I', 1, 1},
        {{"#ifdef defined"}, 'I', 1, 1},
        {{"#ifdef CS_UNDEF", "#else"}, 'E', 1, 1},
        {{"#ifdef CS_DEF", "#else"}, 'E', 0, 1},
        {{"#ifdef CS_UNDEF", "#ifdef CS_DEF"}, 'i', 0, 2},
        {{"#ifdef CS_UNDEF", "#ifndef CS_UNDEF", "#else"}, 'e', 0, 2},
        {{"#ifdef CS_UNDEF", "#ifdef CS_DEF", "#else", "#endif"}, 'I', 0, 1},
        {{"#ifdef CS_UNDEF", "#else", "#ifdef CS_DEF"}, 'I', 1, 2},
        {{"#ifdef CS_DEF", "#elif"}, 'i', 0, 1},
        {{"#ifdef CS_DEF", "#elif", "#else"}, 'e', 0, 1},
        {{"#ifdef CS_DEF", "#elif", "#elif"}, 'i', 0, 1},
        {{"#ifdef CS_UNDEF", "#if 1"}, 'i', 0, 2},
        {{"#ifdef CS_UNDEF", "#if 1", "#else"}, 'e', 0, 2},
        {{"#ifdef", "#else"}, 'E', 1, 1},
        {{"#ifndef 3"}, 'I', 0, 1},
    };
    dispatch("#define CS_DEF");
    for (const Case &c : cases) {
        close_conditionals();
        std::string trace;
        for (const char *line : c.lines) {
            trace += line;
            trace += " | ";
            EXPECT_EQ(dispatch(line), nullptr) << trace;
        }
        ASSERT_NE(cond_stack, nullptr) << trace;
        EXPECT_EQ(cond_stack->state, c.state) << trace;
        EXPECT_EQ(cond_stack->taken, c.taken) << trace;
        EXPECT_EQ(in_active_code(), c.taken) << trace;
        EXPECT_EQ(depth(), c.depth) << trace;
        EXPECT_EQ(result("text"), c.taken ? "text" : "-") << trace;
    }
    messages();
}

TEST_F(DirectivesTest, ConditionalMessages) {
    struct Case {
        std::vector<const char *> lines;
        const char *messages;
    };
    const Case cases[] = {
        {{"#elif"}, "#error zcppc t.c:1 bad #else\n"},
        // In a skipped group the operand is not looked at.
        {{"#ifdef CM_X", "#ifdef"}, ""},
        {{"#ifdef CM_X", "#ifdef CM_X", "#else", "#else"}, "#error zcppc t.c:4 bad #else\n"},
    };
    for (const Case &c : cases) {
        close_conditionals();
        uint32_t line = 1;
        for (const char *text : c.lines) {
            at_line(line++);
            dispatch(text);
        }
        EXPECT_EQ(messages(), c.messages) << c.lines[0];
    }
}

TEST_F(DirectivesTest, MissingEndifIsReportedAtTheLastDirective) {
    at_line(7);
    dispatch("#ifdef ME_X");
    at_line(9);
    dispatch("#else");
    at_line(30);
    file_override = const_cast<char *>("later.c");
    check_open_conditionals();
    EXPECT_EQ(messages(), "#error zcppc t.c:9 missing #endif directive\n");
    // The overrides are back, and the frame stays.
    EXPECT_EQ(line_override, 30u);
    EXPECT_STREQ(file_override, "later.c");
    EXPECT_EQ(depth(), 1);
    close_conditionals();
    check_open_conditionals();
    EXPECT_EQ(messages(), "");
}

// The other directive messages are checked by the preproc end-to-end cases.
TEST_F(DirectivesTest, RedefinitionWithoutABody) {
    EXPECT_EQ(dispatch("#define DL_X 1"), nullptr);
    EXPECT_EQ(dispatch("#define DL_X"), nullptr);
    EXPECT_EQ(messages(), "#error zcppc t.c:1 can't redefine macro DL_X\n");
    EXPECT_EQ(result("DL_X"), "1");
}

TEST_F(DirectivesTest, SkippedGroupsDropLinesAndUnknownDirectives) {
    dispatch("#ifdef SG_UNDEF");
    const char *lines[] = {"text", "#foo", "# 12", "#error not shown", "#define SG_X 1",
                           "#include \"nothere.h\"", "#line x", "#asm"};
    for (const char *line : lines)
        EXPECT_EQ(dispatch(line), nullptr) << line;
    dispatch("#endif");
    EXPECT_EQ(messages(), "");
    EXPECT_EQ(asm_mode, 0);
    EXPECT_EQ(result("SG_X"), "SG_X");
}

// What #line does to positions is checked by the line_directive end-to-end
// case; a name equal to the one in force keeps its copy.
TEST_F(DirectivesTest, LineDirectiveKeepsAnEqualName) {
    dispatch("#line 10 \"dir\\\\f.c\"");
    EXPECT_EQ(line_override, 9u);
    EXPECT_STREQ(file_override, "dir\\f.c");
    const char *same = file_override;
    dispatch("#line 20 \"dir\\\\f.c\"");
    EXPECT_EQ(file_override, same);
    EXPECT_EQ(messages(), "");
    std::free(file_override);
    file_override = const_cast<char *>("t.c");
}

TEST_F(DirectivesTest, AssemblyTextIsMarkedAndNotExpanded) {
    dispatch("#define AT_R r3");
    dispatch("#asm");
    PpToken *first = dispatch("  li AT_R,1");
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(first->column & 0x8000);
    std::string names;
    for (PpToken *token = first; token; token = token->next) {
        EXPECT_EQ(token->kind, TOK_ASM);
        names.append(token->text, token->length);
    }
    EXPECT_EQ(names, "liAT_R,1");
    pptoken_free_list(first);
    PpToken *second = dispatch("  blr");
    ASSERT_NE(second, nullptr);
    EXPECT_FALSE(second->column & 0x8000);
    pptoken_free_list(second);
    opt_ad = 1;
    EXPECT_EQ(result("AT_R"), "r3");
    dispatch("#endasm");
    EXPECT_EQ(asm_mode, 0);
    PpToken *after = dispatch("x");
    ASSERT_NE(after, nullptr);
    EXPECT_EQ(after->kind, TOK_IDENT);
    pptoken_free_list(after);
    // A second block after #endasm and #asm starts with the mark again.
    dispatch("#asm");
    PpToken *again = dispatch("nop");
    ASSERT_NE(again, nullptr);
    EXPECT_TRUE(again->column & 0x8000);
    pptoken_free_list(again);
    EXPECT_EQ(messages(), "");
}

TEST_F(DirectivesTest, PragmaUnroll) {
    struct Case {
        const char *line;
        int32_t limit;
        const char *messages;
    };
    const Case cases[] = {
        {"#pragma unroll 8", 8, ""},
        {"#pragma unroll", 0, ""},
        {"#pragma unroll 0x20", 32, ""},
        {"#pragma unroll 1.5", 32, "#error zcppc t.c:1 bad #pragma unroll directive\n"},
        {"#pragma unroll 3", 3, ""},
        {"#pragma unroll x", 0, ""},
        {"#pragma Unroll 9", 0, ""},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(dispatch(c.line), nullptr) << c.line;
        EXPECT_EQ(unroll_limit, c.limit) << c.line;
        EXPECT_EQ(messages(), c.messages) << c.line;
    }
}

TEST_F(DirectivesTest, PragmaWords) {
    dispatch("#define PW_WHO world");
    dispatch("#pragma message hello  PW_WHO /* c */ !");
    EXPECT_EQ(messages(), "#message hello  world /* c */ !\n");
    EXPECT_EQ(error_count, 0);
    dispatch("#pragma asm");
    EXPECT_EQ(asm_mode, 1);
    dispatch("#pragma endasm");
    EXPECT_EQ(asm_mode, 0);
    const char *ignored[] = {"#pragma", "#pragma 3", "#pragma unknown words", "#pragma ASM"};
    for (const char *line : ignored)
        EXPECT_EQ(dispatch(line), nullptr) << line;
    EXPECT_EQ(asm_mode, 0);
    EXPECT_EQ(messages(), "");
}

// With -e a #pragma goes through as text (the pragma_passes_through
// end-to-end case), a bad unroll count unreported.
TEST_F(DirectivesTest, PragmaLinesPassThroughWithE) {
    opt_e = 1;
    EXPECT_EQ(result("#pragma unroll 1.5"), "# pragma unroll 1.5");
    EXPECT_EQ(messages(), "");
}

TEST_F(DirectivesTest, DefinitionsFromOptions) {
    struct Case {
        const char *option;
        const char *use;
        const char *expansion;
        const char *messages;
    };
    std::string long_value(300, 'v');
    std::string long_option = "DO_LONG=" + long_value;
    const Case cases[] = {
        {"DO_A", "DO_A", "1", ""},
        {"DO_C=", "DO_C", "", ""},
        {"DO_D(x)=x", "DO_D", "DO_D", "#error zcppc t.c:1 bad symbol definition\n"},
        {long_option.c_str(), "DO_LONG", long_value.c_str(), ""},
    };
    for (const Case &c : cases) {
        define_from_option(c.option);
        EXPECT_EQ(messages(), c.messages) << c.option;
        std::string use = std::string(c.use) + " ;";
        std::string expansion = *c.expansion ? std::string(c.expansion) + " ;" : ";";
        EXPECT_EQ(result(use.c_str()), expansion) << c.option;
    }
    EXPECT_EQ(in_comment, 0);
    define_from_option("DO_COMMENT=/*");
    EXPECT_EQ(in_comment, 0);
    messages();
}

}  // namespace
