#!/usr/bin/env python3
"""Prints a large C source for timing zcppc.

usage: gen_bench.py FUNCTIONS [SEED]

The source is one unit of plain embedded C in the dialect zcppc reads: a
prologue of macros, typedefs, an enumeration, a struct with bit-fields, a
union and a constant table, then FUNCTIONS functions of 38 lines each.  Every
function brings its own macros (one under #if, one removed again by #undef),
declarations at the head of its block, a loop, a switch, calls through
pasted and stringized macro arguments, both kinds of comment, character,
string and binary constants.  C89 rules hold throughout (no header, no
`long long`, no variadic macro), so the unit suits the whole pass as well as
the preprocessor, and gcc -E reads it the same way.

The text is the same for the same arguments on every machine: the numbers
come from a small generator of our own, not from Python's `random`.
"""
import sys

FUNCTION_LINES = 38


class Numbers:
    """A 32-bit xorshift generator: fixed output for a given seed."""

    def __init__(self, seed):
        self.state = (seed * 2654435761 + 0x9E3779B9) & 0xFFFFFFFF or 1
        for _ in range(8):  # a small seed leaves most bits zero at first
            self.below(2)

    def below(self, limit):
        """A number in 0 .. limit-1, taken from the high bits."""
        x = self.state
        x ^= (x << 13) & 0xFFFFFFFF
        x ^= x >> 17
        x ^= (x << 5) & 0xFFFFFFFF
        self.state = x
        return x * limit >> 32

    def pick(self, choices):
        return choices[self.below(len(choices))]


def prologue(functions, seed, rng):
    weights = ", ".join(str(rng.below(4096)) for _ in range(16))
    return [
        "/* A benchmark unit for zcppc: gen_bench.py %d %d. */" % (functions, seed),
        "#ifndef BENCH_LEVEL",
        "#define BENCH_LEVEL 2",
        "#endif",
        "#if BENCH_LEVEL >= 2 && !defined(BENCH_SMALL)",
        "#define SPAN 16",
        "#elif BENCH_LEVEL == 1",
        "#define SPAN 8",
        "#else",
        "#define SPAN 4",
        "#endif",
        "#define FLAG(n) (1UL << (n))",
        "#define SQUARE(x) ((x) * (x))",
        "#define MAX_OF(a, b) ((a) > (b) ? (a) : (b))",
        "#define MIN_OF(a, b) ((a) < (b) ? (a) : (b))",
        "#define CLAMP(v, lo, hi) MIN_OF(MAX_OF((v), (lo)), (hi))",
        "#define STAGE(n) stage_##n",
        "#define TRACE(name, v) trace_value(#name, (long)(v))",
        "#define IO_REG(addr) (*(volatile unsigned long *)(addr))",
        "#define LOW_BITS 0b00001111",
        "#define COUNT_OF(a) (sizeof (a) / sizeof (a)[0])",
        "",
        "typedef unsigned char byte;",
        "typedef unsigned short half;",
        "typedef unsigned long word;",
        "",
        "enum mode { MODE_IDLE, MODE_SLOW = 3, MODE_FAST, MODE_LAST = 0x20 };",
        "",
        "struct sample {",
        "    byte mode;",
        "    byte gain : 4;          // the bit-fields share one byte",
        "    byte valid : 1;",
        "    half count;",
        "    long value;",
        "    char tag[8];",
        "};",
        "",
        "union bits { word whole; half part[2]; byte octet[4]; };",
        "",
        "extern int trace_value(const char *name, long value);",
        "extern void *copy_bytes(void *to, const void *from, unsigned size);",
        "static const half weights[] = { %s };" % weights,
        'static const char *const unit_names[] = { "idle", "slow", "fast" };',
        "int stage_count;",
    ]


def function(i, rng):
    """The 38 lines of function number i."""
    limit = rng.below(90) + 10
    factor = rng.below(7) + 2
    shift = rng.below(6) + 1
    low, high = rng.below(32), rng.below(32)
    letter = chr(ord("a") + rng.below(26))
    op = rng.pick(["+=", "-=", "^=", "|="])
    lines = [
        rng.pick(["/* Stage %d: scales the samples and folds them into one value. */" % i,
                  "// Stage %d: a filter step over the samples" % i]),
        "#define LIMIT_%d (LOW_BITS * %d)" % (i, limit % 13 + 1),
        "#if BENCH_LEVEL > 1",
        "#define SCALE_%d(x) ((x) * %d + LIMIT_%d)" % (i, factor, i),
        "#else",
        "#define SCALE_%d(x) (x)" % i,
        "#endif",
        "static int check_%d(const struct sample *s, int n)" % i,
        "{",
        "    do { n -= s->mode + %d; } while (n > MODE_FAST);" % factor,
        "    return n * SPAN - (s->count ^ 0x%x);" % rng.below(256),
        "}",
        "int stage_%d(struct sample *in, int n, const char *name)" % i,
        "{",
        "    int k, total = 0, peak = LIMIT_%d;   // running values" % i,
        "    word flags = FLAG(%d) | FLAG(%d);" % (low, high),
        "    struct sample *cur;",
        "    union bits view;",
    ]
    if rng.below(2):
        lines += [
            "    for (k = 0, cur = in; k < n; k++, cur++) {",
            "        total += SCALE_%d(cur->value) - (cur->gain << %d);" % (i, shift),
        ]
    else:
        lines += [
            "    for (k = 0, cur = in; k < n && cur->mode != MODE_LAST; k++) {",
            "        total %s SCALE_%d(cur++->value) >> %d;" % (op, i, shift),
        ]
    lines += [
        "        if (cur->mode == MODE_IDLE && total > peak)",
        "            peak = total;",
        "        else if (cur->valid)",
        "            total -= SQUARE(cur->count & LOW_BITS);",
        "    }",
        "    switch (total & 3) {",
        "    case 0: total = CLAMP(total, -%d, peak); break;" % limit,
        "    case 1: case 2: total += name[k & 7] - *unit_names[k % 3]; break;  /* short names too */",
        "    default: total ^= (int)flags; break;",
        "    }",
        "    view.whole = (word)total;",
    ]
    if rng.below(2):
        lines.append("    while (view.part[1] > %d && n-- > 0) view.part[1] >>= 1;" % limit)
    else:
        lines.append("    IO_REG(0xF0001000 + 4 * %d) = view.whole & FLAG(%d);" % (i % 64, low))
    lines.append("    if (view.octet[0] == '%s' || view.octet[3] == '\\n')" % letter)
    lines.append("        TRACE(stage_%d, view.part[0] + stage_count++);" % i)
    if i > 0:
        lines.append('    total += STAGE(%d)(in + 1, n - 1, "%s\\t") + check_%d(in, n);'
                     % (rng.below(i), rng.pick(["in", "out", "x"]), i))
    else:
        lines.append("    total += check_%d(in, n);" % i)
    lines += [
        "    return total + weights[k % COUNT_OF(weights)];",
        "}",
        "#undef SCALE_%d" % i,
    ]
    assert len(lines) == FUNCTION_LINES
    return lines


def main(argv):
    try:
        functions = int(argv[1])
        seed = int(argv[2]) if len(argv) > 2 else 1
        if functions < 0 or seed < 0 or len(argv) > 3:
            raise ValueError
    except (IndexError, ValueError):
        sys.stderr.write("usage: gen_bench.py FUNCTIONS [SEED]\n")
        return 2
    rng = Numbers(seed)
    out = prologue(functions, seed, rng)
    for i in range(functions):
        out += function(i, rng)
    sys.stdout.write("\n".join(out) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
