// Macros from inside: definition records and their comparison, the table of
// names, the place, kind and marks of expanded tokens, and the budget of one
// line's expansion.  What -e output shows is run by tests/e2e/macros.
#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <tuple>
#include <vector>

#include "driver/options.h"
#include "file_text.h"
#include "lexer/token.h"
#include "message_capture.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"

namespace {

// "#define E0 base", then E1 to E<levels>, each `copies` times the one before.
std::string nested(const std::string &base, int levels, int copies) {
    std::string text = "#define E0 " + base;
    for (int i = 1; i <= levels; i++)
        for (int n = 0; n <= copies; n++)
            text += n ? " E" + std::to_string(i - 1) : "\n#define E" + std::to_string(i);
    return text + "\n";
}

std::string render(const PpToken *list) {
    std::string text;
    for (const PpToken *t = list; t; t = t->next)
        text.append(t->space, t->space_length).append(t->text, t->length);
    return text;
}

class MacroTest : public ::testing::Test {
protected:
    std::string path = new_scratch_file("zcppc-macro");
    Messages messages;
    std::deque<std::string> texts;   // lines that scanned tokens point into

    void SetUp() override {
        set_program_name("zcppc");
        error_count = in_comment = asm_mode = in_directive = 0;
    }
    void TearDown() override {
        while (read_logical_line(0)) {
        }
        forget_macros();
        std::remove(path.c_str());
    }

    PpToken *scan(const std::string &text) { return scan_line(texts.emplace_back(text).data()); }

    // Defines from the text behind "#define "; returns the macro or null.
    MacroDef *define(const std::string &text) {
        PpToken *list = scan(text + "\n");
        MacroDef *macro = macro_define(list);
        pptoken_free_list(list);
        return macro;
    }

    void forget_macros() {
        for (PpToken *name; macro_list; pptoken_free_list(name))
            macro_undefine(name = scan(macro_list->name));
    }

    void open_text(const std::string &text) {
        while (read_logical_line(0)) {
        }
        write_text(path, text);
        input_ended = 0;
        ASSERT_EQ(open_source(path.c_str(), 0), 1);
        file_override = const_cast<char *>("t.c");
    }

