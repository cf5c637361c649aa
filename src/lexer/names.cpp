// Interned names and the index that finds them, the character trie of the
// macro table, and the keyword table.
#include <cstring>

#include "driver/options.h"
#include "lexer/token.h"

namespace {

// Trie nodes are never freed, so they are cut from large blocks: one
// allocation per block instead of one per character of a new name.
constexpr unsigned NODES_PER_BLOCK = 1024;
TrieNode *node_block;
unsigned nodes_left;

TrieNode *new_trie_node(char ch, TrieNode *sibling) {
    if (nodes_left == 0) {
        // The first word of the block links the blocks; nodes follow it.
        void *block = checked_alloc(sizeof(TrieNode) * (NODES_PER_BLOCK + 1), node_block);
        node_block = static_cast<TrieNode *>(block);
        nodes_left = NODES_PER_BLOCK;
    }
    TrieNode *node = node_block + nodes_left--;
    node->sibling = sibling;
    node->child = nullptr;
    node->ch = static_cast<int8_t>(ch);
    return node;
}

// Name entries are cut from large blocks as well, in the order in which
// names first appear, so that the names used together lie together.  An
// entry too large for a block's rest, which only a very long name makes,
// gets a block of its own when it would waste much of one.
constexpr unsigned ENTRY_BLOCK = 64 * 1024;
char *entry_cursor;
unsigned entry_room;

void *new_entry_space(unsigned size) {
    size = (size + 7) & ~7u;
    if (size > entry_room) {
        if (size > ENTRY_BLOCK / 8)
            return checked_alloc(size, nullptr);
        entry_cursor = static_cast<char *>(checked_alloc(ENTRY_BLOCK, nullptr));
        entry_room = ENTRY_BLOCK;
    }
    void *space = entry_cursor;
    entry_cursor += size;
    entry_room -= size;
    return space;
}

// Names are written to the intermediate file with their length plus one in
// a byte, so a record keeps at most this many characters.  The index still
// tells names apart by their whole spelling, kept as the entry's key.
constexpr unsigned NAME_RECORD_MAX = 254;

// The 32 keywords in the order of their codes, which is alphabetical, so
// the keywords with one first letter form one stretch of the table.
struct Keyword {
    const char *text;
    uint8_t length;
};

constexpr Keyword keywords[KEYWORD_COUNT] = {
    {"auto", 4},   {"break", 5},    {"case", 4},     {"char", 4},
    {"const", 5},  {"continue", 8}, {"default", 7},  {"do", 2},
    {"double", 6}, {"else", 4},     {"enum", 4},     {"extern", 6},
    {"float", 5},  {"for", 3},      {"goto", 4},     {"if", 2},
    {"int", 3},    {"long", 4},     {"register", 8}, {"return", 6},
    {"short", 5},  {"signed", 6},   {"sizeof", 6},   {"static", 6},
    {"struct", 6}, {"switch", 6},   {"typedef", 7},  {"union", 5},
    {"unsigned", 8}, {"void", 4},   {"volatile", 8}, {"while", 5},
};

// keyword_start[c - 'a'] is the index of the first keyword that starts
// with c or a later letter; the keywords starting with c run up to
// keyword_start[c - 'a' + 1].
struct KeywordIndex {
    uint8_t start[27];
    constexpr KeywordIndex() : start{} {
        int k = 0;
        for (int letter = 0; letter < 26; letter++) {
            while (k < KEYWORD_COUNT && keywords[k].text[0] < 'a' + letter)
                k++;
            start[letter] = static_cast<uint8_t>(k);
        }
        start[26] = KEYWORD_COUNT;
    }
};

constexpr KeywordIndex keyword_index;

// The table of interned names, by spelling: a name is looked up for every
// identifier token, and a hash probe is cheaper than a walk of a trie's
// sibling lists.  It holds the entry of every name made, and nothing else
// keeps names: no part of the program walks them in order, so they have no
// trie of their own, which would cost a node per character of each new
// name for nothing.  Open addressing with linear probing, at most half
// full; a slot keeps the hash, so that a probe past other names does not
// touch their entries.
struct NameSlot {
    NameEntry *entry;       // null: free slot
    uint32_t hash;
};

NameSlot *name_slots;
uint32_t name_slot_count;   // a power of two
uint32_t name_count;

// The names of a stretch of source are few and come again and again, while
// the index of a large unit outgrows the processor's caches.  So the entry
// last found for each value of the low bits of the hash is kept in a small
// table that stays in the cache, and asked first.  Entries are never freed,
// so a kept pointer is always some entry; its hash and spelling tell
// whether it is the one sought.
constexpr uint32_t RECENT_COUNT = 256;
NameEntry *recent_names[RECENT_COUNT];

uint32_t hash_name(const char *text, unsigned length) {
    uint32_t hash = NAME_HASH_START;
    for (unsigned i = 0; i < length; i++)
        hash = name_hash_step(hash, text[i]);
    return name_hash_finish(hash);
}

// Most names are short: compared in place rather than through memcmp.
bool same_spelling(const char *a, const char *b, unsigned length) {
    if (length > 16)
        return std::memcmp(a, b, length) == 0;
    for (unsigned i = 0; i < length; i++)
        if (a[i] != b[i])
            return false;
    return true;
}

NameSlot *find_slot(const char *text, unsigned length, uint32_t hash) {
    uint32_t mask = name_slot_count - 1;
    for (uint32_t i = hash & mask;; i = (i + 1) & mask) {
        NameSlot *slot = &name_slots[i];
        if (slot->entry == nullptr)
            return slot;
        if (slot->hash == hash) {
            const NameEntry *entry = slot->entry;
            if (entry->key_length == length && same_spelling(entry->key, text, length))
                return slot;
        }
    }
}

void grow_name_index() {
    NameSlot *old = name_slots;
    uint32_t old_count = name_slot_count;
    name_slot_count = old_count == 0 ? 1024 : 2 * old_count;
    name_slots = static_cast<NameSlot *>(checked_alloc(name_slot_count * sizeof(NameSlot), nullptr));
    std::memset(name_slots, 0, name_slot_count * sizeof(NameSlot));
    uint32_t mask = name_slot_count - 1;
    for (uint32_t i = 0; i < old_count; i++) {
        if (old[i].entry == nullptr)
            continue;
        uint32_t j = old[i].hash & mask;
        while (name_slots[j].entry != nullptr)
            j = (j + 1) & mask;
        name_slots[j] = old[i];
    }
    std::free(old);
}

}  // namespace

