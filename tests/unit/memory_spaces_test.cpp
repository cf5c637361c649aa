// Memory spaces: the modifier table, the default attribute tables and -m#,
// the parsing of `@name`, and the completion of attribute words by the
// defaults.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"
#include "message_capture.h"

namespace {

class MemorySpaces : public ::testing::Test {
protected:
    void SetUp() override {
        std::memset(func_defaults, 0, sizeof func_defaults);
        std::memset(data_defaults, 0, sizeof data_defaults);
        const_defaults = func_defaults;
        opt_f = 0;
        init_spaces();
    }
    void TearDown() override {
        std::memset(func_defaults, 0, sizeof func_defaults);
        std::memset(data_defaults, 0, sizeof data_defaults);
        const_defaults = func_defaults;
        opt_f = 0;
        type_double.code = TY_DOUBLE;
    }

    // Runs parse_space_modifier over the tokens of `words` (identifiers,
    // or the spelling of a keyword, or a number), starting from `attr`,
    // one call per `@`; returns the final word.
    uint16_t parse(const std::vector<std::string> &words, uint16_t attr = 0) {
        auto token = [](char *text, uint16_t length, uint16_t kind) {
            PpToken *t = pptoken_new();
            t->text = text;
            t->length = length;
            t->space = nullptr;
            t->space_length = 0;
            t->line = 1;
            t->column = 0;
            t->no_expand = 0;
            t->kind = kind;
            return t;
        };
        PpToken *head = nullptr;
        PpToken **tail = &head;
        for (const std::string &word : words) {
            texts_.push_back(word);
            bool number = word[0] >= '0' && word[0] <= '9';
            *tail = token(texts_.back().data(), uint16_t(word.size()), number ? uint16_t(PP_NUMBER) : uint16_t(TOK_IDENT));
            tail = &(*tail)->next;
        }
        *tail = token(semicolon_, 1, TOK_SEMI);
        token_source_switch(head);
        for (size_t i = 0; i < words.size(); i++)
            parse_space_modifier(&attr);
        rest_code_ = token_source_switch(nullptr);
        return attr;
    }

    Symbol *find_space(const char *name) {
        return find_symbol(intern_name(name, unsigned(std::strlen(name))), space_list, nullptr);
    }

