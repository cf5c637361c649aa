// Macros from inside: definitions and their errors, the comparison of two
// definitions, expansion with its white space, stringizing, pasting, calls
// that span lines or are completed behind a body, the recursion states, and
// the built-in names.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <tuple>
#include <string>
#include <unistd.h>
#include <vector>

#include "driver/options.h"
#include "file_text.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"

namespace {

class MacroTest : public ::testing::Test {
protected:
    std::string path;
    FILE *errors = nullptr;
    std::vector<std::string> defined_names;

    void SetUp() override {
        set_program_name("zcppc");
        path = new_scratch_file("zcppc-macro");
        errors = std::tmpfile();
        error_stream = errors;
        error_count = 0;
        in_comment = 0;
        asm_mode = 0;
        in_directive = 0;
        cond_stack = nullptr;
    }

    void TearDown() override {
        while (read_logical_line(0)) {
        }
        for (std::string &name : defined_names)
            undefine(name);
        file_override = nullptr;
        line_override_active = 0;
        error_stream = stderr;
        std::fclose(errors);
        std::remove(path.c_str());
    }

    void undefine(std::string name) {
        PpToken token{};
        token.kind = TOK_IDENT;
        token.text = name.data();
        token.length = static_cast<uint16_t>(name.size());
        macro_undefine(&token);
    }

    void open_text(const std::string &text) {
        while (read_logical_line(0)) {
        }
        write_text(path, text);
        input_ended = 0;
        line_override_active = 0;
        ASSERT_EQ(open_source(path.c_str(), 0), 1);
        file_override = const_cast<char *>("t.c");
    }

    static std::string render(const PpToken *list) {
        std::string text;
        for (const PpToken *t = list; t; t = t->next) {
            text.append(t->space, t->space_length);
            text.append(t->text, t->length);
        }
        return text;
    }

    // Defines from the text behind "#define "; returns the macro or null.
    MacroDef *define(const std::string &text) {
        texts.push_back(text + "\n");
        PpToken *list = scan_line(texts.back().data());
        std::string name(list->text, list->length);
        MacroDef *macro = macro_define(list);
        if (macro)
            defined_names.push_back(name);
        pptoken_free_list(list);
        return macro;
    }

    // Runs `source` through the line reader: "#define" and "#undef" lines are
    // carried out here, all other lines are expanded and written out.
    std::string run(const std::string &source) {
        open_text(source);
        std::string out;
        while (char *line = read_logical_line(0)) {
            PpToken *list = scan_line(line);
            if (list && list->kind == PP_HASH && list->next && list->next->kind == TOK_IDENT) {
                PpToken *word = list->next;
                PpToken *name = word->next;
                std::string spelled(word->text, word->length);
                in_directive = 1;
                if (spelled == "define" && name && name->kind == TOK_IDENT) {
                    std::string id(name->text, name->length);
                    if (MacroDef *old = macro_lookup(name)) {
                        (void)old;
                        undefine(id);
                    }
                    if (macro_define(name))
                        defined_names.push_back(id);
                } else if (spelled == "undef" && name) {
                    macro_undefine(name);
                } else {
                    in_directive = 0;
                    expand_macros(&list, 0);
                    out += render(list);
                }
                in_directive = 0;
                pptoken_free_list(list);
                continue;
            }
            expand_macros(&list, 0);
            out += render(list);
            pptoken_free_list(list);
        }
        return out;
    }

    // The messages written so far, each without its position prefix.
    std::string messages() {
        std::fflush(errors);
        std::rewind(errors);
        std::string text, line;
        for (int c; (c = std::fgetc(errors)) != EOF;) {
            line += static_cast<char>(c);
            if (c != '\n')
                continue;
            size_t at = line.find("t.c:");
            if (at != std::string::npos)
                line.erase(0, line.find(' ', at) + 1);
            text += line;
            line.clear();
        }
        std::fclose(errors);
        errors = std::tmpfile();
        error_stream = errors;
        return text;
    }

