#!/usr/bin/env python3
"""Compiles the file-scope declarations of the corpus programs tagged c89.

usage: corpus_declarations.py [--whole] CORPUS_DIR INCLUDE_DIR

Every program N.c of CORPUS_DIR whose N.c.tags holds the line `c89` is
compiled by `zcppc -i INCLUDE_DIR`, INCLUDE_DIR holding small headers that
declare the library functions the programs call.  The declarations in front
of the program's first function body must give no message: a message on a
line up to that of the body's `{`, or in a header, is a failure.  What
follows the first body is not judged here, unless --whole is given: then
every program must compile, function bodies included, with no message at
all, warnings at the default level included, and `zirdump` must read the
intermediate file it wrote without a complaint.

The first body is found on the text: the first `{` outside any bracket that
does not open an initialiser (behind `=`) or a struct, union or enum body.

A few programs tagged c89 use what C89 does not have and this compiler
reports; they are listed in OUTSIDE_C89 and not compiled, and under --whole
also those listed in OUTSIDE_C89_BODIES, whose bodies step outside C89,
and those of KNOWN_FAILURES, which are named in the output.

Prints each failing program with its messages, then one line with the
counts; exits 1 on any failure.
"""
import os
import re
import subprocess
import sys
import tempfile

TOKEN = re.compile(r"""
    (?P<comment>/\*.*?\*/|//[^\n]*)
  | (?P<string>"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*')
  | (?P<word>[A-Za-z_]\w*)
  | (?P<newline>\n)
  | (?P<other>\S)
""", re.S | re.X)

TAG_KEYWORDS = {"struct", "union", "enum"}

# Programs tagged c89 that step outside the language this compiler takes.
OUTSIDE_C89 = {
    "00054.c": "a comma behind the last enumeration constant",
    "00055.c": "a comma behind the last enumeration constant",
    "00084.c": "a macro with a variable argument list",
    "00097.c": "macros with a variable argument list",
    "00170.c": "an enum declared ahead of its definition",
    "00209.c": "enums used without a definition",
    "00210.c": "__attribute__",
}

# Programs whose declarations are C89 but whose function bodies are not:
# skipped under --whole only.
OUTSIDE_C89_BODIES = {
    "00122.c": "an empty macro argument",
    "00129.c": "a declaration behind a statement",
    "00154.c": "a declaration behind a statement",
    "00173.c": "a declaration behind a statement",
    "00175.c": "a declaration behind a statement",
    "00185.c": "a declaration behind a statement",
    "00187.c": "a declaration behind a statement",
    "00198.c": "a declaration behind a statement",
    "00200.c": "long long",
    "00202.c": "an empty macro argument",
    "00203.c": "long long",
    "00207.c": "an array of variable length",
    "00213.c": "statement expressions",
    "00214.c": "statement expressions",
    "00217.c": "long long",
    "00219.c": "_Generic",
}

# C89 programs that do not compile cleanly yet, with the reason; skipped
# under --whole, and named in the output so that they are not forgotten.
KNOWN_FAILURES = {
}


def without_directives(text):
    """The text with every preprocessing line blanked, line count kept."""
    lines = text.split("\n")
    out = []
    continued = False
    for line in lines:
        directive = continued or line.lstrip().startswith("#")
        continued = directive and line.endswith("\\")
        out.append("" if directive else line)
    return "\n".join(out)


def first_body_line(text):
    """The line of the first function body's `{`, or None."""
    line = 1
    depth = 0
    previous = []          # the significant tokens at depth 0, last two
    for match in TOKEN.finditer(without_directives(text)):
        kind = match.lastgroup
        spelling = match.group()
        if kind == "newline":
            line += 1
            continue
        if kind == "comment":
            line += spelling.count("\n")
            continue
        if spelling in "([{":
            if spelling == "{" and depth == 0:
                opens_tag = previous[-1:] and (
                    previous[-1] in TAG_KEYWORDS or
                    (len(previous) == 2 and previous[0] in TAG_KEYWORDS))
                if not opens_tag and previous[-1:] != ["="]:
                    return line
            depth += 1
        elif spelling in ")]}":
            depth = max(depth - 1, 0)
            if depth == 0:
                previous = [spelling]
        elif depth == 0:
            previous = (previous + [spelling])[-2:]
    return None


def is_c89(path):
    try:
        with open(path + ".tags") as f:
            return "c89" in (tag.strip() for tag in f)
    except OSError:
        return False


# "#error zcppc FILE:LINE(COLUMN+LENGTH) text", the place in brackets optional.
MESSAGE = re.compile(r"^#(?:error|warning) \S+ (.*?):(\d+)(?:\((\d+)(?:\+\d+)?\))? (.*)$")


def check(program, include, workdir, whole):
    """The messages that count against the program: with `whole` all of
    them, else those in front of its first body."""
    with open(program, encoding="latin-1") as f:
        text = f.read()
    body = first_body_line(text)
    out = os.path.join(workdir, "unit.o")
    run = subprocess.run(["zcppc", "-i", include, "-o", out, program],
                         capture_output=True, text=True, errors="replace")
    bad = []
    for message in run.stderr.splitlines():
        match = MESSAGE.match(message)
        if match is None:
            bad.append(message)
            continue
        name, line = match.group(1), int(match.group(2))
        in_program = os.path.basename(name) == os.path.basename(program)
        if whole or not in_program or body is None or line <= body:
            bad.append(message)
    if whole and not bad:
        bad = unreadable(out)
    return bad


def unreadable(out):
    """What zirdump says against the intermediate file `out`, if anything."""
    if not os.path.exists(out):
        return ["no intermediate file written"]
    run = subprocess.run(["zirdump", out], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                         text=True, errors="replace")
    complaints = run.stderr.splitlines()
    if run.returncode != 0 and not complaints:
        complaints = ["zirdump exited with status %d" % run.returncode]
    return complaints


def programs_named(programs):
    return {os.path.basename(p) for p in programs}


def main():
    args = sys.argv[1:]
    whole = args[:1] == ["--whole"]
    if whole:
        args = args[1:]
    corpus, include = args[0], os.path.abspath(args[1])
    programs = sorted(os.path.join(corpus, name) for name in os.listdir(corpus)
                      if name.endswith(".c") and name not in OUTSIDE_C89
                      and not (whole and name in OUTSIDE_C89_BODIES)
                      and is_c89(os.path.join(corpus, name)))
    failures = 0
    if whole:
        for name in sorted(KNOWN_FAILURES):
            if name in programs_named(programs):
                print("known failure %s: %s" % (name, KNOWN_FAILURES[name]))
        programs = [p for p in programs if os.path.basename(p) not in KNOWN_FAILURES]
    with tempfile.TemporaryDirectory() as workdir:
        for program in programs:
            bad = check(program, include, workdir, whole)
            if bad:
                failures += 1
                print(os.path.basename(program) + ":")
                for message in bad:
                    print("  " + message)
    where = "" if whole else " in front of their first function body"
    print("%d programs checked, %d with messages%s" % (len(programs), failures, where))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
