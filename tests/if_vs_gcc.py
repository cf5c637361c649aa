#!/usr/bin/env python3
"""Compares the branches that `zcppc -e` and `gcc -E -P` take for #if.

usage: if_vs_gcc.py [COUNT [SEED]]

Generates random constant expressions (signed and unsigned constants,
character constants, + - * / % << >> & ^ | ~ ! unary -, comparisons, && ||
and ?:), keeps those whose value does not depend on the differences of this
target from gcc's preprocessor, writes one #if per expression into a file
and runs both preprocessors on it.  Every kept expression must select the
same branch in both, and the branch of the model below.

The differences that are filtered out: gcc computes #if in 64 bits, zcppc
in 32 (so every intermediate value must be the same number in both), and
zcppc compares a negative signed number with an unsigned one by their
mathematical values, where gcc converts the signed one first; and zcppc's
`!` of an unsigned constant keeps the unsigned type.  Division by
zero and shift counts outside 0..31 are left out as well.

Prints one line with the counts and exits 1 on any disagreement.  Prints a
line starting with SKIP when gcc is not installed.
"""
import os
import random
import shutil
import subprocess
import sys
import tempfile


class Reject(Exception):
    """The expression's value differs between the two models."""


def wrap(value, unsigned, bits):
    value &= (1 << bits) - 1
    if not unsigned and value >= 1 << (bits - 1):
        value -= 1 << bits
    return value


def c_div(a, b):
    q = abs(a) // abs(b)
    return q if (a >= 0) == (b >= 0) else -q


def c_mod(a, b):
    return a - c_div(a, b) * b


def evaluate(node, bits, math_compare):
    """(value, unsigned) of `node` in a model with `bits`-wide arithmetic."""
    kind = node[0]
    if kind == "num":
        return node[1], node[2]
    if kind == "unary":
        op, (v, u) = node[1], evaluate(node[2], bits, math_compare)
        if op == "!":
            # zcppc turns a constant into 0 or 1 in place: it keeps its type.
            return int(v == 0), u and math_compare
        if op == "-":
            return wrap(-v, u, bits), u
        return wrap(~v, u, bits), u
    if kind == "cond":
        t = evaluate(node[1], bits, math_compare)[0]
        a = evaluate(node[2], bits, math_compare)
        b = evaluate(node[3], bits, math_compare)
        u = a[1] or b[1]
        chosen = a if t else b
        return wrap(chosen[0], u, bits), u
    op = node[1]
    a = evaluate(node[2], bits, math_compare)
    b = evaluate(node[3], bits, math_compare)
    if op in ("&&", "||"):
        truth = (a[0] != 0 and b[0] != 0) if op == "&&" else (a[0] != 0 or b[0] != 0)
        return int(truth), False
    if op in ("<<", ">>"):
        if not 0 <= b[0] <= 31:
            raise Reject()
        if op == "<<":
            return wrap(a[0] << b[0], a[1], bits), a[1]
        return wrap(a[0] >> b[0], a[1], bits), a[1]
    u = a[1] or b[1]
    if op in ("<", ">", "<=", ">=", "==", "!="):
        if math_compare:
            x, y = a[0], b[0]
        else:
            x, y = wrap(a[0], u, bits), wrap(b[0], u, bits)
        return int({"<": x < y, ">": x > y, "<=": x <= y, ">=": x >= y,
                    "==": x == y, "!=": x != y}[op]), False
    x, y = wrap(a[0], u, bits), wrap(b[0], u, bits)
    if op in ("/", "%"):
        if y == 0:
            raise Reject()
        return wrap(c_div(x, y) if op == "/" else c_mod(x, y), u, bits), u
    result = {"+": x + y, "-": x - y, "*": x * y, "&": x & y, "^": x ^ y, "|": x | y}[op]
    return wrap(result, u, bits), u


def agreed_value(node):
    """The value of every subexpression must be the same number in both
    models, or the expression is rejected."""
    def walk(n):
        if n[0] == "unary":
            walk(n[2])
        elif n[0] == "cond":
            walk(n[1]); walk(n[2]); walk(n[3])
        elif n[0] == "binary":
            walk(n[2]); walk(n[3])
        ours = evaluate(n, 32, True)
        theirs = evaluate(n, 64, False)
        if ours != theirs:
            raise Reject()
    walk(node)
    return evaluate(node, 32, True)[0]


CHARS = [("'a'", 97), ("'Z'", 90), ("'0'", 48), ("' '", 32), ("'\\n'", 10),
         ("'\\0'", 0), ("'\\t'", 9), ("'\\x41'", 65), ("'\\101'", 65)]
