"""Prints a random C89 program that prints its final state, the same on
this target and on the host, together with the checksum of the values
that went by.  The same seed gives the same program.

    gen.py SEED          the program on the standard output
    gen.py FIRST LAST    the programs of seeds FIRST to LAST in progSEED.c

What a program holds: scalars, arrays of one and two dimensions (global,
static and local) and structs (nested, with arrays and bit-fields) of every
integer type; pointers to scalars, array elements and members, and pointers
to those pointers; functions that take and return structs by value, a
bounded recursion and a table of function pointers; all loops with break
and continue, goto, switches dense and sparse with fall-through, ?:, && and
|| with side effects, the comma, and compound assignments of every kind.

Nothing has undefined behaviour: signed +, -, * and << are done in the
unsigned type of the same width, a divisor is never 0 (nor -1 of a signed
type), shift counts are below the width, indices are reduced into their
array, pointers stay in their array, every object is set before it is read,
and a statement that changes an object inside an expression does not read
it elsewhere.

What the target and the host do not share is kept out of sight:
- long is 32 bits here and 64 on the host.  Every value of a long type is
  brought back to 32 bits where it is made ((long)(int)x and
  (unsigned long)(unsigned)x), and an operator that mixes long with
  unsigned int, which is unsigned long here and long on the host, gets its
  operands converted to the common type of the target by hand.
- A bit-field is unsigned here whatever its declaration says: all of them
  are declared unsigned, and read through a cast to int, since the host
  promotes a narrow unsigned field to int.
- A comparison of a 32-bit signed and unsigned operand against a constant
  is decided here by the values, not by the conversion to unsigned: the
  operands of such a comparison are converted to unsigned by hand.
- `x | c` and `x & c` with a constant that has all the bits of a narrow x
  set fold to the mask and to x: for a negative signed char or short that
  is not what the promoted operands give.  A narrow operand of | and & is
  therefore converted to int by hand.
- `(T)x - x`, `x ^ (T)x` and the like fold as if the cast were not there:
  one operand of an operator is never the operand of a cast on the other.
- `u = (signed char)(c ^ u)` of an unsigned u is stored as `u ^= c`: a
  store converts to its target's type last.
- `!` of an integer constant becomes 0 or 1 in the constant's own type, so
  `!2u` is an unsigned 0 and makes the comparison it stands in unsigned:
  the result of `!` is converted to int by hand.
"""
import random
import sys
import textwrap

rnd = random.Random(0)

CTYPE = {"c": "char", "sc": "signed char", "uc": "unsigned char", "s": "short",
         "us": "unsigned short", "i": "int", "u": "unsigned", "l": "long",
         "ul": "unsigned long"}
BITS = {"c": 8, "sc": 8, "uc": 8, "s": 16, "us": 16, "i": 32, "u": 32, "l": 32, "ul": 32}
SIGNED = {"c": 1, "sc": 1, "uc": 0, "s": 1, "us": 0, "i": 1, "u": 0, "l": 1, "ul": 0}
TYPES = list(CTYPE)
UNSIGNED_OF = {"i": "u", "l": "ul"}


def promote(t):
    return "i" if BITS[t] < 32 else t


def common(a, b):
    a, b = promote(a), promote(b)
    if "ul" in (a, b) or set((a, b)) == set(("l", "u")):
        return "ul"
    if "l" in (a, b):
        return "l"
    if "u" in (a, b):
        return "u"
    return "i"


def conv(text, to):
    """text converted to type `to`, brought back to 32 bits for a long."""
    if to == "l":
        return "((long)(int)(%s))" % text
    if to == "ul":
        return "((unsigned long)(unsigned)(%s))" % text
    return "((%s)(%s))" % (CTYPE[to], text)


def norm(text, t):
    """A value of type t made by an operator, brought back to 32 bits."""
    return conv(text, t) if t in ("l", "ul") else text


def constant(t=None):
    t = t or rnd.choice(["i", "i", "i", "u", "l", "ul", "sc", "s", "us"])
    r = rnd.random()
    bits, signed = BITS[t], SIGNED[t]
    if r < 0.35:
        v = rnd.randint(0, 9)
    elif r < 0.6:
        v = rnd.choice([0x7F, 0x80, 0xFF, 0x100, 0x7FFF, 0x8000, 0xFFFF, 0x10000,
                        0x7FFFFFFF, 0x80000000, 0xFFFFFFFF])
    else:
        v = rnd.randint(-70000, 70000)
    v &= (1 << bits) - 1
    if signed and v >= 1 << (bits - 1):
        v -= 1 << bits
    suffix = {"u": "u", "l": "L", "ul": "uL"}.get(t, "")
    if v < 0:
        if t in ("i", "l") and v == -(1 << 31):
            return "(-2147483647%s - 1)" % suffix, t
        return "(-%d%s)" % (-v, suffix), t
    if t in ("i", "l") or BITS[t] < 32:
        text = "%d%s" % (v, suffix) if v <= 0x7FFFFFFF else None
        if BITS[t] < 32:
            return "((%s)%d)" % (CTYPE[t], v), t
        return text, t
    return "%du%s" % (v, "L" if t == "ul" else ""), t


