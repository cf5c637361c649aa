// Conversion of numeric, character and string constants, and the literal
// pool with its sections and joined strings.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "driver/options.h"
#include "lexer/token.h"

namespace {

// Collects the message texts that `report` writes while it lives.  With no
// source file open, `report` writes its position prefix to the standard
// error stream and the message text to `error_stream`; the prefix is not
// this module's concern and goes to /dev/null.
class Messages {
public:
    Messages() {
        file_ = std::tmpfile();
        error_stream = file_;
        std::fflush(stderr);
        saved_stderr_ = dup(2);
        FILE *null = std::fopen("/dev/null", "w");
        dup2(fileno(null), 2);
        std::fclose(null);
        errors_before_ = error_count;
    }
    ~Messages() {
        restore();
        std::fclose(file_);
    }
    std::string text() {
        restore();
        std::fflush(file_);
        std::rewind(file_);
        std::string all;
        char buffer[512];
        size_t got;
        while ((got = std::fread(buffer, 1, sizeof buffer, file_)) > 0)
            all.append(buffer, got);
        return all;
    }
    int errors() const { return error_count - errors_before_; }

private:
    void restore() {
        if (saved_stderr_ >= 0) {
            std::fflush(stderr);
            dup2(saved_stderr_, 2);
            close(saved_stderr_);
            saved_stderr_ = -1;
        }
        error_stream = nullptr;
    }
    FILE *file_;
    int saved_stderr_ = -1;
    int errors_before_;
};

struct Converted {
    Token token;
    std::string messages;
    int errors;
};

// Runs one of the converters on `spelling` with the messages captured.
Converted convert(void (*converter)(Token *, const char *, unsigned), const std::string &spelling) {
    Converted c{};
    Messages messages;
    converter(&c.token, spelling.data(), unsigned(spelling.size()));
    c.errors = messages.errors();
    c.messages = messages.text();
    return c;
}

Converted number(const std::string &spelling) { return convert(convert_number_spelling, spelling); }
Converted character(const char *spelling) { return convert(convert_char_spelling, spelling); }
Converted string(const std::string &spelling) { return convert(convert_string_spelling, spelling); }

std::string bytes_of(const StringConst *entry) {
    return std::string(reinterpret_cast<const char *>(entry->bytes), entry->length);
}

uint64_t bits_of(const StringConst *entry) {
    uint64_t bits = 0;
    EXPECT_EQ(entry->length, 8);
    std::memcpy(&bits, entry->bytes, 8);
    return bits;
}

bool in_pool(const StringConst *wanted) {
    for (const StringConst *entry = literal_pool; entry != nullptr; entry = entry->next) {
        if (entry == wanted)
            return true;
    }
    return false;
}

// Each test that looks at the pool works in a section of its own, so that
// what earlier tests pooled does not count.
void fresh_section(const char *name) { literal_section = intern_name(name, std::strlen(name)); }

struct SectionGuard {
    ~SectionGuard() { literal_section = nullptr; }
};

// ---------------------------------------------------------------------------
struct IntegerCase {
    const char *spelling;
    uint16_t code;
    uint32_t value;
    const char *messages;
};

TEST(ConvertNumber, Integers) {
    static const IntegerCase cases[] = {
        {"0", TOK_INT, 0, ""},
        {"00", TOK_INT, 0, ""},
        {"7", TOK_INT, 7, ""},
        {"017", TOK_INT, 15, ""},
        {"0777", TOK_INT, 511, ""},
        {"08", TOK_INT, 0, "bad integer constant \n"},
        {"0x1F", TOK_INT, 31, ""},
        {"0XaB", TOK_INT, 171, ""},
        {"0b101", TOK_INT, 5, ""},
        {"0B1", TOK_INT, 1, ""},
        {"0B2", TOK_INT, 0, "bad integer constant \n"},
        {"0b", TOK_INT, 0, "bad integer constant \n"},
        {"0x", TOK_INT, 0, "bad integer constant \n"},
        {"0x1g", TOK_INT, 1, "bad integer constant \n"},
        {"0xe+1", TOK_INT, 14, "bad integer constant \n"},
        {"1f", TOK_INT, 1, "bad integer constant \n"},
        {"12abc", TOK_INT, 12, "bad integer constant \n"},
        // Code by value and suffix.
        {"2147483647", TOK_INT, 0x7FFFFFFF, ""},
        {"2147483648", TOK_LONG, 0x80000000, ""},
        {"0x80000000", TOK_LONG, 0x80000000, ""},
        {"0x80000000u", TOK_UINT, 0x80000000, ""},
        {"0x80000000L", TOK_LONG, 0x80000000, ""},
        {"0x80000001", TOK_UINT, 0x80000001, ""},
        {"4294967295", TOK_UINT, 0xFFFFFFFF, ""},
        {"0xFFFFFFFF", TOK_UINT, 0xFFFFFFFF, ""},
        {"037777777777", TOK_UINT, 0xFFFFFFFF, ""},
        {"0b11111111111111111111111111111111", TOK_UINT, 0xFFFFFFFF, ""},
        {"1u", TOK_UINT, 1, ""},
        {"1U", TOK_UINT, 1, ""},
        {"1l", TOK_INT, 1, ""},
        {"1L", TOK_INT, 1, ""},
        {"1ul", TOK_UINT, 1, ""},
        {"1lu", TOK_UINT, 1, ""},
        {"1LU", TOK_UINT, 1, ""},
        {"1ll", TOK_INT, 1, "bad integer constant \n"},
        {"1uu", TOK_UINT, 1, "bad integer constant \n"},
        {"1lul", TOK_UINT, 1, "bad integer constant \n"},
        // Overflow: each base has its own test.  Leading zeros do not count.
        {"4294967296", TOK_INT, 0, "integer constant too large\n"},
        {"5000000000", TOK_INT, 705032704, "integer constant too large\n"},
        {"0x100000000", TOK_INT, 0, "integer constant too large\n"},
        {"0xFFFFFFFFF", TOK_UINT, 0xFFFFFFFF, "integer constant too large\n"},
        {"0x0FFFFFFFF", TOK_UINT, 0xFFFFFFFF, ""},
        {"0x000000000000000001", TOK_INT, 1, ""},
        {"040000000000", TOK_INT, 0, "integer constant too large\n"},
        {"0037777777777", TOK_UINT, 0xFFFFFFFF, ""},
        {"0b100000000000000000000000000000000", TOK_INT, 0, "integer constant too large\n"},
        {"0b011111111111111111111111111111111", TOK_UINT, 0xFFFFFFFF, ""},
        {"4294967296u", TOK_UINT, 0, "integer constant too large\n"},
        {"99999999999x", TOK_INT, 1215752191, "integer constant too large\nbad integer constant \n"},
    };
    for (const IntegerCase &c : cases) {
        SCOPED_TRACE(c.spelling);
        Converted got = number(c.spelling);
        EXPECT_EQ(got.token.code, c.code);
        EXPECT_EQ(static_cast<uint32_t>(got.token.value.integer), c.value);
        EXPECT_EQ(got.messages, c.messages);
    }
}

TEST(ConvertNumber, VeryLongSpellingsEndWithAMessage) {
    Converted decimal = number(std::string(1000, '9'));
    EXPECT_EQ(decimal.messages, "integer constant too large\n");
    Converted hex = number("0x" + std::string(1000, 'f'));
    EXPECT_EQ(hex.messages, "integer constant too large\n");
    EXPECT_EQ(static_cast<uint32_t>(hex.token.value.integer), 0xFFFFFFFF);
    Converted zeros = number(std::string(1000, '0'));
    EXPECT_EQ(zeros.messages, "");
    EXPECT_EQ(zeros.token.value.integer, 0);
}

// ---------------------------------------------------------------------------
// Real constants are built by the fixed sequence of rounded operations; the
// bits below follow that sequence, and some of them differ in the last bit
// from a correctly rounded conversion, which is what makes them worth
// checking.
struct RealCase {
    const char *spelling;
    const char *messages;
    uint64_t bits;
};

const char NONE[] = "";
const char OVER[] = "exponent overflow in real\n";

TEST(ConvertNumber, RealsAreBitExact) {
    static const RealCase cases[] = {
        {"1e300", NONE, 0x7E37E43C8800759CULL},
        {"1e-300", NONE, 0x01A56E1FC2F8F358ULL},   // correctly rounded ends in ...59
        {"1e23", NONE, 0x44B52D02C7E14AF6ULL},
        {"1e22", NONE, 0x4480F0CF064DD592ULL},
        {"0.1", NONE, 0x3FB999999999999AULL},
        {"0.3", NONE, 0x3FD3333333333333ULL},
        {"1.1", NONE, 0x3FF199999999999AULL},
        {"1.5", NONE, 0x3FF8000000000000ULL},
        {"3.14159", NONE, 0x400921F9F01B866EULL},
        {".5e1", NONE, 0x4014000000000000ULL},
        {"09.5", NONE, 0x4023000000000000ULL},
        {"0e0", NONE, 0x0000000000000000ULL},
        {"1.f", NONE, 0x3FF0000000000000ULL},
        {"2.5e-3", NONE, 0x3F647AE147AE147BULL},
        {"8.5e-5", NONE, 0x3F164840E1719F7FULL},   // correctly rounded: ...80
        {"3.0e-45", NONE, 0x36B1208141E9900AULL},  // correctly rounded: ...0B
        {"12345.678e-2", NONE, 0x405EDD3BE22E5DE1ULL},
        {"0.000001", NONE, 0x3EB0C6F7A0B5ED8DULL},
        {"123456789012345678901234567890.0", NONE, 0x45F8EE90FF6C373DULL},
        {"9007199254740993.0", NONE, 0x4340000000000000ULL},
        {"100000000000000000000000e-23", NONE, 0x3FF0000000000000ULL},
        // At the limits: the largest double overflows on the way, the
        // smallest normal holds, denormals and the underflow to zero.
        {"1e308", NONE, 0x7FE1CCF385EBC8A0ULL},
        {"1.7976931348623157e308", NONE, 0x7FF0000000000000ULL},
        {"1e310", NONE, 0x7FF0000000000000ULL},
        {"1e256", NONE, 0x75154FDD7F73BF3CULL},
        {"1e-256", NONE, 0x0AC8062864AC6F43ULL},
        {"1.0e-307", NONE, 0x0031FA182C40C60DULL},
        {"2.2250738585072014e-308", NONE, 0x0010000000000000ULL},
        {"1e-310", NONE, 0x000012688B70E62BULL},
        {"1e-320", OVER, 0x00000000000007E8ULL},
        {"4.9e-324", OVER, 0x0000000000000001ULL},
        {"2e-324", OVER, 0x0000000000000000ULL},
        {"1E+2", NONE, 0x4059000000000000ULL},
    };
    for (const RealCase &c : cases) {
        SCOPED_TRACE(c.spelling);
        Converted got = number(c.spelling);
        EXPECT_EQ(got.messages, c.messages);
        ASSERT_NE(got.token.value.string, nullptr);
        EXPECT_EQ(bits_of(got.token.value.string), c.bits);
    }
}

TEST(ScalePow10, MultipliesByTheTableInOrder) {
    // 300 = 4 + 8 + 32 + 256: one rounding after each factor, in this order.
    double expected = 1;
    expected *= 1e4;
    expected *= 1e8;
    expected *= 1e32;
    expected *= 1e256;
    EXPECT_EQ(scale_pow10(1, 300), expected);
    // A negative exponent divides by the same factors.
    double divided = 3;
    divided /= 1e1;
    divided /= 1e2;
    divided /= 1e32;
    EXPECT_EQ(scale_pow10(3, -35), divided);
    EXPECT_EQ(scale_pow10(0, 300), 0);
    EXPECT_EQ(scale_pow10(2.5, 0), 2.5);
    // More than one step of 1e256, and exponents far out of range.
    EXPECT_EQ(scale_pow10(1e-300, 600), 1e-300 * 1e8 * 1e16 * 1e64 * 1e256 * 1e256);
    EXPECT_TRUE(std::isinf(scale_pow10(1, 2147483647)));
    EXPECT_EQ(scale_pow10(1, -2147483647 - 1), 0);
}

struct RealFormCase {
    const char *spelling;
    uint16_t code;
    uint16_t code_with_f;
    const char *messages;
};

TEST(ConvertNumber, RealSuffixesAndMessages) {
    static const RealFormCase cases[] = {
        {"1.5", TOK_DOUBLE, TOK_FLOAT, ""},
        {"1.5f", TOK_FLOAT, TOK_FLOAT, ""},
        {"1.5F", TOK_FLOAT, TOK_FLOAT, ""},
        {"1.5L", TOK_DOUBLE, TOK_FLOAT, ""},
        {"1.5l", TOK_DOUBLE, TOK_FLOAT, ""},
        {"1e5f", TOK_FLOAT, TOK_FLOAT, ""},
        {"1e", TOK_DOUBLE, TOK_FLOAT, "missing exponent in real\n"},
        {"1e+", TOK_DOUBLE, TOK_FLOAT, "missing exponent in real\n"},
        {"1E-", TOK_DOUBLE, TOK_FLOAT, "missing exponent in real\n"},
        {"1ex", TOK_DOUBLE, TOK_FLOAT, "bad real constant 1ex\n"},
        {"1e+x", TOK_DOUBLE, TOK_FLOAT, "bad real constant 1e+x\n"},
        {"1.5fx", TOK_FLOAT, TOK_FLOAT, "bad real constant 1.5fx\n"},
        {"1.5ff", TOK_FLOAT, TOK_FLOAT, "bad real constant 1.5ff\n"},
        {"1.2.3", TOK_DOUBLE, TOK_FLOAT, "bad real constant 1.2.3\n"},
        {"1e311", TOK_DOUBLE, TOK_FLOAT, "exponent overflow in real\n"},
        {"1e400", TOK_DOUBLE, TOK_FLOAT, "exponent overflow in real\n"},
        {"1e-400", TOK_DOUBLE, TOK_FLOAT, "exponent overflow in real\n"},
    };
    for (const RealFormCase &c : cases) {
        SCOPED_TRACE(c.spelling);
        Converted got = number(c.spelling);
        EXPECT_EQ(got.token.code, c.code);
        EXPECT_EQ(got.messages, c.messages);
        opt_f = 1;
        Converted with_f = number(c.spelling);
        opt_f = 0;
        EXPECT_EQ(with_f.token.code, c.code_with_f);
    }
}

TEST(ConvertNumber, RealsFarOutOfRange) {
    struct Case {
        std::string spelling;
        const char *messages;
        double value;   // NaN: not a number
    };
    const Case cases[] = {
        {"1e99999", "exponent overflow in real\n", INFINITY},
        {"5e-99999", "exponent overflow in real\n", 0},
        {"1e99999999999999999999", "exponent overflow in real\n", INFINITY},
        {"1e-99999999999999999999", "exponent overflow in real\n", 0},
        {"0e99999", "exponent overflow in real\n", 0},
        {std::string(400, '9') + ".0", "", INFINITY},
        {"1" + std::string(1000, '0') + "e-1000", "exponent overflow in real\n", INFINITY},
        // Fraction and divisor both overflow: infinity over infinity.
        {"0." + std::string(400, '3'), "", NAN},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.spelling);
        Converted got = number(c.spelling);
        EXPECT_EQ(got.messages, c.messages);
        double value;
        std::memcpy(&value, got.token.value.string->bytes, 8);
        if (std::isnan(c.value))
            EXPECT_TRUE(std::isnan(value));
        else
            EXPECT_EQ(value, c.value);
    }
}

