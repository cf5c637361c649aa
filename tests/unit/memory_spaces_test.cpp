// Memory spaces: -f and -m#, the parsing of `@name`, and the completion of
// attribute words by the default tables.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "lexer/token.h"
#include "message_capture.h"
#include "preproc/pptoken.h"

namespace {

class MemorySpaces : public ::testing::Test {
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override {
        std::memset(func_defaults, 0, sizeof func_defaults);
        std::memset(data_defaults, 0, sizeof data_defaults);
        const_defaults = func_defaults;
        opt_f = 0;
        init_spaces();
        type_double.code = TY_DOUBLE;
    }

    // Runs parse_space_modifier once per word of `words` (the text behind
    // each `@`), starting from `attr`; gives the final word.  rest_code is
    // the code of what was left unread.
    uint16_t parse(const char *words, uint16_t attr = 0) {
        std::string text = std::string(words) + " ;\n";
        PpToken *list = scan_line(text.data());
        token_source_switch(list);
        for (const char *c = words; *c != '\0'; c++)
            if (c == words || c[-1] == ' ')
                parse_space_modifier(&attr);
        rest_code = token_source_switch(nullptr);
        pptoken_free_list(list);
        return attr;
    }

    Symbol *find_space(const char *name) { return find_symbol(intern_name(name, unsigned(std::strlen(name))), space_list, nullptr); }