class Scope:
    """The objects a piece of code can name: readable values and lvalues."""

    def __init__(self, parent=None):
        self.scalars = []      # (text, type) of lvalues that may be written
        self.readonly = []     # (text, type) that are only read
        self.arrays = []       # (name, type, dims)
        self.structs = []      # (name, struct)
        self.pointers = []     # (name, type, home): home is (array, length) or None
        self.pointer2 = []     # (name, type, pointer name)
        self.aliased = set()   # scalars a pointer may reach
        self.locals = set()    # scalars of the function itself
        self.pure = False      # no change to anything outside the function
        if parent:
            for f in ("scalars", "readonly", "arrays", "structs", "pointers", "pointer2"):
                getattr(self, f).extend(getattr(parent, f))
            self.aliased |= parent.aliased
            self.locals |= parent.locals
            self.pure = parent.pure


class Struct:
    def __init__(self, name, members):
        self.name, self.members = name, members   # (name, kind, type, extra)


structs = []
out_lines = []
functions = []         # (name, result type, [arg types]) of pure functions
table = None           # (name, size) of the function pointer table
struct_fns = []        # (name, struct)
effect_fns = []        # names of void functions that change globals
budget = [0]


def index(n, scope, avoid):
    if n & (n - 1) == 0:
        return "(%s) & %d" % (expr(scope, rnd.randint(0, 1), avoid)[0], n - 1)
    return "(unsigned)(%s) %% %du" % (expr(scope, rnd.randint(0, 1), avoid)[0], n)


def element(name, dims, scope, avoid):
    return name + "".join("[%s]" % index(n, scope, avoid) for n in dims)


def struct_leaves(prefix, s, out, lvalue):
    """Readable (and with lvalue writable) members of struct s at prefix."""
    for mname, kind, t, extra in s.members:
        path = "%s.%s" % (prefix, mname)
        if kind == "scalar":
            out.append((path, t, None))
        elif kind == "bits":
            out.append((path, t, ("bits", extra)))
        elif kind == "array":
            out.append((path, t, ("array", extra)))
        else:
            struct_leaves(path, extra, out, lvalue)


def leaf(scope, avoid):
    r = rnd.random()
    if r < 0.45 or not (scope.arrays or scope.structs or scope.pointers):
        choices = [(n, t) for n, t in scope.scalars + scope.readonly if n not in avoid]
        if not choices or rnd.random() < 0.15:
            return constant()
        return rnd.choice(choices)
    if r < 0.65 and scope.arrays:
        name, t, dims = rnd.choice(scope.arrays)
        if name in avoid:
            return constant()
        return element(name, dims, scope, avoid), t
    if r < 0.85 and scope.structs:
        name, s = rnd.choice(scope.structs)
        if name in avoid:
            return constant()
        members = []
        struct_leaves(name, s, members, False)
        path, t, extra = rnd.choice(members)
        if extra and extra[0] == "bits":
            return "((int)%s)" % path, "i"
        if extra and extra[0] == "array":
            return "%s[%s]" % (path, index(extra[1], scope, avoid)), t
        return path, t
    if scope.pointers and not avoid:
        name, t, home = rnd.choice(scope.pointers)
        if home and home[0] != "member" and rnd.random() < 0.5:
            return "((int)(%s - %s))" % (name, home[0]), "i"
        return "*%s" % name, t
    if scope.pointer2 and not avoid:
        name, t, _ = rnd.choice(scope.pointer2)
        return "**%s" % name, t
    return constant()