TEST(ConvertNumber, EqualRealsShareOnePoolEntry) {
    SectionGuard guard;
    fresh_section("reals");
    Converted first = number("2.75");
    Converted second = number("275e-2");
    Converted third = number("2.75f");
    EXPECT_EQ(first.token.value.string, second.token.value.string);
    EXPECT_EQ(first.token.value.string, third.token.value.string);
    EXPECT_EQ(first.token.value.string->extra_uses, 2);
    EXPECT_NE(number("2.5").token.value.string, first.token.value.string);
}

// ---------------------------------------------------------------------------
struct CharCase {
    const char *spelling;
    int32_t value;
    int32_t unsigned_value;   // with -u
    const char *messages;
};

TEST(ConvertChar, Values) {
    static const CharCase cases[] = {
        {"'a'", 97, 97, ""},
        {"L'a'", 97, 97, ""},
        {"'ab'", 24930, 24930, ""},
        {"'abcde'", 0x62636465, 0x62636465, ""},
        {"''", 0, 0, ""},
        {"'\\377'", -1, 255, ""},
        {"'\\200'", -128, 128, ""},
        {"'\\177'", 127, 127, ""},
        {"'\xe9'", -23, 233, ""},
        {"'\\xff'", -1, 255, ""},
        {"'\\x41'", 65, 65, ""},
        {"'\\0'", 0, 0, ""},
        {"'\\400'", 0, 0, ""},
        {"'\\1234'", 83 * 256 + 52, 83 * 256 + 52, ""},
        {"'\\n'", 10, 10, ""},
        {"'\\''", 39, 39, ""},
        {"'\\\"'", 34, 34, ""},
        {"'\\?'", 63, 63, ""},
        {"'\\\\'", 92, 92, ""},
        {"'\\a\\b\\f\\v'", 0x07080C0B, 0x07080C0B, ""},
        {"'\\r\\t'", 13 * 256 + 9, 13 * 256 + 9, ""},
        {"'\\q'", 92 * 256 + 'q', 92 * 256 + 'q', ""},
        {"'\\xff\\xff'", 0xFFFF, 0xFFFF, ""},
        {"'\\x'", 0, 0, "invalid hexadecimal character\n"},
        {"'\\x123456789'", -119, 0x89, "hexadecimal constant too large\n"},
        {"'a\n", 97 * 256 + 10, 97 * 256 + 10, ""},
        {"'\\", 92, 92, ""},
    };
    for (const CharCase &c : cases) {
        SCOPED_TRACE(c.spelling);
        Converted got = character(c.spelling);
        EXPECT_EQ(got.token.code, TOK_INT);
        EXPECT_EQ(got.token.value.integer, c.value);
        EXPECT_EQ(got.messages, c.messages);
        opt_u = 1;
        Converted with_u = character(c.spelling);
        opt_u = 0;
        EXPECT_EQ(with_u.token.value.integer, c.unsigned_value);
    }
}

