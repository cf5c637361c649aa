// The literal pool: strings and real constants, each distinct value once
// per constant section.  `literal_pool` is a list with the newest entry at
// its head, which is what the writer of literals walks.  Beside it an index
// by value finds an entry without walking the list: every entry of the list
// is in the index under its section and bytes, and nothing else is.  No two
// entries have the same section and bytes, since an entry is only made when
// the search for its value failed, so the index gives the one entry that a
// walk of the list would find.
#include <cstring>

#include "driver/options.h"
#include "lexer/token.h"

StringConst *literal_pool;

namespace {

StringConst **buckets;
uint32_t bucket_count;      // a power of two, or 0 before the first entry
uint32_t entry_count;

// Polynomial hash of the bytes, so that the hash of a joined string follows
// from the hashes of its pieces: hash(a b) = hash(a) * BASE^len(b) + hash(b).
constexpr uint32_t HASH_BASE = 0x01000193u;

uint32_t hash_bytes(uint32_t hash, const uint8_t *bytes, unsigned length) {
    for (unsigned i = 0; i < length; i++)
        hash = hash * HASH_BASE + bytes[i];
    return hash;
}

uint32_t bucket_of(uint32_t hash, const NameRecord *section) {
    uint64_t key = hash ^ (reinterpret_cast<uintptr_t>(section) * 0x9E3779B97F4A7C15ull);
    key ^= key >> 29;
    key *= 0xBF58476D1CE4E5B9ull;
    key ^= key >> 32;
    return static_cast<uint32_t>(key) & (bucket_count - 1);
}

void index_insert(StringConst *entry) {
    uint32_t b = bucket_of(entry->hash, entry->section);
    entry->bucket_next = buckets[b];
    buckets[b] = entry;
}

void index_remove(StringConst *entry) {
    StringConst **link = &buckets[bucket_of(entry->hash, entry->section)];
    while (*link != entry)
        link = &(*link)->bucket_next;
    *link = entry->bucket_next;
}

// Keeps the index at no more entries than buckets, counting the entry about
// to be linked, which is not on the list yet.
void index_grow() {
    if (entry_count < bucket_count)
        return;
    std::free(buckets);
    bucket_count = bucket_count == 0 ? 256 : 2 * bucket_count;
    buckets = static_cast<StringConst **>(checked_alloc(bucket_count * sizeof *buckets, nullptr));
    std::memset(buckets, 0, bucket_count * sizeof *buckets);
    for (StringConst *entry = literal_pool; entry != nullptr; entry = entry->next)
        index_insert(entry);
}

// The entry of the current section whose bytes are `first` followed by
// `second`, or null.
StringConst *find_entry(uint32_t hash, const uint8_t *first, unsigned first_length,
                        const uint8_t *second, unsigned second_length) {
    if (bucket_count == 0)
        return nullptr;
    unsigned length = first_length + second_length;
    for (StringConst *entry = buckets[bucket_of(hash, literal_section)]; entry != nullptr;
         entry = entry->bucket_next) {
        if (entry->hash == hash && entry->length == length && entry->section == literal_section &&
            (first_length == 0 || std::memcmp(entry->bytes, first, first_length) == 0) &&
            (second_length == 0 ||
             std::memcmp(entry->bytes + first_length, second, second_length) == 0))
            return entry;
    }
    return nullptr;
}

// Puts `entry` at the head of the list and into the index.
void link_entry(StringConst *entry) {
    entry_count++;
    index_grow();
    entry->next = literal_pool;
    entry->newer = nullptr;
    if (literal_pool != nullptr)
        literal_pool->newer = entry;
    literal_pool = entry;
    index_insert(entry);
}

// Takes `entry` out of the list and the index; the block stays.
void unlink_entry(StringConst *entry) {
    index_remove(entry);
    if (entry->newer != nullptr)
        entry->newer->next = entry->next;
    else
        literal_pool = entry->next;
    if (entry->next != nullptr)
        entry->next->newer = entry->newer;
    entry_count--;
}

// A new entry of the current section with all counts 0 and room for
// `capacity` bytes, of which the first `length` are `first` and `second`.
StringConst *make_entry(uint32_t hash, unsigned capacity, const uint8_t *first,
                        unsigned first_length, const uint8_t *second, unsigned second_length) {
    auto *entry = static_cast<StringConst *>(checked_alloc(sizeof(StringConst) + capacity, nullptr));
    std::memset(entry, 0, sizeof(StringConst));
    entry->section = literal_section;
    entry->length = static_cast<uint16_t>(first_length + second_length);
    entry->hash = hash;
    entry->capacity = capacity;
    if (first_length != 0)
        std::memcpy(entry->bytes, first, first_length);
    if (second_length != 0)
        std::memcpy(entry->bytes + first_length, second, second_length);
    link_entry(entry);
    return entry;
}

void add_use(StringConst *entry) {
    if (entry->extra_uses != 0xFFFF)
        entry->extra_uses++;
}

uint32_t power_of_base(unsigned exponent) {
    uint32_t result = 1, factor = HASH_BASE;
    for (; exponent != 0; exponent >>= 1, factor *= factor) {
        if (exponent & 1)
            result *= factor;
    }
    return result;
}

// An entry that only the string being joined uses, and that is in every
// field like a new entry of the current section, can become the joined
// string itself.
bool can_extend(const StringConst *entry) {
    return entry->extra_uses == 0 && entry->label == 0 && entry->variants == 0 &&
           entry->written == 0 && entry->section == literal_section;
}

void free_entry(StringConst *entry) {
    unlink_entry(entry);
    std::free(entry);
}

}  // namespace

