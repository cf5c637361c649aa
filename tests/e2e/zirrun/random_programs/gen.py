"""Prints a random C89 program whose output does not depend on the machine
it runs on, as long as int is 32 bits, char signed and signed arithmetic
wraps: integer variables of the widths below int, and int, expressions over
them of every operator, statements with loops, switches and calls, and the
final values printed.  The same seed gives the same program.

There is no unsigned int: zcppc decides a comparison of an unsigned int
with a negative constant from the ranges alone, as the target's compilers
do and ANSI C does not (u < -1 is 0).

    gen.py SEED
"""
import random
import sys

rnd = random.Random(int(sys.argv[1]))

TYPES = ["int", "short", "unsigned short", "signed char", "unsigned char"]

variables = []   # (name, type)
for k in range(rnd.randint(4, 9)):
    variables.append(("v%d" % k, rnd.choice(TYPES)))
arrays = [("a%d" % k, rnd.choice(TYPES), rnd.randint(2, 6)) for k in range(2)]


def constant():
    r = rnd.random()
    if r < 0.4:
        return str(rnd.randint(0, 9))
    if r < 0.7:
        return str(rnd.randint(-300, 300)).replace("-", "- ")
    return str(rnd.choice([0x7FFFFFFF, 0x8000, 0x7FFF, 0xFF, 0x80, 65535, 255]))


def leaf():
    r = rnd.random()
    if r < 0.6:
        return rnd.choice(variables)[0]
    if r < 0.75:
        name, _, size = rnd.choice(arrays)
        return "%s[%s & %d]" % (name, rnd.choice(variables)[0], size - 1 if size & (size - 1) == 0 else 1)
    return "(%s)" % constant()


def expr(depth):
    if depth == 0 or rnd.random() < 0.25:
        return leaf()
    a = expr(depth - 1)
    b = expr(depth - 1)
    r = rnd.random()
    if r < 0.35:
        return "(%s %s %s)" % (a, rnd.choice(["+", "-", "*", "&", "|", "^"]), b)
    if r < 0.45:
        op = rnd.choice(["/", "%"])
        return "((%s) == 0 || (%s) == -1 ? (%s) : (%s) %s (%s))" % (b, b, a, a, op, b)
    if r < 0.55:
        return "((%s) %s ((%s) & 31))" % (a, rnd.choice(["<<", ">>"]), b)
    if r < 0.7:
        return "(%s %s %s)" % (a, rnd.choice(["<", "<=", ">", ">=", "==", "!="]), b)
    if r < 0.77:
        return "(%s %s %s)" % (a, rnd.choice(["&&", "||"]), b)
    if r < 0.85:
        return "(%s%s)" % (rnd.choice(["-", "~", "!"]), a)
    if r < 0.93:
        return "((%s) %s)" % (rnd.choice(TYPES), a)
    return "(%s ? %s : %s)" % (a, b, expr(depth - 1))


def lvalue():
    if rnd.random() < 0.8:
        return rnd.choice(variables)[0]
    name, _, size = rnd.choice(arrays)
    return "%s[%d]" % (name, rnd.randrange(size))


def statement(depth, out, indent):
    r = rnd.random()
    pad = "    " * indent
    if depth == 0 or r < 0.45:
        op = rnd.choice(["=", "=", "+=", "-=", "*=", "&=", "|=", "^="])
        out.append("%s%s %s %s;" % (pad, lvalue(), op, expr(3)))
    elif r < 0.55:
        out.append("%s%s%s;" % (pad, lvalue(), rnd.choice(["++", "--"])))
    elif r < 0.7:
        out.append("%sif (%s) {" % (pad, expr(2)))
        block(depth - 1, out, indent + 1)
        out.append("%s} else {" % pad)
        block(depth - 1, out, indent + 1)
        out.append("%s}" % pad)
    elif r < 0.8:
        loop = "i%d" % indent
        out.append("%sfor (%s = 0; %s < %d; %s++) {" % (pad, loop, loop, rnd.randint(0, 5), loop))
        block(depth - 1, out, indent + 1)
        out.append("%s}" % pad)
    elif r < 0.9:
        out.append("%sswitch (%s & 7) {" % (pad, expr(2)))
        for value in sorted(rnd.sample(range(8), rnd.randint(1, 5))):
            out.append("%scase %d:" % (pad, value))
            block(depth - 1, out, indent + 1)
            if rnd.random() < 0.7:
                out.append("%s    break;" % pad)
        out.append("%sdefault:" % pad)
        block(depth - 1, out, indent + 1)
        out.append("%s}" % pad)
    else:
        out.append("%s%s = mix(%s, %s, %s);" % (pad, lvalue(), expr(2), expr(2), expr(2)))


def block(depth, out, indent):
    for _ in range(rnd.randint(1, 3)):
        statement(depth, out, indent)


lines = ["#include <stdio.h>", ""]
for name, t in variables:
    lines.append("%s %s = %s;" % (t, name, constant()))
for name, t, size in arrays:
    lines.append("%s %s[%d] = { %s };" % (t, name, size, ", ".join(constant() for _ in range(size))))
lines += ["",
          "static int mix(signed char c, unsigned short s, int i) {",
          "    return c * 3 + s - i;",
          "}",
          "",
          "int main(void) {",
          "    int i1, i2, i3, i4, i5, i6;"]
body = []
block(4, body, 1)
for _ in range(rnd.randint(2, 5)):
    statement(3, body, 1)
lines += body
names = [n for n, _ in variables] + ["%s[%d]" % (n, k) for n, _, size in arrays for k in range(size)]
types = [t for _, t in variables] + [t for _, t, size in arrays for k in range(size)]
lines.append('    printf("%s\\n", %s);' % (" ".join("%d" for t in types), ", ".join(names)))
lines += ["    return 0;", "}"]
print("\n".join(lines))