struct EscapeCase {
    const char *text;
    uint32_t value;
    unsigned used;   // characters consumed
};

TEST(ConvertEscape, ValueAndEnd) {
    static const EscapeCase cases[] = {
        {"\\n", 10, 2},
        {"\\x41z", 0x41, 4},
        {"\\X7fffffff", 0x7FFFFFFF, 10},
        {"\\x100", 0x100, 5},
        {"\\101", 65, 4},
        {"\\1018", 65, 4},
        {"\\7", 7, 2},
        {"\\08", 0, 2},
        {"\\q", 92, 1},
        {"\\", 92, 1},
        {"\\xg", 0, 2},
    };
    for (const EscapeCase &c : cases) {
        SCOPED_TRACE(c.text);
        Messages messages;
        const char *cursor = c.text;
        EXPECT_EQ(convert_escape(&cursor), c.value);
        EXPECT_EQ(static_cast<unsigned>(cursor - c.text), c.used);
    }
}

// ---------------------------------------------------------------------------
struct StringCase {
    std::string spelling;
    std::string bytes;
    const char *messages;
};

TEST(ConvertString, Bytes) {
    SectionGuard guard;
    fresh_section("strings");
    const StringCase cases[] = {
        {"\"abc\"", "abc", ""},
        {"L\"ab\"", "ab", ""},
        {"\"\"", "", ""},
        {"\"\\q\"", "\\q", ""},
        {"\"a\\0b\"", std::string("a\0b", 3), ""},
        {"\"\\x100\"", std::string(1, '\0'), ""},
        {"\"\\x41\\x42z\"", "ABz", ""},
        {"\"\\x41\\x42c\"", "A,", ""},  // c is a hexadecimal digit
        {"\"\\1234\"", "S4", ""},
        {"\"\\\"'\"", "\"'", ""},
        {"\"\\t\\n\\\\\"", "\t\n\\", ""},
        {"\"\\x\"", std::string(1, '\0'), "invalid hexadecimal character\n"},
        {"\"abc\n", "abc\n", ""},
        {"\"ab\\", "ab\\", ""},
        {"\"" + std::string(300, '\0') + "\"", std::string(300, '\0'), ""},
    };
    for (const StringCase &c : cases) {
        SCOPED_TRACE(c.spelling);
        Converted got = string(c.spelling);
        EXPECT_EQ(got.token.code, TOK_STRING);
        ASSERT_NE(got.token.value.string, nullptr);
        EXPECT_EQ(bytes_of(got.token.value.string), c.bytes);
        EXPECT_EQ(got.messages, c.messages);
    }
}

