// The token stream from inside: what next_token makes of source lines, the
// ring and its give-back, expect_token's recovery, the switch to a private
// list, and the recording and replay of tokens with their positions.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "driver/options.h"
#include "file_text.h"
#include "lexer/token.h"
#include "message_capture.h"
#include "preproc/directives.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"

namespace {

// Short spelling of a token: names and strings as written, integers as
// #value, assembly text as asm[...] with a * for the first line of a block,
// some punctuation as written, every other code as <code>.
std::string show(const Token *t) {
    const std::string text = t->code == TOK_ASM ? std::string(t->value.text, t->length) : "";
    switch (t->code) {
    case TOK_IDENT: return std::string(t->value.name->text, t->value.name->length);
    case TOK_STRING: return "\"" + std::string(reinterpret_cast<const char *>(t->value.string->bytes), t->value.string->length) + "\"";
    case TOK_INT: return "#" + std::to_string(t->value.integer);
    case TOK_ASM: return std::string("asm") + ((t->column & 0x8000) ? "*" : "") + "[" + text + "]";
    case TOK_SEMI: return ";";
    case TOK_LBRACE: return "{";
    case TOK_RBRACE: return "}";
    case TOK_EOF: return "EOF";
    default: return "<" + std::to_string(t->code) + ">";
    }
}

class TokenStreamTest : public ::testing::Test {
protected:
    char home[4096], scratch[32] = "/tmp/zcppc-tokens-XXXXXX";
    Messages messages;