    std::vector<std::string> texts;
};

// Expansion, its errors, the built-in names and __ZPHN__ are checked by the
// macros end-to-end cases; here what they do not show.
TEST_F(MacroTest, LookupDoesNotMatchAPrefix) {
    EXPECT_EQ(run("#define ab 1\nabc ab a\n"), "abc 1 a\n");
    EXPECT_EQ(messages(), "");
}

// The other definition errors are run by the definition_errors end-to-end case.
TEST_F(MacroTest, OpenParameterListLeavesNoTrace) {
    open_text("\n");
    EXPECT_EQ(define("F("), nullptr);
    EXPECT_EQ(messages(), "bad macro argument\n");
    texts.push_back("F");
    PpToken token{};
    token.kind = TOK_IDENT;
    token.text = texts.back().data();
    token.length = 1;
    EXPECT_EQ(macro_lookup(&token), nullptr);
}

TEST_F(MacroTest, DefinitionRecords) {
    open_text("\n");
    MacroDef *object = define("OBJ  a  b ");
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->param_count, 0);
    EXPECT_EQ(std::string(object->name), "OBJ");
    EXPECT_EQ(object->name_length, 3);
    EXPECT_EQ(render(object->body), "a  b");
    EXPECT_EQ(object->body->space_length, 0);
    MacroDef *empty = define("E() x");
    EXPECT_EQ(empty->param_count, -1);
    MacroDef *function = define("FN(p, q) q+p+r");
    EXPECT_EQ(function->param_count, 2);
    std::vector<std::pair<uint16_t, uint16_t>> kinds;
    for (PpToken *t = function->body; t; t = t->next)
        kinds.push_back({t->kind, t->length});
    EXPECT_EQ(kinds, (std::vector<std::pair<uint16_t, uint16_t>>{
                         {PP_PARAM, 1}, {TOK_PLUS, 1}, {PP_PARAM, 0}, {TOK_PLUS, 1},
                         {TOK_IDENT, 1}, {PP_EOL, 0}}));
    // The body's spellings live in the macro's own block, not in the line.
    std::string &line = texts.back();
    for (PpToken *t = function->body; t; t = t->next)
        EXPECT_FALSE(t->text >= line.data() && t->text < line.data() + line.size());
    EXPECT_EQ(macro_lookup(function->body->next->next->next->next), nullptr);
    std::string long_name(300, 'n');
    MacroDef *longer = define(long_name + " 1");
    EXPECT_EQ(longer->name_length, 255);
    EXPECT_EQ(std::string(longer->name), long_name);
}

TEST_F(MacroTest, SameDefinitions) {
    open_text("\n");
    struct Case {
        const char *first;
        const char *second;
        bool same;
    };
    const Case cases[] = {
        {"X 1", "X 1", true},
        {"X 1", "X 2", false},
        {"X(a) a", "X(b) b", true},
        {"X(a,b) a", "X(a,b) b", false},
        {"X a  +b", "X a +b", true},
        {"X a+b", "X a +b", false},
        {"X(a) a", "X(a,b) a", false},
        {"X", "X 1", false},
        {"X() x", "X x", false},
        {"X +", "X -", false},
        {"X 'a'", "X 'b'", false},
        {"X \"a\"", "X \"b\"", false},
        {"X 1 /* c */", "X 1", true},
        {"X ab", "X ac", false},
    };
    for (const Case &c : cases) {
        // The names differ; only the parameters and bodies are compared.
        MacroDef *first = define(c.first);
        MacroDef *second = define(std::string("Y") + (c.second + 1));
        ASSERT_NE(first, nullptr);
        ASSERT_NE(second, nullptr);
        EXPECT_EQ(macro_same(first, second), c.same) << c.first << " | " << c.second;
        EXPECT_EQ(macro_same(second, first), c.same) << c.second << " | " << c.first;
        undefine("X");
        undefine("Y");
    }
}

TEST_F(MacroTest, UndefineAndRedefine) {
    EXPECT_EQ(run("#define A 1\nA\n#undef A\nA\n#define A 2\nA\n#undef B\n"), "1\nA\n2\n");
    EXPECT_EQ(messages(), "");
    // Many macros and removals in any order keep the table consistent.
    std::string source;
    for (int i = 0; i < 200; i++)
        source += "#define M" + std::to_string(i) + " " + std::to_string(i) + "\n";
    for (int i = 0; i < 200; i += 3)
        source += "#undef M" + std::to_string(i) + "\n";
    source += "M0 M1 M2 M3 M199 M198\n";
    EXPECT_EQ(run(source), "M0 1 2 M3 199 M198\n");
    int count = 0;
    for (MacroDef *m = macro_list; m; m = m->next)
        count += m->name[0] == 'M';
    EXPECT_EQ(count, 133);
}

