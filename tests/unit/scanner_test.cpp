// The preprocessing scanner from inside: token kinds and spellings, the white
// space kept in front of each token, comments, positions after splicing, and
// open string and character constants.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "driver/options.h"
#include "file_text.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"

namespace {

struct Tok {
    uint16_t kind;
    std::string space;
    std::string text;
    bool operator==(const Tok &other) const {
        return kind == other.kind && space == other.space && text == other.text;
    }
};

std::ostream &operator<<(std::ostream &out, const Tok &t) {
    return out << "{" << t.kind << ", \"" << t.space << "\", \"" << t.text << "\"}";
}

class ScannerTest : public ::testing::Test {
protected:
    std::string path;
    FILE *errors = nullptr;

    void SetUp() override {
        set_program_name("zcppc");
        path = new_scratch_file("zcppc-scanner");
        errors = std::tmpfile();
        error_stream = errors;
        error_count = 0;
        in_comment = 0;
        asm_mode = 0;
        cond_stack = nullptr;
        opt_sa = opt_c99 = 0;
        open_text("\n");
        file_override = const_cast<char *>("t.c");
    }

    void TearDown() override {
        while (read_logical_line(0)) {
        }
        file_override = nullptr;
        error_stream = stderr;
        std::fclose(errors);
        std::remove(path.c_str());
        in_comment = 0;
        asm_mode = 0;
        cond_stack = nullptr;
        opt_sa = opt_c99 = 0;
    }

    void open_text(const std::string &text) {
        while (read_logical_line(0)) {
        }
        write_text(path, text);
        input_ended = 0;
        ASSERT_EQ(open_source(path.c_str(), 0), 1);
    }

    // Scans `text` as one line; the text lives to the end of the test.
    std::vector<Tok> scan(const std::string &text) {
        texts.push_back(text);
        PpToken *list = scan_line(texts.back().data());
        std::vector<Tok> tokens;
        for (PpToken *t = list; t; t = t->next)
            tokens.push_back({t->kind, std::string(t->space, t->space_length),
                              std::string(t->text, t->length)});
        pptoken_free_list(list);
        return tokens;
    }

    std::string messages() { return file_text(errors); }

