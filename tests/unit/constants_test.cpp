// Conversion of numeric, character and string constants, and the literal
// pool with its sections and joined strings.
#include <gtest/gtest.h>
#include <unistd.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "driver/options.h"
#include "lexer/token.h"
#include "message_capture.h"

namespace {

// With no source file open, `report` writes the position of a message to
// stderr; that is not this module's concern, and goes to a scratch file
// while this lives.
struct QuietStderr {
    int saved = (std::fflush(stderr), dup(2));
    FILE *sink = std::tmpfile();
    QuietStderr() { dup2(fileno(sink), 2); }
    ~QuietStderr() { std::fflush(stderr); dup2(saved, 2); close(saved); std::fclose(sink); }
};

// Runs one of the converters on `spelling` and gives what it reported.  The
// spelling must come out unchanged, as it may be a macro's body.
std::string convert(void (*converter)(Token *, const char *, unsigned), const std::string &spelling,
                    Token *token) {
    Messages messages;
    QuietStderr quiet;
    std::string copy = spelling;
    converter(token, copy.data(), unsigned(copy.size()));
    EXPECT_EQ(copy, spelling);
    return messages.take();
}

std::string bytes_of(const StringConst *entry) {
    return std::string(reinterpret_cast<const char *>(entry->bytes), entry->length);
}

// Each test that looks at the pool works in sections of its own, so that
// what earlier tests pooled does not count.
void fresh_section(const std::string &name) { literal_section = intern_name(name.data(), name.size()); }

struct SectionGuard {
    ~SectionGuard() { literal_section = nullptr; }
};

const char BAD[] = "bad integer constant \n";
const char BIG[] = "integer constant too large\n";

TEST(ConvertNumber, Integers) {
    struct Case {
        std::string spelling;
        uint16_t code;
        uint32_t value;
        std::string messages;
    };
    const uint16_t I = TOK_INT, U = TOK_UINT, L = TOK_LONG;
    const Case cases[] = {
        {"0", I, 0, ""}, {"017", I, 15, ""}, {"08", I, 0, BAD}, {"0x1F", I, 31, ""},
        {"0XaB", I, 171, ""}, {"0b101", I, 5, ""}, {"0B2", I, 0, BAD}, {"0b", I, 0, BAD},
        {"0x", I, 0, BAD}, {"0x1g", I, 1, BAD}, {"0xe+1", I, 14, BAD}, {"12abc", I, 12, BAD},
        // The code follows from value and suffix: `long` is as wide as `int`.
        {"2147483647", I, 0x7FFFFFFF, ""}, {"2147483648", L, 0x80000000, ""},
        {"0x80000000u", U, 0x80000000, ""}, {"0x80000000L", L, 0x80000000, ""},
        {"0x80000001", U, 0x80000001, ""}, {"4294967295", U, 0xFFFFFFFF, ""},
        {"1U", U, 1, ""}, {"1L", I, 1, ""}, {"1lu", U, 1, ""}, {"1uL", U, 1, ""},
        {"1ll", I, 1, BAD}, {"1uu", U, 1, BAD}, {"1lul", U, 1, BAD},
        // Overflow: each base has its own test.  Leading zeros do not count.
        {"4294967296", I, 0, BIG}, {"5000000000", I, 705032704, BIG}, {"0x100000000", I, 0, BIG},
        {"0x0FFFFFFFF", U, 0xFFFFFFFF, ""}, {"0x000000000000000001", I, 1, ""},
        {"040000000000", I, 0, BIG}, {"0037777777777", U, 0xFFFFFFFF, ""},
        {"0b1" + std::string(32, '0'), I, 0, BIG}, {"0b0" + std::string(32, '1'), U, 0xFFFFFFFF, ""},
        {"4294967296u", U, 0, BIG}, {"99999999999x", I, 1215752191, std::string(BIG) + BAD},
        {std::string(1000, '9'), U, 0xFFFFFFFF, BIG}, {std::string(1000, '0'), I, 0, ""},
        {"0x" + std::string(1000, 'f'), U, 0xFFFFFFFF, BIG},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.spelling);
        Token token{};
        EXPECT_EQ(convert(convert_number_spelling, c.spelling, &token), c.messages);
        EXPECT_EQ(token.code, c.code);
        EXPECT_EQ(static_cast<uint32_t>(token.value.integer), c.value);
    }
}

