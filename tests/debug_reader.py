#!/usr/bin/env python3
"""Reads the debug information of an intermediate file and checks it.

usage: debug_reader.py FILE...
       debug_reader.py --corpus CORPUS_DIR INCLUDE_DIR [OPTION...]

The first form reads each FILE, written by `zcppc -x`, and checks its debug
data.  The second compiles every program N.c of CORPUS_DIR whose N.c.tags
holds the line `c89` and that compiles without -x without a message, with
`zcppc -i INCLUDE_DIR` and each OPTION in turn (default -x and -xx), and
checks what it wrote.

This reader knows the file's records, not the compiler's code.  It walks the
whole file, keeps the debug data (labels, ints, strings, addresses and
names) as one stream, and from each file record follows the chain of
function records to the file's end record, following every link:

- every link names a label that the file sets;
- a file's chain reaches its end record, every function record on the way
  links back to its file record, and every function record is on a chain;
- each name node holds a name and a kind, each entry of a list a place, a
  type word and a link to type data that fits the word;
- a local in the frame lies within the frame that the function's records
  give (REC_FRAME_SIZE), an argument within its argument area;
- a local in a register names a register that the function uses in its
  code, passes an argument in, or marks as taken in REC_REGISTERS;
- a static's address names a name or a label that the file defines.

Prints each problem, then one line with the counts; exits 1 on any problem.
"""
import os
import struct
import subprocess
import sys
import tempfile

REC_SOURCE_FILE, REC_LINE = 19, 20
REC_SPACE_NAME, REC_SECTION, REC_ASM_TEXT = 186, 204, 203
REC_EXTERN, REC_PUBLIC, REC_DATA, REC_DATA_ATTR = 144, 132, 131, 199
REC_ABSOLUTE, REC_LITERAL, REC_DATA_END, REC_FUNCTION = 201, 184, 210, 134
REC_DEBUG_LABEL, REC_DEBUG_FUNCTION, REC_DEBUG_FILE, REC_DEBUG_NAME = 213, 214, 215, 187
REC_INT, REC_FLOAT, REC_STRING, REC_ZEROS = 137, 133, 148, 147
REC_ADDRESS1, REC_ADDRESS2, REC_ADDRESS4 = 197, 192, 200

BINARY_OPS = {222, 216, 226, 133, 153, 151, 160, 193, 163, 156, 149, 144, 143,
              150, 148, 155, 130, 157, 136, 142, 139, 145, 135, 140, 137, 138,
              134, 146, 141, 168, 170, 167}
UNARY_OPS = {108, 90, 67, 107, 100, 102, 114, 115}
BRANCHES = {141, 135, 136, 142, 138, 143}

# Kinds of name nodes, by what their entry's place is.
KINDS_FRAME = {3}
KINDS_ARG = {2, 7}
KINDS_NOSTACK = {14, 15, 16}
KINDS_REGISTER = {4, 5, 22}
KINDS_ADDRESS = {1, 6, 8}
KINDS_MEMBER = {9, 12}
KIND_TYPEDEF = 17
KIND_LABEL = 18
KIND_FILE = 140
TAG_KINDS = {10, 11, 13}

BASES = {8, 10, 11, 16, 17, 18, 24, 26, 32, 33, 34, 40, 41, 72, 73, 75, 76, 77,
         78, 80, 88}
BIT_FIELD_BASES = {11, 18, 34}
STRUCT_BASES = {72, 73}
ENUM_BASES = {75, 76, 77, 78}


class Bad(Exception):
    pass