    // Runs `source` through the line dispatcher and gives the text it leaves.
    std::string run(const std::string &source) {
        forget_macros();
        open_text(source);
        std::string out;
        while (char *line = read_logical_line(0)) {
            PpToken *list = dispatch_line(scan_line(line));
            out += render(list);
            pptoken_free_list(list);
        }
        return out;
    }
};

TEST_F(MacroTest, Expansions) {
    std::string many;   // 200 macros, every third one removed again
    for (int i = 0; i < 200; i++)
        many += "#define M" + std::to_string(i) + " " + std::to_string(i) + "\n";
    for (int i = 0; i < 200; i += 3)
        many += "#undef M" + std::to_string(i) + "\n";
    const std::tuple<std::string, const char *, const char *, int> cases[] = {
        {"#define ab 1\nabc ab a\n", "abc 1 a\n", "", 1},
        {"#define A 1\nA\n#undef A\nA\n#define A 2\nA\n#undef B\n", "1\nA\n2\n", "", 1},
        {many + "M0 M1 M2 M3 M199 M198\n", "M0 1 2 M3 199 M198\n", "", 133},
        {"#define P(a) a ## a ## a\nP(##)\n", "####\n", "#error zcppc t.c:2 missing ## argument in macro P\n", 1},
        {"#define R(x) x R\nR(R(R(1)))(2)\n", "1 R R R(2)\n", "", 1},
        {"#define E() x\nE(a\n", "E(a\n", "#error zcppc t.c:2 bad invocation of macro E\n", 1},
        // Only the exact built-in names are replaced.
        {"__DATE_ _DATE__ definedx __XXXX__ DEFINED __STDC__ \"__LINE__\"\n",
         "__DATE_ _DATE__ definedx __XXXX__ DEFINED 1 \"__LINE__\"\n", "", 0},
    };
    for (auto &[source, out, errors, left] : cases) {
        EXPECT_EQ(run(source), out) << source;
        EXPECT_EQ(messages.take(), errors) << source;
        int count = 0;
        for (MacroDef *m = macro_list; m; m = m->next)
            count++;
        EXPECT_EQ(count, left) << source;
    }
}

TEST_F(MacroTest, DefinitionRecords) {
    open_text("\n");
    MacroDef *object = define("OBJ  a  b ");
    EXPECT_EQ(std::make_tuple(object->param_count, std::string(object->name), int(object->name_length),
                              render(object->body)),
              std::make_tuple(0, std::string("OBJ"), 3, std::string("a  b")));
    MacroDef *function = define("FN(p, q) q+p+r");
    EXPECT_EQ(function->param_count, 2);
    std::vector<std::pair<int, int>> kinds;
    for (PpToken *t = function->body; t; t = t->next)
        kinds.push_back({t->kind, t->length});
    EXPECT_EQ(kinds, (decltype(kinds){{PP_PARAM, 1}, {TOK_PLUS, 1}, {PP_PARAM, 0}, {TOK_PLUS, 1}, {TOK_IDENT, 1}, {PP_EOL, 0}}));
    EXPECT_EQ(define(std::string(300, 'n') + " 1")->name_length, 255);   // for messages
    EXPECT_EQ(std::string(macro_list->name), std::string(300, 'n'));
    EXPECT_EQ(define("F("), nullptr);   // and leaves no trace
    EXPECT_EQ(messages.take(), "#error zcppc t.c:0 bad macro argument\n");
    EXPECT_EQ(macro_lookup(scan("F")), nullptr);
}

TEST_F(MacroTest, SameDefinitions) {
    const std::tuple<const char *, const char *, bool> cases[] = {
        {"X 1", "X 1", true},      {"X 1", "X 2", false},          {"X(a) a", "X(b) b", true},
        {"X a  +b", "X a +b", true}, {"X(a,b) a", "X(a,b) b", false}, {"X a+b", "X a +b", false},
        {"X(a) a", "X(a,b) a", false}, {"X", "X 1", false},           {"X() x", "X x", false},
        {"X +", "X -", false},     {"X 'a'", "X 'b'", false},      {"X \"a\"", "X \"b\"", false},
        {"X 1 /* c */", "X 1", true}, {"X ab", "X ac", false},
    };
    open_text("\n");
    for (auto [first_text, second_text, same] : cases) {
        // Only the parameters and bodies are compared, not the names.
        MacroDef *first = define(first_text);
        MacroDef *second = define(std::string("Y") + (second_text + 1));
        EXPECT_EQ(macro_same(first, second), same) << first_text << " | " << second_text;
        EXPECT_EQ(macro_same(second, first), same) << second_text << " | " << first_text;
        forget_macros();
    }
}

TEST_F(MacroTest, ExpandedTokens) {
    run("#define X a b\n#define C(a,b) a##b\n#define S(x) #x\n#define U 1\n#define f(x) <x>\n");
    open_text("  X c\nC(1,2) C(a,b) S(x) __LINE__ __FILE__\ny z\nf\n(1)\n");
    PpToken *list = scan_line(read_logical_line(0));
    EXPECT_EQ(expand_macros(&list, 0), 1);
    // They take the place of the name, and none stays marked.
    std::vector<std::tuple<std::string, int, int, int>> tokens;
    for (PpToken *t = list; t; t = t->next)
        tokens.push_back({std::string(t->text, t->length), t->line, t->column, t->no_expand});
    EXPECT_EQ(tokens, (decltype(tokens){{"a", 1, 2, 0}, {"b", 1, 2, 0}, {"c", 1, 4, 0}, {"", 1, 6, 0}}));
    std::vector<int> kinds;   // for each line: replaced or not, then the kinds
    for (int line = 2; line <= 4; line++) {
        pptoken_free_list(list);
        list = scan_line(read_logical_line(0));
        in_directive = line == 4;   // a directive's call does not pull in a line
        kinds.push_back(expand_macros(&list, 0));
        for (PpToken *t = list; t; t = t->next)
            kinds.push_back(t->kind);
    }
    EXPECT_EQ(kinds, (decltype(kinds){1, PP_NUMBER, TOK_IDENT, TOK_STRING, PP_NUMBER, TOK_STRING, PP_EOL,
                                      0, TOK_IDENT, TOK_IDENT, PP_EOL, 0, TOK_IDENT, PP_EOL}));
    pptoken_free_list(list);
    EXPECT_STREQ(read_logical_line(0), "(1)\n");
    EXPECT_EQ(std::make_tuple(macro_lookup(scan("X"))->used, macro_lookup(scan("U"))->used,
                              macro_lookup(scan("X"))->state, hidden_macros),
              std::make_tuple(1, 0, 0, nullptr));
}

// The budget of a line is far above what real programs expand to, and
// starts again on each line.
TEST_F(MacroTest, LongExpansions) {
    std::string out = run(nested("a b c d e f g h i j k l m n o p", 4, 16) + "E4\n");
    EXPECT_EQ(out.size(), 2u << 20);
    EXPECT_EQ(out.substr(0, 6) + out.substr(out.size() - 6), "a b c n o p\n");
    // A string made by # is cut to the longest spelling, and still closed.
    out = run(nested("abcdefghijklmnop", 12, 2) + "#define S(x) #x\n#define W(y) S(y)\nW(E12)\n");
    EXPECT_EQ(out.size(), 0x10000u);
    EXPECT_EQ(out.substr(0, 4) + out.substr(out.size() - 4), "\"abcno\"\n");
    EXPECT_EQ(messages.take(), "");
    // 2^40 tokens: the line stays as it is, the next one expands.
    EXPECT_EQ(run(nested("1 1", 40, 2) + "E40\nE3\n"), "E40\n1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1\n");
    EXPECT_EQ(messages.take(), "#error zcppc t.c:42 macro expansion too long\n");
}

}  // namespace