def binary(scope, depth, avoid):
    op = rnd.choice(["+", "-", "*", "/", "%", "<<", ">>", "&", "|", "^",
                     "<", "<=", ">", ">=", "==", "!=", "&&", "||"])
    a, ta = expr(scope, depth - 1, avoid)
    # A divisor is written three times: keep it small.
    b, tb = expr(scope, depth - 1 if op not in ("/", "%") else 0, avoid)
    if a.endswith("(%s))" % b) or b.endswith("(%s))" % a):
        # `(unsigned char)x % x` and `x ^ (char)x` are 0 here: the folds of
        # x % x, x - x, x ^ x and their kind look through a cast on either
        # side.
        b, tb = constant()
    c = common(ta, tb)
    if op in ("<<", ">>"):
        t = promote(ta)
        count = "((%s) & %d)" % (b, rnd.choice([31, 15, 7, 3]))
        if op == ">>":
            return norm("(%s >> %s)" % (a if t not in ("l", "ul") else conv(a, t), count), t), t
        u = UNSIGNED_OF.get(t, t)
        return norm(conv("%s << %s" % (conv(a, u), count), t), t) if u != t else \
            norm("(%s << %s)" % (conv(a, t) if t == "ul" else a, count), t), t
    if op in ("&&", "||"):
        return "(%s %s %s)" % (a, op, b), "i"
    if op in ("&", "|"):
        if BITS[ta] < 32:
            a, ta = conv(a, "i"), "i"
        if BITS[tb] < 32:
            b, tb = conv(b, "i"), "i"
        c = common(ta, tb)
    if c in ("l", "ul") or (op in ("<", "<=", ">", ">=", "==", "!=") and c == "u"):
        a, b = conv(a, c), conv(b, c)
    if op in ("<", "<=", ">", ">=", "==", "!="):
        return "(%s %s %s)" % (a, op, b), "i"
    if op in ("/", "%"):
        # The divisor: never 0, and never -1 when the quotient is signed.
        d = "d%d" % rnd.randint(0, 1)
        if SIGNED[c]:
            return norm("((%s) == 0 || (%s) == -1 ? (%s) : (%s) %s (%s))" % (b, b, a, a, op, b), c), c
        return norm("((%s) == 0 ? (%s) : (%s) %s (%s))" % (b, a, a, op, b), c), c
    if op in ("+", "-", "*") and c in ("i", "l"):
        ok_narrow = BITS[ta] < 32 and BITS[tb] < 32 and not (op == "*" and ta == tb == "us")
        if not ok_narrow:
            u = UNSIGNED_OF[c]
            return conv("%s %s %s" % (conv(a, u), op, conv(b, u)), c), c
    return norm("(%s %s %s)" % (a, op, b), c), c


def expr(scope, depth, avoid=frozenset()):
    budget[0] += 1
    if depth <= 0 or rnd.random() < 0.3 or budget[0] > 1500:
        return leaf(scope, avoid)
    r = rnd.random()
    if r < 0.55:
        return binary(scope, depth, avoid)
    if r < 0.65:
        a, t = expr(scope, depth - 1, avoid)
        op = rnd.choice(["-", "~", "!"])
        if op == "!":
            return "((int)(!%s))" % a, "i"
        t = promote(t)
        if op == "-" and t in ("i", "l"):
            return conv("-%s" % conv(a, UNSIGNED_OF[t]), t), t
        return norm("(%s%s)" % (op, conv(a, t) if t in ("l", "ul") else a), t), t
    if r < 0.75:
        to = rnd.choice(TYPES)
        a, _ = expr(scope, depth - 1, avoid)
        return conv(a, to), to
    if r < 0.83:
        a, _ = expr(scope, depth - 1, avoid)
        b, tb = expr(scope, depth - 1, avoid)
        c, tc = expr(scope, depth - 1, avoid)
        t = common(tb, tc)
        return "(%s ? %s : %s)" % (a, conv(b, t), conv(c, t)), t
    if r < 0.92 and functions:
        name, t, args = rnd.choice(functions)
        return "%s(%s)" % (name, ", ".join(conv(expr(scope, depth - 1, avoid)[0], a) for a in args)), t
    if table:
        return "%s[(unsigned)(%s) %% %du](%s, %s)" % (
            table[0], expr(scope, 1, avoid)[0], table[1],
            conv(expr(scope, depth - 1, avoid)[0], "i"), conv(expr(scope, depth - 1, avoid)[0], "u")), "i"
    return leaf(scope, avoid)


def lvalue(scope):
    """A writable lvalue (text, type, name of its object or None)."""
    r = rnd.random()
    if r < 0.45 and scope.scalars:
        n, t = rnd.choice(scope.scalars)
        return n, t, n
    if r < 0.65 and scope.arrays:
        name, t, dims = rnd.choice(scope.arrays)
        return name + "".join("[%d]" % rnd.randrange(n) for n in dims), t, name
    if r < 0.85 and scope.structs:
        name, s = rnd.choice(scope.structs)
        members = []
        struct_leaves(name, s, members, True)
        path, t, extra = rnd.choice(members)
        if extra and extra[0] == "bits":
            return path, "ui:%d" % extra[1], name
        if extra and extra[0] == "array":
            return "%s[%d]" % (path, rnd.randrange(extra[1])), t, name
        return path, t, name
    if scope.pointers:
        name, t, home = rnd.choice(scope.pointers)
        return "*" + name, t, None
    n, t = rnd.choice(scope.scalars)
    return n, t, n