class Reader:
    """The records of one file, read in order."""

    def __init__(self, data):
        self.data = data
        self.at = 0

    def u8(self):
        if self.at >= len(self.data):
            raise Bad("file ends inside a record")
        self.at += 1
        return self.data[self.at - 1]

    def u16(self):
        value, = struct.unpack_from("<H", self.data, self.at)
        self.at += 2
        return value

    def u32(self):
        if self.at + 4 > len(self.data):
            raise Bad("file ends inside a record")
        value, = struct.unpack_from("<I", self.data, self.at)
        self.at += 4
        return value

    def take(self, count):
        if self.at + count > len(self.data):
            raise Bad("file ends inside a record")
        self.at += count
        return self.data[self.at - count:self.at]

    def name_block(self):
        length = self.u8()
        label = self.u16()
        kind = self.u8()
        return (self.take(length - 1), label, kind)

    def ref(self):
        if self.data[self.at] != 0:
            return ("name",) + self.name_block()
        self.u8()
        return ("label", self.u16())

    def type_desc(self):
        code = self.u8()
        if code & 0x80:
            self.u16()
        code &= 0x7F
        if code == 11:
            self.u16()
        elif code in (4, 7, 13):
            self.take(2)
        elif code == 14:
            self.u32()


class FileModel:
    """What one intermediate file holds for the debug reader."""

    def __init__(self):
        self.items = []          # the debug stream: (what, ...) tuples
        self.label_at = {}       # debug label -> index in items
        self.other_labels = set()  # code, literal and static labels
        self.names = set()       # names the file declares or defines
        self.functions = []      # per function: dict of its frame
        self.function_records = []  # index of each REC_DEBUG_FUNCTION item

    def debug_item(self, item):
        self.items.append(item)


def read_expr(r, fn):
    tag = r.u8()
    if tag == 0:
        r.type_desc()
        base = r.ref()
        if base[0] == "name":
            fn["refs"].append(base)
        r.u32()
        location = r.u8()
        r.u8()
        if location >= 5:
            fn["registers"].add(location - 4)
    elif tag in BINARY_OPS:
        r.type_desc()
        read_expr(r, fn)
        read_expr(r, fn)
    elif tag == 159:
        r.type_desc()
        for _ in range(3):
            read_expr(r, fn)
    elif tag in UNARY_OPS:
        r.type_desc()
        read_expr(r, fn)
    elif tag in (105, 169, 113, 180):
        r.type_desc()
        read_expr(r, fn)
        if tag in (113, 180):
            length = r.u8()
            r.take(length)
        if tag in (169, 180):
            while r.data[r.at] == 165:
                r.u8()
                r.type_desc()
                read_expr(r, fn)
            read_expr(r, fn)
    else:
        raise Bad("unknown expression tag %d at byte %d" % (tag, r.at - 1))


def read_function(r, model, name):
    fn = {"name": name, "frame_low": 0, "args_end": 0, "registers": set(),
          "int_mask": 0x3FFFF, "float_mask": 0x3FFFF, "refs": []}
    model.functions.append(fn)
    while True:
        tag = r.u8()
        if tag == 211:
            return fn
        if tag == 251:
            r.u32(); r.u32()
        elif tag == 217:
            r.type_desc(); r.u32()
            location = r.u8()
            if location >= 5:
                fn["registers"].add(location - 4)
        elif tag == 218:
            fn["args_end"] = r.u32()
        elif tag == 129:
            fn["frame_low"] = struct.unpack("<i", struct.pack("<I", r.u32()))[0]
        elif tag == 145:
            fn["int_mask"] = r.u32()
            fn["float_mask"] = r.u32()
        elif tag == REC_SOURCE_FILE:
            r.name_block()
        elif tag == REC_LINE:
            r.u32()
        elif tag == REC_ASM_TEXT:
            r.take(r.u8())
        elif tag == 188:
            r.take(12)
        elif tag == 139:
            r.u16()
        elif tag in (140, 130):
            model.other_labels.add(r.u16())
            if r.u32() != 0:
                r.u8()
        elif tag in BRANCHES:
            r.u16()
            read_expr(r, fn)
            read_expr(r, fn)
        elif tag == 150:
            read_expr(r, fn)
        elif tag == 146 or tag == 151:
            pass
        elif tag in (190, 149, 189):
            r.u16()
        elif tag == 185:
            r.take(9)
        elif tag == 205:
            n = r.u16()
            r.u32()
            r.take(2 * n)
        elif tag == 207:
            r.take(10)
        elif tag == 206:
            n = r.u16()
            r.take(6 * n)
        elif tag == 194:
            model.other_labels.add(r.u16())
            if r.u8() == 1:
                read_expr(r, fn)
        else:
            raise Bad("unknown statement tag %d at byte %d" % (tag, r.at - 1))


