// The token stream from inside: what next_token makes of source lines, the
// ring and its give-back, expect_token's recovery, the switch to a private
// list, and the recording and replay of tokens with their positions.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "driver/options.h"
#include "file_text.h"
#include "lexer/token.h"
#include "preproc/directives.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"

namespace {

// Short spelling of a token: names and strings as written, integers as
// #value, assembly text as asm[...] with a * for the first line of a block,
// punctuation as written, every other code as <code>.
std::string show(const Token *t) {
    switch (t->code) {
    case TOK_IDENT:
        return std::string(t->value.name->text, t->value.name->length);
    case TOK_STRING:
        return "\"" + std::string(reinterpret_cast<const char *>(t->value.string->bytes),
                                  t->value.string->length) + "\"";
    case TOK_INT:
        return "#" + std::to_string(t->value.integer);
    case TOK_ASM:
        return std::string("asm") + ((t->column & 0x8000) ? "*" : "") + "[" +
               std::string(t->value.text, t->length) + "]";
    case TOK_SEMI: return ";";
    case TOK_LBRACE: return "{";
    case TOK_RBRACE: return "}";
    case TOK_LPAREN: return "(";
    case TOK_RPAREN: return ")";
    case TOK_PLUS: return "+";
    case TOK_EOF: return "EOF";
    default:
        return "<" + std::to_string(t->code) + ">";
    }
}

// Recorded lists live to the end of a run; a test gives its own back.  Each
// node is one block, its copied text or string included.
void free_saved(SavedToken *list) {
    while (list != nullptr)
        list = free_and_return(list, list->next);
}

class TokenStreamTest : public ::testing::Test {
protected:
    std::string scratch;
    std::string home;
    FILE *errors = nullptr;

    void SetUp() override {
        set_program_name("zcppc");
        char pattern[] = "/tmp/zcppc-tokens-XXXXXX";
        scratch = mkdtemp(pattern);
        char cwd[4096];
        home = getcwd(cwd, sizeof cwd);
        ASSERT_EQ(chdir(scratch.c_str()), 0);
        errors = std::tmpfile();
        error_stream = errors;
        error_count = 0;
        last_report_line = 0;
        last_report_column = 0;
        opt_ge = 1;
        opt_e = opt_sa = opt_ad = 0;
        line_override_active = 0;
        file_override = nullptr;
        asm_mode = 0;
        in_comment = 0;
        recovery_target = 0;
        token_mode = 0;
    }

    void TearDown() override {
        drain();
        token_mode = 0;
        recovery_target = 0;
        opt_ge = 0;
        // The file name of a #line is kept to the end of a run.
        std::free(file_override);
        file_override = nullptr;
        line_override_active = 0;
        error_stream = stderr;
        std::fclose(errors);
        ASSERT_EQ(chdir(home.c_str()), 0);
        std::string remove = "rm -rf " + scratch;
        ASSERT_EQ(std::system(remove.c_str()), 0);
    }

    // Makes `text` the whole input, as the file t.c.
    void source(const std::string &text, const char *name = "t.c") {
        write_text(name, text);
        input_ended = 0;
        ASSERT_EQ(open_source(name, 0), 1);
    }

    // Reads to the end of the input, past any token given back, so that the
    // next test starts with an empty ring and no line.
    static void drain() {
        token_mode = 0;
        int ends = 0;
        for (int i = 0; i < 100000 && ends < 2; i++)
            ends = next_token()->code == TOK_EOF ? ends + 1 : 0;
    }

    // Every token up to the end of the input, blank-separated.
    static std::string tokens() {
        std::string out;
        for (int i = 0; i < 1000; i++) {
            Token *t = next_token();
            if (t->code == TOK_EOF)
                break;
            if (!out.empty())
                out += ' ';
            out += show(t);
            if (t->code == TOK_ASM)
                std::free(t->value.text);
        }
        return out;
    }

    void clear_messages() {
        error_count = 0;
        last_report_line = 0;
        std::rewind(errors);
        ASSERT_EQ(ftruncate(fileno(errors), 0), 0);
    }