// Walks the path of `text` and makes what is missing of it.  Each level is
// a sibling list in ascending order of the signed character.
TrieNode *trie_find(TrieNode **root, const char *text, unsigned length) {
    TrieNode **link = root;
    unsigned i = 0;
    for (; i < length; i++) {
        int8_t ch = static_cast<int8_t>(text[i]);
        TrieNode *node;
        while ((node = *link) != nullptr && node->ch < ch)
            link = &node->sibling;
        if (node == nullptr || node->ch > ch)
            break;
        link = &node->child;
    }
    if (i < length) {
        // The rest of the name is new: one node in front of where the walk
        // stopped, then a chain of only children.
        TrieNode *node = new_trie_node(text[i], *link);
        *link = node;
        for (i++; i < length; i++) {
            node->child = new_trie_node(text[i], nullptr);
            node = node->child;
        }
        link = &node->child;
    }
    // The terminal node has `ch` 0 and sorts first among identifier
    // characters; bytes above 127 compare below it, so step over those.
    TrieNode *node;
    while ((node = *link) != nullptr && node->ch < 0)
        link = &node->sibling;
    if (node != nullptr && node->ch == 0)
        return node;
    node = new_trie_node(0, *link);
    *link = node;
    return node;
}

NameEntry *name_entry(const char *text, unsigned length) {
    return name_entry_hashed(text, length, hash_name(text, length));
}

namespace {

// name_entry_hashed past its first test: the whole lookup, and the making
// of a new entry.
[[gnu::noinline]] NameEntry *find_name_entry(const char *text, unsigned length, uint32_t hash) {
    NameEntry *&recent = recent_names[hash & (RECENT_COUNT - 1)];
    if (recent != nullptr && recent->hash == hash && recent->key_length == length &&
        same_spelling(recent->key, text, length))
        return recent;
    if (2 * (name_count + 1) > name_slot_count)
        grow_name_index();
    NameSlot *slot = find_slot(text, length, hash);
    if (slot->entry != nullptr) {
        recent = slot->entry;
        return recent;
    }

    // The record follows its entry in one block; a name cut to fit the
    // record keeps its whole spelling in a copy of its own, as the key.
    unsigned kept = length < NAME_RECORD_MAX ? length : NAME_RECORD_MAX;
    auto *entry = static_cast<NameEntry *>(new_entry_space(unsigned(sizeof(NameEntry)) + kept + 2));
    NameRecord *name = entry_name(entry);
    name->length = static_cast<uint8_t>(kept);
    std::memcpy(name->text, text, kept);
    name->text[kept] = 0;
    const char *key = name->text;
    if (length > kept) {
        char *copy = static_cast<char *>(checked_alloc(length, nullptr));
        std::memcpy(copy, text, length);
        key = copy;
    }
    entry->macro = nullptr;
    entry->newest[0] = -1;
    entry->newest[1] = -1;
    entry->key = key;
    entry->key_length = length;
    entry->hash = hash;
    entry->keyword = keyword_code(text, length);
    *slot = {entry, hash};
    name_count++;
    recent = entry;
    return entry;
}

}  // namespace

// Most names were met a moment ago and are found here, by a path that calls
// nothing, so that it saves no registers and can be inlined into the
// scanner.
NameEntry *name_entry_hashed(const char *text, unsigned length, uint32_t hash) {
    NameEntry *recent = recent_names[hash & (RECENT_COUNT - 1)];
    if (recent != nullptr && recent->hash == hash && recent->key_length == length && length <= 16) {
        const char *key = recent->key;
        unsigned i = 0;
        while (i < length && key[i] == text[i])
            i++;
        if (i == length)
            return recent;
    }
    return find_name_entry(text, length, hash);
}

NameRecord *intern_name(const char *text, unsigned length) {
    return entry_name(name_entry(text, length));
}

// Only a spelling of 2 to 8 characters that does not start with `_` can be
// a keyword; all keywords start with a lower-case letter.
uint16_t keyword_code(const char *text, unsigned length) {
    if (length < 2 || length > 8 || text[0] < 'a' || text[0] > 'z')
        return 0;
    int letter = text[0] - 'a';
    for (int k = keyword_index.start[letter]; k < keyword_index.start[letter + 1]; k++) {
        if (keywords[k].length == length && std::memcmp(keywords[k].text, text, length) == 0)
            return static_cast<uint16_t>(TOK_FIRST_KEYWORD + k);
    }
    return 0;
}
