#!/usr/bin/env python3
"""Checks the order in which zcppc writes tentative objects against a model.

usage: flush_order_model.py [COUNT [SEED]]

Generates COUNT random units of file-scope declarations without
initialisers: objects of 1, 2, 3 and 4 bytes, statics, externs (some
defined later, which makes them tentative again where they stand in the
list), functions, fixed-address objects, arrays of unknown size (some
sharing their array type through a typedef), and `#pragma section [...]`,
which writes the objects seen so far.  For each unit the model walks the
list as the compiler must: newest first, and after an odd total of bytes
the first one-byte object further down that is still to be written is
moved up to be written next.  The model is the plain walk; the compiler
keeps an index beside the list for it, so the two must agree on every
object, every size and every "array size unknown".

Prints one line with the counts and exits 1 on any disagreement.
"""
import os
import random
import re
import subprocess
import sys
import tempfile

HEADER = [
    "struct t3 { char c[3]; };",
    "struct t1 { char c; };",
    "typedef char T[];",
    "typedef char U[];",
]

# Declared type: its spelling and its size (None for an array whose size
# is the entry of `dims` named by the key).
SIMPLE = {
    "char": 1,
    "short": 2,
    "int": 4,
    "struct t3": 3,
    "struct t1": 1,
}


class Sym:
    def __init__(self, name, kind, sclass, size=None, dim_key=None):
        self.name = name
        self.kind = kind          # "object", "function" or "fixed"
        self.sclass = sclass      # "none", "static" or "extern"
        self.size = size
        self.dim_key = dim_key    # key in dims for a char array
        self.defined = False


class Unit:
    def __init__(self, rng):
        self.rng = rng
        self.lines = list(HEADER)
        self.symbols = []         # newest first, as symbol_list
        self.dims = {"T": 0, "U": 0}
        self.expected = []        # DATA name size, SECTION, unknown name
        self.externs = []         # extern objects not yet defined

    def size(self, sym):
        return self.dims[sym.dim_key] if sym.dim_key else sym.size

    def unsized(self, sym):
        return sym.dim_key is not None and self.dims[sym.dim_key] == 0

    def tentative(self, sym):
        return (sym.kind == "object" and sym.sclass in ("none", "static")
                and not sym.defined)

    def flush(self, final):
        # At a #pragma section every message of the walk stands at the
        # pragma's closing bracket, and a second error at one place is not
        # written; at the end of the unit they have no place of their own.
        reported = False
        total = 0
        i = 0
        while i < len(self.symbols):
            sym = self.symbols[i]
            if self.tentative(sym):
                if self.unsized(sym):
                    if final or not reported:
                        self.expected.append("unknown %s" % sym.name)
                    reported = True
                    self.dims[sym.dim_key] = 1
                else:
                    size = self.size(sym)
                    total += size
                    self.expected.append("DATA %s %d" % (sym.name, size))
                    if total % 2 and size:
                        for j in range(i + 1, len(self.symbols)):
                            other = self.symbols[j]
                            if (self.tentative(other) and not self.unsized(other)
                                    and self.size(other) == 1):
                                self.symbols.insert(i + 1, self.symbols.pop(j))
                                break
                sym.defined = True
            i += 1

    def declare(self, index):
        rng = self.rng
        name = "v%d" % index
        choice = rng.randrange(12)
        if choice < 4:
            spelling = rng.choice(sorted(SIMPLE))
            self.lines.append("%s %s;" % (spelling, name))
            self.symbols.insert(0, Sym(name, "object", "none", SIMPLE[spelling]))
        elif choice == 4:
            self.lines.append("static char %s;" % name)
            self.symbols.insert(0, Sym(name, "object", "static", 1))
        elif choice == 5:
            self.lines.append("extern char %s;" % name)
            sym = Sym(name, "object", "extern", 1)
            self.symbols.insert(0, sym)
            self.externs.append(sym)
        elif choice == 6 and self.externs:
            # The Symbol stays where the extern declaration put it.
            sym = self.externs.pop(rng.randrange(len(self.externs)))
            self.lines.append("char %s;" % sym.name)
            sym.sclass = "none"
        elif choice == 7:
            typedef = rng.choice(["T", "U"])
            self.lines.append("%s %s;" % (typedef, name))
            self.symbols.insert(0, Sym(name, "object", "none", dim_key=typedef))
        elif choice == 8:
            dim = rng.choice([0, 1, 1, 2])
            key = "own " + name
            self.dims[key] = dim
            self.lines.append("char %s[%s];" % (name, dim if dim else ""))
            self.symbols.insert(0, Sym(name, "object", "none", dim_key=key))
        elif choice == 9:
            self.lines.append("char %s(void);" % name)
            self.symbols.insert(0, Sym(name, "function", "extern"))
        elif choice == 10:
            self.lines.append("char %s @ 0x%x;" % (name, index))
            self.symbols.insert(0, Sym(name, "fixed", "none"))
        else:
            self.lines.append("#pragma section [s%d]" % index)
            self.flush(False)
            self.expected.append("SECTION")


def compiled_order(zcppc, zirdump, source, workdir):
    """The objects, sections and unknown sizes of one unit, as compiled."""
    out = os.path.join(workdir, "unit.o")
    run = subprocess.run([zcppc, "-o", out, source], capture_output=True, text=True)
    dump = subprocess.run([zirdump, out], capture_output=True, text=True).stdout
    order = []
    pending = None
    for line in dump.splitlines():
        data = re.match(r'DATA(?:_ATTR)? .*name="([^"]*)"', line)
        if data:
            pending = data.group(1)
        elif pending is not None and line.strip().startswith("ZEROS"):
            order.append("DATA %s %s" % (pending, line.split("count=")[1]))
            pending = None
        elif line.startswith("SECTION"):
            order.append("SECTION")
    unknown = ["unknown " + m for m in re.findall(r"array size unknown (\S+)", run.stderr)]
    return order, unknown


def main():
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 300
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else 1
    zcppc, zirdump = "zcppc", "zirdump"
    rng = random.Random(seed)
    failures = 0
    with tempfile.TemporaryDirectory() as workdir:
        source = os.path.join(workdir, "unit.c")
        for case in range(count):
            unit = Unit(rng)
            for index in range(rng.randint(1, 60)):
                unit.declare(index)
            unit.flush(True)
            with open(source, "w") as f:
                f.write("\n".join(unit.lines) + "\n")
            order, unknown = compiled_order(zcppc, zirdump, source, workdir)
            # The messages come in walk order, the objects in the file.
            want_order = [e for e in unit.expected if not e.startswith("unknown")]
            want_unknown = [e for e in unit.expected if e.startswith("unknown")]
            if order != want_order or unknown != want_unknown:
                failures += 1
                if failures <= 3:
                    print("disagreement on unit %d:" % case)
                    print("\n".join(unit.lines))
                    print("model:   ", want_order, want_unknown)
                    print("compiler:", order, unknown)
    print("%d units, %d disagreements" % (count, failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
