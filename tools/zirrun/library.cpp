// The C library of a program run by zirrun: the functions that the headers
// of include/ declare, working on the target's memory.  Standard output and
// standard error are the host's; a FILE pointer is 1 for stdout and 2 for
// stderr (see include/stdio.h).
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "zirrun/machine.h"

namespace {

Memory &mem() { return machine->memory; }

Value pointer_value(uint32_t address) {
    Value v;
    v.d = 0;
    v.u = address;
    return v;
}

uint8_t byte_at(uint32_t address) { return *mem().at(address, 1, false); }
void set_byte(uint32_t address, uint8_t b) { *mem().at(address, 1, true) = b; }

// The C string at `address`, at most `limit` bytes of it.
std::string read_string(uint32_t address, size_t limit = SIZE_MAX) {
    std::string s;
    for (; s.size() < limit; address++) {
        uint8_t c = byte_at(address);
        if (!c) break;
        s += char(c);
    }
    return s;
}

void write_bytes(uint32_t address, const void *bytes, uint32_t n) {
    if (n) std::memcpy(mem().at(address, n, true), bytes, n);
}

// The argument k, or 0 when the call passed fewer.
Value arg(const Value *args, int count, int k) { return k < count ? args[k] : int_value(0); }
Cls arg_class(const Cls *classes, int count, int k) { return k < count ? classes[k] : C_I32; }

int32_t int_arg(const Value *args, const Cls *classes, int count, int k) {
    return convert(arg(args, count, k), arg_class(classes, count, k), C_I32).i;
}
uint32_t address_arg(const Value *args, int count, int k) { return arg(args, count, k).u; }

// The width of the pointers a pointer to pointers reaches: that of the
// pointer itself, as in the memory models a program is built with.
Cls pointer_class_of(Cls pointer) { return pointer == C_P4 ? C_P4 : pointer == C_P1 ? C_P1 : C_P2; }

// -- formatted output -----------------------------------------------------------

// Where the values of a format come from: the arguments of the call, or
// the argument area of a function with a variable list (a va_list of
// stdarg.h), read slot by slot in the room of each promoted type.
struct FormatArgs {
    const Value *values = nullptr;
    const Cls *classes = nullptr;
    int count = 0, next = 0;
    bool in_memory = false;
    uint32_t cursor = 0;