// Real constants are built by a fixed sequence of rounded operations; the
// bits below follow that sequence, and some of them differ in the last bit
// from a correctly rounded conversion, which is what makes them worth
// checking.  With -f every real constant is a float.
TEST(ConvertNumber, Reals) {
    const uint64_t ANY_NAN = ~0ULL, INF = 0x7FF0000000000000ULL, ONE = 0x3FF0000000000000ULL,
                   ONE_HALF = 0x3FF8000000000000ULL;
    const char OVER[] = "exponent overflow in real\n";
    const char MISSING[] = "missing exponent in real\n";
    struct Case {
        std::string spelling;
        uint16_t code;
        std::string messages;
        uint64_t bits;
    };
    const uint16_t D = TOK_DOUBLE, F = TOK_FLOAT;
    const Case cases[] = {
        {"1e300", D, "", 0x7E37E43C8800759CULL}, {"1e23", D, "", 0x44B52D02C7E14AF6ULL},
        {"1e-300", D, "", 0x01A56E1FC2F8F358ULL},   // correctly rounded: ...59
        {"8.5e-5", D, "", 0x3F164840E1719F7FULL},   // correctly rounded: ...80
        {"3.0e-45", D, "", 0x36B1208141E9900AULL},  // correctly rounded: ...0B
        {"0.1", D, "", 0x3FB999999999999AULL}, {"3.14159", D, "", 0x400921F9F01B866EULL},
        {".5e1", D, "", 0x4014000000000000ULL}, {"09.5", D, "", 0x4023000000000000ULL},
        {"0e0", D, "", 0}, {"2.5e-3", D, "", 0x3F647AE147AE147BULL},
        {"12345.678e-2", D, "", 0x405EDD3BE22E5DE1ULL}, {"1E+2", D, "", 0x4059000000000000ULL},
        {"123456789012345678901234567890.0", D, "", 0x45F8EE90FF6C373DULL},
        {"9007199254740993.0", D, "", 0x4340000000000000ULL},
        {"100000000000000000000000e-23", D, "", ONE},
        // At the limits: the largest double overflows on the way, the
        // smallest normal holds, denormals and the underflow to zero.
        {"1.7976931348623157e308", D, "", INF}, {"1e-256", D, "", 0x0AC8062864AC6F43ULL},
        {"2.2250738585072014e-308", D, "", 0x0010000000000000ULL},
        {"1e-310", D, "", 0x000012688B70E62BULL}, {"4.9e-324", D, OVER, 1}, {"2e-324", D, OVER, 0},
        // Far out of range; the exponent count must not overflow.
        {"1e310", D, "", INF}, {"1e400", D, OVER, INF}, {"5e-99999", D, OVER, 0},
        {"1e99999999999999999999", D, OVER, INF}, {"1e-99999999999999999999", D, OVER, 0},
        {"0e99999", D, OVER, 0}, {std::string(400, '9') + ".0", D, "", INF},
        {"1" + std::string(1000, '0') + "e-1000", D, OVER, INF},
        {"0." + std::string(400, '3'), D, "", ANY_NAN},   // infinity over infinity
        // Suffixes and malformed spellings.
        {"1.5f", F, "", ONE_HALF}, {"1.5F", F, "", ONE_HALF}, {"1.5L", D, "", ONE_HALF},
        {"1.5l", D, "", ONE_HALF}, {"1e5f", F, "", 0x40F86A0000000000ULL},
        {"1e", D, MISSING, ONE}, {"1E-", D, MISSING, ONE},
        {"1e+x", D, "bad real constant 1e+x\n", ONE},
        {"1.5ff", F, "bad real constant 1.5ff\n", ONE_HALF},
        {"1.2.3", D, "bad real constant 1.2.3\n", 0x3FF3333333333333ULL},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.spelling);
        Token token{};
        EXPECT_EQ(convert(convert_number_spelling, c.spelling, &token), c.messages);
        EXPECT_EQ(token.code, c.code);
        ASSERT_EQ(token.value.string->length, 8);
        uint64_t bits;
        std::memcpy(&bits, token.value.string->bytes, 8);
        if (c.bits == ANY_NAN)
            EXPECT_TRUE(std::isnan(std::bit_cast<double>(bits)));
        else
            EXPECT_EQ(bits, c.bits);
        opt_f = 1;
        convert(convert_number_spelling, c.spelling, &token);
        opt_f = 0;
        EXPECT_EQ(token.code, TOK_FLOAT);
    }
    // Exponents beyond what a spelling can reach.
    EXPECT_EQ(scale_pow10(1e-300, 600), 1e-300 * 1e8 * 1e16 * 1e64 * 1e256 * 1e256);
    EXPECT_TRUE(std::isinf(scale_pow10(1, 2147483647)));
    EXPECT_EQ(scale_pow10(1, -2147483647 - 1), 0);
}

