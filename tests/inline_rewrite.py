#!/usr/bin/env python3
"""Declares the small functions of a C program @inline.

usage: inline_rewrite.py [--list] SOURCE
       inline_rewrite.py --batch OUT_DIR SOURCE...

Prints SOURCE with `@inline` put in front of each function definition that
an inline expansion can stand for without changing what the program does:
`static int f(...)` becomes `static @inline int f(...)`, and a definition
without `static` gets `@inline` at its head.  With --list, prints instead
one line per definition: the name and either "inline" or the reason why
it stays a function.  With --batch, writes each rewritten SOURCE into
OUT_DIR under its base name and prints the name and the number of
functions made inline.

A function stays a function (the reason in brackets) when
- it is main [main], or its body is long [large];
- its head is no prototype, a list of names, or `()` while a call passes
  arguments, or it ends in `...` [no prototype]: an inline definition
  needs the types of its arguments (a `()` that every call leaves empty
  becomes `(void)`);
- its name appears in front of its definition, in a call or a prototype
  [used before]: an inline function must be defined before its first use,
  and a prototype without @inline would disagree with the definition;
- its name appears other than as a call [address taken]: an inline
  function has no code of its own whose address could be taken;
- a declaration inside a function names it again [declared again]: that
  declaration makes a name of its own, which has no stored body, so its
  calls would stay calls of a function that is never written;
- it calls itself [recursive];
- its body declares a static [static]: an expansion has no storage of
  its own that outlives it;
- a parameter is never read in the body [unused parameter]: an expansion
  does not evaluate the argument of a parameter the body does not read, so
  the side effects of that argument would be lost;
- the body names a file-scope name that some function also declares as a
  local or parameter [hidden name]: a name in the body is looked up at the
  place of the call, where that local would hide the global;
- the body uses the preprocessor [directive], `va_` [variable arguments],
  or `setjmp` [setjmp].

The text is read as tokens with comments, strings and directives kept
apart; macros are not expanded, so a definition made by a macro is not
seen and stays as it is.
"""
import os
import re
import sys

TOKEN = re.compile(r"""
    (?P<comment>/\*.*?\*/|//[^\n]*)
  | (?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)
  | (?P<string>"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*')
  | (?P<word>[A-Za-z_]\w*)
  | (?P<number>\.?\d(?:[eEpP][+-]|[\w.])*)
  | (?P<space>\s+)
  | (?P<other>\.\.\.|->|\S)
""", re.S | re.X | re.M)

KEYWORDS = {
    "auto", "break", "case", "char", "const", "continue", "default", "do",
    "double", "else", "enum", "extern", "float", "for", "goto", "if", "int",
    "long", "register", "return", "short", "signed", "sizeof", "static",
    "struct", "switch", "typedef", "union", "unsigned", "void", "volatile",
    "while",
}

# Words that may stand in front of a call.
STATEMENT_WORDS = {"return", "case", "else", "do", "sizeof"}

# Longest body, in tokens, that counts as small.
SMALL = 300


class Tok:
    def __init__(self, kind, text, start):
        self.kind = kind
        self.text = text
        self.start = start


def tokens(source):
    out = []
    for m in TOKEN.finditer(source):
        kind = m.lastgroup
        if kind in ("space", "comment"):
            continue
        out.append(Tok(kind, m.group(), m.start()))
    return out


def matching(toks, i):
    """Index of the bracket that closes the one at i."""
    opening = toks[i].text
    closing = {"(": ")", "[": "]", "{": "}"}[opening]
    depth = 0
    for j in range(i, len(toks)):
        if toks[j].kind != "other":
            continue
        if toks[j].text == opening:
            depth += 1
        elif toks[j].text == closing:
            depth -= 1
            if depth == 0:
                return j
    return len(toks) - 1


class Definition:
    def __init__(self, name, head, name_at, params, body):
        self.name = name
        self.head = head          # index of the first token of the declaration
        self.name_at = name_at    # index of the name
        self.params = params      # (open, close) indices of the parameter list
        self.body = body          # (open, close) indices of the braces


def definitions(toks):
    """The function definitions at file scope, with the spans of their
    parts, and the spans of all function bodies."""
    found = []
    i = 0
    head = 0
    while i < len(toks):
        t = toks[i]
        if t.kind == "directive":
            head = i + 1
            i += 1
            continue
        if t.kind == "other" and t.text in (";", "}"):
            head = i + 1
            i += 1
            continue
        if t.kind == "other" and t.text == "=":
            # An initialiser: skip to the end of the declaration.
            while i < len(toks) and not (toks[i].kind == "other" and toks[i].text == ";"):
                if toks[i].kind == "other" and toks[i].text in "([{":
                    i = matching(toks, i)
                i += 1
            continue
        if t.kind == "other" and t.text == "{":
            close = matching(toks, i)
            before = toks[i - 1] if i > 0 else None
            if before is not None and before.text == ")":
                # Find the parameter list whose ) stands before the body.
                depth = 0
                j = i - 1
                while j >= head:
                    if toks[j].text == ")":
                        depth += 1
                    elif toks[j].text == "(":
                        depth -= 1
                        if depth == 0:
                            break
                    j -= 1
                if j > head and toks[j - 1].kind == "word":
                    found.append(Definition(toks[j - 1].text, head, j - 1, (j, i - 1), (i, close)))
            # A struct, union or enum body is part of the declaration; a
            # function body ends it.
            i = close + 1
            if before is not None and before.text == ")":
                head = i
            continue
        i += 1
    return found


def called_without_arguments(toks, name):
    """Every call of `name` is `name()`."""
    return all(toks[k + 2].text == ")" for k in range(len(toks) - 2)
               if toks[k].kind == "word" and toks[k].text == name and toks[k + 1].text == "(")