TEST(ConvertString, ASpellingConvertsAgainToTheSameEntry) {
    SectionGuard guard;
    fresh_section("again");
    std::string spelling = "\"x\\0y\\\\z\"";
    const std::string original = spelling;
    Token first{}, second{}, wide{};
    convert_string_spelling(&first, spelling.data(), spelling.size());
    convert_string_spelling(&second, spelling.data(), spelling.size());
    EXPECT_EQ(spelling, original);
    EXPECT_EQ(first.value.string, second.value.string);
    EXPECT_EQ(first.value.string->extra_uses, 1);
    EXPECT_EQ(bytes_of(first.value.string), std::string("x\0y\\z", 5));
    std::string l_form = "L" + original;
    convert_string_spelling(&wide, l_form.data(), l_form.size());
    EXPECT_EQ(wide.value.string, first.value.string);
}

// ---------------------------------------------------------------------------
TEST(LiteralPool, OneEntryPerValueAndSection) {
    SectionGuard guard;
    fresh_section("pool-a");
    StringConst *a = pool_string("hello", 5);
    EXPECT_EQ(literal_pool, a);
    EXPECT_EQ(a->extra_uses, 0);
    EXPECT_EQ(a->section, literal_section);
    EXPECT_EQ(a->label, 0);
    EXPECT_EQ(a->variants, 0);
    EXPECT_EQ(a->written, 0);
    EXPECT_EQ(pool_string("hello", 5), a);
    EXPECT_EQ(a->extra_uses, 1);
    // Same bytes but shorter or longer are other values.
    StringConst *shorter = pool_string("hell", 4);
    EXPECT_NE(shorter, a);
    EXPECT_EQ(literal_pool, shorter);
    EXPECT_EQ(shorter->next, a);

    // A new constant section starts a new set of literals...
    fresh_section("pool-b");
    StringConst *b = pool_string("hello", 5);
    EXPECT_NE(b, a);
    EXPECT_EQ(b->extra_uses, 0);
    EXPECT_EQ(literal_pool, b);
    // ...and a section of the same name finds its entries again.
    fresh_section("pool-a");
    EXPECT_EQ(pool_string("hello", 5), a);
    EXPECT_EQ(a->extra_uses, 2);
}