// A plain char is signed unless -u makes it unsigned; several characters
// pack into an int, the last one in the low byte.
TEST(ConvertChar, Values) {
    struct Case {
        const char *spelling;
        int32_t value;
        int32_t unsigned_value;
        const char *messages;
    };
    const Case cases[] = {
        {"'a'", 97, 97, ""}, {"L'a'", 97, 97, ""}, {"''", 0, 0, ""},
        {"'abcde'", 0x62636465, 0x62636465, ""}, {"'\\377'", -1, 255, ""},
        {"'\\200'", -128, 128, ""}, {"'\\177'", 127, 127, ""}, {"'\xe9'", -23, 233, ""},
        {"'\\x41'", 65, 65, ""}, {"'\\400'", 0, 0, ""}, {"'\\1234'", 0x5334, 0x5334, ""},
        {"'\\a\\b\\f\\v'", 0x07080C0B, 0x07080C0B, ""}, {"'\\r\\t\\n\\?'", 0x0D090A3F, 0x0D090A3F, ""},
        {"'\\\\\\'\\\"'", 0x5C2722, 0x5C2722, ""}, {"'\\q'", 0x5C71, 0x5C71, ""},
        {"'\\xff\\xff'", 0xFFFF, 0xFFFF, ""}, {"'a\n", 0x610A, 0x610A, ""}, {"'\\", 92, 92, ""},
        {"'\\x'", 0, 0, "invalid hexadecimal character\n"},
        {"'\\x123456789'", -119, 0x89, "hexadecimal constant too large\n"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.spelling);
        Token token{};
        EXPECT_EQ(convert(convert_char_spelling, c.spelling, &token), c.messages);
        EXPECT_EQ(token.code, TOK_INT);
        EXPECT_EQ(token.value.integer, c.value);
        opt_u = 1;
        convert(convert_char_spelling, c.spelling, &token);
        opt_u = 0;
        EXPECT_EQ(token.value.integer, c.unsigned_value);
    }
    // An escape read on its own, bounded by nothing but a null: its value,
    // and the characters it takes.
    for (auto [text, value, used] : {std::tuple{"\\X7fffffffz", 0x7FFFFFFFu, 10}, {"\\1018", 65u, 4},
                                     {"\\08", 0u, 2}, {"\\q", 92u, 1}, {"\\", 92u, 1}}) {
        const char *cursor = text;
        EXPECT_EQ(convert_escape(&cursor), value) << text;
        EXPECT_EQ(cursor - text, used) << text;
    }
}

TEST(ConvertString, Bytes) {
    SectionGuard guard;
    fresh_section("strings");
    struct Case {
        std::string spelling;
        std::string bytes;
        const char *messages;
    };
    const Case cases[] = {
        {"\"abc\"", "abc", ""}, {"L\"ab\"", "ab", ""}, {"\"\"", "", ""}, {"\"\\q\"", "\\q", ""},
        {"\"a\\0b\"", std::string("a\0b", 3), ""}, {"\"\\1234\\\"'\"", "S4\"'", ""},
        {"\"\\x41\\x42c\"", "A,", ""},   // c is a hexadecimal digit
        {"\"\\x\"", std::string(1, '\0'), "invalid hexadecimal character\n"},
        {"\"abc\n", "abc\n", ""}, {"\"ab\\", "ab\\", ""},
        {"\"" + std::string(300, '\0') + "\"", std::string(300, '\0'), ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.spelling);
        Token token{};
        EXPECT_EQ(convert(convert_string_spelling, c.spelling, &token), c.messages);
        EXPECT_EQ(token.code, TOK_STRING);
        EXPECT_EQ(bytes_of(token.value.string), c.bytes);
    }
}

// ---------------------------------------------------------------------------
TEST(LiteralPool, OneEntryPerValueAndSection) {
    SectionGuard guard;
    fresh_section("pool-a");
    // Enough values for the index to grow several times; values that differ
    // only in length are different values.
    std::vector<std::string> values;
    for (int i = 0; i < 3000; i++) {
        values.push_back("v" + std::to_string(i));
        values.push_back(values.back() + std::string(1, '\0'));
    }
    std::vector<StringConst *> entries;
    for (const std::string &value : values)
        entries.push_back(pool_string(value.data(), value.size()));
    EXPECT_EQ(std::set<StringConst *>(entries.begin(), entries.end()).size(), values.size());
    for (size_t i = 0; i < values.size(); i++) {
        ASSERT_EQ(pool_string(values[i].data(), values[i].size()), entries[i]) << i;
        ASSERT_EQ(entries[i]->extra_uses, 1);
        ASSERT_EQ(entries[i]->section, literal_section);
    }
    // A new constant section starts a new set of literals, and a section of
    // the same name finds its entries again.
    fresh_section("pool-b");
    StringConst *b = pool_string("v0", 2);
    EXPECT_NE(b, entries[0]);
    EXPECT_EQ(b->extra_uses, 0);
    EXPECT_EQ(literal_pool, b);
    fresh_section("pool-a");
    EXPECT_EQ(pool_string("v0", 2), entries[0]);
    // Equal reals share one entry, whatever their spelling.
    Token first{}, second{}, third{};
    convert(convert_number_spelling, "2.75", &first);
    convert(convert_number_spelling, "275e-2", &second);
    convert(convert_number_spelling, "2.75f", &third);
    EXPECT_EQ(second.value.string, first.value.string);
    EXPECT_EQ(third.value.string, first.value.string);
    EXPECT_EQ(first.value.string->extra_uses, 2);
}

