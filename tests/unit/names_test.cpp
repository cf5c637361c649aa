// Interned names, the character trie, and the keyword table.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "lexer/token.h"

namespace {

NameRecord *name(const std::string &text) { return intern_name(text.data(), text.size()); }

// One record per spelling, found again after the index has grown, whatever
// the order in which a name and its prefixes come; a record keeps the first
// 254 characters of a longer name, but the whole spelling tells names apart.
TEST(InternName, OneRecordPerSpelling) {
    std::vector<std::string> texts = {"pfx_abc", "pfx_ab", "pfx_a", "pfx_", "qfx_", "qfx_a", "qfx_ab",
                                      "rfx_abd", "rfx_aba", "rfx_b", "rfx_A", "rfx_0", "rfx__",
                                      std::string(254, 'm'), std::string(299, 'n') + "a",
                                      std::string(299, 'n') + "b"};
    for (int i = 0; i < 3000; i++)
        texts.push_back("v" + std::to_string(i));
    std::vector<NameRecord *> records;
    for (const std::string &text : texts)
        records.push_back(name(text));
    EXPECT_EQ(std::set<NameRecord *>(records.begin(), records.end()).size(), texts.size());
    for (size_t i = 0; i < texts.size(); i++) {
        ASSERT_EQ(name(std::string(texts[i])), records[i]) << texts[i];
        ASSERT_EQ(std::string(records[i]->text, records[i]->length), texts[i].substr(0, 254));
        ASSERT_EQ(records[i]->text[records[i]->length], 0);
    }
}

// Bytes above 127 are no identifier characters, but a text holding them
// still has a terminal node of its own, found again.
TEST(TrieFind, BytesAbove127) {
    TrieNode *root = nullptr;
    TrieNode *plain = trie_find(&root, "a", 1);
    TrieNode *high = trie_find(&root, "a\xe9", 2);
    EXPECT_NE(plain, high);
    EXPECT_EQ(trie_find(&root, "a", 1), plain);
    EXPECT_EQ(trie_find(&root, "a\xe9", 2), high);
}

TEST(KeywordCode, KeywordsInCodeOrderAndNothingElse) {
    std::istringstream keywords(
        "auto break case char const continue default do double else enum extern float for goto "
        "if int long register return short signed sizeof static struct switch typedef union "
        "unsigned void volatile while");
    int code = 128;
    for (std::string word; keywords >> word; code++)
        EXPECT_EQ(keyword_code(word.data(), word.size()), code) << word;
    for (const char *text : {"_Bool", "inline", "asm", "i", "", "Int", "While", "doubles", "doubl",
                             "iff", "unsignedx", "_if", "fo", "auto1", "z"})
        EXPECT_EQ(keyword_code(text, std::strlen(text)), 0) << text;
    // Only the given length counts, not what follows it.
    EXPECT_EQ(keyword_code("format", 3), TOK_FOR);
    EXPECT_EQ(keyword_code("ifdef", 2), TOK_IF);
}

}  // namespace