    std::vector<std::string> texts;
};

TEST_F(ScannerTest, TokensAndTheirWhiteSpace) {
    struct Case {
        const char *title;
        std::string line;
        std::vector<Tok> tokens;
    };
    const Case cases[] = {
        {"empty line", "\n", {{PP_EOL, "\n", ""}}},
        {"blank line", " \t\n", {{PP_EOL, " \t\n", ""}}},
        {"text without line end has no end token", "a", {{TOK_IDENT, "", "a"}}},
        {"white space only without line end", "  ", {{PP_EOL, "  ", ""}}},
        {"comment between tokens", "a/**/b\n",
         {{TOK_IDENT, "", "a"}, {TOK_IDENT, "/**/", "b"}, {PP_EOL, "\n", ""}}},
        {"comment with blanks", "x = /* c */ 1;\n",
         {{TOK_IDENT, "", "x"}, {TOK_ASSIGN, " ", "="}, {PP_NUMBER, " /* c */ ", "1"},
          {TOK_SEMI, "", ";"}, {PP_EOL, "\n", ""}}},
        {"line comment", "a // b /* c\n", {{TOK_IDENT, "", "a"}, {PP_EOL, " // b /* c\n", ""}}},
        {"block comment holds //", "a /* // */ b\n",
         {{TOK_IDENT, "", "a"}, {TOK_IDENT, " /* // */ ", "b"}, {PP_EOL, "\n", ""}}},
        {"close without opener", "*/\n",
         {{TOK_STAR, "", "*"}, {TOK_SLASH, "", "/"}, {PP_EOL, "\n", ""}}},
        {"numbers", ".5 1.2.3 12abc 0x1F 1e+5 1E-5 9_a\n",
         {{PP_NUMBER, "", ".5"}, {PP_NUMBER, " ", "1.2.3"}, {PP_NUMBER, " ", "12abc"},
          {PP_NUMBER, " ", "0x1F"}, {PP_NUMBER, " ", "1e+5"}, {PP_NUMBER, " ", "1E-5"},
          {PP_NUMBER, " ", "9_a"}, {PP_EOL, "\n", ""}}},
        {"dots", ".. ... .x\n",
         {{TOK_DOT, "", "."}, {TOK_DOT, "", "."}, {TOK_ELLIPSIS, " ", "..."},
          {TOK_DOT, " ", "."}, {TOK_IDENT, "", "x"}, {PP_EOL, "\n", ""}}},
        {"hexadecimal exponent sign ends the number", "0x1e-2 1e-2 0X1E+2\n",
         {{PP_NUMBER, "", "0x1e"}, {TOK_MINUS, "", "-"}, {PP_NUMBER, "", "2"},
          {PP_NUMBER, " ", "1e-2"}, {PP_NUMBER, " ", "0X1E"}, {TOK_PLUS, "", "+"},
          {PP_NUMBER, "", "2"}, {PP_EOL, "\n", ""}}},
        {"wide forms", "L\"a\" L'a' Lx L\n",
         {{TOK_STRING, "", "L\"a\""}, {PP_CHAR, " ", "L'a'"}, {TOK_IDENT, " ", "Lx"},
          {TOK_IDENT, " ", "L"}, {PP_EOL, "\n", ""}}},
        {"escaped quotes", "'\\'' \"\\\"\" \"a\\\\\" '\\x41' '\\101'\n",
         {{PP_CHAR, "", "'\\''"}, {TOK_STRING, " ", "\"\\\"\""}, {TOK_STRING, " ", "\"a\\\\\""},
          {PP_CHAR, " ", "'\\x41'"}, {PP_CHAR, " ", "'\\101'"}, {PP_EOL, "\n", ""}}},
        {"backslash hash and lone backslash", "\\# \\x\n",
         {{PP_BACKSLASH_HASH, "", "\\#"}, {PP_BAD, " ", "\\"}, {TOK_IDENT, "", "x"},
          {PP_EOL, "\n", ""}}},
        {"bad characters", "$a b$c `\x7f\xc3\n",
         {{PP_BAD, "", "$"}, {TOK_IDENT, "", "a"}, {TOK_IDENT, " ", "b"}, {PP_BAD, "", "$"},
          {TOK_IDENT, "", "c"}, {PP_BAD, " ", "`"}, {PP_BAD, "", "\x7f"},
          {PP_BAD, "", "\xc3"}, {PP_EOL, "\n", ""}}},
        {"identifiers", "_a1 A_b\n",
         {{TOK_IDENT, "", "_a1"}, {TOK_IDENT, " ", "A_b"}, {PP_EOL, "\n", ""}}},
        {"hash and paste", "# ## ###\n",
         {{PP_HASH, "", "#"}, {PP_PASTE, " ", "##"}, {PP_PASTE, " ", "##"},
          {PP_HASH, "", "#"}, {PP_EOL, "\n", ""}}},
        {"vertical tab, form feed and return are white space", "a\v\f\rb\r\n",
         {{TOK_IDENT, "", "a"}, {TOK_IDENT, "\v\f\r", "b"}, {PP_EOL, "\r\n", ""}}},
    };
    for (const Case &c : cases)
        EXPECT_EQ(scan(c.line), c.tokens) << c.title;
    EXPECT_EQ(messages(), "");
}

TEST_F(ScannerTest, EveryOperator) {
    struct Case {
        const char *spelling;
        uint16_t kind;
    };
    const Case cases[] = {
        {"!=", 80}, {"!", 61},   {"##", 21},  {"#", 20},   {"%=", 85},  {"%", 69},  {"&&", 91},
        {"&=", 88}, {"&", 104},  {"(", 10},   {")", 11},   {"*=", 83},  {"*", 99},  {"++", 14},
        {"+=", 81}, {"+", 97},   {",", 1},    {"--", 15},  {"-=", 82},  {"->", 8},  {"-", 98},
        {"...", 7}, {".", 6},    {"/=", 84},  {"/", 68},   {":", 2},    {";", 3},   {"<<=", 86},
        {"<<", 70}, {"<=", 78},  {"<", 75},   {"==", 79},  {"=", 95},   {">>=", 87}, {">>", 71},
        {">=", 76}, {">", 77},   {"?", 9},    {"@", 5},    {"[", 12},   {"\\#", 52}, {"\\", 24},
        {"]", 13},  {"^=", 89},  {"^", 73},   {"{", 16},   {"||", 92},  {"|=", 90},  {"|", 74},
        {"}", 17},  {"~", 62},
    };
    for (const Case &c : cases) {
        std::vector<Tok> tokens = scan(std::string(c.spelling) + " ");
        ASSERT_EQ(tokens.size(), 2u) << c.spelling;
        EXPECT_EQ(tokens[0], (Tok{c.kind, "", c.spelling}));
    }
    // Longest match: <<== is <<= followed by =, and -->- is --, >, -.
    EXPECT_EQ(scan("<<==-->-"),
              (std::vector<Tok>{{TOK_SHL_ASSIGN, "", "<<="}, {TOK_ASSIGN, "", "="},
                                {TOK_DEC, "", "--"}, {TOK_GT, "", ">"}, {TOK_MINUS, "", "-"}}));
}

TEST_F(ScannerTest, StrictModeRules) {
    opt_sa = 1;
    EXPECT_EQ(scan("0x1e-2 0XE+1\n"),
              (std::vector<Tok>{{PP_NUMBER, "", "0x1e-2"}, {PP_NUMBER, " ", "0XE+1"},
                                {PP_EOL, "\n", ""}}));
    // Without -c99 a strict run has no // comments.
    EXPECT_EQ(scan("a // b\n"),
              (std::vector<Tok>{{TOK_IDENT, "", "a"}, {TOK_SLASH, " ", "/"},
                                {TOK_SLASH, "", "/"}, {TOK_IDENT, " ", "b"}, {PP_EOL, "\n", ""}}));
    opt_c99 = 1;
    EXPECT_EQ(scan("a // b\n"),
              (std::vector<Tok>{{TOK_IDENT, "", "a"}, {PP_EOL, " // b\n", ""}}));
}

TEST_F(ScannerTest, CommentsAcrossLines) {
    EXPECT_EQ(scan("a /* open\n"),
              (std::vector<Tok>{{TOK_IDENT, "", "a"}, {PP_EOL, " /* open\n", ""}}));
    EXPECT_EQ(in_comment, 1);
    EXPECT_EQ(scan("still open\n"), (std::vector<Tok>{{PP_EOL, "still open\n", ""}}));
    EXPECT_EQ(scan("end */ b\n"),
              (std::vector<Tok>{{TOK_IDENT, "end */ ", "b"}, {PP_EOL, "\n", ""}}));
    EXPECT_EQ(in_comment, 0);
}

TEST_F(ScannerTest, AssemblyComments) {
    asm_mode = 2;
    EXPECT_EQ(scan("mov r1 ; a \"comment\n"),
              (std::vector<Tok>{{TOK_IDENT, "", "mov"}, {TOK_IDENT, " ", "r1"},
                                {PP_EOL, " ; a \"comment\n", ""}}));
    EXPECT_EQ(scan("; whole line\n"), (std::vector<Tok>{{PP_EOL, "; whole line\n", ""}}));
    // Behind the # of a directive line a ; is a token.
    EXPECT_EQ(scan("#x ;\n"),
              (std::vector<Tok>{{PP_HASH, "", "#"}, {TOK_IDENT, "", "x"}, {TOK_SEMI, " ", ";"},
                                {PP_EOL, "\n", ""}}));
    EXPECT_EQ(messages(), "");
    asm_mode = 0;
    EXPECT_EQ(scan("a ; b\n").size(), 4u);
}

TEST_F(ScannerTest, OpenConstants) {
    struct Case {
        const char *title;
        std::string line;
        std::vector<Tok> tokens;
        const char *message;
    };
    const Case cases[] = {
        {"open string runs to the end, line end included", "x \"abc\n",
         {{TOK_IDENT, "", "x"}, {TOK_STRING, " ", "\"abc\n"}}, "unbalanced \""},
        {"open character", "'a\n", {{PP_CHAR, "", "'a\n"}}, "unbalanced '"},
        {"backslash at the end", "\"a\\", {{TOK_STRING, "", "\"a\\"}}, "unbalanced \""},
        {"escaped quote does not close", "\"a\\\"\n", {{TOK_STRING, "", "\"a\\\"\n"}},
         "unbalanced \""},
        {"hexadecimal escape runs over digits", "'\\x4'\n", {{PP_CHAR, "", "'\\x4'"}, {PP_EOL, "\n", ""}},
         nullptr},
    };
    for (const Case &c : cases) {
        std::rewind(errors);
        ASSERT_EQ(ftruncate(fileno(errors), 0), 0);
        error_count = 0;
        EXPECT_EQ(scan(c.line), c.tokens) << c.title;
        std::string text = messages();
        if (c.message) {
            EXPECT_NE(text.find(std::string(" ") + c.message + "\n"), std::string::npos)
                << c.title << ": " << text;
            EXPECT_EQ(error_count, 1) << c.title;
        } else {
            EXPECT_EQ(text, "") << c.title;
        }
    }
}

TEST_F(ScannerTest, OpenConstantsAreQuietInSkippedCodeAndAssemblyText) {
    CondFrame skipped{nullptr, "t.c", 1, 'i', 0};
    cond_stack = &skipped;
    EXPECT_EQ(scan("\"abc\n").size(), 1u);
    cond_stack = nullptr;
    asm_mode = 2;
    EXPECT_EQ(scan("'abc\n").size(), 1u);
    asm_mode = 0;
    EXPECT_EQ(messages(), "");
    EXPECT_EQ(error_count, 0);
}

TEST_F(ScannerTest, PositionsAfterSplicing) {
    open_text("ab \\\n  cd \\\n\\\n ef\n");
    char *line = read_logical_line(0);
    ASSERT_NE(line, nullptr);
    ASSERT_STREQ(line, "ab   cd  ef\n");
    PpToken *list = scan_line(line);
    struct Pos {
        uint32_t line;
        uint16_t column;
    };
    const Pos expected[] = {{1, 0}, {2, 2}, {4, 1}, {4, 4}};
    int i = 0;
    for (PpToken *t = list; t; t = t->next, i++) {
        ASSERT_LT(i, 4);
        EXPECT_EQ(t->line, expected[i].line) << "token " << i;
        EXPECT_EQ(t->column, expected[i].column) << "token " << i;
    }
    EXPECT_EQ(i, 4);
    pptoken_free_list(list);
}

TEST_F(ScannerTest, FreeListGivesNodesBack) {
    std::vector<std::string> keep{"a b c"};
    PpToken *list = scan_line(keep[0].data());
    std::vector<PpToken *> nodes;
    for (PpToken *t = list; t; t = t->next)
        nodes.push_back(t);
    ASSERT_EQ(nodes.size(), 3u);
    pptoken_free_list(list);
    pptoken_free_list(nullptr);
    // The whole list is reused before anything new is made.
    std::vector<PpToken *> again;
    for (int i = 0; i < 3; i++) {
        PpToken *t = pptoken_new();
        EXPECT_EQ(t->next, nullptr);
        again.push_back(t);
    }
    for (PpToken *t : nodes)
        EXPECT_NE(std::find(again.begin(), again.end(), t), again.end());
    for (PpToken *t : again)
        pptoken_free_list(t);
}

}  // namespace