TEST(LiteralPool, IndexAgreesWithAWalkOfTheList) {
    SectionGuard guard;
    fresh_section("pool-many");
    // Values of many lengths, with repeats, found by a walk of the list as
    // the reference.
    uint32_t seed = 12345;
    for (int i = 0; i < 20000; i++) {
        seed = seed * 1103515245u + 12345u;
        unsigned key = (seed >> 8) % 3000;
        std::string value = "v" + std::to_string(key) + std::string(key % 7, '\0');
        const StringConst *expected = nullptr;
        for (const StringConst *entry = literal_pool; entry != nullptr; entry = entry->next) {
            if (entry->section == literal_section && entry->length == value.size() &&
                std::memcmp(entry->bytes, value.data(), value.size()) == 0) {
                expected = entry;
                break;
            }
        }
        StringConst *got = pool_string(value.data(), value.size());
        if (expected != nullptr)
            ASSERT_EQ(got, expected) << value;
        else
            ASSERT_EQ(got, literal_pool) << value;
    }
}

// Joining as the token stream does it: pool the first string, then each
// following one, and join.
StringConst *join(std::vector<std::string> pieces) {
    Token token{};
    token.value.string = pool_string(pieces[0].data(), pieces[0].size());
    for (size_t i = 1; i < pieces.size(); i++) {
        StringConst *first = token.value.string;
        token.value.string = pool_string(pieces[i].data(), pieces[i].size());
        concat_strings(&token, first);
    }
    return token.value.string;
}