TEST_F(MacroTest, ExpandedTokensTakeThePlaceOfTheName) {
    open_text("#define X a b\n  X c\n");
    read_logical_line(0);
    texts.push_back("X a b\n");
    PpToken *def = scan_line(texts.back().data());
    defined_names.push_back("X");
    ASSERT_NE(macro_define(def), nullptr);
    pptoken_free_list(def);
    char *line = read_logical_line(0);
    PpToken *list = scan_line(line);
    EXPECT_EQ(expand_macros(&list, 0), 1);
    std::vector<std::tuple<std::string, uint32_t, uint16_t, uint16_t>> tokens;
    for (PpToken *t = list; t; t = t->next)
        tokens.push_back({std::string(t->text, t->length), t->line, t->column, t->no_expand});
    EXPECT_EQ(tokens, (std::vector<std::tuple<std::string, uint32_t, uint16_t, uint16_t>>{
                          {"a", 2, 2, 0}, {"b", 2, 2, 0}, {"c", 2, 4, 0}, {"", 2, 6, 0}}));
    EXPECT_EQ(render(list), "  a b c\n");
    pptoken_free_list(list);
    // Nothing to replace gives 0.
    texts.push_back("y z\n");
    list = scan_line(texts.back().data());
    EXPECT_EQ(expand_macros(&list, 0), 0);
    pptoken_free_list(list);
}

TEST_F(MacroTest, DirectiveLinesDoNotPullLines) {
    open_text("#define f(x) <x>\nf\n(1)\n");
    run("");
    open_text("f\n(1)\n");
    char *line = read_logical_line(0);
    PpToken *list = scan_line(line);
    in_directive = 1;
    expand_macros(&list, 0);
    in_directive = 0;
    EXPECT_EQ(render(list), "f\n");
    pptoken_free_list(list);
    EXPECT_STREQ(read_logical_line(0), "(1)\n");
}

TEST_F(MacroTest, BuiltInNames) {
    struct Case {
        const char *text;
        int code;
    };
    const Case cases[] = {
        {"defined", 1},  {"__DATE__", 2}, {"__TIME__", 3}, {"__FILE__", 4}, {"__LINE__", 5},
        {"__STDC__", 6}, {"__ZPHN__", 7}, {"__TRGT__", 8}, {"__DATE_", 0},  {"_DATE__", 0},
        {"definedx", 0}, {"__XXXX__", 0}, {"DEFINED", 0},
    };
    for (const Case &c : cases) {
        texts.push_back(c.text);
        PpToken *list = scan_line(texts.back().data());
        EXPECT_EQ(builtin_macro_code(list), c.code) << c.text;
        pptoken_free_list(list);
    }
    texts.push_back("\"__LINE__\"");
    PpToken *string = scan_line(texts.back().data());
    EXPECT_EQ(builtin_macro_code(string), 0);
    pptoken_free_list(string);
}

TEST_F(MacroTest, KindsOfResults) {
    open_text("C(1,2) C(a,b) S(x) __LINE__ __FILE__\n");
    define("C(a,b) a##b");
    define("S(x) #x");
    char *line = read_logical_line(0);
    PpToken *list = scan_line(line);
    expand_macros(&list, 0);
    std::vector<uint16_t> kinds;
    for (PpToken *t = list; t; t = t->next)
        kinds.push_back(t->kind);
    EXPECT_EQ(kinds, (std::vector<uint16_t>{PP_NUMBER, TOK_IDENT, TOK_STRING, PP_NUMBER,
                                            TOK_STRING, PP_EOL}));
    pptoken_free_list(list);
}

TEST_F(MacroTest, UsedMarks) {
    open_text("A\n");
    MacroDef *a = define("A 1");
    MacroDef *b = define("B 2");
    char *line = read_logical_line(0);
    PpToken *list = scan_line(line);
    expand_macros(&list, 0);
    pptoken_free_list(list);
    EXPECT_EQ(a->used, 1);
    EXPECT_EQ(b->used, 0);
    EXPECT_EQ(hidden_macros, nullptr);
    EXPECT_EQ(a->state, 0);
}

TEST_F(MacroTest, HostileInputEnds) {
    // Long chains and deep nesting are run by the hostile end-to-end case.
    EXPECT_EQ(run("#define P(a) a ## a ## a\nP(##)\n"), "####\n");
    EXPECT_EQ(messages(), "missing ## argument in macro P\n");
    // Doubling at each of 40 levels would make 2^40 tokens.
    std::string doubling = "#define A0 x x\n";
    for (int i = 1; i <= 40; i++)
        doubling += "#define A" + std::to_string(i) + " A" + std::to_string(i - 1) + " A" +
                    std::to_string(i - 1) + "\n";
    doubling += "A40\nA3\n";
    std::string out = run(doubling);
    EXPECT_LT(out.size(), 10u << 20);
    EXPECT_EQ(out.substr(out.size() - 16), "x x x x x x x x\n");
    EXPECT_EQ(messages(), "macro expansion too long\n");
    EXPECT_EQ(run("#define R(x) x R\nR(R(R(1)))(2)\n"), "1 R R R(2)\n");
}

}  // namespace