def param_names(toks, params):
    """The names of the parameters, or None without a prototype."""
    open_at, close_at = params
    inner = toks[open_at + 1:close_at]
    if not inner:
        return [] if called_without_arguments(toks, toks[open_at - 1].text) else None
    if any(t.text == "..." for t in inner):
        return None
    if len(inner) == 1 and inner[0].text == "void":
        return []
    names = []
    part = []
    depth = 0
    for t in inner + [Tok("other", ",", 0)]:
        if t.text in "([":
            depth += 1
        elif t.text in ")]":
            depth -= 1
        if t.text == "," and depth == 0:
            words = [p.text for p in part if p.kind == "word" and p.text not in KEYWORDS]
            if len(words) < 1 or all(p.kind == "word" for p in part) and len(part) == 1:
                return None   # a list of names, or a nameless parameter
            names.append(words[-1])
            part = []
        else:
            part.append(t)
    return names


def declared_locals(toks, span):
    """The names a body or parameter list declares, roughly: every word
    that follows a type word, a `*` or a `,` within a declaration."""
    names = set()
    open_at, close_at = span
    for k in range(open_at + 1, close_at):
        t = toks[k]
        if t.kind != "word" or t.text in KEYWORDS:
            continue
        prev = toks[k - 1]
        after = toks[k + 1] if k + 1 < len(toks) else None
        if after is not None and after.text in ("(",):
            continue
        if prev.kind == "word" and (prev.text in KEYWORDS - {"return", "case", "goto", "sizeof", "else", "do"} or
                                    toks[k - 2].text in ("struct", "union", "enum") or
                                    prev.text.endswith("_t") or prev.text[:1].isupper()):
            names.add(t.text)
        elif prev.text == "*" and toks[k - 2].kind == "word" and toks[k - 2].text not in ("return", "case"):
            names.add(t.text)
    return names


def judge(source):
    toks = tokens(source)
    defs = definitions(toks)
    bodies = [d.body for d in defs]
    in_body = set()
    for open_at, close_at in bodies:
        in_body.update(range(open_at, close_at + 1))
    file_scope_words = {t.text for k, t in enumerate(toks) if t.kind == "word" and k not in in_body}
    hiding = set()
    for d in defs:
        hiding |= declared_locals(toks, d.body) | declared_locals(toks, d.params)
    verdicts = []
    for d in defs:
        open_at, close_at = d.body
        body = toks[open_at:close_at + 1]
        words = [t.text for t in body if t.kind == "word"]
        names = param_names(toks, d.params)
        reason = None
        if d.name == "main":
            reason = "main"
        elif close_at - open_at > SMALL:
            reason = "large"
        elif names is None:
            reason = "no prototype"
        elif any(t.kind == "word" and t.text == d.name for t in toks[:d.name_at]):
            reason = "used before"
        elif any(toks[k].kind == "word" and toks[k].text == d.name and
                 k != d.name_at and (k + 1 >= len(toks) or toks[k + 1].text != "(")
                 for k in range(len(toks))):
            reason = "address taken"
        elif any(toks[k].kind == "word" and toks[k].text == d.name and k != d.name_at and
                 toks[k - 1].kind == "word" and toks[k - 1].text not in STATEMENT_WORDS
                 for k in range(1, len(toks))):
            reason = "declared again"
        elif d.name in words:
            reason = "recursive"
        elif "static" in words:
            reason = "static"
        elif any(n not in words for n in names):
            reason = "unused parameter"
        elif any(t.kind == "directive" for t in body):
            reason = "directive"
        elif any(w.startswith("va_") for w in words):
            reason = "variable arguments"
        elif "setjmp" in words or "longjmp" in words:
            reason = "setjmp"
        else:
            own = declared_locals(toks, d.body) | set(names)
            free = {w for w in words if w not in KEYWORDS and w not in own and w in file_scope_words}
            if free & hiding:
                reason = "hidden name"
        verdicts.append((d, reason))
    return toks, verdicts


def rewrite(source):
    toks, verdicts = judge(source)
    inserts = []
    for d, reason in verdicts:
        if reason is not None:
            continue
        head = d.head
        k = head
        while k < d.name_at and toks[k].text in ("static", "extern"):
            k += 1
        inserts.append((toks[k].start, "@inline "))
        open_at, close_at = d.params
        if close_at == open_at + 1:
            inserts.append((toks[close_at].start, "void"))
    out = source
    for at, text in sorted(inserts, reverse=True):
        out = out[:at] + text + out[at:]
    return out


def batch(out_dir, paths):
    """Writes each rewritten program into out_dir under its own base name
    and prints its name with the number of functions made inline."""
    for path in paths:
        with open(path, encoding="latin-1") as f:
            source = f.read()
        _, verdicts = judge(source)
        name = os.path.basename(path)
        with open(os.path.join(out_dir, name), "w", encoding="latin-1") as f:
            f.write(rewrite(source))
        print(name, sum(1 for _, reason in verdicts if reason is None))


def main(argv):
    if len(argv) > 2 and argv[1] == "--batch":
        batch(argv[2], argv[3:])
        return 0
    listing = len(argv) > 1 and argv[1] == "--list"
    if len(argv) != 2 + listing:
        sys.stderr.write("usage: inline_rewrite.py [--list] SOURCE | --batch OUT_DIR SOURCE...\n")
        return 2
    with open(argv[-1], encoding="latin-1") as f:
        source = f.read()
    if listing:
        _, verdicts = judge(source)
        for d, reason in verdicts:
            print("%s: %s" % (d.name, reason or "inline"))
    else:
        sys.stdout.write(rewrite(source))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