    uint32_t slot(uint32_t size) {
        cursor = (cursor + size - 1) & ~(size - 1);
        uint32_t at = cursor;
        cursor += size;
        return at;
    }
    int32_t integer() {
        if (in_memory) return mem().load(slot(4), C_I32).i;
        int k = next++;
        return convert(arg(values, count, k), arg_class(classes, count, k), C_I32).i;
    }
    double real() {
        if (in_memory) {
            if (machine->single_float) return mem().load(slot(4), C_F32).d;
            return mem().load(slot(8), C_F64).d;
        }
        int k = next++;
        return convert(arg(values, count, k), arg_class(classes, count, k), C_F64).d;
    }
    uint32_t address() {
        if (in_memory) return mem().load(slot(4), C_U32).u;
        return arg(values, count, next++).u;
    }
};

std::string format(uint32_t format_address, FormatArgs &in) {
    std::string fmt = read_string(format_address);
    std::string out;
    for (size_t k = 0; k < fmt.size(); k++) {
        if (fmt[k] != '%') { out += fmt[k]; continue; }
        std::string spec = "%";
        size_t j = k + 1;
        while (j < fmt.size() && std::strchr("-+ #0", fmt[j])) spec += fmt[j++];
        if (j < fmt.size() && fmt[j] == '*') {
            spec += std::to_string(in.integer());
            j++;
        } else {
            while (j < fmt.size() && std::isdigit(static_cast<unsigned char>(fmt[j]))) spec += fmt[j++];
        }
        int precision = -1;
        if (j < fmt.size() && fmt[j] == '.') {
            spec += fmt[j++];
            if (j < fmt.size() && fmt[j] == '*') {
                precision = in.integer();
                spec += std::to_string(precision);
                j++;
            } else {
                precision = 0;
                while (j < fmt.size() && std::isdigit(static_cast<unsigned char>(fmt[j]))) {
                    precision = precision * 10 + (fmt[j] - '0');
                    spec += fmt[j++];
                }
            }
        }
        std::string length;
        while (j < fmt.size() && std::strchr("hlLzjt", fmt[j])) length += fmt[j++];
        if (j >= fmt.size()) { out += spec; break; }
        char conversion = fmt[j];
        k = j;
        char buffer[512];
        int n = 0;
        switch (conversion) {
        case 'd': case 'i': {
            int32_t v = in.integer();
            if (length == "h") v = int16_t(v);
            if (length == "hh") v = int8_t(v);
            n = std::snprintf(buffer, sizeof buffer, (spec + conversion).c_str(), v);
            break;
        }
        case 'u': case 'x': case 'X': case 'o': {
            uint32_t v = uint32_t(in.integer());
            if (length == "h") v = uint16_t(v);
            if (length == "hh") v = uint8_t(v);
            n = std::snprintf(buffer, sizeof buffer, (spec + conversion).c_str(), v);
            break;
        }
        case 'c':
            n = std::snprintf(buffer, sizeof buffer, (spec + 'c').c_str(), in.integer());
            break;
        case 'f': case 'F': case 'e': case 'E': case 'g': case 'G': case 'a': case 'A': {
            n = std::snprintf(buffer, sizeof buffer, (spec + conversion).c_str(), in.real());
            break;
        }
        case 's': {
            // A null string prints as glibc prints it.
            uint32_t address = in.address();
            std::string s = address ? read_string(address, precision >= 0 ? size_t(precision) : SIZE_MAX)
                                    : std::string("(null)");
            std::string wide = (spec + 's');
            std::vector<char> big(s.size() + 512);
            n = std::snprintf(big.data(), big.size(), wide.c_str(), s.c_str());
            if (n > 0) out.append(big.data(), std::min(size_t(n), big.size() - 1));
            continue;
        }
        case 'p':
            n = std::snprintf(buffer, sizeof buffer, "0x%x", in.address());
            break;
        case '%':
            out += '%';
            continue;
        case 'n':
            in.address();
            continue;
        default:
            out += spec + length + conversion;
            continue;
        }
        if (n > 0) out.append(buffer, std::min(size_t(n), sizeof buffer - 1));
    }
    return out;
}

FILE *host_stream(uint32_t file) {
    if (file == 1) return stdout;
    if (file == 2) { std::fflush(stdout); return stderr; }
    fault(F_LIBRARY, "stream 0x%x is neither stdout nor stderr", file);
}

#define NATIVE(name) Value lib_##name(const Value *args, const Cls *classes, int count, Cls result)
#define UNUSED (void)args, (void)classes, (void)count, (void)result

// The text of a format whose values follow it among the arguments (k is
// the format's place), or lie in the area a va_list points into.
std::string format_call(const Value *args, const Cls *classes, int count, int k) {
    FormatArgs in;
    in.values = args;
    in.classes = classes;
    in.count = count;
    in.next = k + 1;
    return format(address_arg(args, count, k), in);
}

std::string format_list(const Value *args, int count, int k) {
    FormatArgs in;
    in.in_memory = true;
    in.cursor = address_arg(args, count, k + 1);
    return format(address_arg(args, count, k), in);
}

NATIVE(printf) {
    UNUSED;
    std::string s = format_call(args, classes, count, 0);
    std::fwrite(s.data(), 1, s.size(), stdout);
    return int_value(int32_t(s.size()));
}

NATIVE(fprintf) {
    UNUSED;
    FILE *f = host_stream(address_arg(args, count, 0));
    std::string s = format_call(args, classes, count, 1);
    std::fwrite(s.data(), 1, s.size(), f);
    return int_value(int32_t(s.size()));
}

NATIVE(sprintf) {
    UNUSED;
    std::string s = format_call(args, classes, count, 1);
    write_bytes(address_arg(args, count, 0), s.c_str(), uint32_t(s.size() + 1));
    return int_value(int32_t(s.size()));
}

NATIVE(snprintf) {
    UNUSED;
    std::string s = format_call(args, classes, count, 2);
    uint32_t room = uint32_t(int_arg(args, classes, count, 1));
    if (room > 0) {
        uint32_t n = std::min<uint32_t>(room - 1, uint32_t(s.size()));
        write_bytes(address_arg(args, count, 0), s.data(), n);
        set_byte(address_arg(args, count, 0) + n, 0);
    }
    return int_value(int32_t(s.size()));
}

NATIVE(vprintf) {
    UNUSED;
    std::string s = format_list(args, count, 0);
    std::fwrite(s.data(), 1, s.size(), stdout);
    return int_value(int32_t(s.size()));
}

NATIVE(vfprintf) {
    UNUSED;
    FILE *f = host_stream(address_arg(args, count, 0));
    std::string s = format_list(args, count, 1);
    std::fwrite(s.data(), 1, s.size(), f);
    return int_value(int32_t(s.size()));
}

NATIVE(vsprintf) {
    UNUSED;
    std::string s = format_list(args, count, 1);
    write_bytes(address_arg(args, count, 0), s.c_str(), uint32_t(s.size() + 1));
    return int_value(int32_t(s.size()));
}

NATIVE(puts) {
    UNUSED;
    std::string s = read_string(address_arg(args, count, 0));
    s += '\n';
    std::fwrite(s.data(), 1, s.size(), stdout);
    return int_value(1);
}

NATIVE(fputs) {
    UNUSED;
    std::string s = read_string(address_arg(args, count, 0));
    std::fwrite(s.data(), 1, s.size(), host_stream(address_arg(args, count, 1)));
    return int_value(1);
}

NATIVE(putchar) {
    UNUSED;
    int c = int_arg(args, classes, count, 0) & 0xFF;
    std::fputc(c, stdout);
    return int_value(c);
}

NATIVE(fputc) {
    UNUSED;
    int c = int_arg(args, classes, count, 0) & 0xFF;
    std::fputc(c, host_stream(address_arg(args, count, 1)));
    return int_value(c);
}

NATIVE(fflush) {
    UNUSED;
    std::fflush(stdout);
    return int_value(0);
}

NATIVE(getchar) {
    UNUSED;
    return int_value(std::getchar());
}

// -- stdlib ----------------------------------------------------------------------

bool far_result(Cls result) { return result == C_P4; }

NATIVE(malloc) {
    UNUSED;
    uint32_t size = uint32_t(int_arg(args, classes, count, 0));
    return pointer_value(machine->heap.allocate(mem(), size, far_result(result)));
}

NATIVE(calloc) {
    UNUSED;
    uint64_t size = uint64_t(uint32_t(int_arg(args, classes, count, 0))) *
                    uint32_t(int_arg(args, classes, count, 1));
    if (size > 0xFFFFFFFFu) return pointer_value(0);
    return pointer_value(machine->heap.allocate(mem(), uint32_t(size), far_result(result)));
}

NATIVE(free) {
    UNUSED;
    uint32_t address = address_arg(args, count, 0);
    if (address && !machine->heap.release(address))
        fault(F_LIBRARY, "free of 0x%x, which malloc did not give", address);
    return int_value(0);
}

NATIVE(realloc) {
    UNUSED;
    uint32_t old = address_arg(args, count, 0);
    uint32_t size = uint32_t(int_arg(args, classes, count, 1));
    uint32_t old_size = 0;
    if (old) {
        auto it = machine->heap.sizes.find(old);
        if (it == machine->heap.sizes.end())
            fault(F_LIBRARY, "realloc of 0x%x, which malloc did not give", old);
        old_size = it->second;
    }
    uint32_t fresh = machine->heap.allocate(mem(), size, old ? old >= FAR_BASE : far_result(result));
    if (!fresh) return pointer_value(0);
    uint32_t n = std::min(size, old_size);
    if (n) std::memmove(mem().at(fresh, n, true), mem().at(old, n, false), n);
    if (old) machine->heap.release(old);
    return pointer_value(fresh);
}

NATIVE(exit) {
    UNUSED;
    std::fflush(stdout);
    std::fflush(stderr);
    std::_Exit(int_arg(args, classes, count, 0) & 0xFF);
}

NATIVE(abort) {
    UNUSED;
    std::fflush(stdout);
    std::fflush(stderr);
    std::_Exit(STATUS_ABORT);
}

NATIVE(zirrun_assert_fail) {
    UNUSED;
    std::fflush(stdout);
    std::fprintf(stderr, "%s:%d: assertion failed: %s\n", read_string(address_arg(args, count, 1)).c_str(),
                 int_arg(args, classes, count, 2), read_string(address_arg(args, count, 0)).c_str());
    std::fflush(stderr);
    std::_Exit(STATUS_ABORT);
}

NATIVE(abs) {
    UNUSED;
    int32_t v = int_arg(args, classes, count, 0);
    return int_value(v < 0 ? int32_t(0u - uint32_t(v)) : v);
}

NATIVE(atoi) {
    UNUSED;
    std::string s = read_string(address_arg(args, count, 0));
    return int_value(int32_t(std::strtol(s.c_str(), nullptr, 10)));
}

// strtol and strtoul: the host's conversion on a copy, clamped to 32 bits,
// and the end pointer stored back in the program's width.
Value string_to_long(const Value *args, const Cls *classes, int count, bool is_unsigned) {
    uint32_t start = address_arg(args, count, 0);
    std::string s = read_string(start);
    char *end = nullptr;
    int base = int_arg(args, classes, count, 2);
    long long v = is_unsigned ? (long long)std::strtoull(s.c_str(), &end, base) : std::strtoll(s.c_str(), &end, base);
    uint32_t r;
    if (is_unsigned) r = v > 0xFFFFFFFFLL || v < -0xFFFFFFFFLL ? 0xFFFFFFFFu : uint32_t(v);
    else r = uint32_t(int32_t(std::clamp<long long>(v, INT32_MIN, INT32_MAX)));
    uint32_t endptr = address_arg(args, count, 1);
    if (endptr) {
        Cls c = pointer_class_of(arg_class(classes, count, 1));
        mem().store(endptr, c, pointer_value(normalise(c, start + uint32_t(end - s.c_str()))));
    }
    return pointer_value(r);
}

NATIVE(strtol) { UNUSED; return string_to_long(args, classes, count, false); }
NATIVE(strtoul) { UNUSED; return string_to_long(args, classes, count, true); }

NATIVE(qsort) {
    UNUSED;
    uint32_t base = address_arg(args, count, 0);
    uint32_t n = uint32_t(int_arg(args, classes, count, 1));
    uint32_t size = uint32_t(int_arg(args, classes, count, 2));
    uint32_t compare = address_arg(args, count, 3);
    if (n < 2 || size == 0) return int_value(0);
    if (uint64_t(n) * size > 0xFFFFFFFFu) fault(F_LIBRARY, "qsort of more bytes than memory holds");
    mem().at(base, n * size, true);
    std::vector<uint32_t> order(n);
    std::iota(order.begin(), order.end(), 0u);
    std::stable_sort(order.begin(), order.end(), [&](uint32_t x, uint32_t y) {
        Value pair[2] = {pointer_value(base + x * size), pointer_value(base + y * size)};
        Cls pair_classes[2] = {C_U32, C_U32};
        return call_address(compare, pair, pair_classes, 2).i < 0;
    });
    std::vector<uint8_t> sorted(size_t(n) * size);
    const uint8_t *p = mem().at(base, n * size, false);
    for (uint32_t k = 0; k < n; k++) std::memcpy(&sorted[size_t(k) * size], p + size_t(order[k]) * size, size);
    write_bytes(base, sorted.data(), n * size);
    return int_value(0);
}

// -- string.h ---------------------------------------------------------------------

NATIVE(memcpy) {
    UNUSED;
    uint32_t to = address_arg(args, count, 0), from = address_arg(args, count, 1);
    uint32_t n = uint32_t(int_arg(args, classes, count, 2));
    if (n) std::memmove(mem().at(to, n, true), mem().at(from, n, false), n);
    return pointer_value(to);
}

NATIVE(memset) {
    UNUSED;
    uint32_t to = address_arg(args, count, 0);
    uint32_t n = uint32_t(int_arg(args, classes, count, 2));
    if (n) std::memset(mem().at(to, n, true), int_arg(args, classes, count, 1) & 0xFF, n);
    return pointer_value(to);
}

NATIVE(memcmp) {
    UNUSED;
    uint32_t n = uint32_t(int_arg(args, classes, count, 2));
    if (!n) return int_value(0);
    const uint8_t *a = mem().at(address_arg(args, count, 0), n, false);
    const uint8_t *b = mem().at(address_arg(args, count, 1), n, false);
    int r = std::memcmp(a, b, n);
    return int_value(r < 0 ? -1 : r > 0);
}

NATIVE(memchr) {
    UNUSED;
    uint32_t s = address_arg(args, count, 0);
    uint8_t c = uint8_t(int_arg(args, classes, count, 1));
    uint32_t n = uint32_t(int_arg(args, classes, count, 2));
    for (uint32_t k = 0; k < n; k++)
        if (byte_at(s + k) == c) return pointer_value(s + k);
    return pointer_value(0);
}

NATIVE(strlen) {
    UNUSED;
    uint32_t s = address_arg(args, count, 0), k = 0;
    while (byte_at(s + k)) k++;
    return int_value(int32_t(k));
}

NATIVE(strcpy) {
    UNUSED;
    uint32_t to = address_arg(args, count, 0), from = address_arg(args, count, 1);
    for (uint32_t k = 0;; k++) {
        uint8_t c = byte_at(from + k);
        set_byte(to + k, c);
        if (!c) break;
    }
    return pointer_value(to);
}

NATIVE(strncpy) {
    UNUSED;
    uint32_t to = address_arg(args, count, 0), from = address_arg(args, count, 1);
    uint32_t n = uint32_t(int_arg(args, classes, count, 2));
    bool ended = false;
    for (uint32_t k = 0; k < n; k++) {
        uint8_t c = ended ? 0 : byte_at(from + k);
        if (!c) ended = true;
        set_byte(to + k, c);
    }
    return pointer_value(to);
}

NATIVE(strcat) {
    UNUSED;
    uint32_t to = address_arg(args, count, 0), from = address_arg(args, count, 1);
    uint32_t end = to;
    while (byte_at(end)) end++;
    for (uint32_t k = 0;; k++) {
        uint8_t c = byte_at(from + k);
        set_byte(end + k, c);
        if (!c) break;
    }
    return pointer_value(to);
}

NATIVE(strncat) {
    UNUSED;
    uint32_t to = address_arg(args, count, 0), from = address_arg(args, count, 1);
    uint32_t n = uint32_t(int_arg(args, classes, count, 2));
    uint32_t end = to;
    while (byte_at(end)) end++;
    uint32_t k = 0;
    for (; k < n; k++) {
        uint8_t c = byte_at(from + k);
        if (!c) break;
        set_byte(end + k, c);
    }
    set_byte(end + k, 0);
    return pointer_value(to);
}

int compare_strings(uint32_t a, uint32_t b, uint32_t n) {
    for (uint32_t k = 0; k < n; k++) {
        uint8_t x = byte_at(a + k), y = byte_at(b + k);
        if (x != y) return x < y ? -1 : 1;
        if (!x) return 0;
    }
    return 0;
}

NATIVE(strcmp) {
    UNUSED;
    return int_value(compare_strings(address_arg(args, count, 0), address_arg(args, count, 1), UINT32_MAX));
}

NATIVE(strncmp) {
    UNUSED;
    return int_value(compare_strings(address_arg(args, count, 0), address_arg(args, count, 1),
                                     uint32_t(int_arg(args, classes, count, 2))));
}

NATIVE(strchr) {
    UNUSED;
    uint32_t s = address_arg(args, count, 0);
    uint8_t c = uint8_t(int_arg(args, classes, count, 1));
    for (;; s++) {
        uint8_t x = byte_at(s);
        if (x == c) return pointer_value(s);
        if (!x) return pointer_value(0);
    }
}

NATIVE(strrchr) {
    UNUSED;
    uint32_t s = address_arg(args, count, 0), found = 0;
    uint8_t c = uint8_t(int_arg(args, classes, count, 1));
    for (;; s++) {
        uint8_t x = byte_at(s);
        if (x == c) found = s;
        if (!x) return pointer_value(found);
    }
}

NATIVE(strstr) {
    UNUSED;
    uint32_t s = address_arg(args, count, 0);
    std::string needle = read_string(address_arg(args, count, 1));
    std::string hay = read_string(s);
    size_t at = hay.find(needle);
    return pointer_value(at == std::string::npos ? 0 : s + uint32_t(at));
}

NATIVE(strspn) {
    UNUSED;
    std::string s = read_string(address_arg(args, count, 0));
    std::string set = read_string(address_arg(args, count, 1));
    size_t at = s.find_first_not_of(set);
    return int_value(int32_t(at == std::string::npos ? s.size() : at));
}

NATIVE(strcspn) {
    UNUSED;
    std::string s = read_string(address_arg(args, count, 0));
    std::string set = read_string(address_arg(args, count, 1));
    size_t at = s.find_first_of(set);
    return int_value(int32_t(at == std::string::npos ? s.size() : at));
}

NATIVE(strpbrk) {
    UNUSED;
    uint32_t start = address_arg(args, count, 0);
    std::string s = read_string(start);
    size_t at = s.find_first_of(read_string(address_arg(args, count, 1)));
    return pointer_value(at == std::string::npos ? 0 : start + uint32_t(at));
}

// -- ctype.h: the C locale ------------------------------------------------------------

#define CTYPE(name) \
    NATIVE(name) { UNUSED; int c = int_arg(args, classes, count, 0); \
                   return int_value(c >= -1 && c <= 255 && c != -1 && std::name(c) ? 1 : 0); }
CTYPE(isalpha) CTYPE(isdigit) CTYPE(isalnum) CTYPE(isspace) CTYPE(isupper) CTYPE(islower)
CTYPE(isxdigit) CTYPE(isprint) CTYPE(ispunct) CTYPE(iscntrl) CTYPE(isgraph)

NATIVE(toupper) {
    UNUSED;
    int c = int_arg(args, classes, count, 0);
    return int_value(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
}

NATIVE(tolower) {
    UNUSED;
    int c = int_arg(args, classes, count, 0);
    return int_value(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
}

struct Entry {
    const char *name;
    Native function;
};

const Entry library[] = {
    {"printf", lib_printf}, {"fprintf", lib_fprintf}, {"sprintf", lib_sprintf},
    {"snprintf", lib_snprintf}, {"vprintf", lib_vprintf}, {"vfprintf", lib_vfprintf},
    {"vsprintf", lib_vsprintf}, {"puts", lib_puts}, {"fputs", lib_fputs},
    {"putchar", lib_putchar}, {"fputc", lib_fputc}, {"putc", lib_fputc},
    {"fflush", lib_fflush}, {"getchar", lib_getchar},
    {"malloc", lib_malloc}, {"calloc", lib_calloc}, {"realloc", lib_realloc}, {"free", lib_free},
    {"exit", lib_exit}, {"abort", lib_abort}, {"abs", lib_abs}, {"labs", lib_abs},
    {"atoi", lib_atoi}, {"atol", lib_atoi}, {"strtol", lib_strtol}, {"strtoul", lib_strtoul},
    {"qsort", lib_qsort}, {"zirrun_assert_fail", lib_zirrun_assert_fail},
    {"memcpy", lib_memcpy}, {"memmove", lib_memcpy}, {"memset", lib_memset},
    {"memcmp", lib_memcmp}, {"memchr", lib_memchr}, {"strlen", lib_strlen},
    {"strcpy", lib_strcpy}, {"strncpy", lib_strncpy}, {"strcat", lib_strcat},
    {"strncat", lib_strncat}, {"strcmp", lib_strcmp}, {"strncmp", lib_strncmp},
    {"strchr", lib_strchr}, {"strrchr", lib_strrchr}, {"strstr", lib_strstr},
    {"strspn", lib_strspn}, {"strcspn", lib_strcspn}, {"strpbrk", lib_strpbrk},
    {"isalpha", lib_isalpha}, {"isdigit", lib_isdigit}, {"isalnum", lib_isalnum},
    {"isspace", lib_isspace}, {"isupper", lib_isupper}, {"islower", lib_islower},
    {"isxdigit", lib_isxdigit}, {"isprint", lib_isprint}, {"ispunct", lib_ispunct},
    {"iscntrl", lib_iscntrl}, {"isgraph", lib_isgraph}, {"toupper", lib_toupper},
    {"tolower", lib_tolower},
};

}  // namespace

int find_native(const std::string &name) {
    for (size_t k = 0; k < sizeof library / sizeof library[0]; k++)
        if (name == library[k].name) return int(k);
    return -1;
}

Native native_function(int index) { return library[index].function; }