def read_file(data):
    model = FileModel()
    r = Reader(data)
    if len(data) < 5 or data[0] != 0xCB or data[1] != 0x0C:
        raise Bad("not an intermediate file")
    if not data[2] & 0x04:
        raise Bad("the header does not announce debug information")
    r.at = 5
    string = None
    while r.at < len(data):
        tag = r.u8()
        if tag != REC_STRING and string is not None:
            raise Bad("a string ends without its last piece")
        if tag == REC_DEBUG_LABEL:
            r.u16()
            label = r.u16()
            if label in model.label_at:
                raise Bad("debug label L%d set twice" % label)
            model.label_at[label] = len(model.items)
            model.debug_item(("label", label))
        elif tag == REC_DEBUG_FILE or tag == REC_DEBUG_FUNCTION:
            r.u8()
            text = r.name_block()[0]
            if tag == REC_DEBUG_FUNCTION:
                model.function_records.append(len(model.items))
            model.debug_item(("file" if tag == REC_DEBUG_FILE else "function", text))
        elif tag == REC_DEBUG_NAME:
            model.debug_item(("name", r.take(r.u8())))
        elif tag == REC_INT:
            width = r.u8()
            model.debug_item(("int", width, r.u32()))
        elif tag == REC_STRING:
            piece = r.take(r.u8())
            string = (string or b"") + piece
            if len(piece) < 255:
                model.debug_item(("string", string))
                string = None
        elif tag in (REC_ADDRESS1, REC_ADDRESS2, REC_ADDRESS4):
            base = r.ref()
            model.debug_item(("address", tag, base, r.u32()))
        elif tag == REC_FLOAT:
            r.u8(); r.take(8)
            model.debug_item(("other",))
        elif tag == REC_ZEROS:
            r.u32()
            model.debug_item(("other",))
        elif tag == REC_LITERAL:
            r.u8(); r.take(3)
            model.other_labels.add(r.u16())
            model.debug_item(("other",))
        elif tag == REC_DATA_END:
            model.debug_item(("other",))
        elif tag in (REC_SOURCE_FILE, REC_SPACE_NAME):
            r.name_block()
        elif tag == REC_LINE:
            r.u32()
        elif tag == REC_SECTION:
            r.u16()
            length = r.u8()
            r.take(length)
        elif tag == REC_ASM_TEXT:
            r.take(r.u8())
        elif tag in (REC_EXTERN, REC_PUBLIC):
            text, label, _ = r.name_block()
            r.u16(); r.u32()
            model.names.add(text)
        elif tag in (REC_DATA, REC_DATA_ATTR):
            r.u8()
            if tag == REC_DATA_ATTR:
                r.u16()
            text, label, _ = r.name_block()
            model.names.add(text)
            if label:
                model.other_labels.add(label)
            model.debug_item(("other",))
        elif tag == REC_ABSOLUTE:
            r.u8()
            text, _, _ = r.name_block()
            r.u32()
            model.names.add(text)
        elif tag == REC_FUNCTION:
            text, label, _ = r.name_block()
            r.u16(); r.u32()
            model.names.add(text)
            if label:
                model.other_labels.add(label)
            fn = read_function(r, model, text)
            fn["record"] = len(model.function_records) - 1
        else:
            raise Bad("unknown file-level tag %d at byte %d" % (tag, r.at - 1))
    return model