    void SetUp() override {
        ASSERT_TRUE(getcwd(home, sizeof home) && mkdtemp(scratch) && chdir(scratch) == 0);
        set_program_name("zcppc");
        opt_ge = 1;
        clear();
    }
    void TearDown() override {
        tokens();   // to the end of the input, so that the next test starts afresh
        token_mode = recovery_target = opt_ge = 0;
        std::free(file_override);   // the file name of a #line is kept to the end of a run
        file_override = nullptr;
        ASSERT_TRUE(chdir(home) == 0 && std::system((std::string("rm -rf ") + scratch).c_str()) == 0);
    }
    void clear() {
        asm_mode = error_count = 0;
        last_report_line = 0;
        messages.take();
    }
    // Makes `text` the whole input, as the file t.c.
    void source(const std::string &text) {
        clear();
        write_text("t.c", text);
        input_ended = 0;
        ASSERT_EQ(open_source("t.c", 0), 1);
    }
    // The next `count` tokens, the end of input included; without a count,
    // every token up to the end of the input.
    static std::string tokens(int count = 0) {
        std::string out;
        for (int i = 0; i < (count ? count : 1000); i++) {
            Token *t = next_token();
            if (t->code == TOK_EOF && count == 0)
                break;
            out += (out.empty() ? "" : " ") + show(t);
            if (t->code == TOK_ASM)
                std::free(t->value.text);
            if (t->code == TOK_EOF)
                break;
        }
        return out;
    }
};

// Strings are joined across line ends and directives, and a `//` made by
// pasting comments out the rest of its line.  Up to three tokens go back
// and come again in order, last_token standing on the token in front of
// them; a fourth ends the run.
TEST_F(TokenStreamTest, TokensAndGivingBack) {
    source("\"a\" \"b\"\n\n#define SLASH / ## /\n\"c\" SLASH x\nwhile b c d e\n");
    EXPECT_EQ(tokens(4), "\"abc\" <159> b c");
    EXPECT_EQ(messages.take(), "");
    unget_token();
    EXPECT_EQ(show(last_token), "b");
    unget_token();
    EXPECT_EQ(show(last_token), "<159>");
    unget_token();
    error_stream = stderr;
    EXPECT_EXIT(unget_token(), ::testing::ExitedWithCode(1), "token overflow");
    EXPECT_EQ(tokens(), "<159> b c d e");
}

// expect_token after the first token of `text`: the message, where it
// stands, and what is left to read.
TEST_F(TokenStreamTest, ExpectAndRecover) {
    const uint8_t TO_END = RECOVER_TO_STATEMENT_END;
    const struct { const char *text; int code; uint8_t target; const char *message, *rest; } cases[] = {
        {"p ;\n", TOK_SEMI, 0, "", "EOF"},
        {"p q r\n", TOK_SEMI, 0, "missing ;", "q r EOF"},
        {"p q } r ; s\n", TOK_SEMI, TOK_SEMI, "missing ;", "s EOF"},
        {"p q r { s\n", TOK_RPAREN, TOK_RBRACE, "missing )", "s EOF"},
        {"p q ; s\n", TOK_RBRACE, TOK_RBRACE, "missing }", "s EOF"},
        {"p q r } s\n", TOK_SEMI, TO_END, "missing ;", "} s EOF"},
        {"p q r { s\n", TOK_SEMI, TO_END, "missing ;", "{ s EOF"},
        {"p q ; s\n", TOK_SEMI, TO_END, "missing ;", "s EOF"},
        {"p q r\n", TOK_SEMI, TO_END, "missing ;", "EOF"},
        {"p\n", TOK_RPAREN, TOK_SEMI, "missing )", "EOF"},
        {"p q\n", TOK_LPAREN, 0, "missing (", "q EOF"},     {"p q\n", TOK_WHILE, 0, "missing while", "q EOF"},
        {"p q\n", TOK_IDENT + 1, 0, "syntax error", "q EOF"}, {"p q\n", TOK_EQ, TOK_SEMI, "syntax error", "EOF"},
    };
    for (const auto &c : cases) {
        source(c.text);
        next_token();
        recovery_target = c.target;
        Token *t = expect_token(c.code);
        bool matched = *c.message == '\0';
        EXPECT_TRUE(!matched || t->code == c.code) << c.text;
        EXPECT_EQ(recovery_target, matched ? c.target : 0) << c.text;
        EXPECT_EQ(messages.take(), matched ? "" : "t.c:1:0: " + std::string(c.message) + "\n") << c.text;
        EXPECT_EQ(tokens(10), c.rest) << c.text;
    }
    // A token missing at the end of the input is reported once, however
    // often the parser asks.
    source("f (\n");
    tokens(2);
    expect_token(TOK_RPAREN);
    expect_token(TOK_RPAREN);
    recovery_target = TO_END;
    expect_token(TOK_RPAREN);
    EXPECT_EQ(messages.take(), "t.c:1:2: missing )\n");
    EXPECT_EQ(error_count, 1);
}

// A directive's list read in place of the source ends the input; switching
// back restores the ring and gives the code of what was left unread: a
// token given back, or the kind of the next in the list.
TEST_F(TokenStreamTest, SwitchToListAndBack) {
    source("a b\nc\n");
    EXPECT_EQ(tokens(2), "a b");
    unget_token();
    recovery_target = TOK_SEMI;
    char text[] = "1 + sizeof x\n";
    PpToken *list = scan_line(text);
    token_source_switch(list);
    EXPECT_TRUE(last_token == nullptr && recovery_target == 0);
    EXPECT_EQ(tokens(3), "#1 <97> <150>");
    unget_token();
    EXPECT_EQ(token_source_switch(nullptr), TOK_SIZEOF);
    EXPECT_TRUE(show(last_token) == "a" && recovery_target == TOK_SEMI);
    for (int count : {1, 5}) {
        token_source_switch(list);
        tokens(count);
        EXPECT_EQ(token_source_switch(nullptr), count == 1 ? TOK_PLUS : TOK_EOF & 0xFF);
    }
    pptoken_free_list(list);
    recovery_target = 0;
    EXPECT_EQ(tokens(), "b c");
}

// Recording appends every token delivered, once, even when it was given
// back and read again; replay gives them back with the positions and file
// names they had, then the end of input, and reads no source line.  A
// message during a replay stands at the replayed token, in its file.
TEST_F(TokenStreamTest, RecordAndReplay) {
    source("{ a \"s\" 7\n#line 40 \"other.c\"\n  b ; }\n#asm\n nop\n#endasm\nafter\n");
    EXPECT_EQ(show(next_token()), "{");
    SavedToken *head = nullptr;
    record_tail = &head;
    token_mode = 1;
    EXPECT_EQ(tokens(2), "a \"s\"");
    unget_token();
    EXPECT_EQ(tokens(6), "\"s\" #7 b ; } asm*[nop\n]");
    token_mode = 0;
    EXPECT_EQ(tokens(), "after");
    uint32_t end_line = current_line();
    for (int round = 0; round < 2; round++) {
        record_tail = &head;
        token_mode = 2;
        std::string replayed;
        for (Token *t; replayed.size() < 1000 && (t = next_token())->code != TOK_EOF;) {
            replayed += show(t) + "@" + std::to_string(t->line) + ":" + current_file_name() + " ";
            EXPECT_TRUE(last_token == t && current_line() == t->line) << show(t);
            if (t->code == TOK_STRING) {
                EXPECT_EQ(t->value.string, pool_string("s", 1));
            }
            // Each replay hands out a text of its own, which the receiver frees.
            if (t->code == TOK_ASM) {
                EXPECT_NE(t->value.text, head->next->next->next->next->next->next->token.value.text);
                std::free(t->value.text);
            }
            if (round == 1 && t->code == TOK_SEMI)
                report("here");
        }
        EXPECT_EQ(replayed, "a@1:t.c \"s\"@1:t.c #7@1:t.c b@40:other.c ;@40:other.c }@40:other.c asm*[nop\n]@42:other.c ");
        EXPECT_EQ(current_line(), end_line);
        token_mode = 0;
    }
    EXPECT_EQ(replay_node, nullptr);
    EXPECT_EQ(messages.take(), "other.c:40:4: here\n");
    // Recorded lists live to the end of a run; each node is one block.
    while (head != nullptr)
        head = free_and_return(head, head->next);
}

} // namespace
