// The preprocessing scanner from inside: token kinds and spellings, the white
// space kept in front of each token, what -sa, -c99 and assembly text change,
// and positions after splicing.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "driver/options.h"
#include "file_text.h"
#include "lexer/token.h"
#include "message_capture.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"

namespace {

class ScannerTest : public ::testing::Test {
protected:
    std::string path = new_scratch_file("zcppc-scanner");
    Messages messages;

    void SetUp() override { open_text("\n"); }

    void TearDown() override {
        while (read_logical_line(0)) {
        }
        std::remove(path.c_str());
        in_comment = asm_mode = 0;
        opt_sa = opt_c99 = 0;
    }

    void open_text(const std::string &text) {
        while (read_logical_line(0)) {
        }
        write_text(path, text);
        input_ended = 0;
        ASSERT_EQ(open_source(path.c_str(), 0), 1);
    }

    // Scans `text` as one line and gives the tokens as text: each token's
    // white space, then its spelling in brackets behind a letter for the
    // kinds that are not operators; the line end token is a $.
    std::string scan(std::string text) {
        PpToken *list = scan_line(text.data());
        std::string out;
        for (PpToken *t = list; t; t = t->next) {
            const char *letter = t->kind == TOK_IDENT ? "I" : t->kind == PP_NUMBER ? "N"
                               : t->kind == TOK_STRING ? "S" : t->kind == PP_CHAR ? "C"
                               : t->kind == PP_BAD ? "B" : "";
            out += std::string(t->space, t->space_length) +
                   (t->kind == PP_EOL ? "$" : letter + ("[" + std::string(t->text, t->length) + "]"));
        }
        pptoken_free_list(list);
        return out;
    }
};

enum Mode { PLAIN = 0, SA = 1, C99 = 2, ASM = 4 };

TEST_F(ScannerTest, TokensAndTheirWhiteSpace) {
    struct Case {
        int mode;
        std::string line;
        const char *tokens;
        const char *message;
    };
    const Case cases[] = {
        {PLAIN, "a", "I[a]", ""},   // no line end, no end token
        {PLAIN, "  ", "  $", ""},
        {PLAIN, "x = /* c */ 1; // d /* e\n", "I[x] [=] /* c */ N[1][;] // d /* e\n$", ""},
        {PLAIN, ".5 1.2.3 12abc 1e+5 1E-5 9_a\n", "N[.5] N[1.2.3] N[12abc] N[1e+5] N[1E-5] N[9_a]\n$", ""},
        {PLAIN, ".. ... .x\n", "[.][.] [...] [.]I[x]\n$", ""},
        // A hexadecimal number ends in front of the sign of an exponent,
        // except with -sa; -sa has no // comments, unless -c99 is given too.
        {PLAIN, "0x1e-2 0X1E+2\n", "N[0x1e][-]N[2] N[0X1E][+]N[2]\n$", ""},
        {SA, "0x1e-2 0XE+1\n", "N[0x1e-2] N[0XE+1]\n$", ""},
        {SA, "a // b\n", "I[a] [/][/] I[b]\n$", ""},
        {SA | C99, "a // b\n", "I[a] // b\n$", ""},
        {PLAIN, "L\"a\" L'a' Lx L\n", "S[L\"a\"] C[L'a'] I[Lx] I[L]\n$", ""},
        {PLAIN, "'\\'' \"\\\"\" \"a\\\\\" '\\x4'\n", "C['\\''] S[\"\\\"\"] S[\"a\\\\\"] C['\\x4']\n$", ""},
        {PLAIN, "\\# \\x $a b$c `\x7f\xc3\n", "[\\#] B[\\]I[x] B[$]I[a] I[b]B[$]I[c] B[`]B[\x7f]B[\xc3]\n$", ""},
        {PLAIN, "# ## ###\n", "[#] [##] [##][#]\n$", ""},
        // The longest match: <<== is <<= followed by =, and -->- is --, >, -.
        {PLAIN, "<<==-->-", "[<<=][=][--][>][-]", ""},
        {PLAIN, "a\v\f\rb\r\n", "I[a]\v\f\rI[b]\r\n$", ""},
        // In assembly text a ; starts a comment, except behind the # of a
        // directive line.
        {ASM, "mov r1 ; a \"comment\n", "I[mov] I[r1] ; a \"comment\n$", ""},
        {ASM, "; all\n", "; all\n$", ""},
        {ASM, "#x ;\n", "[#]I[x] [;]\n$", ""},
        // An open constant runs to the end of the line, line end included.
        {PLAIN, "x \"a\\\"\n", "I[x] S[\"a\\\"\n]", "unbalanced \""},
        {PLAIN, "'a\n", "C['a\n]", "unbalanced '"},
        {PLAIN, "\"a\\", "S[\"a\\]", "unbalanced \""},
    };
    for (const Case &c : cases) {
        opt_sa = c.mode & SA ? 1 : 0;
        opt_c99 = c.mode & C99 ? 1 : 0;
        asm_mode = c.mode & ASM ? 2 : 0;
        EXPECT_EQ(scan(c.line), c.tokens) << c.line;
        std::string text = messages.take();
        if (*c.message)
            EXPECT_TRUE(text.ends_with(std::string(" ") + c.message + "\n")) << text;
        else
            EXPECT_EQ(text, "") << c.line;
    }
}

// Tokens carry the physical line and column they were read from, counted in
// the text after trigraph replacement; the line end stands behind the text.
// Only the starts of the first 128 physical lines of a logical line are
// kept: the tokens behind them are placed on the last physical line, and
// those in front as many lines too far on as starts were not kept.
TEST_F(ScannerTest, PositionsAfterSplicing) {
    std::string many;
    for (int i = 0; i < 200; ++i)
        many += "x \\\n";
    const std::pair<std::string, std::string> cases[] = {
        {"ab \\\n  cd \\\n\\\n ef\n", "1:0 2:2 4:1 4:4"},
        {"?\?=x \\\nb\n", "1:0 1:1 2:0 2:2"},
        {many + "y\n", "74:0 201:146 201:148"},
    };
    for (const auto &[text, positions] : cases) {
        open_text(text);
        PpToken *list = scan_line(read_logical_line(0));
        std::vector<std::string> all;
        for (PpToken *t = list; t; t = t->next)
            all.push_back(std::to_string(t->line) + ":" + std::to_string(t->column));
        pptoken_free_list(list);
        if (all.size() > 4)
            all.erase(all.begin() + 1, all.end() - 2);
        std::string got;
        for (const std::string &position : all)
            got += (got.empty() ? "" : " ") + position;
        EXPECT_EQ(got, positions) << text;
    }
}

}  // namespace