class Checker:
    def __init__(self, model):
        self.m = model
        self.problems = []
        self.fn = None           # frame of the function whose record is read
        self.seen_layouts = set()

    def problem(self, text):
        self.problems.append(text)

    def cursor(self, label):
        """The items behind debug label `label`, label marks left out."""
        if label not in self.m.label_at:
            raise Bad("link to L%d, which no REC_DEBUG_LABEL sets" % label)
        return Cursor(self.m.items, self.m.label_at[label] + 1)

    def link(self, c):
        item = c.next()
        if item[0] != "address" or item[1] != REC_ADDRESS4 or item[2][0] != "label" or item[3] != 0:
            raise Bad("a link was expected, not %r" % (item,))
        label = item[2][1]
        if label and label not in self.m.label_at:
            raise Bad("link to L%d, which no REC_DEBUG_LABEL sets" % label)
        return label

    def int4(self, c):
        item = c.next()
        if item[0] != "int" or item[1] != 4:
            raise Bad("an int of 4 bytes was expected, not %r" % (item,))
        return item[2]

    def int1(self, c):
        item = c.next()
        if item[0] != "int" or item[1] != 1:
            raise Bad("an int of 1 byte was expected, not %r" % (item,))
        return item[2]

    def string(self, c):
        item = c.next()
        if item[0] != "string":
            raise Bad("a string was expected, not %r" % (item,))
        return item[1]

    def name_node(self, label):
        c = self.cursor(label)
        name = self.string(c)
        kind = self.int1(c)
        return name, kind, c

    def check_static_address(self, item, name):
        if item[0] != "address" or item[1] != REC_ADDRESS4:
            raise Bad("%s: an address was expected, not %r" % (name, item))
        base = item[2]
        if base[0] == "name":
            text, label, _ = base[1:]
            if label:
                if label not in self.m.other_labels:
                    self.problem("%s: its address names label L%d, which the file does not set"
                                 % (name, label))
            elif text not in self.m.names:
                self.problem("%s: its address names %s, which the file does not declare"
                             % (name, text.decode("latin-1")))
        elif base[1] and base[1] not in self.m.other_labels:
            self.problem("%s: its address names label L%d, which the file does not set"
                         % (name, base[1]))

    def check_register(self, number, name):
        fn = self.fn
        if fn is None:
            self.problem("%s: a register outside a function" % name)
            return
        if not 1 <= number <= 36:
            self.problem("%s in %s: register number %d" % (name, fn["name"].decode(), number))
            return
        if number in fn["registers"]:
            return
        if number <= 18:
            taken = not fn["int_mask"] & (1 << (number - 1))
        else:
            taken = not fn["float_mask"] & (1 << (number - 19))
        if not taken:
            self.problem("%s in %s: register %d is neither used nor taken"
                         % (name, fn["name"].decode(), number))

    def entry(self, c, members):
        """One entry of a list; False at the null link that ends it."""
        label = self.link(c)
        if label == 0:
            return False
        name, kind, node = self.name_node(label)
        shown = name.decode("latin-1")
        if members and kind not in KINDS_MEMBER:
            self.problem("%s: kind %d in a layout" % (shown, kind))
        if kind == KIND_LABEL:
            item = c.next()
            if item[0] != "address" or item[2][0] != "label" or item[2][1] not in self.m.other_labels:
                self.problem("label %s: its address names no code label" % shown)
            if self.int4(c) != 0x58000000 or self.int4(c) != 0:
                self.problem("label %s: not the type word of a label" % shown)
            return True
        if kind in KINDS_FRAME:
            place = self.int4(c)
            low = self.fn["frame_low"] if self.fn else 0
            if not 0 < place <= -low:
                self.problem("%s in %s: frame place %d outside a frame of %d bytes"
                             % (shown, self.fn["name"].decode() if self.fn else "?", place, -low))
        elif kind in KINDS_ARG:
            place = self.int4(c)
            end = self.fn["args_end"] if self.fn else 0
            if not 0 <= place < max(end, 1):
                self.problem("%s in %s: argument place %d outside an area of %d bytes"
                             % (shown, self.fn["name"].decode() if self.fn else "?", place, end))
        elif kind in KINDS_REGISTER:
            location = self.int4(c)
            self.check_register(location - 4, shown)
        elif kind in KINDS_NOSTACK:
            item = c.next()
            if item[0] != "address" or item[2][0] != "name" or not item[2][1].endswith(b".L"):
                self.problem("%s: not an address in a static frame" % shown)
        elif kind in KINDS_ADDRESS:
            self.check_static_address(c.next(), shown)
        elif kind in KINDS_MEMBER or kind == KIND_TYPEDEF:
            self.int4(c)
        else:
            self.problem("%s: unknown kind %d" % (shown, kind))
            return True
        if kind == 5 or kind == 22:
            self.int4(node)
        word = int.from_bytes(struct.pack("<I", self.int4(c)), "big")
        data = self.link(c)
        if kind != 12:
            self.type_data(word, data, shown)
        return True

    def type_data(self, word, label, name):
        base = word & 0xFF
        derivations = []
        for shift in range(30, 6, -2):
            code = (word >> shift) & 3
            if code == 0:
                break
            derivations.append(code)
        if base not in BASES:
            self.problem("%s: base type %d" % (name, base))
            return
        aggregate = base in STRUCT_BASES or base in ENUM_BASES
        if label == 0:
            if derivations or aggregate or base in BIT_FIELD_BASES:
                self.problem("%s: a type with data has no link to it" % name)
            return
        c = self.cursor(label)
        self.int4(c)
        for _ in derivations:
            self.int4(c)
        if len(derivations) == 12 and c.peek_is_int():
            return
        if aggregate:
            self.layout(self.link(c), base, name)
        elif base in BIT_FIELD_BASES:
            bits = self.int4(c)
            if (bits & 0xFF) == 0:
                self.problem("%s: a bit-field of no bits" % name)

    def layout(self, label, base, name):
        if label == 0:
            self.problem("%s: no layout" % name)
            return
        if label in self.seen_layouts:
            return
        self.seen_layouts.add(label)
        c = self.cursor(label)
        tag = self.link(c)
        if tag == 0:
            self.problem("%s: a layout without a tag node" % name)
        else:
            t = self.cursor(tag)
            item = t.next()
            if item[0] not in ("string", "int"):
                self.problem("%s: a tag node without a name" % name)
            if self.int1(t) not in TAG_KINDS:
                self.problem("%s: a tag node of another kind" % name)
        while self.entry(c, True):
            pass
        if base in STRUCT_BASES:
            self.int4(c)

    def list_at(self, label):
        if label == 0:
            return
        c = self.cursor(label)
        while self.entry(c, False):
            pass

    def check(self):
        m = self.m
        reached = set()
        files = [i for i, item in enumerate(m.items) if item[0] == "file"]
        for index in files:
            c = Cursor(m.items, index + 1, keep_labels=True)
            mark = c.next()
            if mark[0] != "label":
                raise Bad("a file record without its label")
            file_label = mark[1]
            name_label = self.link(c)
            name, kind, _ = self.name_node(name_label)
            if kind != KIND_FILE:
                self.problem("file %s: kind %d" % (name.decode("latin-1"), kind))
            record = self.link(c)
            steps = 0
            while True:
                if record == 0:
                    self.problem("file %s: its chain ends without an end record"
                                 % name.decode("latin-1"))
                    break
                steps += 1
                if steps > len(m.items):
                    raise Bad("file %s: its chain runs in a circle" % name.decode("latin-1"))
                c = self.cursor(record)
                following = self.link(c)
                back = self.link(c)
                if back != file_label:
                    self.problem("a record of file %s links to another file"
                                 % name.decode("latin-1"))
                function_name = self.link(c)
                if function_name == 0 and following == 0:
                    self.end_record(c)
                    break
                reached.add(record)
                self.function_record(record, function_name, c)
                record = following
        if len(reached) != len(m.function_records):
            self.problem("%d function records, %d of them on a chain"
                         % (len(m.function_records), len(reached)))

    def function_record(self, record, name_label, c):
        name, kind, node = self.name_node(name_label)
        self.fn = None
        for fn in self.m.functions:
            if fn["name"] == name and "checked" not in fn:
                self.fn = fn
                fn["checked"] = True
                break
        if self.fn is None:
            self.problem("a debug record for %s, a function the file does not hold"
                         % name.decode("latin-1"))
        result_word = int.from_bytes(struct.pack("<I", self.int4_after_lines(c)), "big")
        self.type_data(result_word, self.link(c), name.decode("latin-1"))
        locals_label = self.link(c)
        names_label = self.link(c)
        self.list_at(locals_label)
        n = self.cursor(names_label)
        count = 0
        while n.peek()[0] == "name":
            n.next()
            count += 1
        if self.int4(n) != count:
            self.problem("%s: the count of called names is wrong" % name.decode("latin-1"))
        count = 0
        while n.peek()[0] == "name":
            n.next()
            count += 1
        if self.int4(n) != count:
            self.problem("%s: the count of used names is wrong" % name.decode("latin-1"))
        self.fn = None

    def int4_after_lines(self, c):
        first = self.int4(c)
        last = self.int4(c)
        if last < first:
            self.problem("a function ends on line %d before it starts on %d" % (last, first))
        return self.int4(c)

    def end_record(self, c):
        self.fn = None
        if self.int4(c) != 1:
            self.problem("an end record does not start at line 1")
        self.int4(c)
        self.int4(c)
        if self.link(c) != 0:
            self.problem("an end record has type data")
        self.list_at(self.link(c))