def assignment(scope, pad):
    text, t, obj = lvalue(scope)
    e, te = expr(scope, 3)
    if t.startswith("ui:"):
        # A bit-field takes the low bits of what it is given.
        op = rnd.choice(["=", "=", "+=", "-=", "&=", "|=", "^="])
        if op in ("+=", "-="):
            e = conv(e, "uc")
        return "%s%s %s %s;" % (pad, text, op, conv(e, "u"))
    ops = ["=", "=", "+=", "-=", "*=", "/=", "%=", "<<=", ">>=", "&=", "|=", "^="]
    op = rnd.choice(ops)
    if op == "=":
        return "%s%s = %s;" % (pad, text, conv(e, t))
    if op in ("/=", "%="):
        return "%s%s %s ((%s) & 15) + 1;" % (pad, text, op, conv(e, "i"))
    if op == ">>=":
        return "%s%s >>= (%s) & %d;" % (pad, text, conv(e, "i"), BITS[t] - 1)
    if op in ("&=", "|=", "^="):
        if t in ("l", "ul"):
            return "%s%s %s %s;" % (pad, text, op, conv(e, t))
        return "%s%s %s %s;" % (pad, text, op, conv(e, "i" if BITS[t] < 32 else t))
    # +=, -=, *=, <<=: kept from overflowing the promoted type.
    if op == "<<=":
        if t in ("u",):
            return "%s%s <<= (%s) & 31;" % (pad, text, conv(e, "i"))
        return "%s%s = %s;" % (pad, text, conv("%s << ((%s) & %d)" % (conv(text, "u"), conv(e, "i"), BITS[t] - 1), t))
    if BITS[t] < 32:
        return "%s%s %s %s;" % (pad, text, op, conv(e, "sc" if op == "*=" else t))
    if t == "u":
        return "%s%s %s %s;" % (pad, text, op, conv(e, "u"))
    u = UNSIGNED_OF.get(t, t)
    return "%s%s = %s;" % (pad, text, conv("%s %s %s" % (conv(text, u), op[0], conv(e, u)), t))


counter = [0]


def new_label():
    counter[0] += 1
    return counter[0]


def statement(scope, depth, out, indent, loop):
    pad = "    " * indent
    r = rnd.random()
    if depth <= 0 or r < 0.3:
        out.append(assignment(scope, pad))
    elif r < 0.36:
        text, t, obj = lvalue(scope)
        if t.startswith("ui:") or t in ("i", "l", "ul"):
            out.append(assignment(scope, pad))
        else:
            if text.startswith("*"):
                text = "(%s)" % text
            out.append("%s%s%s;" % (pad, text, rnd.choice(["++", "--"])) if rnd.random() < 0.5 else
                       "%s%s%s;" % (pad, rnd.choice(["++", "--"]), text))
    elif r < 0.44:
        out.append("%sif (%s) {" % (pad, expr(scope, 2)[0]))
        block(scope, depth - 1, out, indent + 1, loop)
        if rnd.random() < 0.6:
            out.append("%s} else {" % pad)
            block(scope, depth - 1, out, indent + 1, loop)
        out.append("%s}" % pad)
    elif r < 0.56:
        c = "k%d" % indent
        n = rnd.randint(0, 6)
        kind = rnd.choice(["for", "while", "do"])
        inner = []
        block(scope, depth - 1, inner, indent + 1, True)
        if kind == "for":
            out.append("%sfor (%s = 0; %s < %d; %s++) {" % (pad, c, c, n, c))
            out.extend(inner)
            out.append("%s}" % pad)
        elif kind == "while":
            out.append("%s%s = 0;" % (pad, c))
            out.append("%swhile (%s < %d) {" % (pad, c, n))
            out.append("%s    %s++;" % (pad, c))
            out.extend(inner)
            out.append("%s}" % pad)
        else:
            out.append("%s%s = 0;" % (pad, c))
            out.append("%sdo {" % pad)
            out.append("%s    %s++;" % (pad, c))
            out.extend(inner)
            out.append("%s} while (%s < %d);" % (pad, c, n))
    elif r < 0.6 and loop:
        out.append("%sif (%s) %s;" % (pad, expr(scope, 2)[0], rnd.choice(["break", "continue"])))
    elif r < 0.68:
        switch(scope, depth, out, indent, loop)
    elif r < 0.72:
        k = new_label()
        out.append("%sif (%s) goto skip%d;" % (pad, expr(scope, 2)[0], k))
        block(scope, depth - 1, out, indent, loop)
        out.append("%sskip%d:;" % (pad, k))
    elif r < 0.75:
        k = new_label()
        c = "c%d" % indent
        out.append("%s%s = 0;" % (pad, c))
        out.append("%sagain%d:" % (pad, k))
        block(scope, depth - 1, out, indent + 1, False)
        out.append("%sif (++%s < %d) goto again%d;" % (pad, c, rnd.randint(1, 4), k))
    elif r < 0.82:
        side_effect(scope, out, pad)
    elif r < 0.9:
        pointer_statement(scope, out, pad)
    elif r < 0.95 and (struct_fns or effect_fns) and not scope.pure:
        call_statement(scope, out, pad)
    elif not scope.pure:
        out.append("%scheck(%s);" % (pad, conv(expr(scope, 3)[0], "u")))
    else:
        out.append(assignment(scope, pad))