BIG = [255, 256, 4095, 32767, 32768, 65535, 65536, 1000000, 2147483647]


def number(rng):
    pick = rng.random()
    if pick < 0.15:
        text, value = rng.choice(CHARS)
        return ("num", value, False), text
    value = rng.choice(BIG) if pick < 0.35 else rng.randint(0, 40)
    unsigned = rng.random() < 0.25
    text = hex(value) if rng.random() < 0.2 else str(value)
    return ("num", value, unsigned), text + ("u" if unsigned else "")


BINARY = ["+", "-", "*", "/", "%", "<<", ">>", "&", "^", "|",
          "<", ">", "<=", ">=", "==", "!=", "&&", "||"]

# C's precedence, higher binds tighter; binary operators group to the left,
# ?: to the right.
PRECEDENCE = {"*": 10, "/": 10, "%": 10, "+": 9, "-": 9, "<<": 8, ">>": 8,
              "<": 7, ">": 7, "<=": 7, ">=": 7, "==": 6, "!=": 6, "&": 5,
              "^": 4, "|": 3, "&&": 2, "||": 1}
COND, UNARY, PRIMARY = 0, 11, 12


def operand(rng, part, needs_parentheses):
    """The text of a subexpression, in parentheses where C's grouping needs
    them and now and then where it does not."""
    text, level = part
    if needs_parentheses(level) or rng.random() < 0.15:
        return "(%s)" % text
    return text


def expression(rng, depth):
    """A random tree, its text and the precedence level of its top."""
    if depth == 0 or rng.random() < 0.25:
        node, text = number(rng)
        return node, text, PRIMARY
    pick = rng.random()
    if pick < 0.15:
        op = rng.choice(["-", "~", "!"])
        node, text, level = expression(rng, depth - 1)
        inner = operand(rng, (text, level), lambda l: l < UNARY)
        return ("unary", op, node), "%s %s" % (op, inner), UNARY
    if pick < 0.25:
        t, tt, tl = expression(rng, depth - 1)
        a, at, al = expression(rng, depth - 1)
        b, bt, bl = expression(rng, depth - 1)
        text = "%s ? %s : %s" % (operand(rng, (tt, tl), lambda l: l <= COND),
                                 operand(rng, (at, al), lambda l: False),
                                 operand(rng, (bt, bl), lambda l: l < COND))
        return ("cond", t, a, b), text, COND
    op = rng.choice(BINARY)
    level = PRECEDENCE[op]
    a, at, al = expression(rng, depth - 1)
    b, bt, bl = expression(rng, depth - 1)
    text = "%s %s %s" % (operand(rng, (at, al), lambda l: l < level), op,
                         operand(rng, (bt, bl), lambda l: l <= level))
    return ("binary", op, a, b), text, level


def branches(command, path):
    run = subprocess.run(command + [path], capture_output=True, text=True)
    taken = {}
    for line in run.stdout.splitlines():
        words = line.split()
        if len(words) == 2 and words[0].startswith("R"):
            taken[words[0]] = words[1]
    return run, taken


def main():
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 3000
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else 5
    if shutil.which("gcc") is None:
        print("SKIP: gcc is not installed")
        return 0
    rng = random.Random(seed)
    kept = []
    while len(kept) < count:
        node, text, _ = expression(rng, rng.randint(1, 5))
        try:
            kept.append((text, agreed_value(node)))
        except Reject:
            pass
    with tempfile.TemporaryDirectory() as scratch:
        path = os.path.join(scratch, "exprs.c")
        with open(path, "w") as out:
            for n, (text, _) in enumerate(kept):
                out.write("#if %s\nR%d 1\n#else\nR%d 0\n#endif\n" % (text, n, n))
        ours_run, ours = branches(["zcppc", "-e"], path)
        theirs_run, theirs = branches(["gcc", "-E", "-P", "-x", "c"], path)
    failures = 0
    if ours_run.returncode != 0 or ours_run.stderr:
        print("zcppc failed:", ours_run.returncode, ours_run.stderr[:2000])
        failures += 1
    if theirs_run.returncode != 0:
        print("gcc failed:", theirs_run.stderr[:2000])
        failures += 1
    for n, (text, value) in enumerate(kept):
        key = "R%d" % n
        want = "1" if value != 0 else "0"
        if ours.get(key) != theirs.get(key) or ours.get(key) != want:
            failures += 1
            if failures <= 20:
                print("differs: #if %s  zcppc %s, gcc %s, value %d"
                      % (text, ours.get(key), theirs.get(key), value))
    print("%d expressions, %d differ" % (len(kept), failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
