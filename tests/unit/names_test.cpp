// Interned names, the character trie, and the keyword table.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include "lexer/token.h"

namespace {

NameRecord *name(const std::string &text) { return intern_name(text.data(), text.size()); }

TEST(InternName, EqualSpellingsShareOneRecord) {
    // Two spellings in two different places.
    char first[] = "counter+1";
    std::string second = "x = counter;";
    NameRecord *a = intern_name(first, 7);
    NameRecord *b = intern_name(second.data() + 4, 7);
    EXPECT_EQ(a, b);
    EXPECT_EQ(a->length, 7);
    EXPECT_EQ(std::string(a->text, 7), "counter");
    EXPECT_EQ(a->text[7], 0);
    // Changing the source text afterwards does not touch the record.
    first[0] = 'k';
    EXPECT_EQ(std::string(a->text, 7), "counter");
}

TEST(InternName, PrefixesAreSeparateNames) {
    // In every order of creation: the longer name first, the shorter first,
    // and a name that branches off in the middle of another's path.
    const std::vector<std::vector<std::string>> orders = {
        {"pfx_abc", "pfx_ab", "pfx_a", "pfx_"},
        {"qfx_", "qfx_a", "qfx_ab", "qfx_abc"},
        {"rfx_abc", "rfx_abd", "rfx_ab", "rfx_aba", "rfx_b", "rfx_A", "rfx_0", "rfx__"},
    };
    for (const auto &order : orders) {
        std::vector<NameRecord *> records;
        for (const std::string &text : order)
            records.push_back(name(text));
        for (size_t i = 0; i < order.size(); i++) {
            SCOPED_TRACE(order[i]);
            EXPECT_EQ(records[i]->length, order[i].size());
            EXPECT_EQ(std::string(records[i]->text), order[i]);
            EXPECT_EQ(name(order[i]), records[i]);
            for (size_t j = 0; j < i; j++)
                EXPECT_NE(records[i], records[j]);
        }
    }
}

TEST(InternName, ManyNamesKeepTheirRecords) {
    std::unordered_map<std::string, NameRecord *> seen;
    uint32_t seed = 7;
    const char alphabet[] = "_abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    for (int i = 0; i < 50000; i++) {
        seed = seed * 1664525u + 1013904223u;
        std::string text;
        unsigned length = 1 + (seed >> 24) % 12;
        for (unsigned k = 0; k < length; k++) {
            seed = seed * 1664525u + 1013904223u;
            text += alphabet[(k == 0 ? (seed >> 20) % 53 : (seed >> 20) % 63)];
        }
        NameRecord *record = name(text);
        auto [it, inserted] = seen.emplace(text, record);
        ASSERT_EQ(it->second, record) << text;
        ASSERT_EQ(std::string(record->text, record->length), text);
    }
    for (const auto &[text, record] : seen)
        ASSERT_EQ(name(text), record) << text;
}

TEST(InternName, LongNamesKeepTheFirst254CharactersInTheRecord) {
    std::string long_a = std::string(299, 'n') + "a";
    std::string long_b = std::string(299, 'n') + "b";
    NameRecord *a = name(long_a);
    NameRecord *b = name(long_b);
    EXPECT_NE(a, b);
    EXPECT_EQ(a->length, 254);
    EXPECT_EQ(std::string(a->text), std::string(254, 'n'));
    EXPECT_EQ(name(long_a), a);
    NameRecord *exact = name(std::string(254, 'm'));
    EXPECT_EQ(exact->length, 254);
}

// ---------------------------------------------------------------------------
std::vector<int> level_chars(const TrieNode *node) {
    std::vector<int> chars;
    for (; node != nullptr; node = node->sibling)
        chars.push_back(node->ch);
    return chars;
}

