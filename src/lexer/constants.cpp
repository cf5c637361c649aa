// Conversion of numeric, character and string spellings into token values.
// Integer arithmetic is 32-bit unsigned, as on the target, where `long` is
// as wide as `int`; real constants are IEEE doubles.
#include <cmath>
#include <cstring>

#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"

namespace {

// The value of `c` as a digit of any base up to 16, or 16 if it is none.
unsigned digit_value(char c) {
    if (c >= '0' && c <= '9')
        return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f')
        return static_cast<unsigned>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F')
        return static_cast<unsigned>(c - 'A' + 10);
    return 16;
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// An escape sequence behind the backslash at `*cursor`.  `end`, when not
// null, is the end of the spelling: nothing at or behind it is read.
uint32_t escape_value(const char **cursor, const char *end) {
    const char *p = *cursor + 1;
    auto at = [&](const char *q) { return end == nullptr || q < end ? *q : '\0'; };
    char c = at(p);
    if (c == 'x' || c == 'X') {
        p++;
        uint32_t value = 0;
        bool overflow = false, any = false;
        while (digit_value(at(p)) < 16) {
            if (value > 0xFFFFFFFu)
                overflow = true;
            value = (value << 4) | digit_value(*p);
            p++;
            any = true;
        }
        if (overflow)
            report("hexadecimal constant too large");
        if (!any)
            report("invalid hexadecimal character");
        *cursor = p;
        return value;
    }
    if (c >= '0' && c <= '7') {
        uint32_t value = 0;
        for (int count = 0; count < 3 && at(p) >= '0' && at(p) <= '7'; count++, p++)
            value = (value << 3) | static_cast<uint32_t>(*p - '0');
        *cursor = p;
        return value;
    }
    static const char names[] = "\"'?\\abfnrtv";
    static const uint8_t values[] = {34, 39, 63, 92, 7, 8, 12, 10, 13, 9, 11};
    if (c != '\0') {
        if (const char *hit = std::strchr(names, c)) {
            *cursor = p + 1;
            return values[hit - names];
        }
    }
    // Not an escape: the backslash stands for itself and the character
    // behind it is read as ordinary text.
    *cursor = p;
    return '\\';
}

// Integer digits of `base` from `start`, then the suffixes.
void convert_integer(Token *token, const char *p, unsigned n, unsigned i, unsigned base) {
    uint32_t v = 0;
    bool overflow = false;
    for (; i < n; i++) {
        uint32_t d = digit_value(p[i]);
        if (d >= base)
            break;
        switch (base) {
        case 8:
            if (v & 0xE0000000u)
                overflow = true;
            v = (v << 3) | d;
            break;
        case 16:
            if (v > 0xFFFFFFFu)
                overflow = true;
            v = (v << 4) | d;
            break;
        case 2:
            if (v & 0x80000000u)
                overflow = true;
            v = (v << 1) | d;
            break;
        default: {
            uint64_t wide = static_cast<uint64_t>(v) * 10 + d;
            if (wide > 0xFFFFFFFFu)
                overflow = true;
            v = static_cast<uint32_t>(wide);
            break;
        }
        }
    }
    if (overflow)
        report("integer constant too large");

    // At most one `u` and one `l`, in either order; a second one of a kind
    // is left over and makes the constant bad.
    bool is_unsigned = false, is_long = false;
    for (; i < n; i++) {
        char c = p[i];
        if ((c == 'u' || c == 'U') && !is_unsigned)
            is_unsigned = true;
        else if ((c == 'l' || c == 'L') && !is_long)
            is_long = true;
        else
            break;
    }
    if (i < n)
        report("bad integer constant ");

    token->value.integer = static_cast<int32_t>(v);
    if (is_unsigned)
        token->code = TOK_UINT;
    else if (v == 0x80000000u)
        token->code = TOK_LONG;
    else if (v & 0x80000000u)
        token->code = TOK_UINT;
    else
        token->code = TOK_INT;
}

// Exponents are gathered up to this bound.  Any exponent of 1000 or more
// already turns every nonzero double into an infinity or a zero, so the
// bound does not change a result; it keeps the count from overflowing.
constexpr int32_t EXPONENT_BOUND = 100000;

// Each operation below rounds on its own, in this order; the result can
// differ in the last bit from a correctly rounded conversion, and must.
void convert_real(Token *token, const char *p, unsigned n) {
    unsigned i = 0;
    double val = 0;
    for (; i < n && is_digit(p[i]); i++) {
        val = val * 10;
        val = val + (p[i] - '0');
    }
    if (i < n && p[i] == '.') {
        i++;
        double frac = 0, div = 1;
        for (; i < n && is_digit(p[i]); i++) {
            frac = frac * 10;
            frac = frac + (p[i] - '0');
            div = div * 10;
        }
        val = val + frac / div;
    }
    if (i < n && (p[i] == 'e' || p[i] == 'E')) {
        i++;
        bool negative = false;
        if (i < n && (p[i] == '+' || p[i] == '-')) {
            negative = p[i] == '-';
            i++;
        }
        if (i == n)
            report("missing exponent in real");
        int32_t exp = 0;
        for (; i < n && is_digit(p[i]); i++) {
            exp = exp * 10 + (p[i] - '0');
            if (exp > EXPONENT_BOUND)
                exp = EXPONENT_BOUND;
        }
        if (exp > 310)
            report("exponent overflow in real");
        if (exp != 0)
            val = scale_pow10(val, negative ? -exp : exp);
    }
    token->value.string = pool_string(&val, sizeof val);

    token->code = TOK_DOUBLE;
    if (i < n && (p[i] == 'f' || p[i] == 'F')) {
        token->code = TOK_FLOAT;
        i++;
    } else if (i < n && (p[i] == 'l' || p[i] == 'L')) {
        i++;
    }
    if (i < n)
        report("bad real constant %.*s", static_cast<int>(n), p);
    if (opt_f)
        token->code = TOK_FLOAT;
}

// The first character of a character or string constant's contents: past
// the L of a wide constant and the opening quote.
const char *contents_start(const char *p, const char *end) {
    if (p < end && *p == 'L')
        p++;
    if (p < end)
        p++;
    return p;
}

// The value of the character at `*cursor`, an escape sequence read whole,
// and `*cursor` moved past it.
uint32_t next_char_value(const char **cursor, const char *end) {
    return **cursor == '\\' ? escape_value(cursor, end) : static_cast<uint8_t>(*(*cursor)++);
}

}  // namespace

// Powers of ten by which a real is scaled: bit k of the exponent selects
// 10^(2^k); what is left above bit 7 counts further steps of 1e256.
double scale_pow10(double val, int32_t exp) {
    static const double powers[9] = {1e1, 1e2, 1e4, 1e8, 1e16, 1e32, 1e64, 1e128, 1e256};
    if (val == 0)
        return val;
    bool negative = exp < 0;
    uint32_t e = negative ? 0u - static_cast<uint32_t>(exp) : static_cast<uint32_t>(exp);
    for (int k = 0; k < 8; k++, e >>= 1) {
        if (e & 1)
            val = negative ? val / powers[k] : val * powers[k];
    }
    // Once the value is an infinity, a zero or not a number, further steps
    // leave it as it is: stop there, so that a huge count costs nothing.
    for (; e > 0 && std::isfinite(val) && val != 0; e--)
        val = negative ? val / powers[8] : val * powers[8];
    return val;
}

uint32_t convert_escape(const char **cursor) { return escape_value(cursor, nullptr); }

namespace {

// A decimal spelling with a point or an exponent is a real constant.  One
// pass over the few characters, rather than a search per mark.
bool has_real_mark(const char *p, unsigned n) {
    for (unsigned i = 0; i < n; i++) {
        if (p[i] == '.' || p[i] == 'e' || p[i] == 'E')
            return true;
    }
    return false;
}

}  // namespace

void convert_number_spelling(Token *token, const char *p, unsigned n) {
    if (n >= 3 && p[0] == '0' && (p[1] == 'x' || p[1] == 'X'))
        convert_integer(token, p, n, 2, 16);
    else if (n >= 3 && p[0] == '0' && (p[1] == 'b' || p[1] == 'B'))
        convert_integer(token, p, n, 2, 2);
    else if (has_real_mark(p, n))
        convert_real(token, p, n);
    else
        convert_integer(token, p, n, 0, n > 0 && p[0] == '0' ? 8 : 10);
}

// Characters pack into an int, the last one into the low byte; a single
// character with bit 7 set is negative, as a plain char is signed, unless
// -u makes plain char unsigned.
void convert_char_spelling(Token *token, const char *p, unsigned n) {
    const char *end = p + n;
    p = contents_start(p, end);
    uint32_t v = 0;
    while (p < end && *p != '\'')
        v = (v << 8) + (next_char_value(&p, end) & 0xFF);
    if (v < 256 && (v & 0x80) && !opt_u)
        v |= 0xFFFFFF00u;
    token->code = TOK_INT;
    token->value.integer = static_cast<int32_t>(v);
}

// The value is built in a buffer of this module, and the spelling is left
// as it stands: a spelling may belong to a macro's body, which comes by
// again, is compared with a later definition of the same macro, and may be
// written out as preprocessed text.
void convert_string_spelling(Token *token, const char *text, unsigned n) {
    static uint8_t *buffer;
    static unsigned buffer_size;
    if (n > buffer_size || buffer == nullptr) {
        std::free(buffer);
        buffer_size = n > 2 * buffer_size ? n : 2 * buffer_size;
        if (buffer_size < 256)
            buffer_size = 256;
        buffer = static_cast<uint8_t *>(checked_alloc(buffer_size, nullptr));
    }
    const char *end = text + n;
    const char *in = contents_start(text, end);
    unsigned length = 0;
    while (in < end && *in != '"')
        buffer[length++] = static_cast<uint8_t>(next_char_value(&in, end));
    token->code = TOK_STRING;
    token->value.string = pool_string(buffer, length);
}

void convert_number(Token *token, const PpToken *pp) {
    convert_number_spelling(token, pp->text, pp->length);
}

void convert_char(Token *token, const PpToken *pp) {
    convert_char_spelling(token, pp->text, pp->length);
}

void convert_string(Token *token, const PpToken *pp) {
    convert_string_spelling(token, pp->text, pp->length);
}