StringConst *pool_string(const void *bytes, unsigned length) {
    if (length > STRING_CONST_MAX)
        length = STRING_CONST_MAX;
    auto *data = static_cast<const uint8_t *>(bytes);
    uint32_t hash = hash_bytes(0, data, length);
    if (StringConst *entry = find_entry(hash, data, length, nullptr, 0)) {
        add_use(entry);
        return entry;
    }
    return make_entry(hash, length, data, length, nullptr, 0);
}

// Joins `first` and the string in `token`.  The pieces leave the pool when
// nothing else uses them, so that they are not written as literals.  When
// `first` is such a piece, it is grown into the joined string in place of
// making a new entry and freeing it, so that a long run of adjacent strings
// costs time in proportion to its length.
void concat_strings(Token *token, StringConst *first) {
    StringConst *second = token->value.string;
    unsigned first_length = first->length, second_length = second->length;
    if (first_length + second_length > STRING_CONST_MAX) {
        if (first_length < STRING_CONST_MAX)
            report("string too long");
        second_length = STRING_CONST_MAX - first_length;
    }
    if (second_length == 0) {
        // Nothing to add: the string stays the entry it is.  Counting a use
        // of it here, as a search for the joined bytes would, would keep it
        // in the pool as a leftover at the next join and make that join copy
        // it; a run of pieces with empty strings between them would then
        // cost time and memory in the square of its length.
        if (second == first) {
            if (first->extra_uses != 0)
                first->extra_uses--;
        } else if (second->extra_uses == 0) {
            free_entry(second);
        }
        token->value.string = first;
        return;
    }
    uint32_t second_hash = hash_bytes(0, second->bytes, second_length);
    uint32_t hash = first->hash * power_of_base(second_length) + second_hash;

    StringConst *joined = find_entry(hash, first->bytes, first_length, second->bytes, second_length);
    if (joined != nullptr) {
        add_use(joined);
    } else if (first != second && can_extend(first)) {
        unsigned length = first_length + second_length;
        unlink_entry(first);
        if (length > first->capacity) {
            unsigned capacity = 2 * first->capacity > length ? 2 * first->capacity : length;
            auto *grown = static_cast<StringConst *>(checked_alloc(sizeof(StringConst) + capacity, nullptr));
            std::memcpy(grown, first, sizeof(StringConst) + first_length);
            grown->capacity = capacity;
            std::free(first);
            first = grown;
        }
        if (second_length != 0)
            std::memcpy(first->bytes + first_length, second->bytes, second_length);
        first->length = static_cast<uint16_t>(length);
        first->hash = hash;
        link_entry(first);
        token->value.string = first;
        if (second->extra_uses == 0)
            free_entry(second);
        return;
    } else {
        joined = make_entry(hash, first_length + second_length, first->bytes, first_length,
                            second->bytes, second_length);
    }
    token->value.string = joined;

    if (first == second && first->extra_uses != 0)
        first->extra_uses--;
    if (first->extra_uses == 0)
        free_entry(first);
    if (second != first && second->extra_uses == 0)
        free_entry(second);
}