    std::string messages() { return file_text(errors); }
};

// What next_token makes of whole sources: keywords, constants, strings
// joined across blanks, line ends and directives, dropped characters,
// pasted comments and assembly lines.
TEST_F(TokenStreamTest, TokensOfSources) {
    struct Case {
        const char *text;
        const char *tokens;
        const char *messages;
    } cases[] = {
        {"while whilex int\n", "<159> whilex <144>", ""},
        {"x = 0x10 + 'a';\n", "x <95> #16 + #97 ;", ""},
        {"\"a\" \"b\" c\n", "\"ab\" c", ""},
        {"\"a\"\n\n\"b\";\n", "\"ab\" ;", ""},
        {"\"a\" #define\n", "\"a\" <20> define", ""},
        {"x \"lost\"", "x", ""},
        {"$$\n$\n", "", "t.c:1:1: bad character $\nt.c:1:1: bad character $\nt.c:2:1: bad character $\n"},
        {"#define TS_SLASH / ## /\na TS_SLASH b c\nd\n", "a d", ""},
        {"#asm\n  li r3,0 ; zero\n\n#endasm\nx\n", "asm*[li r3,0 ; zero\n] asm[] x", ""},
        {"#asm\n nop\n#endasm\n#asm\n nop\n#endasm\n", "asm*[nop\n] asm*[nop\n]", ""},
        {"#asm\n last", "asm*[last\n]", ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        asm_mode = 0;
        clear_messages();
        source(c.text);
        EXPECT_EQ(tokens(), c.tokens);
        EXPECT_EQ(messages(), c.messages);
        drain();
    }
}

// Line, column and length as the parser sees them; a string keeps the
// position and length of its first piece.
TEST_F(TokenStreamTest, PositionsOfTokens) {
    source("  abc = 12;\n\"x\"\n  \"yz\" q\n");
    struct Expected {
        uint32_t line;
        uint16_t column, length;
    } expected[] = {{1, 2, 3}, {1, 6, 1}, {1, 8, 2}, {1, 10, 1}, {2, 0, 3}, {3, 7, 1}};
    for (const Expected &e : expected) {
        Token *t = next_token();
        EXPECT_EQ(t->line, e.line);
        EXPECT_EQ(t->column, e.column);
        EXPECT_EQ(t->length, e.length);
    }
}

// The end of input repeats, and a string delivered last leaves no token to
// position messages on.
TEST_F(TokenStreamTest, EndOfInputRepeats) {
    source("\"s\" ;\n");
    EXPECT_EQ(next_token()->code, TOK_STRING);
    EXPECT_EQ(last_token, nullptr);
    EXPECT_EQ(next_token()->code, TOK_SEMI);
    for (int i = 0; i < 5; i++) {
        Token *t = next_token();
        EXPECT_EQ(t->code, TOK_EOF);
        EXPECT_EQ(t->line, 1u);
        EXPECT_EQ(t->length, 0);
        EXPECT_EQ(last_token, t);
    }
}

// Up to three tokens go back and come again in order; last_token stands on
// the token in front of the one given back.  (With three given back that
// slot already holds the newest token: the ring has only three.)
TEST_F(TokenStreamTest, RingGivesBackThree) {
    source("a b c d e\n");
    Token *a = next_token();
    std::string seen = show(a);
    for (int i = 0; i < 3; i++)
        seen += " " + show(next_token());
    EXPECT_EQ(seen, "a b c d");
    unget_token();
    EXPECT_EQ(show(last_token), "c");
    unget_token();
    EXPECT_EQ(show(last_token), "b");
    unget_token();
    EXPECT_EQ(tokens(), "b c d e");
}

TEST_F(TokenStreamTest, FourthGiveBackIsFatal) {
    source("a b c d\n");
    for (int i = 0; i < 4; i++)
        next_token();
    unget_token();
    unget_token();
    unget_token();
    error_stream = stderr;
    EXPECT_EXIT(unget_token(), ::testing::ExitedWithCode(1), "token overflow");
}

// expect_token: the message, where it stands, and what is left to read.
TEST_F(TokenStreamTest, ExpectAndRecover) {
    struct Case {
        const char *text;      // the first token is read before the expect
        int code;
        uint8_t target;
        const char *message;
        const char *rest;
    } cases[] = {
        {"p ;\n", TOK_SEMI, 0, "", "EOF"},
        {"p q r\n", TOK_SEMI, 0, "t.c:1:0: missing ;\n", "q r EOF"},
        {"p q r ; s\n", TOK_SEMI, TOK_SEMI, "t.c:1:0: missing ;\n", "s EOF"},
        {"p q } r ; s\n", TOK_SEMI, TOK_SEMI, "t.c:1:0: missing ;\n", "s EOF"},
        {"p q r { s\n", TOK_RPAREN, TOK_RBRACE, "t.c:1:0: missing )\n", "s EOF"},
        {"p q } s\n", TOK_RBRACKET, TOK_RBRACE, "t.c:1:0: missing ]\n", "s EOF"},
        {"p q ; s\n", TOK_RBRACE, TOK_RBRACE, "t.c:1:0: missing }\n", "s EOF"},
        {"p q r } s\n", TOK_SEMI, RECOVER_TO_STATEMENT_END, "t.c:1:0: missing ;\n", "} s EOF"},
        {"p q r { s\n", TOK_SEMI, RECOVER_TO_STATEMENT_END, "t.c:1:0: missing ;\n", "{ s EOF"},
        {"p q ; s\n", TOK_SEMI, RECOVER_TO_STATEMENT_END, "t.c:1:0: missing ;\n", "s EOF"},
        {"p q r\n", TOK_SEMI, RECOVER_TO_STATEMENT_END, "t.c:1:0: missing ;\n", "EOF"},
        {"p\n", TOK_RPAREN, TOK_SEMI, "t.c:1:0: missing )\n", "EOF"},
        {"p q\n", TOK_LPAREN, 0, "t.c:1:0: missing (\n", "q EOF"},
        {"p q\n", TOK_WHILE, 0, "t.c:1:0: missing while\n", "q EOF"},
        {"p q\n", TOK_COLON, 0, "t.c:1:0: missing :\n", "q EOF"},
        {"p q\n", TOK_IDENT + 1, 0, "t.c:1:0: syntax error\n", "q EOF"},
        {"p q\n", TOK_EQ, TOK_SEMI, "t.c:1:0: syntax error\n", "EOF"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        clear_messages();
        source(c.text);
        next_token();
        recovery_target = c.target;
        Token *t = expect_token(c.code);
        bool matched = std::string(c.message).empty();
        if (matched) {
            EXPECT_EQ(t->code, c.code);
        }
        EXPECT_EQ(recovery_target, matched ? c.target : 0);
        EXPECT_EQ(messages(), c.message);
        std::string rest;
        for (int i = 0; i < 10; i++) {
            Token *r = next_token();
            rest += rest.empty() ? show(r) : " " + show(r);
            if (r->code == TOK_EOF)
                break;
        }
        EXPECT_EQ(rest, c.rest);
        drain();
    }
}

// A token expected at the end of the input is reported once, however often
// the parser asks.
TEST_F(TokenStreamTest, MissingAtEndReportedOnce) {
    source("f (\n");
    next_token();
    next_token();
    recovery_target = 0;
    expect_token(TOK_RPAREN);
    expect_token(TOK_RPAREN);
    recovery_target = RECOVER_TO_STATEMENT_END;
    expect_token(TOK_RPAREN);
    EXPECT_EQ(messages(), "t.c:1:2: missing )\n");
    EXPECT_EQ(error_count, 1);
}

// A directive's list read in place of the source: it ends the input, and
// switching back gives the ring as it was and the code of what is left.
TEST_F(TokenStreamTest, SwitchToListAndBack) {
    source("a b\nc\n");
    EXPECT_EQ(show(next_token()), "a");
    EXPECT_EQ(show(next_token()), "b");
    unget_token();
    recovery_target = TOK_SEMI;
    token_mode = 0;

    char text[] = "1 + sizeof x\n";
    PpToken *list = scan_line(text);
    token_source_switch(list);
    EXPECT_EQ(last_token, nullptr);
    EXPECT_EQ(recovery_target, 0);
    EXPECT_EQ(show(next_token()), "#1");
    EXPECT_EQ(show(next_token()), "+");
    Token *kw = next_token();
    EXPECT_EQ(kw->code, TOK_SIZEOF);
    unget_token();
    // The kind of a token given back is its code; a keyword counts as such.
    EXPECT_EQ(token_source_switch(nullptr), TOK_SIZEOF);
    EXPECT_EQ(recovery_target, TOK_SEMI);
    recovery_target = 0;
    EXPECT_EQ(show(last_token), "a");
    EXPECT_EQ(tokens(), "b c");
    pptoken_free_list(list);
}

TEST_F(TokenStreamTest, SwitchedListEndsInput) {
    source("outside\n");
    char text[] = "x y\n";
    PpToken *list = scan_line(text);
    token_source_switch(list);
    EXPECT_EQ(show(next_token()), "x");
    // The unread identifier is reported by its kind, and the source's own
    // line is never touched while the list is read.
    EXPECT_EQ(token_source_switch(nullptr), TOK_IDENT);
    token_source_switch(list);
    EXPECT_EQ(tokens(), "x y");
    EXPECT_EQ(token_source_switch(nullptr), TOK_EOF & 0xFF);
    pptoken_free_list(list);
    EXPECT_EQ(tokens(), "outside");
}

// Recording appends every token delivered, once, even when it was given
// back and read again; replay gives them back with the positions and file
// names they had, then the end of input, and reads no source line.
TEST_F(TokenStreamTest, RecordAndReplay) {
    source("{ a \"s\" 7\n#line 40 \"other.c\"\n  b ; }\n#asm\n nop\n#endasm\nafter\n");
    EXPECT_EQ(show(next_token()), "{");
    SavedToken *head = nullptr;
    record_tail = &head;
    token_mode = 1;
    std::string recorded;
    for (int i = 0; i < 7; i++) {
        Token *t = next_token();
        if (i == 1) {
            unget_token();
            t = next_token();
        }
        recorded += (recorded.empty() ? "" : " ") + show(t);
        if (t->code == TOK_ASM)
            std::free(t->value.text);
    }
    token_mode = 0;
    EXPECT_EQ(recorded, "a \"s\" #7 b ; } asm*[nop\n]");
    EXPECT_EQ(tokens(), "after");
    uint32_t end_line = current_line();

    struct Expected {
        const char *show;
        uint32_t line;
        const char *file;
    } expected[] = {
        {"a", 1, "t.c"}, {"\"s\"", 1, "t.c"}, {"#7", 1, "t.c"}, {"b", 40, "other.c"},
        {";", 40, "other.c"}, {"}", 40, "other.c"}, {"asm*[nop\n]", 42, "other.c"},
    };
    for (int round = 0; round < 2; round++) {
        SCOPED_TRACE(round);
        record_tail = &head;
        token_mode = 2;
        std::vector<char *> texts;
        for (const Expected &e : expected) {
            Token *t = next_token();
            EXPECT_EQ(show(t), e.show);
            EXPECT_EQ(t->line, e.line);
            EXPECT_EQ(current_line(), e.line);
            EXPECT_STREQ(current_file_name(), e.file);
            EXPECT_EQ(last_token, t);
            if (t->code == TOK_STRING) {
                EXPECT_EQ(t->value.string, pool_string("s", 1));
            }
            if (t->code == TOK_ASM)
                texts.push_back(t->value.text);
        }
        Token *end = next_token();
        EXPECT_EQ(end->code, TOK_EOF);
        EXPECT_EQ(current_line(), end_line);
        // Each replay hands out a text of its own, which the receiver frees.
        ASSERT_EQ(texts.size(), 1u);
        EXPECT_NE(texts[0], head->next->next->next->next->next->next->token.value.text);
        std::free(texts[0]);
        token_mode = 0;
    }
    EXPECT_EQ(replay_node, nullptr);
    free_saved(head);
}

// A message during a replay stands at the replayed token, in its file.
TEST_F(TokenStreamTest, MessagesDuringReplay) {
    source("x\n#line 7 \"inl.c\"\n   y\nz\n");
    SavedToken *head = nullptr;
    record_tail = &head;
    token_mode = 1;
    next_token();
    next_token();
    token_mode = 0;
    EXPECT_EQ(tokens(), "z");
    record_tail = &head;
    token_mode = 2;
    next_token();
    next_token();
    report("here");
    token_mode = 0;
    EXPECT_EQ(messages(), "inl.c:7:3: here\n");
    free_saved(head);
}

} // namespace