// Joining as the token stream does it: pool the first string, then each
// following one, and join.
StringConst *join(const std::vector<std::string> &pieces) {
    Token token{};
    token.value.string = pool_string(pieces[0].data(), pieces[0].size());
    for (size_t i = 1; i < pieces.size(); i++) {
        StringConst *first = token.value.string;
        token.value.string = pool_string(pieces[i].data(), pieces[i].size());
        concat_strings(&token, first);
    }
    return token.value.string;
}

// The entries of the current section, newest first, as "bytes:extra_uses";
// the links back to the newer entry are checked on the way.
std::string section_entries() {
    std::string out;
    const StringConst *newer = nullptr;
    for (const StringConst *entry = literal_pool; entry != nullptr; newer = entry, entry = entry->next) {
        EXPECT_EQ(entry->newer, newer);
        if (entry->section == literal_section)
            out += (out.empty() ? "" : " ") + bytes_of(entry) + ":" + std::to_string(entry->extra_uses);
    }
    return out;
}

TEST(ConcatStrings, WhatStaysInThePool) {
    SectionGuard guard;
    struct Case {
        std::vector<std::string> used_before;
        std::vector<std::string> pieces;
        std::string entries;   // of the section afterwards
    };
    std::vector<std::string> run(5000, "7-");
    std::string whole_run;
    for (const std::string &piece : run)
        whole_run += piece;
    const Case cases[] = {
        {{}, {"ab", "cd", "e"}, "abcde:0"},
        {{"xy"}, {"xy", "z"}, "xyz:0 xy:1"},
        {{"tail"}, {"q", "tail"}, "qtail:0 tail:1"},
        {{}, {"a", "a"}, "aa:0"},
        {{"a"}, {"a", "a"}, "aa:0 a:1"},
        {{"foobar"}, {"foo", "bar"}, "foobar:1"},
        {{}, {"m", ""}, "m:0"},
        {{}, {"", "n"}, "n:1"},
        {{}, {"", ""}, ":0"},
        {{}, {"p", "", "q", "", "", "r"}, "pqr:0"},
        {{}, run, whole_run + ":0"},
    };
    int section = 0;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.pieces[0] + "...");
        fresh_section("join-" + std::to_string(section++));
        for (const std::string &text : c.used_before)
            pool_string(text.data(), text.size());
        std::string expected;
        for (const std::string &piece : c.pieces)
            expected += piece;
        StringConst *joined = join(c.pieces);
        EXPECT_EQ(bytes_of(joined), expected);
        EXPECT_EQ(section_entries(), c.entries);
    }

    // A piece of another section, or one that already has a label, is not
    // grown into the joined string.
    fresh_section("join-left");
    Token token{};
    StringConst *left = token.value.string = pool_string("left", 4);
    fresh_section("join-right");
    token.value.string = pool_string("right", 5);
    concat_strings(&token, left);
    EXPECT_EQ(section_entries(), "leftright:0");
    fresh_section("join-left");
    EXPECT_EQ(section_entries(), "");
    StringConst *labelled = token.value.string = pool_string("lab", 3);
    labelled->label = 7;
    token.value.string = pool_string("el", 2);
    concat_strings(&token, labelled);
    EXPECT_NE(token.value.string, labelled);
    EXPECT_EQ(token.value.string->label, 0);
    EXPECT_EQ(bytes_of(token.value.string), "label");

    // The length is capped, with one message.
    std::string piece(16000, 'k');
    Messages messages;
    QuietStderr quiet;
    EXPECT_EQ(join({piece, piece, piece, piece, piece, piece})->length, STRING_CONST_MAX);
    EXPECT_EQ(messages.take(), "string too long\n");
}

}  // namespace