def switch(scope, depth, out, indent, loop):
    pad = "    " * indent
    e = expr(scope, 2)[0]
    if rnd.random() < 0.5:
        out.append("%sswitch ((%s) & 7) {" % (pad, conv(e, "i")))
        values = sorted(rnd.sample(range(8), rnd.randint(1, 6)))
    else:
        t = rnd.choice(["i", "sc", "s", "us", "uc"])
        out.append("%sswitch (%s) {" % (pad, conv(e, t)))
        pool = {"sc": (-128, 127), "uc": (0, 255), "s": (-32768, 32767), "us": (0, 65535)}.get(t, (-100000, 100000))
        values = sorted(set([rnd.randint(*pool) for _ in range(rnd.randint(1, 5))] +
                            rnd.sample(range(0, 4), 2)))
    for v in values:
        out.append("%scase %d:" % (pad, v))
        block(scope, depth - 1, out, indent + 1, loop)
        if rnd.random() < 0.7:
            out.append("%s    break;" % pad)
    if rnd.random() < 0.7:
        out.append("%sdefault:" % pad)
        block(scope, depth - 1, out, indent + 1, loop)
    out.append("%s}" % pad)


def side_effect(scope, out, pad):
    """&&, || and the comma with a side effect on an object read nowhere
    else in the statement."""
    # The object changed is a local that no pointer reaches and no called
    # function reads, so only the expressions around it need to keep off it.
    plain = [(n, t) for n, t in scope.scalars if n not in scope.aliased and n in scope.locals]
    others = [(n, t) for n, t in scope.scalars if n not in scope.aliased]
    if not plain or len(others) < 2:
        out.append(assignment(scope, pad))
        return
    w, tw = rnd.choice(plain)
    v, tv = rnd.choice([o for o in others if o[0] != w])
    avoid = frozenset([w, v])
    val = conv(expr(scope, 2, frozenset([v]))[0], "uc" if tw == "ul" else "sc")
    # `w = (signed char)(x ^ w)` would become `w ^= x`: a cast of an
    # operator to a narrower type only narrows the operator, and an
    # assignment of an operator on its own target becomes the compound
    # assignment.  The plain store converts to w's own type.
    effects = ["%s = %s" % (w, conv(val, tw)), "%s ^= %s" % (w, val)]
    if tw not in ("i", "l"):
        effects.append("%s += %s" % (w, val))
    effect = rnd.choice(effects)
    r = rnd.random()
    if r < 0.4:
        test = "(%s %s (%s))" % (expr(scope, 2, frozenset([v]))[0], rnd.choice(["&&", "||"]), effect)
    elif r < 0.7:
        test = "(%s ? (%s) : %s)" % (expr(scope, 2, frozenset([v]))[0], effect, expr(scope, 2, avoid)[0])
    else:
        test = "((%s), %s)" % (effect, expr(scope, 2, frozenset([v]))[0])
    out.append("%s%s = %s;" % (pad, v, conv("%s + %s" % (conv(test, "u"), conv(expr(scope, 2, avoid)[0], "u")), tv)))


def pointer_statement(scope, out, pad):
    if not scope.pointers:
        out.append(assignment(scope, pad))
        return
    name, t, home = rnd.choice(scope.pointers)
    r = rnd.random()
    if home and home[0] == "member":
        # A pointer to a member points at its own member only, or at the
        # same member of another struct of its kind.
        out.append("%s%s = &%s;" % (pad, name, rnd.choice(home[1])))
        return
    if home is None:
        targets = [n for n, tt in scope.scalars if tt == t and n in scope.aliased]
        out.append("%s%s = &%s;" % (pad, name, rnd.choice(targets)))
        return
    arr, n = home
    if r < 0.3:
        out.append("%s%s = %s;" % (pad, name, rnd.choice(["&%s[%s]", "%s + (%s)"]) % (arr, index(n, scope, frozenset()))))
    elif r < 0.5:
        out.append("%sif (%s < %s + %d) %s++;" % (pad, name, arr, n - 1, name))
        out.append("%sif (%s > %s) --%s;" % (pad, name, arr, name))
    elif r < 0.65:
        out.append("%sif (%s < &%s[%d]) *%s++ = %s;" % (pad, name, arr, n - 1, name,
                                                      conv(expr(scope, 2, frozenset([name]))[0], t)))
    elif r < 0.8:
        others = [p for p in scope.pointers if p[2] == home and p[0] != name]
        if others:
            q = rnd.choice(others)[0]
            out.append("%sif (%s %s %s) *%s = %s;" % (pad, name, rnd.choice(["<", "<=", ">", ">=", "==", "!="]), q,
                                                     rnd.choice([name, q]), conv(expr(scope, 2)[0], t)))
            out.append("%scheck((unsigned)(%s - %s));" % (pad, name, q))
        else:
            out.append("%s%s[0] = %s;" % (pad, name, conv(expr(scope, 2)[0], t)))
    else:
        pp = [p for p in scope.pointer2 if p[2] == name]
        if pp:
            out.append("%s*%s = &%s[%s];" % (pad, pp[0][0], arr, index(n, scope, frozenset())))
            out.append("%s**%s = %s;" % (pad, pp[0][0], conv(expr(scope, 2)[0], t)))
        else:
            out.append("%s*%s = %s;" % (pad, name, conv(expr(scope, 2)[0], t)))


