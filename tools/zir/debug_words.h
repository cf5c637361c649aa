// Which values of a file's debug data are type words.  The debug data is a
// linked structure of plain value records; a type word is a 4-byte int like
// any other, and only its place in the structure tells it apart.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_set>

// The offsets of the REC_INT records that hold type words, found by
// following the debug data from each file record: the function records on
// its chain, their lists of names, the type data and the layouts of
// structs, unions and enums.  Parts that do not read as debug data are left
// out, and a file without debug data gives an empty set.
std::unordered_set<size_t> find_debug_type_words(const uint8_t *data, size_t size);

// The type word `word` (most significant byte first) as text: the
// derivations from the outermost, then the base, e.g. "array pointer char".
void describe_type_word(uint32_t word, char *text, size_t room);
