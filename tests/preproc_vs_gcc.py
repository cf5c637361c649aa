#!/usr/bin/env python3
"""Compares the preprocessed text of `zcppc -e` with that of `gcc -E -P`.

usage: preproc_vs_gcc.py [SHARED_DIR]

The sources compared are the output of tools/gen_bench.py 50 and, when
SHARED_DIR (the folder beside the checkout that holds corpus/) is given, the
c-testsuite programs there tagged needs-cpp that include no header.
Both outputs are cut into C tokens (comments and white space dropped, and
the #line lines of -cr), and the two token streams must be equal.  Numbers
are cut as zcppc's scanner reads them: a hexadecimal number takes no sign
behind its `e`, so `0x1E+1` is three tokens (gcc, which reads it as one
preprocessing number, writes a blank into it).  Where the
rules of zcppc's dialect make them differ, the table KNOWN_DIFFERENCES says
which difference and why; such a file must then differ, with zcppc's own
diagnostics.  Prints one line per source and exits 1 on any surprise.
Prints a line starting with SKIP when gcc is not installed, or when
SHARED_DIR is given but holds no corpus (a checkout on its own).
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

# Sources whose preprocessed text differs from gcc's by a rule of zcppc's
# dialect: the message zcppc must give, and the reason.
VARIADIC = ("bad macro argument",
            "variadic macros (... and __VA_ARGS__) are not part of the dialect, "
            "the definition is refused")
KNOWN_DIFFERENCES = {
    "00083.c": VARIADIC,
    "00084.c": VARIADIC,
    "00085.c": VARIADIC,
    "00097.c": VARIADIC,
    "00122.c": ("missing argument for macro F",
                "an empty macro argument counts as a missing one"),
}

TOKEN = re.compile(r"""
    (?P<space>\s+|/\*.*?\*/|//[^\n]*)
  | (?P<number>0[xX][0-9A-Za-z_.]*|\.?[0-9](?:[eE][+-]|[0-9A-Za-z_.])*)
  | (?P<string>L?"(?:\\.|[^"\\\n])*"|L?'(?:\\.|[^'\\\n])*')
  | (?P<name>[A-Za-z_][A-Za-z_0-9]*)
  | (?P<op>\.\.\.|<<=|>>=|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[*/%+\-&^|]=|\#\#|.)
""", re.S | re.X)


def tokens(text):
    """The C tokens of preprocessed text, without comments, white space and
    line control."""
    text = "\n".join(line for line in text.split("\n")
                     if not line.startswith("#line "))
    out = []
    for match in TOKEN.finditer(text):
        if match.lastgroup != "space":
            out.append(match.group())
    return out


def run(command, cwd):
    result = subprocess.run(command, cwd=cwd, capture_output=True)
    return (result.returncode, result.stdout.decode("latin-1"),
            result.stderr.decode("latin-1"))


def first_difference(ours, theirs):
    for index, (a, b) in enumerate(zip(ours, theirs)):
        if a != b:
            return index
    return min(len(ours), len(theirs))


def compare(path, workdir):
    """None if zcppc -e, zcppc -e -cr and gcc -E -P agree; otherwise a text
    that tells where they part."""
    name = os.path.basename(path)
    local = os.path.join(workdir, name)
    if os.path.abspath(path) != os.path.abspath(local):
        shutil.copyfile(path, local)
    status, plain, errors = run(["zcppc", "-e", name], workdir)
    cr_status, compact, _ = run(["zcppc", "-e", "-cr", name], workdir)
    gcc_status, reference, gcc_errors = run(
        ["gcc", "-E", "-P", "-undef", "-x", "c", name], workdir)
    if gcc_status != 0:
        return "gcc failed: " + gcc_errors.strip()
    if status != 0 or cr_status != 0:
        return "zcppc failed: " + errors.strip()
    ours, cr_ours, theirs = tokens(plain), tokens(compact), tokens(reference)
    if ours != cr_ours:
        at = first_difference(ours, cr_ours)
        return "-e and -e -cr differ at token %d: %r / %r" % (
            at, ours[at:at + 8], cr_ours[at:at + 8])
    if ours != theirs:
        at = first_difference(ours, theirs)
        return "differs from gcc at token %d: zcppc %r, gcc %r" % (
            at, ours[at:at + 8], theirs[at:at + 8])
    return None


def corpus_sources(corpus):
    for name in sorted(os.listdir(corpus)):
        if not name.endswith(".c"):
            continue
        path = os.path.join(corpus, name)
        with open(path + ".tags") as tags:
            if "needs-cpp" not in tags.read().split():
                continue
        with open(path, encoding="latin-1") as source:
            text = source.read()
        if re.search(r"^\s*#\s*include", text, re.M):
            continue
        yield path


def main():
    corpus = None
    if len(sys.argv) > 1:
        corpus = os.path.normpath(os.path.join(sys.argv[1], "corpus", "c-testsuite"))
        if not os.path.isdir(corpus):
            print("SKIP: no c-testsuite corpus at %s" % corpus)
            return 0
    if shutil.which("gcc") is None:
        print("SKIP: gcc is not installed, nothing to compare with")
        return 0
    generator = os.path.join(os.path.dirname(os.path.abspath(__file__)),
                             "..", "tools", "gen_bench.py")
    failures = 0
    with tempfile.TemporaryDirectory() as workdir:
        sources = list(corpus_sources(corpus)) if corpus else []
        generated = os.path.join(workdir, "generated.c")
        with open(generated, "w") as out:
            subprocess.run([sys.executable, generator, "50"], stdout=out, check=True)
        sources.append(generated)
        # The runs wait mostly on process start-up, more so in a sanitizer
        # build: a few at a time keep the case well inside its time limit.
        with ThreadPoolExecutor(max_workers=4) as pool:
            problems = list(pool.map(lambda path: compare(path, workdir), sources))
        for path, problem in zip(sources, problems):
            name = os.path.basename(path)
            expected = KNOWN_DIFFERENCES.get(name)
            if problem is None and expected is None:
                print("%s: same tokens" % name)
            elif problem is not None and expected is not None and expected[0] in problem:
                print("%s: differs, as it must: %s (%s)" % (name, expected[1], expected[0]))
            elif problem is None:
                print("%s: same tokens, but a difference was expected: %s" % (name, expected[1]))
                failures += 1
            else:
                print("%s: %s" % (name, problem))
                failures += 1
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