def call_statement(scope, out, pad):
    if struct_fns and rnd.random() < 0.6:
        fname, s = rnd.choice(struct_fns)
        mine = [n for n, ss in scope.structs if ss is s]
        if mine:
            out.append("%s%s = %s(%s, %s);" % (pad, rnd.choice(mine), fname, rnd.choice(mine),
                                                conv(expr(scope, 2)[0], "i")))
            return
    if effect_fns:
        out.append("%s%s(%s);" % (pad, rnd.choice(effect_fns), conv(expr(scope, 2)[0], "i")))
        return
    out.append(assignment(scope, pad))


def block(scope, depth, out, indent, loop):
    for _ in range(rnd.randint(1, 3)):
        statement(scope, depth, out, indent, loop)


# -- Declarations ------------------------------------------------------------

def make_struct(k, depth):
    members = []
    for m in range(rnd.randint(1, 4)):
        r = rnd.random()
        if r < 0.45:
            members.append(("m%d" % m, "scalar", rnd.choice(TYPES), None))
        elif r < 0.7:
            members.append(("b%d" % m, "bits", "i", rnd.randint(1, 16)))
        elif r < 0.85:
            members.append(("a%d" % m, "array", rnd.choice(TYPES), rnd.randint(1, 5)))
        elif depth > 0 and structs:
            members.append(("s%d" % m, "struct", None, rnd.choice(structs)))
        else:
            members.append(("m%d" % m, "scalar", rnd.choice(TYPES), None))
    s = Struct("S%d" % k, members)
    out_lines.append("struct %s {" % s.name)
    for mname, kind, t, extra in members:
        if kind == "scalar":
            out_lines.append("    %s %s;" % (CTYPE[t], mname))
        elif kind == "bits":
            out_lines.append("    unsigned %s : %d;" % (mname, extra))
        elif kind == "array":
            out_lines.append("    %s %s[%d];" % (CTYPE[t], mname, extra))
        else:
            out_lines.append("    struct %s %s;" % (extra.name, mname))
    out_lines.append("};")
    structs.append(s)
    return s


def init_list(s):
    parts = []
    for mname, kind, t, extra in s.members:
        if kind == "scalar":
            parts.append(constant(t)[0])
        elif kind == "bits":
            parts.append(str(rnd.randrange(1 << extra)))
        elif kind == "array":
            parts.append("{ %s }" % ", ".join(constant(t)[0] for _ in range(extra)))
        else:
            parts.append(init_list(extra))
    return "{ %s }" % ", ".join(parts)


def set_struct(prefix, s, out, pad, scope):
    """Statements that set every member of a local struct."""
    members = []
    struct_leaves(prefix, s, members, True)
    for path, t, extra in members:
        if extra and extra[0] == "array":
            for k in range(extra[1]):
                out.append("%s%s[%d] = %s;" % (pad, path, k, conv(expr(scope, 1)[0], t)))
        elif extra and extra[0] == "bits":
            out.append("%s%s = %s;" % (pad, path, conv(expr(scope, 1)[0], "u")))
        else:
            out.append("%s%s = %s;" % (pad, path, conv(expr(scope, 1)[0], t)))


def print_all(scope, out, names):
    for n, t in [x for x in scope.scalars if x[0] in names]:
        out.append('    printf("%s %%d\\n", (int)%s);' % (n, n))
    for name, t, dims in [a for a in scope.arrays if a[0] in names]:
        idx = "".join("[k%d]" % d for d in range(len(dims)))
        loops = "".join("for (k%d = 0; k%d < %d; k%d++) " % (d, d, n, d) for d, n in enumerate(dims))
        out.append('    %scheck((unsigned)%s%s);' % (loops, name, idx))
    for name, s in [x for x in scope.structs if x[0] in names]:
        members = []
        struct_leaves(name, s, members, False)
        for path, t, extra in members:
            if extra and extra[0] == "array":
                for k in range(extra[1]):
                    out.append("    check((unsigned)%s[%d]);" % (path, k))
            else:
                out.append("    check((unsigned)%s);" % path)