size_t pool_size() {
    size_t count = 0;
    const StringConst *newer = nullptr;
    for (const StringConst *entry = literal_pool; entry != nullptr; entry = entry->next) {
        EXPECT_EQ(entry->newer, newer);
        newer = entry;
        count++;
    }
    return count;
}

TEST(ConcatStrings, PiecesLeaveThePool) {
    SectionGuard guard;
    fresh_section("concat-1");
    size_t before = pool_size();
    StringConst *joined = join({"ab", "cd", "e"});
    EXPECT_EQ(bytes_of(joined), "abcde");
    EXPECT_EQ(literal_pool, joined);
    EXPECT_EQ(joined->extra_uses, 0);
    EXPECT_EQ(pool_size(), before + 1);
    // The pieces are gone: pooling them again makes new entries.
    StringConst *ab = pool_string("ab", 2);
    EXPECT_EQ(ab->extra_uses, 0);
    EXPECT_EQ(literal_pool, ab);
    // The joined value pooled again is found.
    EXPECT_EQ(pool_string("abcde", 5), joined);
}

TEST(ConcatStrings, PiecesUsedElsewhereStay) {
    SectionGuard guard;
    fresh_section("concat-2");
    StringConst *used = pool_string("xy", 2);
    StringConst *joined = join({"xy", "z"});
    EXPECT_EQ(bytes_of(joined), "xyz");
    EXPECT_TRUE(in_pool(used));
    EXPECT_EQ(used->extra_uses, 1);
    EXPECT_EQ(literal_pool, joined);
    EXPECT_EQ(joined->next, used);
    // The same for a second piece that is used elsewhere.
    StringConst *tail = pool_string("tail", 4);
    StringConst *other = join({"q", "tail"});
    EXPECT_EQ(bytes_of(other), "qtail");
    EXPECT_TRUE(in_pool(tail));
    EXPECT_EQ(tail->extra_uses, 1);
}

