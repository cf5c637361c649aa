#!/usr/bin/env python3
"""Compares the struct and union layout of zcppc with the host's gcc.

usage: layout_vs_gcc.py [COUNT [SEED]]

Generates COUNT random struct and union definitions whose members are
char, signed char, unsigned char, short, unsigned short, int and unsigned
int, arrays of them, and nested aggregates (earlier ones by their tag,
arrays of them, and definitions written in place).  These are the types
whose size and alignment this target shares with the host, so every size
and offset must agree.

gcc compiles a program that prints sizeof and offsetof of every aggregate
and member; zcppc -e reads the same definitions in #if lines and checks
each number with sizeof of the type and the size of an array built from
the member's address.  A check that fails prints a line, so zcppc must
print nothing but the closing mark.

Prints one line with the counts and exits 1 on any disagreement.  Prints a
line starting with SKIP when gcc is not installed.
"""
import os
import random
import shutil
import subprocess
import sys
import tempfile

SCALARS = ["char", "signed char", "unsigned char", "short", "unsigned short",
           "int", "unsigned int", "unsigned"]


class Generator:
    def __init__(self, rng):
        self.rng = rng
        self.tags = []        # (keyword, tag) of the aggregates defined so far
        self.inner = 0        # number of definitions written in place

    def dims(self):
        rng = self.rng
        if rng.random() < 0.7:
            return ""
        text = "[%d]" % rng.randint(1, 5)
        if rng.random() < 0.3:
            text += "[%d]" % rng.randint(1, 3)
        return text

    def member_type(self, depth):
        """The type of a member: a scalar, an earlier aggregate by its tag,
        or a definition written in place.  The second value lists the
        member paths of a definition written in place, to check as well."""
        rng = self.rng
        pick = rng.random()
        if pick < 0.15 and self.tags:
            keyword, tag = rng.choice(self.tags)
            return "%s %s" % (keyword, tag), []
        if pick < 0.25 and depth < 3:
            self.inner += 1
            tag = "n%d" % self.inner
            keyword, body, names = self.body(depth + 1)
            self.tags.append((keyword, tag))
            return "%s %s { %s }" % (keyword, tag, body), names
        return rng.choice(SCALARS), []

    def body(self, depth):
        """A keyword, the text of a body and the names of its members."""
        rng = self.rng
        keyword = "union" if rng.random() < 0.25 else "struct"
        members = []
        names = []
        for n in range(rng.randint(1, 7)):
            name = "m%d" % n
            type_text, inner_names = self.member_type(depth)
            dims = self.dims()
            members.append("%s %s%s;" % (type_text, name, dims))
            names.append(name)
            if not dims:
                names += ["%s.%s" % (name, inner) for inner in inner_names]
        return keyword, " ".join(members), names

    def aggregate(self, n):
        keyword, body, names = self.body(0)
        tag = "t%d" % n
        self.tags.append((keyword, tag))
        return "%s %s" % (keyword, tag), body, names


def main():
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 300
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else 11
    if shutil.which("gcc") is None:
        print("SKIP: gcc is not installed")
        return 0
    rng = random.Random(seed)
    generator = Generator(rng)
    aggregates = [generator.aggregate(n) for n in range(count)]

    # Every question, in order: a text for the report, the C expression for
    # gcc, and the one for zcppc.
    questions = []
    for type_text, _, names in aggregates:
        questions.append(("sizeof(%s)" % type_text, "sizeof(%s)" % type_text,
                          "sizeof(%s)" % type_text))
        for name in names:
            questions.append(("offset of %s in %s" % (name, type_text),
                              "offsetof(%s, %s)" % (type_text, name),
                              "OFFSET(%s, %s)" % (type_text, name)))

    with tempfile.TemporaryDirectory() as scratch:
        program = os.path.join(scratch, "layout.c")
        binary = os.path.join(scratch, "layout")
        with open(program, "w") as out:
            out.write("#include <stddef.h>\n#include <stdio.h>\n")
            for type_text, body, _ in aggregates:
                out.write("%s { %s };\n" % (type_text, body))
            out.write("int main(void) {\n")
            for _, expression, _ in questions:
                out.write('    printf("%%zu\\n", (size_t)%s);\n' % expression)
            out.write("    return 0;\n}\n")
        build = subprocess.run(["gcc", "-w", "-o", binary, program], capture_output=True, text=True)
        if build.returncode != 0:
            print("gcc failed:", build.stderr[:2000])
            return 1
        values = subprocess.run([binary], capture_output=True, text=True, check=True).stdout.split()

        source = os.path.join(scratch, "layout_checks.c")
        with open(source, "w") as out:
            out.write("#define VALUE(e) (sizeof(struct { char a[(e) + 1]; }) - 1)\n")
            out.write("#define OFFSET(type, member) VALUE((int)&((type *)0)->member)\n")
            for type_text, body, _ in aggregates:
                out.write("#if sizeof(%s { %s })\n#endif\n" % (type_text, body))
            for n, (_, _, expression) in enumerate(questions):
                out.write("#if %s != %s\nQ%d\n#endif\n" % (expression, values[n], n))
            out.write("checked\n")
        run = subprocess.run(["zcppc", "-e", source], capture_output=True, text=True)

    failures = 0
    if run.returncode != 0 or run.stderr:
        print("zcppc failed:", run.returncode, run.stderr[:2000])
        failures += 1
    lines = run.stdout.split()
    if not lines or lines[-1] != "checked":
        print("zcppc did not reach the end")
        failures += 1
    for line in lines:
        if line.startswith("Q"):
            failures += 1
            if failures <= 20:
                text, expression, _ = questions[int(line[1:])]
                print("differs: %s, gcc %s" % (text, values[int(line[1:])]))
    print("%d aggregates, %d sizes and offsets, %d differ" % (count, len(questions), failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