def generate(seed):
    """The program of one seed, as text."""
    global rnd, table
    rnd = random.Random(seed)
    table = None
    for state in (structs, out_lines, functions, struct_fns, effect_fns):
        del state[:]
    budget[0] = counter[0] = 0
    out_lines.extend(["#include <stdio.h>", "",
                      "static unsigned crc;",
                      "",
                      "static void check(unsigned v) {",
                      "    crc = (crc ^ v) * 16777619u + 1u;",
                      "}",
                      ""])

    for k in range(rnd.randint(1, 3)):
        make_struct(k, k)
    out_lines.append("")

    g = Scope()
    for k in range(rnd.randint(3, 7)):
        t = rnd.choice(TYPES)
        name = "g%d" % k
        out_lines.append("%s%s %s = %s;" % (rnd.choice(["", "static "]), CTYPE[t], name, constant(t)[0]))
        g.scalars.append((name, t))
    for k in range(rnd.randint(1, 3)):
        t = rnd.choice(TYPES)
        dims = [rnd.randint(1, 6)] if rnd.random() < 0.6 else [rnd.randint(1, 4), rnd.randint(1, 4)]
        name = "ga%d" % k
        if len(dims) == 1:
            init = "{ %s }" % ", ".join(constant(t)[0] for _ in range(dims[0]))
        else:
            init = "{ %s }" % ", ".join("{ %s }" % ", ".join(constant(t)[0] for _ in range(dims[1])) for _ in range(dims[0]))
        out_lines.append("%s %s%s = %s;" % (CTYPE[t], name, "".join("[%d]" % d for d in dims), init))
        g.arrays.append((name, t, dims))
    for k, s in enumerate(structs):
        name = "gs%d" % k
        out_lines.append("struct %s %s = %s;" % (s.name, name, init_list(s)))
        g.structs.append((name, s))
    # Pointers into global arrays of one dimension and to global scalars.
    for k, (name, t, dims) in enumerate(list(g.arrays)):
        if len(dims) == 1:
            for j in range(rnd.randint(1, 2)):
                p = "gp%d_%d" % (k, j)
                out_lines.append("%s *%s = &%s[%d];" % (CTYPE[t], p, name, rnd.randrange(dims[0])))
                g.pointers.append((p, t, (name, dims[0])))
            if rnd.random() < 0.6:
                out_lines.append("%s **gpp%d = &gp%d_0;" % (CTYPE[t], k, k))
                g.pointer2.append(("gpp%d" % k, t, "gp%d_0" % k))
    for k, (name, t) in enumerate(list(g.scalars)):
        if rnd.random() < 0.3:
            out_lines.append("%s *gq%d = &%s;" % (CTYPE[t], k, name))
            g.pointers.append(("gq%d" % k, t, None))
            g.aliased.add(name)
    # Pointers to scalar members of the global structs.
    for k, (name, s) in enumerate(list(g.structs)):
        members = []
        struct_leaves(name, s, members, False)
        scalars = [(path, t) for path, t, extra in members if not extra]
        if scalars and rnd.random() < 0.6:
            path, t = rnd.choice(scalars)
            out_lines.append("%s *gm%d = &%s;" % (CTYPE[t], k, path))
            g.pointers.append(("gm%d" % k, t, ("member", [path])))
    out_lines.append("")

    # Pure functions: they read globals and their arguments and change only
    # their own locals.
    pure = Scope()
    pure.readonly = list(g.scalars)
    pure.arrays = []
    pure.structs = []
    for k in range(rnd.randint(1, 3)):
        t = rnd.choice(TYPES)
        args = [rnd.choice(TYPES) for _ in range(rnd.randint(1, 3))]
        name = "f%d" % k
        fs = Scope()
        fs.readonly = list(g.scalars)
        fs.scalars = [("p%d" % j, a) for j, a in enumerate(args)]
        fs.pure = True
        body = []
        for j in range(2):
            x = ("x%d" % j, rnd.choice(TYPES))
            body.append("    %s = %s;" % (x[0], conv(expr(fs, 2)[0], x[1])))
            fs.scalars.append(x)
        fs.locals = set(n for n, _ in fs.scalars)
        block(fs, 2, body, 1, False)
        out_lines.append("static %s %s(%s) {" % (CTYPE[t], name, ", ".join("%s p%d" % (CTYPE[a], j) for j, a in enumerate(args))))
        out_lines.append("    %s;" % "; ".join("%s x%d" % (CTYPE[fs.scalars[len(args) + j][1]], j) for j in range(2)))
        out_lines.append("    int k1, k2, k3, k4, k5, c1, c2, c3, c4, c5;")
        out_lines.extend(body)
        out_lines.append("    return %s;" % conv(expr(fs, 3)[0], t))
        out_lines.append("}")
        out_lines.append("")
        functions.append((name, t, args))

    # A bounded recursion.
    out_lines.extend(["static unsigned rec(unsigned n, unsigned acc) {",
                      "    if (n == 0) return acc;",
                      "    return rec(n - 1, acc * %du + n) ^ (n << %d);" % (rnd.randint(1, 99), rnd.randint(0, 9)),
                      "}",
                      ""])
    functions.append(("rec", "u", ["uc", "u"]))

    # A table of functions of one kind, called through pointers.
    names = []
    for k in range(rnd.randint(2, 4)):
        fs = Scope()
        fs.scalars = [("a", "i"), ("b", "u")]
        fs.locals = set(["a", "b"])
        fs.pure = True
        fs.readonly = list(g.scalars)
        out_lines.append("static int t%d(int a, unsigned b) {" % k)
        out_lines.append("    int k1, k2, k3, k4, k5, c1, c2, c3, c4, c5;")
        block(fs, 1, out_lines, 1, False)
        out_lines.append("    return %s;" % conv(expr(fs, 2)[0], "i"))
        out_lines.append("}")
        names.append("t%d" % k)
    out_lines.append("static int (*table[%d])(int, unsigned) = { %s };" % (len(names), ", ".join(names)))
    out_lines.append("")
    table = ("table", len(names))

    # Functions that take a struct by value, change it and give it back.
    for k, s in enumerate(structs):
        fs = Scope()
        fs.scalars = [("n", "i")]
        fs.locals = set(["n"])
        fs.structs = [("x", s)]
        fs.readonly = list(g.scalars)
        out_lines.append("static struct %s sf%d(struct %s x, int n) {" % (s.name, k, s.name))
        out_lines.append("    int k1, k2, k3, k4, k5, c1, c2, c3, c4, c5;")
        block(fs, 2, out_lines, 1, False)
        out_lines.append("    return x;")
        out_lines.append("}")
        out_lines.append("")
        struct_fns.append(("sf%d" % k, s))

    # Functions that change globals.
    for k in range(rnd.randint(1, 2)):
        fs = Scope(g)
        fs.scalars.append(("n", "i"))
        fs.locals = set(["n"])
        out_lines.append("static void e%d(int n) {" % k)
        out_lines.append("    int k1, k2, k3, k4, k5, c1, c2, c3, c4, c5;")
        block(fs, 2, out_lines, 1, False)
        out_lines.append("}")
        out_lines.append("")
        effect_fns.append("e%d" % k)

    # main: locals of every kind, set before use, then statements, then the
    # state printed.
    m = Scope(g)
    decls, init = [], []
    local_names = []
    for k in range(rnd.randint(2, 6)):
        t = rnd.choice(TYPES)
        name = "v%d" % k
        decls.append("    %s %s;" % (CTYPE[t], name))
        init.append("    %s = %s;" % (name, conv(expr(m, 2)[0], t)))
        m.scalars.append((name, t))
        m.locals.add(name)
        local_names.append(name)
    for k in range(rnd.randint(1, 2)):
        t = rnd.choice(TYPES)
        dims = [rnd.randint(1, 5)] if rnd.random() < 0.6 else [rnd.randint(1, 3), rnd.randint(1, 3)]
        name = "la%d" % k
        static = rnd.random() < 0.4
        decls.append("    %s%s %s%s;" % ("static " if static else "", CTYPE[t], name, "".join("[%d]" % d for d in dims)))
        for idx in range(dims[0]):
            for jdx in range(dims[1] if len(dims) > 1 else 1):
                init.append("    %s[%d]%s = %s;" % (name, idx, "[%d]" % jdx if len(dims) > 1 else "", conv(expr(m, 1)[0], t)))
        m.arrays.append((name, t, dims))
        local_names.append(name)
        if len(dims) == 1:
            p = "lp%d" % k
            decls.append("    %s *%s;" % (CTYPE[t], p))
            init.append("    %s = %s + %d;" % (p, name, rnd.randrange(dims[0])))
            m.pointers.append((p, t, (name, dims[0])))
    for k, s in enumerate(structs):
        if rnd.random() < 0.7:
            name = "ls%d" % k
            decls.append("    struct %s %s;" % (s.name, name))
            if rnd.random() < 0.5:
                init.append("    %s = gs%d;" % (name, k))
            else:
                set_struct(name, s, init, "    ", m)
            m.structs.append((name, s))
            local_names.append(name)
    # A pointer to local scalars that may point at any of them.
    for t in sorted(set(t for n, t in m.scalars if n in local_names)):
        same = [n for n, tt in m.scalars if tt == t and n in local_names]
        if rnd.random() < 0.4:
            p = "lq_%s" % t
            decls.append("    %s *%s;" % (CTYPE[t], p))
            init.append("    %s = &%s;" % (p, rnd.choice(same)))
            m.pointers.append((p, t, None))
            m.aliased |= set(same)

    body = []
    block(m, 4, body, 1, False)
    for _ in range(rnd.randint(3, 8)):
        statement(m, 3, body, 1, False)

    out_lines.append("int main(void) {")
    out_lines.extend(decls)
    out_lines.append("    int k0, k1, k2, k3, k4, k5, k6, c1, c2, c3, c4, c5, c6;")
    out_lines.extend(init)
    out_lines.extend(body)
    print_all(m, body_end := [], [n for n, _ in m.scalars] + [a[0] for a in m.arrays] + [s[0] for s in m.structs])
    out_lines.extend(body_end)
    out_lines.append('    printf("crc %u\\n", crc);')
    out_lines.append("    return 0;")
    out_lines.append("}")
    # A line of the target's compiler holds at most 20479 characters: long
    # statements are broken between tokens.
    lines = []
    for line in out_lines:
        lines.extend(textwrap.wrap(line, 2000, break_long_words=False, break_on_hyphens=False,
                                   drop_whitespace=False) if len(line) > 2000 else [line])
    return "\n".join(lines) + "\n"


if len(sys.argv) == 2:
    sys.stdout.write(generate(int(sys.argv[1])))
else:
    for seed in range(int(sys.argv[1]), int(sys.argv[2]) + 1):
        with open("prog%d.c" % seed, "w") as f:
            f.write(generate(seed))