TEST(ConcatStrings, EqualPieces) {
    SectionGuard guard;
    fresh_section("concat-3");
    // "a" "a": one entry for both pieces, given back once.
    size_t before = pool_size();
    StringConst *joined = join({"a", "a"});
    EXPECT_EQ(bytes_of(joined), "aa");
    EXPECT_EQ(pool_size(), before + 1);
    // With "a" used before, it stays, and the two pieces count as one use.
    StringConst *a = pool_string("a", 1);
    StringConst *again = join({"a", "a"});
    EXPECT_EQ(again, joined);
    EXPECT_EQ(joined->extra_uses, 1);
    EXPECT_TRUE(in_pool(a));
    EXPECT_EQ(a->extra_uses, 1);
}

TEST(ConcatStrings, EmptyPieces) {
    SectionGuard guard;
    fresh_section("concat-4");
    // "m" "": the string stays the entry of "m", and "" is given back.
    StringConst *m = join({"m", ""});
    EXPECT_EQ(bytes_of(m), "m");
    EXPECT_EQ(m->extra_uses, 0);
    EXPECT_EQ(literal_pool, m);
    EXPECT_EQ(pool_string("", 0)->extra_uses, 0);
    // "" "n": the joined bytes are those of "n", found with one more use.
    fresh_section("concat-5");
    StringConst *n = join({"", "n"});
    EXPECT_EQ(bytes_of(n), "n");
    EXPECT_EQ(n->extra_uses, 1);
    EXPECT_EQ(pool_string("", 0)->extra_uses, 0);
    // "" "": one entry, used once.
    fresh_section("concat-empty-both");
    StringConst *empty = join({"", ""});
    EXPECT_EQ(empty->length, 0);
    EXPECT_EQ(empty->extra_uses, 0);
    EXPECT_EQ(literal_pool, empty);
    // Empty pieces between others leave no pieces behind.
    fresh_section("concat-empty-between");
    size_t before = pool_size();
    StringConst *joined = join({"p", "", "q", "", "", "r"});
    EXPECT_EQ(bytes_of(joined), "pqr");
    EXPECT_EQ(joined->extra_uses, 0);
    EXPECT_EQ(pool_size(), before + 1);
}