class Cursor:
    def __init__(self, items, at, keep_labels=False):
        self.items = items
        self.at = at
        self.keep_labels = keep_labels

    def skip(self):
        while (not self.keep_labels and self.at < len(self.items)
               and self.items[self.at][0] == "label"):
            self.at += 1

    def peek(self):
        self.skip()
        if self.at >= len(self.items):
            return ("end",)
        return self.items[self.at]

    def peek_is_int(self):
        return self.peek()[0] == "int"

    def next(self):
        item = self.peek()
        if item[0] == "end":
            raise Bad("the debug data ends inside an item")
        self.at += 1
        return item


def check_file(path):
    with open(path, "rb") as f:
        data = f.read()
    try:
        model = read_file(data)
        checker = Checker(model)
        checker.check()
        return checker.problems
    except Bad as e:
        return [str(e)]
    except (IndexError, struct.error) as e:
        return ["unreadable: %s" % e]


def tagged_c89(corpus):
    for name in sorted(os.listdir(corpus)):
        if not name.endswith(".c"):
            continue
        try:
            with open(os.path.join(corpus, name + ".tags")) as f:
                if "c89" not in f.read().split():
                    continue
        except OSError:
            continue
        yield name


def run_corpus(corpus, include, options):
    checked = failed = 0
    with tempfile.TemporaryDirectory() as work:
        out = os.path.join(work, "out.o")
        for name in tagged_c89(corpus):
            source = os.path.join(corpus, name)
            for option in options:
                run = subprocess.run(["zcppc", option, "-i", include, "-o", out, source],
                                     capture_output=True, text=True)
                problems = []
                if run.returncode != 0 or run.stderr:
                    # A program that does not compile without -x either is
                    # not judged here.
                    plain = subprocess.run(["zcppc", "-i", include, "-o", out, source],
                                           capture_output=True)
                    if plain.returncode != 0 or plain.stderr:
                        break
                    problems = ["zcppc %s: status %d %s"
                                % (option, run.returncode, run.stderr.strip())]
                if not problems:
                    problems = check_file(out)
                checked += 1
                if problems:
                    failed += 1
                    print("%s %s:" % (name, option))
                    for p in problems[:10]:
                        print("  " + p)
    print("%d runs checked, %d with problems" % (checked, failed))
    return 1 if failed else 0


def main(argv):
    if len(argv) >= 3 and argv[0] == "--corpus":
        return run_corpus(argv[1], argv[2], argv[3:] or ["-x", "-xx"])
    if not argv:
        print(__doc__.strip().splitlines()[2], file=sys.stderr)
        return 2
    failed = 0
    for path in argv:
        problems = check_file(path)
        for p in problems:
            print("%s: %s" % (path, p))
        failed += bool(problems)
    print("%d files checked, %d with problems" % (len(argv), failed))
    return 1 if failed else 0


def main_with_room(argv):
    """main on a thread with a large stack: layouts nest as deep as the
    structs of the source, and the walk follows them."""
    import threading
    sys.setrecursionlimit(1000000)
    threading.stack_size(512 * 1024 * 1024)
    result = []
    worker = threading.Thread(target=lambda: result.append(main(argv)))
    worker.start()
    worker.join()
    return result[0] if result else 2


if __name__ == "__main__":
    sys.exit(main_with_room(sys.argv[1:]))