    int rest_code = 0;
    Messages messages;
};

TEST_F(MemorySpaces, FloatOptionAndModelNumber) {
    opt_f = 1;
    init_spaces();
    EXPECT_EQ(type_double.code, TY_FLOAT);
    // The low byte is for functions, the next for data, each moved to the
    // high byte of every slot; a zero byte leaves its table alone.
    const struct { int32_t number; uint16_t data, func; } cases[] = {
        {0x2030, ATTR_NEAR, ATTR_FAR}, {0x1000, ATTR_TINY, 0}, {0x0020, 0, ATTR_NEAR},
        {0x7F3404, 0x3400, 0x0400},    {0, 0, 0},
    };
    for (const auto &c : cases) {
        for (int slot = 0; slot < 4; slot++)
            data_defaults[slot] = func_defaults[slot] = 1;
        set_model(c.number);
        for (int slot = 0; slot < 4; slot++)
            EXPECT_TRUE(data_defaults[slot] == (c.data ? c.data : 1) && func_defaults[slot] == (c.func ? c.func : 1))
                << std::hex << c.number << " slot " << slot;
    }
}

TEST_F(MemorySpaces, DefaultsCompleteTheWordBySlotAndTable) {
    // Distinct words per table and slot, so that a wrong pick shows.
    const uint16_t data[4] = {ATTR_NEAR | 0x01, ATTR_TINY | 0x02, ATTR_FAR | 0x04, ATTR_FAR | 0x08};
    const uint16_t func[4] = {ATTR_FAR | 0x10, ATTR_NEAR | 0x20, ATTR_TINY | 0x40, ATTR_NEAR | ATTR_NOSTACK};
    std::memcpy(data_defaults, data, sizeof data);
    std::memcpy(func_defaults, func, sizeof func);
    const int32_t POINTER = 99, FN = TY_FUNCTION;   // the class of a pointer node
    const uint16_t CONST = ATTR_CONST;
    const struct { uint16_t attr; int32_t sclass, type_code; uint16_t expected; } cases[] = {
        // Slot 0 extern and file scope, 1 static, 2 locals and arguments,
        // 3 pointer nodes; functions and what they point to use func.
        {0, SC_EXTERN, TY_INT, data[0]},       {0, SC_ABSOLUTE, TY_CHAR, data[0]},
        {0, SC_STATIC, TY_INT, data[1]},       {0, SC_REGISTER, TY_INT, data[2]},
        {0, SC_REG_ARG, 0, data[2]},           {0, POINTER, TY_CHAR, data[3]},
        {0, POINTER, FN, func[3]},
        {ATTR_FUNCTION, SC_EXTERN, FN, uint16_t(func[0] | ATTR_FUNCTION)}, {0, SC_STATIC, FN, func[1]},
        // Const data go with const_defaults, except const locals and arguments.
        {CONST, SC_STATIC, TY_INT, uint16_t(CONST | func[1])}, {CONST, SC_REGISTER, TY_INT, uint16_t(CONST | func[2])},
        {CONST, SC_AUTO, TY_INT, uint16_t(CONST | data[2])},   {CONST, SC_ARG, 0, uint16_t(CONST | data[2])},
        {CONST, POINTER, TY_CHAR, uint16_t(CONST | func[3])},
        // A space of its own stays, and the other default bits still come;
        // a modifier of its own keeps the word alone, but the space comes.
        {ATTR_TINY, SC_EXTERN, TY_INT, uint16_t(ATTR_TINY | 0x01)}, {0x80, SC_EXTERN, TY_INT, uint16_t(0x80 | ATTR_NEAR)},
        {ATTR_NOSTACK, SC_STATIC, TY_INT, uint16_t(ATTR_NOSTACK | ATTR_TINY)},
        {ATTR_PACKED | ATTR_NEAR, SC_AUTO, TY_INT, uint16_t(ATTR_PACKED | ATTR_NEAR)},
        {ATTR_INLINE, SC_EXTERN, TY_INT, uint16_t(ATTR_INLINE | data[0])},   // @inline is no reason to refuse
    };
    for (size_t i = 0; i < std::size(cases); i++) {
        uint16_t attr = cases[i].attr;
        apply_default_attrs(&attr, cases[i].sclass, cases[i].type_code);
        EXPECT_EQ(attr, cases[i].expected) << "case " << i;
    }
    const_defaults = data_defaults;
    uint16_t attr = CONST;
    apply_default_attrs(&attr, SC_EXTERN, TY_INT);
    EXPECT_EQ(attr, CONST | data[0]);
}

// One parse per row, in order: the built-in names, then names of the
// source, which take the eight user bits from 0x80 down, once each.
TEST_F(MemorySpaces, ModifiersSetTheirBits) {
    const char *AMBIGUOUS = "ambiguous space modifier\n", *BAD = "bad space modifier\n",
               *TOO_MANY = "too many space modifiers\n";
    const struct { const char *words; uint16_t start, expected; const char *messages; int rest; } cases[] = {
        {"far", 0, ATTR_FAR, "", TOK_SEMI},      {"tiny", ATTR_CONST, ATTR_CONST | ATTR_TINY, "", TOK_SEMI},
        {"nostack packed", 0, ATTR_NOSTACK | ATTR_PACKED, "", TOK_SEMI},
        {"inline near", 0, ATTR_INLINE | ATTR_NEAR, "", TOK_SEMI},
        // Two spaces: the second is refused and the first stays.  A property
        // beside a space is no conflict.
        {"tiny near", 0, ATTR_TINY, AMBIGUOUS, TOK_SEMI}, {"far", ATTR_NEAR, ATTR_NEAR, AMBIGUOUS, TOK_SEMI},
        {"far nostack", 0, ATTR_FAR | ATTR_NOSTACK, "", TOK_SEMI},
        // A keyword or a number is no modifier; it is given back unread.
        {"const", ATTR_NEAR, ATTR_NEAR, BAD, TOK_CONST}, {"int", 0, 0, BAD, TOK_INT_KW}, {"12", 0, 0, BAD, TOK_INT},
        {"foo foo", 0, 0x80, "", TOK_SEMI},      {"b1 b2 b3 b4 b5 b6 b7", 0, 0x7F, "", TOK_SEMI},
        {"b7 foo", 0, 0x81, "", TOK_SEMI},
        // The ninth finds no bit and stays in the table with 0, so the tenth
        // reports too; both leave the word as it was.
        {"ninth", ATTR_FAR, ATTR_FAR, TOO_MANY, TOK_SEMI}, {"tenth ninth", 0, 0, TOO_MANY, TOK_SEMI},
        {"b3", 0, 0x10, "", TOK_SEMI},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(parse(c.words, c.start), c.expected) << c.words;
        EXPECT_EQ(messages.take(), c.messages) << c.words;
        EXPECT_EQ(rest_code, c.rest & 0xFF) << c.words;
    }
    // The code generator is told of the names of the source only.
    EXPECT_EQ(find_space("foo")->flags & SYM_DECLARED, 0u);
    EXPECT_NE(find_space("far")->flags & SYM_DECLARED, 0u);
    // A second start gives them back.
    init_spaces();
    EXPECT_EQ(find_space("foo"), nullptr);
    EXPECT_EQ(parse("b3"), 0x80);
}

} // namespace