TEST(ConcatStrings, JoinedValueAlreadyPooled) {
    SectionGuard guard;
    fresh_section("concat-6");
    StringConst *whole = pool_string("foobar", 6);
    StringConst *joined = join({"foo", "bar"});
    EXPECT_EQ(joined, whole);
    EXPECT_EQ(whole->extra_uses, 1);
    EXPECT_EQ(literal_pool, whole);
}

TEST(ConcatStrings, AcrossASectionChange) {
    SectionGuard guard;
    fresh_section("concat-7");
    Token token{};
    token.value.string = pool_string("left", 4);
    StringConst *first = token.value.string;
    fresh_section("concat-8");
    token.value.string = pool_string("right", 5);
    concat_strings(&token, first);
    EXPECT_EQ(bytes_of(token.value.string), "leftright");
    EXPECT_EQ(token.value.string->section, literal_section);
    EXPECT_FALSE(in_pool(first));
}

TEST(ConcatStrings, ALabelledPieceIsNotReused) {
    SectionGuard guard;
    fresh_section("concat-9");
    Token token{};
    token.value.string = pool_string("lab", 3);
    StringConst *first = token.value.string;
    first->label = 7;
    token.value.string = pool_string("el", 2);
    concat_strings(&token, first);
    EXPECT_NE(token.value.string, first);
    EXPECT_EQ(bytes_of(token.value.string), "label");
    EXPECT_EQ(token.value.string->label, 0);
}

TEST(ConcatStrings, LongRunsOfPieces) {
    SectionGuard guard;
    fresh_section("concat-10");
    size_t before = pool_size();
    std::vector<std::string> pieces;
    std::string expected;
    for (int i = 0; i < 5000; i++) {
        pieces.push_back(std::to_string(i % 10) + "-");
        expected += pieces.back();
    }
    StringConst *joined = join(pieces);
    EXPECT_EQ(bytes_of(joined), expected);
    EXPECT_EQ(pool_size(), before + 1);
    EXPECT_EQ(pool_string(expected.data(), expected.size()), joined);
}

TEST(ConcatStrings, LengthIsCappedWithOneMessage) {
    SectionGuard guard;
    fresh_section("concat-11");
    std::string piece(16000, 'k');
    Messages messages;
    StringConst *joined = join({piece, piece, piece, piece, piece, piece});
    EXPECT_EQ(joined->length, STRING_CONST_MAX);
    EXPECT_EQ(messages.text(), "string too long\n");
}

}  // namespace