TEST(TrieFind, ValuesAndTheShapeOfTheTrie) {
    TrieNode *root = nullptr;
    TrieNode *c = trie_find(&root, "c", 1);
    EXPECT_EQ(c->ch, 0);
    EXPECT_EQ(c->value, nullptr);
    int value_c = 3, value_ab = 2, value_a = 1;
    c->value = &value_c;
    TrieNode *ab = trie_find(&root, "ab", 2);
    ab->value = &value_ab;
    TrieNode *a = trie_find(&root, "a", 1);
    EXPECT_EQ(a->value, nullptr);
    a->value = &value_a;
    EXPECT_NE(a, ab);

    EXPECT_EQ(trie_find(&root, "c", 1), c);
    EXPECT_EQ(trie_find(&root, "ab", 2), ab);
    EXPECT_EQ(trie_find(&root, "a", 1), a);
    EXPECT_EQ(trie_find(&root, "a", 1)->value, &value_a);

    // Siblings in ascending order; the terminal node of "a" is the first
    // child of "a", in front of the "b" of "ab".
    EXPECT_EQ(level_chars(root), (std::vector<int>{'a', 'c'}));
    EXPECT_EQ(level_chars(root->child), (std::vector<int>{0, 'b'}));
    EXPECT_EQ(root->child, a);
    EXPECT_EQ(root->child->sibling->child, ab);

    // Upper case, digits and `_` sort below lower case, as signed bytes.
    trie_find(&root, "_", 1);
    trie_find(&root, "Z", 1);
    trie_find(&root, "9", 1);
    EXPECT_EQ(level_chars(root), (std::vector<int>{'9', 'Z', '_', 'a', 'c'}));
}

TEST(TrieFind, RootsAreIndependent) {
    TrieNode *macros = nullptr;
    TrieNode *in_macros = trie_find(&macros, "FOO", 3);
    NameRecord *interned = intern_name("FOO", 3);
    EXPECT_EQ(in_macros->value, nullptr);
    EXPECT_NE(trie_find(&name_trie, "FOO", 3), in_macros);
    EXPECT_EQ(trie_find(&name_trie, "FOO", 3)->value, interned);
}

TEST(TrieFind, BytesAbove127) {
    // Not identifier characters, but the trie must still keep one terminal
    // node per text, with such bytes sorting in front of it.
    TrieNode *root = nullptr;
    TrieNode *plain = trie_find(&root, "a", 1);
    TrieNode *high = trie_find(&root, "a\xe9", 2);
    EXPECT_NE(plain, high);
    EXPECT_EQ(trie_find(&root, "a", 1), plain);
    EXPECT_EQ(trie_find(&root, "a\xe9", 2), high);
    TrieNode *empty = trie_find(&root, "", 0);
    EXPECT_EQ(trie_find(&root, "", 0), empty);
    EXPECT_NE(empty, plain);
}

// ---------------------------------------------------------------------------
TEST(KeywordCode, AllKeywordsInCodeOrder) {
    static const char *const keywords[] = {
        "auto",   "break",  "case",     "char",   "const",    "continue", "default",  "do",
        "double", "else",   "enum",     "extern", "float",    "for",      "goto",     "if",
        "int",    "long",   "register", "return", "short",    "signed",   "sizeof",   "static",
        "struct", "switch", "typedef",  "union",  "unsigned", "void",     "volatile", "while",
    };
    for (int k = 0; k < 32; k++) {
        SCOPED_TRACE(keywords[k]);
        EXPECT_EQ(keyword_code(keywords[k], std::strlen(keywords[k])), 128 + k);
    }
    EXPECT_EQ(keyword_code("int", 3), TOK_INT_KW);
    EXPECT_EQ(keyword_code("while", 5), TOK_WHILE);
    EXPECT_EQ(keyword_code("static", 6), TOK_STATIC);
}

TEST(KeywordCode, OtherSpellingsAreIdentifiers) {
    static const char *const others[] = {
        "_Bool", "__asm", "inline", "asm", "i", "d", "", "Int", "INT", "While", "integer",
        "doubles", "doubl", "whil", "iff", "unsignedx", "register_", "_if", "if_", "fo",
        "volatil", "sizeo", "x", "z", "auto1",
    };
    for (const char *text : others) {
        SCOPED_TRACE(text);
        EXPECT_EQ(keyword_code(text, std::strlen(text)), 0);
    }
    // Only the given length counts, not what follows it.
    EXPECT_EQ(keyword_code("format", 3), TOK_FOR);
    EXPECT_EQ(keyword_code("format", 2), 0);
    EXPECT_EQ(keyword_code("ifdef", 2), TOK_IF);
}

}  // namespace