    std::deque<std::string> texts_;   // a deque: the tokens point into its strings
    char semicolon_[2] = ";";
    int rest_code_ = 0;
    Messages messages;
};

TEST_F(MemorySpaces, BuiltinModifiersAreKnownAndAnnounced) {
    struct Case {
        const char *name;
        uint16_t attr;
    };
    const Case cases[] = {
        {"tiny", ATTR_TINY},     {"near", ATTR_NEAR},       {"far", ATTR_FAR},
        {"nostack", ATTR_NOSTACK}, {"inline", ATTR_INLINE}, {"packed", ATTR_PACKED},
    };
    for (const Case &c : cases) {
        Symbol *sym = find_space(c.name);
        ASSERT_NE(sym, nullptr) << c.name;
        EXPECT_EQ(sym->attr, c.attr) << c.name;
        EXPECT_NE(sym->flags & SYM_DECLARED, 0u) << c.name;
        EXPECT_EQ(sym->sclass, SC_NONE) << c.name;
    }
    // The newest entry gives the first made-up name its bit.
    ASSERT_NE(space_list, nullptr);
    EXPECT_EQ(space_list->attr, ATTR_PACKED);
    int count = 0;
    for (Symbol *sym = space_list; sym != nullptr; sym = sym->next)
        count++;
    EXPECT_EQ(count, 6);
}

TEST_F(MemorySpaces, FloatOptionMakesDoubleAFloat) {
    EXPECT_EQ(type_double.code, TY_DOUBLE);
    opt_f = 1;
    init_spaces();
    EXPECT_EQ(type_double.code, TY_FLOAT);
}

TEST_F(MemorySpaces, ModelNumberFillsTheTables) {
    struct Case {
        int32_t number;
        uint16_t data, func;
    };
    const Case cases[] = {
        {0x3030, ATTR_FAR, ATTR_FAR},
        {0x2030, ATTR_NEAR, ATTR_FAR},
        {0x3000, ATTR_FAR, 0},
        {0x0030, 0, ATTR_FAR},
        {0x1020, ATTR_TINY, ATTR_NEAR},
        {0x0000, 0, 0},
        // Only the two low bytes count, and each goes to the high byte.
        {0x7F3404, 0x3400, 0x0400},
    };
    for (const Case &c : cases) {
        std::memset(func_defaults, 0, sizeof func_defaults);
        std::memset(data_defaults, 0, sizeof data_defaults);
        set_model(c.number);
        for (int slot = 0; slot < 4; slot++) {
            EXPECT_EQ(data_defaults[slot], c.data) << std::hex << c.number << " slot " << slot;
            EXPECT_EQ(func_defaults[slot], c.func) << std::hex << c.number << " slot " << slot;
        }
    }
    // A zero byte leaves that table as it was.
    data_defaults[1] = ATTR_TINY;
    set_model(0x0030);
    EXPECT_EQ(data_defaults[1], ATTR_TINY);
    EXPECT_EQ(messages.take(), "");
}

TEST_F(MemorySpaces, DefaultsCompleteTheWordBySlotAndTable) {
    // Distinct words per table and slot, so that a wrong pick shows.
    const uint16_t data[4] = {ATTR_NEAR | 0x01, ATTR_TINY | 0x02, ATTR_FAR | 0x04, ATTR_FAR | 0x08};
    const uint16_t func[4] = {ATTR_FAR | 0x10, ATTR_NEAR | 0x20, ATTR_TINY | 0x40,
                              ATTR_NEAR | ATTR_NOSTACK};
    std::memcpy(data_defaults, data, sizeof data);
    std::memcpy(func_defaults, func, sizeof func);
    struct Case {
        const char *what;
        uint16_t attr;
        int32_t sclass;
        int32_t type_code;
        uint16_t expected;
    };
    const Case cases[] = {
        {"extern data", 0, SC_EXTERN, TY_INT, data[0]},
        {"no class", 0, SC_NONE, TY_CHAR, data[0]},
        {"static data", 0, SC_STATIC, TY_INT, data[1]},
        {"auto", 0, SC_AUTO, TY_INT, data[2]},
        {"register", 0, SC_REGISTER, TY_INT, data[2]},
        {"argument", 0, SC_ARG, 0, data[2]},
        {"register argument", 0, SC_REG_ARG, 0, data[2]},
        {"pointer to data", 0, 99, TY_CHAR, data[3]},
        {"pointer to function", 0, 99, TY_FUNCTION, func[3]},
        {"extern function", ATTR_FUNCTION, SC_EXTERN, TY_FUNCTION, uint16_t(func[0] | ATTR_FUNCTION)},
        {"static function", 0, SC_STATIC, TY_FUNCTION, func[1]},
        {"absolute object", 0, SC_ABSOLUTE, TY_INT, data[0]},
        // Const data go with the code while const_defaults refers to it,
        // except const locals and const arguments.
        {"const static", ATTR_CONST, SC_STATIC, TY_INT, uint16_t(ATTR_CONST | func[1])},
        {"const extern", ATTR_CONST, SC_EXTERN, TY_INT, uint16_t(ATTR_CONST | func[0])},
        {"const register", ATTR_CONST, SC_REGISTER, TY_INT, uint16_t(ATTR_CONST | func[2])},
        {"const auto", ATTR_CONST, SC_AUTO, TY_INT, uint16_t(ATTR_CONST | data[2])},
        {"const argument", ATTR_CONST, SC_ARG, 0, uint16_t(ATTR_CONST | data[2])},
        {"pointer to const", ATTR_CONST, 99, TY_CHAR, uint16_t(ATTR_CONST | func[3])},
        // A space of its own stays; the other default bits still come.
        {"own space", ATTR_TINY, SC_EXTERN, TY_INT, uint16_t(ATTR_TINY | 0x01)},
        // A modifier of its own keeps the word alone, but the space comes.
        {"own user bit", 0x80, SC_EXTERN, TY_INT, uint16_t(0x80 | ATTR_NEAR)},
        {"own nostack", ATTR_NOSTACK, SC_STATIC, TY_INT, uint16_t(ATTR_NOSTACK | ATTR_TINY)},
        {"own packed", ATTR_PACKED, SC_AUTO, TY_INT, uint16_t(ATTR_PACKED | ATTR_FAR)},
        {"own space and bit", ATTR_NEAR | 0x40, SC_AUTO, TY_INT, uint16_t(ATTR_NEAR | 0x40)},
        // @inline is no reason to refuse the defaults.
        {"own inline", ATTR_INLINE, SC_EXTERN, TY_INT, uint16_t(ATTR_INLINE | data[0])},
    };
    for (const Case &c : cases) {
        uint16_t attr = c.attr;
        apply_default_attrs(&attr, c.sclass, c.type_code);
        EXPECT_EQ(attr, c.expected) << c.what;
    }
}

TEST_F(MemorySpaces, ConstTableFollowsItsReference) {
    data_defaults[0] = ATTR_FAR;
    func_defaults[0] = ATTR_TINY;
    uint16_t attr = ATTR_CONST;
    apply_default_attrs(&attr, SC_EXTERN, TY_INT);
    EXPECT_EQ(attr, ATTR_CONST | ATTR_TINY);
    const_defaults = data_defaults;
    attr = ATTR_CONST;
    apply_default_attrs(&attr, SC_EXTERN, TY_INT);
    EXPECT_EQ(attr, ATTR_CONST | ATTR_FAR);
}

TEST_F(MemorySpaces, WithoutDefaultsPointersStayWithoutSpace) {
    uint16_t attr = 0;
    apply_default_attrs(&attr, 99, TY_CHAR);
    EXPECT_EQ(attr, 0);
    attr = 0;
    apply_default_attrs(&attr, 99, TY_FUNCTION);
    EXPECT_EQ(attr, 0);
}

TEST_F(MemorySpaces, ModifiersSetTheirBits) {
    struct Case {
        std::vector<std::string> words;
        uint16_t start;
        uint16_t expected;
        const char *messages;
    };
    const Case cases[] = {
        {{"far"}, 0, ATTR_FAR, ""},
        {{"tiny"}, ATTR_CONST, ATTR_CONST | ATTR_TINY, ""},
        {{"nostack", "packed"}, 0, ATTR_NOSTACK | ATTR_PACKED, ""},
        {{"inline", "near"}, 0, ATTR_INLINE | ATTR_NEAR, ""},
        // Two spaces: the second is refused and the first stays.
        {{"tiny", "near"}, 0, ATTR_TINY, "ambiguous space modifier\n"},
        {{"far"}, ATTR_NEAR, ATTR_NEAR, "ambiguous space modifier\n"},
        // A property beside a space is no conflict.
        {{"far", "nostack"}, 0, ATTR_FAR | ATTR_NOSTACK, ""},
    };
    for (const Case &c : cases) {
        uint16_t attr = parse(c.words, c.start);
        EXPECT_EQ(attr, c.expected) << c.words[0];
        EXPECT_EQ(messages.take(), c.messages) << c.words[0];
        EXPECT_EQ(rest_code_, TOK_SEMI) << c.words[0];
    }
}

TEST_F(MemorySpaces, NewNamesTakeFreeBitsUntilTheyRunOut) {
    // One name used nine times has one bit.
    uint16_t attr = parse({"foo"});
    EXPECT_EQ(attr, 0x80);
    for (int i = 0; i < 8; i++)
        EXPECT_EQ(parse({"foo"}), 0x80);
    EXPECT_EQ(messages.take(), "");
    Symbol *foo = find_space("foo");
    ASSERT_NE(foo, nullptr);
    EXPECT_EQ(foo->flags & SYM_DECLARED, 0u);   // still to be announced
    EXPECT_EQ(foo->sclass, SC_NONE);

    // Seven more new names take the bits down to 0x01.
    const char *names[] = {"b1", "b2", "b3", "b4", "b5", "b6", "b7"};
    uint16_t all = 0x80;
    uint16_t bit = 0x40;
    for (const char *name : names) {
        EXPECT_EQ(parse({name}), bit) << name;
        all |= bit;
        bit >>= 1;
    }
    EXPECT_EQ(all, ATTR_USER);
    EXPECT_EQ(messages.take(), "");
    // The ninth finds no bit, reports, and stays in the table with 0, so
    // the tenth reports too; both leave the word as it was.
    EXPECT_EQ(parse({"ninth"}, ATTR_FAR), ATTR_FAR);
    EXPECT_EQ(messages.take(), "too many space modifiers\n");
    ASSERT_NE(find_space("ninth"), nullptr);
    EXPECT_EQ(find_space("ninth")->attr, 0);
    EXPECT_EQ(parse({"tenth"}), 0);
    EXPECT_EQ(messages.take(), "too many space modifiers\n");
    // Names already known keep working.
    EXPECT_EQ(parse({"b3"}), 0x10);
    EXPECT_EQ(messages.take(), "");
}

TEST_F(MemorySpaces, AModifierMustBeAName) {
    // A keyword or a number is no modifier; it is given back unread.
    for (const char *word : {"const", "int", "12"}) {
        std::vector<std::string> words = {word};
        uint16_t attr = parse(words, ATTR_NEAR);
        EXPECT_EQ(attr, ATTR_NEAR) << word;
        EXPECT_EQ(messages.take(), "bad space modifier\n") << word;
        int expected = std::strcmp(word, "12") == 0 ? int(TOK_INT) : int(keyword_code(word, unsigned(std::strlen(word))));
        EXPECT_EQ(rest_code_, expected & 0xFF) << word;
    }
}

} // namespace
