// The reader of intermediate files: its text for every record, its verdict
// on malformed files, and a fuzz loop over random and mutated input.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "output/records.h"
#include "zir/zir_dump.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Builds a file byte by byte, fields little-endian.
struct Build {
    Bytes b;
    Build &u8(uint32_t v) { b.push_back(uint8_t(v)); return *this; }
    Build &u16(uint32_t v) { return u8(v).u8(v >> 8); }
    Build &u32(uint32_t v) { return u16(v).u16(v >> 16); }
    Build &raw(const char *text) {
        b.insert(b.end(), text, text + std::strlen(text));
        return *this;
    }
    Build &header(uint32_t options = 0) { return u8(0xCB).u8(0x0C).u8(options).u8(0xFF).u8(0x12); }
    // NameBlock of a Symbol.
    Build &name(const char *text, uint32_t label = 0, uint32_t kind = 0x81) {
        return u8(uint32_t(std::strlen(text)) + 1).u16(label).u8(kind).raw(text);
    }
    // NameBlock that carries a text only.
    Build &text(const char *text) { return name(text, 0, 0); }
    Build &leaf(uint32_t type, uint32_t value, uint32_t location = 0, uint32_t indirect = 0) {
        return u8(0).u8(type).u8(0).u16(0).u32(value).u8(location).u8(indirect);
    }
    // A function frame with no arguments, open for statements.
    Build &function(const char *fn) {
        return u8(REC_FUNCTION).name(fn, 0, 0x84).u16(0).u32(0)
            .u8(REC_FUNCTION_LINES).u32(1).u32(2)
            .u8(REC_ARGS_END).u32(0)
            .u8(REC_REGISTERS).u32(0x3FFFF).u32(0);
    }
};

struct Result {
    int status;
    std::string out, err;
};

Result dump(const Bytes &bytes, bool offsets = false) {
    Result r;
    char *out_text = nullptr, *err_text = nullptr;
    size_t out_size = 0, err_size = 0;
    FILE *out = open_memstream(&out_text, &out_size);
    FILE *err = open_memstream(&err_text, &err_size);
    r.status = dump_intermediate(bytes.data(), bytes.size(), "t.o", offsets, out, err);
    std::fclose(out);
    std::fclose(err);
    r.out.assign(out_text, out_size);
    r.err.assign(err_text, err_size);
    std::free(out_text);
    std::free(err_text);
    return r;
}

const char *const FN_HEAD =
    "HEADER options=0x00\n"
    "FUNCTION name=\"f\" label=none kind=0x84 attr=0x0000 size=0\n"
    "  FUNCTION_LINES declarator=1 brace=2\n"
    "  ARGS_END bytes=0\n"
    "  REGISTERS int=0x3ffff float=0x00000\n";

// ---------------------------------------------------------------------------

struct ValidCase {
    const char *what;
    Bytes bytes;
    std::string text;
};

TEST(Zirdump, PrintsEveryRecordOfAWellFormedFile) {
    const ValidCase cases[] = {
        {"file-level records",
         Build().header().u8(REC_SOURCE_FILE).text("a.c").u8(REC_LINE).u32(70000)
             .u8(REC_SPACE_NAME).text("io").u8(REC_SECTION).u16(0x8000).u8(5).raw("const")
             .u8(REC_SECTION).u16(0x4000).u8(0)
             .u8(REC_ASM_TEXT).u8(6).raw("\tnop\n\"")
             .u8(REC_EXTERN).name("e", 0, 0x8C).u16(0x3800).u32(0)
             .u8(REC_PUBLIC).name("s", 0x123, 0x81).u16(0).u32(12).b,
         "HEADER options=0x00\n"
         "SOURCE_FILE name=\"a.c\"\n"
         "LINE line=70000\n"
         "SPACE_NAME name=\"io\"\n"
         "SECTION attr=0x8000 name=\"const\"\n"
         "SECTION attr=0x4000 name=none\n"
         "ASM_TEXT length=6 text=\"\\tnop\\n\\\"\"\n"
         "EXTERN name=\"e\" label=none kind=0x8c attr=0x3800 size=0\n"
         "PUBLIC name=\"s\" label=L291 kind=0x81 attr=0x0000 size=12\n"},
        // Width-4 values from the sign bit on in hex; unprintable string bytes escaped.
        {"data values",
         Build().header().u8(REC_DATA_ATTR).u8(3).u16(0xB000).name("t", 5, 0x89).u8(REC_INT).u8(4).u32(0x80000000)
             .u8(REC_STRING).u8(3).raw("a\x01z").u8(REC_DATA_END).b,
         "HEADER options=0x00\n"
         "DATA_ATTR align=3 attr=0xb000 name=\"t\" label=L5 kind=0x89\n"
         "  INT width=4 value=0x80000000\n"
         "  STRING length=3 bytes=\"a\\x01z\"\n"
         "DATA_END\n"},
        {"function frame with register arguments and a frame",
         Build().header().u8(REC_FUNCTION).name("g", 7, 0x86).u16(0x0800).u32(8)
             .u8(REC_FUNCTION_LINES).u32(3).u32(4)
             .u8(REC_REG_ARG).u8(11).u16(0x3000).u32(0).u8(5)
             .u8(REC_REG_ARG).u8(9).u32(4).u8(0)
             .u8(REC_ARGS_END).u32(12).u8(REC_FRAME_SIZE).u32(uint32_t(-16))
             .u8(REC_REGISTERS).u32(0x3FF00).u32(0x3).u8(REC_FUNCTION_END).b,
         "HEADER options=0x00\n"
         "FUNCTION name=\"g\" label=L7 kind=0x86 attr=0x0800 size=8\n"
         "  FUNCTION_LINES declarator=3 brace=4\n"
         "  REG_ARG type=ptr(attr=0x3000) offset=0 location=reg1\n"
         "  REG_ARG type=float offset=4 location=memory\n"
         "  ARGS_END bytes=12\n"
         "  FRAME_SIZE offset=-16\n"
         "  REGISTERS int=0x3ff00 float=0x00003\n"
         "FUNCTION_END\n"},
        {"statement records",
         Build().header().function("f")
             .u8(REC_POSITION).u32(3).u16(5).u32(4).u16(9)
             .u8(REC_JUMP).u16(5)
             .u8(REC_LABEL).u16(5).u32(0)
             .u8(REC_LABEL).u16(7).u32(12).u8(1)
             .u8(REC_CASE_LABEL).u16(9).u32(13).u8(0)
             .u8(REC_BRANCH_LT).u16(5).leaf(6, 1).leaf(6, 2)
             .u8(REC_BRANCH_GE).u16(5).leaf(6, 1).leaf(6, 2)
             .u8(REC_BRANCH_GT).u16(5).leaf(6, 1).leaf(6, 2)
             .u8(REC_BRANCH_LE).u16(5).leaf(6, 1).leaf(6, 2)
             .u8(REC_BRANCH_EQ).u16(5).leaf(6, 1).leaf(6, 2)
             .u8(REC_BRANCH_NE).u16(5).leaf(6, 1).leaf(6, 2)
             .u8(REC_SOURCE_FILE).text("b.h").u8(REC_ASM_TEXT).u8(3).raw("nop")
             .u8(REC_FUNCTION_END).b,
         std::string(FN_HEAD) +
             "  POSITION first=3:5 last=4:9\n"
             "  JUMP label=L5\n"
             "  LABEL label=L5 line=0\n"
             "  LABEL label=L7 line=12 flag=1\n"
             "  CASE_LABEL label=L9 line=13 flag=0\n"
             "  BRANCH_LT label=L5 left=(leaf int ref=none value=1 loc=static indirect=0) "
             "right=(leaf int ref=none value=2 loc=static indirect=0)\n"
             "  BRANCH_GE label=L5 left=(leaf int ref=none value=1 loc=static indirect=0) "
             "right=(leaf int ref=none value=2 loc=static indirect=0)\n"
             "  BRANCH_GT label=L5 left=(leaf int ref=none value=1 loc=static indirect=0) "
             "right=(leaf int ref=none value=2 loc=static indirect=0)\n"
             "  BRANCH_LE label=L5 left=(leaf int ref=none value=1 loc=static indirect=0) "
             "right=(leaf int ref=none value=2 loc=static indirect=0)\n"
             "  BRANCH_EQ label=L5 left=(leaf int ref=none value=1 loc=static indirect=0) "
             "right=(leaf int ref=none value=2 loc=static indirect=0)\n"
             "  BRANCH_NE label=L5 left=(leaf int ref=none value=1 loc=static indirect=0) "
             "right=(leaf int ref=none value=2 loc=static indirect=0)\n"
             "  SOURCE_FILE name=\"b.h\"\n"
             "  ASM_TEXT length=3 text=\"nop\"\n"
             "FUNCTION_END\n"},
        {"switch with its table",
         Build().header().function("f")
             .u8(REC_EXPR).u8(REC_OP_ASSIGN).u8(6).leaf(6, 0, 2).leaf(6, 3, 4, 1)
             .u8(REC_SWITCH1).u16(3).u8(REC_SWITCH2).u16(3).u8(REC_SWITCH4).u16(3)
             .u8(REC_SWITCH_TABLE).u8(0).u16(3).u16(5).u16(9).u16(4)
             .u8(REC_CASE_TABLE).u16(3).u32(1).u16(7).u16(5).u16(9)
             .u8(REC_CASE_RANGE).u32(uint32_t(-3)).u32(2).u16(11)
             .u8(REC_CASE_LIST).u16(2).u32(100).u16(13).u32(200).u16(15)
             .u8(REC_SWITCH_END)
             .u8(REC_SWITCH_TABLE).u8(0).u16(17).u16(19).u16(0).u16(1)
             .u8(REC_CASE_LIST).u16(0).u8(REC_SWITCH_END)
             .u8(REC_FUNCTION_END).b,
         std::string(FN_HEAD) +
             "  EXPR (= int (leaf int ref=none value=0 loc=selector indirect=0) "
             "(leaf int ref=none value=3 loc=local indirect=1))\n"
             "  SWITCH1 table=L3\n"
             "  SWITCH2 table=L3\n"
             "  SWITCH4 table=L3\n"
             "  SWITCH_TABLE table=L3 default=L5 cases=9 width=4\n"
             "    CASE_TABLE entries=3 first=1 labels=[L7 L5 L9]\n"
             "    CASE_RANGE first=-3 count=2 label=L11\n"
             "    CASE_LIST count=2 cases=[100:L13 200:L15]\n"
             "  SWITCH_END\n"
             "  SWITCH_TABLE table=L17 default=L19 cases=0 width=1\n"
             "    CASE_LIST count=0 cases=[]\n"
             "  SWITCH_END\n"
             "FUNCTION_END\n"},
        {"nested counted loops",
         Build().header().function("f")
             .u8(REC_COUNTED_LOOP).u16(3).u8(1).leaf(8, 10)
             .u8(REC_COUNTED_LOOP).u16(5).u8(1).leaf(8, 4)
             .u8(REC_LINE).u32(9)
             .u8(REC_COUNTED_LOOP).u16(5).u8(0)
             .u8(REC_COUNTED_LOOP).u16(3).u8(0)
             .u8(REC_FUNCTION_END).b,
         std::string(FN_HEAD) +
             "  COUNTED_LOOP label=L3 phase=1 count=(leaf uint ref=none value=10 loc=static indirect=0)\n"
             "    COUNTED_LOOP label=L5 phase=1 count=(leaf uint ref=none value=4 loc=static indirect=0)\n"
             "      LINE line=9\n"
             "    COUNTED_LOOP label=L5 phase=0\n"
             "  COUNTED_LOOP label=L3 phase=0\n"
             "FUNCTION_END\n"},
        {"expression shapes",
         Build().header().function("f")
             // f(a, 2, b) with open arguments
             .u8(REC_EXPR).u8(REC_CALL_ARGS).u8(0x86).u16(0x4000)
             .u8(0).u8(6).name("f", 0, 0x84).u32(0).u8(0).u8(1)
             .u8(REC_ARG).u8(6).u8(0).u8(11).u16(0x2000).name("a").u32(0).u8(0).u8(1)
             .u8(REC_ARG).u8(6).leaf(6, 2)
             .u8(0).u8(14).u32(8).u8(0).u16(0).u32(uint32_t(-8)).u8(4).u8(1)
             // g() without arguments
             .u8(REC_EXPR).u8(REC_CALL).u8(2).u8(0).u8(6).name("g", 0, 0x84).u32(0).u8(0).u8(1)
             // _asm("nop") and _asm("ld", x)
             .u8(REC_EXPR).u8(REC_ASM_CALL).u8(6).u8(0).u8(6).name("_asm", 0, 0x84).u32(0).u8(0).u8(1)
             .u8(4).raw("nop").u8(0)
             .u8(REC_EXPR).u8(REC_ASM_CALL_ARGS).u8(6).u8(0).u8(6).name("_asm", 0, 0x84).u32(0).u8(0).u8(1)
             .u8(3).raw("ld").u8(0).leaf(1, 7, 5)
             // c ? -x : ~*p, and in-place forms, casts, post-increment
             .u8(REC_EXPR).u8(REC_OP_COND).u8(6).leaf(6, 1)
             .u8(REC_OP_NEG).u8(6).leaf(6, 5, 6)
             .u8(REC_OP_COMPL).u8(6).u8(REC_OP_DEREF).u8(6)
             .u8(0).u8(11).u16(0).u8(0).u16(0).u32(0).u8(0).u8(0)
             .u8(REC_EXPR).u8(REC_NEG_IN_PLACE).u8(6).leaf(6, 4, 4, 1)
             .u8(REC_EXPR).u8(REC_COMPL_IN_PLACE).u8(4).u8(3).u8(2).leaf(6, 4, 4, 1)
             .u8(REC_EXPR).u8(REC_OP_POSTINC).u8(3).leaf(3, -2 & 0xFF, 3, 1).leaf(3, 1)
             .u8(REC_EXPR).u8(REC_OP_CAST).u8(10).u8(REC_OP_NOT).u8(6)
             .u8(0).u8(13).u8(1).u8(7).u8(0).u16(0).u32(0).u8(0).u8(0)
             .u8(REC_FUNCTION_END).b,
         std::string(FN_HEAD) +
             "  EXPR (call int attr=0x4000 (leaf int ref={name=\"f\" label=none kind=0x84} "
             "value=0 loc=static indirect=1) (arg (leaf ptr(attr=0x2000) ref={name=\"a\" "
             "label=none kind=0x81} value=0 loc=static indirect=1) (arg (leaf int ref=none "
             "value=2 loc=static indirect=0) (leaf struct(size=8) ref=none value=-8 loc=local "
             "indirect=1))))\n"
             "  EXPR (call uchar (leaf int ref={name=\"g\" label=none kind=0x84} value=0 "
             "loc=static indirect=1))\n"
             "  EXPR (asm int (leaf int ref={name=\"_asm\" label=none kind=0x84} value=0 "
             "loc=static indirect=1) text=\"nop\")\n"
             "  EXPR (asm int (leaf int ref={name=\"_asm\" label=none kind=0x84} value=0 "
             "loc=static indirect=1) text=\"ld\" (leaf char ref=none value=7 loc=reg1 "
             "indirect=0))\n"
             "  EXPR (cond int (leaf int ref=none value=1 loc=static indirect=0) (neg int "
             "(leaf int ref=none value=5 loc=reg2 indirect=0)) (compl int (deref int (leaf "
             "ptr(attr=0x0000) ref=none value=0 loc=static indirect=0))))\n"
             "  EXPR (neg-in-place int (leaf int ref=none value=4 loc=local indirect=1))\n"
             "  EXPR (compl-in-place shortbits(offset=3,width=2) (leaf int ref=none value=4 "
             "loc=local indirect=1))\n"
             "  EXPR (postinc short (leaf short ref=none value=254 loc=arg indirect=1) (leaf "
             "short ref=none value=1 loc=static indirect=0))\n"
             "  EXPR (cast double (not int (leaf charbits(offset=1,width=7) ref=none value=0 "
             "loc=static indirect=0)))\n"
             "FUNCTION_END\n"},
    };
    for (const ValidCase &c : cases) {
        Result r = dump(c.bytes);
        EXPECT_EQ(r.status, 0) << c.what;
        EXPECT_EQ(r.err, "") << c.what;
        EXPECT_EQ(r.out, c.text) << c.what;
    }
}

struct BadCase {
    const char *what;
    Bytes bytes;
    std::string message;   // behind "zirdump: t.o: "
};

TEST(Zirdump, RejectsMalformedFiles) {
    const Bytes function_head = Build().header().function("f").b;
    auto in_function = [&](const Bytes &tail) {
        Bytes all = function_head;
        all.insert(all.end(), tail.begin(), tail.end());
        return all;
    };
    const size_t body = function_head.size();   // offset of the first statement
    auto offset = [](size_t at) {
        char text[40];
        std::snprintf(text, sizeof text, "offset %zu (0x%zx)", at, at);
        return std::string(text);
    };
    const BadCase cases[] = {
        {"empty file", {}, "offset 0 (0x0): expected header byte 0xcb, found end of file"},
        {"option bit never set", {0xCB, 0x0C, 0x02, 0xFF, 0x12},
         "offset 2 (0x2): expected option byte without bits 0xe2, found 0x02"},
        {"header cut short", {0xCB, 0x0C, 0x00, 0xFF},
         "offset 4 (0x4): expected header byte 0x12, found end of file"},
        {"data end with no data object", Build().header().u8(REC_DATA_END).b,
         "offset 5 (0x5): expected a file-level record, found tag 0xd2"},
        {"value outside a data object without debug information",
         Build().header().u8(REC_INT).u8(4).u32(0).b,
         "offset 5 (0x5): expected a file-level record (values outside a data object are "
         "debug data, and the header announces none), found tag 0x89"},
        {"debug record without debug information", Build().header().u8(REC_DEBUG_LABEL).u32(0).b,
         "offset 5 (0x5): expected a file-level record (the header announces no debug "
         "information), found tag 0xd5"},
        {"truncated line", Build().header().u8(REC_LINE).u16(1).b,
         "offset 6 (0x6): expected line, found end of file"},
        {"name block of length 0", Build().header().u8(REC_DATA).u8(2).u8(0).b,
         "offset 7 (0x7): expected NameBlock length above 0, found 0x00"},
        {"file name block with a label", Build().header().u8(REC_SOURCE_FILE).u8(2).u16(3).u8(0).raw("a").b,
         "offset 7 (0x7): expected NameBlock label 0, found 0x03"},
        {"data object named by a function kind", Build().header().u8(REC_DATA).u8(2).name("x", 0, 0x84).b,
         "offset 10 (0xa): expected NameBlock kind of an object, found 0x84"},
        {"function named by an object kind", Build().header().u8(REC_FUNCTION).name("x", 0, 0x81).b,
         "offset 9 (0x9): expected NameBlock kind of a function, found 0x81"},
        {"unknown name kind", Build().header().u8(REC_EXTERN).name("x", 0, 0x82).b,
         "offset 9 (0x9): expected NameBlock kind of a name (0x81, 0x84, 0x85, 0x86, +0x08, "
         "+0x10), found 0x82"},
        {"alignment above 8 bytes", Build().header().u8(REC_DATA).u8(4).name("x").b,
         "offset 6 (0x6): expected alignment 0..3, found 0x04"},
        {"attribute record with a zero word", Build().header().u8(REC_DATA_ATTR).u8(2).u16(0).name("x").b,
         "offset 7 (0x7): expected nonzero attribute word, found 0x00"},
        {"literal without its zero bytes", Build().header().u8(REC_LITERAL).u8(0).u8(0).u8(1).u8(0).u16(3).b,
         "offset 8 (0x8): expected three zero bytes of REC_LITERAL, found 0x01"},
        {"empty assembly piece", Build().header().u8(REC_ASM_TEXT).u8(0).b,
         "offset 6 (0x6): expected assembly text length 1..255, found 0x00"},
        {"data object left open", Build().header().u8(REC_DATA).u8(0).name("x").u8(REC_INT).u8(1).u32(0).b,
         "offset 18 (0x12): expected a value record or REC_DATA_END, found end of file"},
        {"function record inside a data object",
         Build().header().u8(REC_DATA).u8(0).name("x").u8(REC_FUNCTION).b,
         "offset 12 (0xc): expected a value record or REC_DATA_END, found tag 0x86"},
        {"full string piece without its continuation",
         [] {
             Build b;
             b.header().u8(REC_DATA).u8(0).name("x").u8(REC_STRING).u8(255);
             for (int i = 0; i < 255; i++) b.u8('s');
             return b.u8(REC_DATA_END).b;
         }(),
         "offset 269 (0x10d): expected REC_STRING continuing a full 255-byte piece, found tag 0xd2"},
        {"function without its lines", Build().header().u8(REC_FUNCTION).name("f", 0, 0x84).u16(0).u32(0)
             .u8(REC_ARGS_END).u32(0).b,
         "offset 17 (0x11): expected REC_FUNCTION_LINES, found tag 0xda"},
        {"registers before the end of the arguments",
         Build().header().u8(REC_FUNCTION).name("f", 0, 0x84).u16(0).u32(0)
             .u8(REC_FUNCTION_LINES).u32(1).u32(1).u8(REC_REGISTERS).u32(0).u32(0).b,
         "offset 26 (0x1a): expected REC_REG_ARG or REC_ARGS_END, found tag 0x91"},
        {"frame size twice",
         Build().header().u8(REC_FUNCTION).name("f", 0, 0x84).u16(0).u32(0)
             .u8(REC_FUNCTION_LINES).u32(1).u32(1).u8(REC_ARGS_END).u32(0)
             .u8(REC_FRAME_SIZE).u32(0).u8(REC_FRAME_SIZE).u32(0).b,
         "offset 36 (0x24): expected REC_REGISTERS, found tag 0x81"},
        {"data record inside a function", in_function({REC_DATA}),
         (offset(body) + ": expected a statement record or REC_FUNCTION_END, found tag 0x83")},
        {"label flag other than 0 or 1", in_function({REC_LABEL, 3, 0, 1, 0, 0, 0, 2}),
         (offset(body + 7) + ": expected loop test flag 0 or 1, found 0x02")},
        {"unknown expression node", in_function({REC_EXPR, 0x01}),
         (offset(body + 1) + ": expected an expression node, found tag 0x01")},
        {"argument link outside a call", in_function({REC_EXPR, REC_ARG, 6}),
         (offset(body + 1) + ": expected an expression node, found tag 0xa5")},
        {"argument link of another type", in_function({REC_EXPR, REC_CALL_ARGS, 6, 0, 6, 0, 0, 0,
                                                       0, 0, 0, 0, 0, 1, REC_ARG, 8}),
         (offset(body + 15) + ": expected TypeDesc of int behind an argument link, found 0x08")},
        {"operator with an attribute word", in_function({REC_EXPR, REC_OP_ADD, 0x86, 0, 0x80}),
         (offset(body + 2) + ": expected TypeDesc without attribute word, found 0x86")},
        {"unknown type byte", in_function({REC_EXPR, 0, 15}),
         (offset(body + 2) + ": expected TypeDesc type byte 1..14, found 0x0f")},
        {"leaf indirect neither 0 nor 1", in_function({REC_EXPR, 0, 6, 0, 0, 0, 0, 0, 0, 0, 0, 2}),
         (offset(body + 11) + ": expected leaf indirect 0 or 1, found 0x02")},
        {"expression cut short", in_function({REC_EXPR, REC_OP_ADD, 6, 0, 6, 0, 0, 0, 1, 0, 0, 0, 0, 0}),
         (offset(body + 14) + ": expected expression node, found end of file")},
        {"_asm text without its 0 byte", in_function({REC_EXPR, REC_ASM_CALL, 6, 0, 6, 0, 0, 0, 0, 0,
                                                      0, 0, 0, 1, 2, 'x', 'y'}),
         (offset(body + 16) + ": expected 0 byte behind _asm text, found 0x79")},
        {"counted loop closed twice", in_function({REC_COUNTED_LOOP, 3, 0, 0}),
         (offset(body) + ": expected a statement record or REC_FUNCTION_END, found the close "
                         "of a counted loop that is not open")},
        {"counted loops crossed",
         in_function({REC_COUNTED_LOOP, 3, 0, 1, 0, 6, 0, 0, 0, 1, 0, 0, 0, 0, 0,
                      REC_COUNTED_LOOP, 5, 0, 1, 0, 6, 0, 0, 0, 1, 0, 0, 0, 0, 0,
                      REC_COUNTED_LOOP, 3, 0, 0}),
         (offset(body + 30) + ": expected the close of the counted loop L5, found the close of L3")},
        {"function ends inside a counted loop",
         in_function({REC_COUNTED_LOOP, 3, 0, 1, 0, 6, 0, 0, 0, 1, 0, 0, 0, 0, 0, REC_FUNCTION_END}),
         (offset(body + 15) + ": expected the close of the counted loop L3, found tag 0xd3")},
        {"counted loop phase 2", in_function({REC_COUNTED_LOOP, 3, 0, 2}),
         (offset(body + 3) + ": expected loop phase 0 or 1, found 0x02")},
        {"switch table without its list", in_function({REC_SWITCH_TABLE, 0, 3, 0, 5, 0, 0, 0, 1, 0,
                                                       REC_SWITCH_END}),
         (offset(body + 10) + ": expected REC_CASE_TABLE, REC_CASE_RANGE or REC_CASE_LIST, found "
                              "tag 0x97")},
        {"table after the list", in_function({REC_SWITCH_TABLE, 0, 3, 0, 5, 0, 0, 0, 1, 0,
                                              REC_CASE_LIST, 0, 0, REC_CASE_TABLE}),
         (offset(body + 13) + ": expected REC_SWITCH_END, found tag 0xcd")},
        {"switch table without its zero byte", in_function({REC_SWITCH_TABLE, 1}),
         (offset(body + 1) + ": expected byte 0 of REC_SWITCH_TABLE, found 0x01")},
    };
    for (const BadCase &c : cases) {
        Result r = dump(c.bytes);
        EXPECT_EQ(r.status, 1) << c.what;
        EXPECT_EQ(r.err, std::string("zirdump: t.o: ") + c.message + "\n") << c.what;
    }
}

// A file with every kind of record, for the truncation and fuzz tests.
// `cuts` receives the offsets at which the file may end: the starts of the
// records that stand at file level, and its end.
Bytes rich_file(std::vector<size_t> *cuts = nullptr) {
    std::vector<size_t> at;
    Build b;
    auto cut = [&]() -> Build & { at.push_back(b.b.size()); return b; };
    b.header(0x04);
    cut().u8(REC_SOURCE_FILE).text("a.c");
    cut().u8(REC_SPACE_NAME).text("io");
    cut().u8(REC_SECTION).u16(0x8000).u8(1).raw("c");
    cut().u8(REC_DEBUG_FILE).u8(0).text("a.c");
    cut().u8(REC_DEBUG_LABEL).u16(0).u16(3);
    cut().u8(REC_ADDRESS4).u8(0).u16(5).u32(0);
    cut().u8(REC_DEBUG_NAME).u8(1).raw("x");
    cut().u8(REC_DATA).u8(2).name("x").u8(REC_INT).u8(4).u32(5).u8(REC_STRING).u8(2).raw("hi")
        .u8(REC_ADDRESS2).name("y").u32(1).u8(REC_FLOAT).u8(8).u32(0).u32(0x40000000)
        .u8(REC_ZEROS).u32(2).u8(REC_LITERAL).u8(0).u8(0).u16(0).u16(9).u8(REC_DATA_END);
    cut().u8(REC_ABSOLUTE).u8(0).name("p", 0, 0x91).u32(0x100);
    cut().function("f")
        .u8(REC_LINE).u32(2).u8(REC_POSITION).u32(2).u16(1).u32(2).u16(5)
        .u8(REC_EXPR).u8(REC_CALL_ARGS).u8(6).leaf(6, 0).u8(REC_ARG).u8(6).leaf(6, 1).leaf(6, 2)
        .u8(REC_BRANCH_EQ).u16(3).u8(REC_OP_ADD).u8(6).leaf(6, 1).leaf(6, 2).leaf(6, 3)
        .u8(REC_COUNTED_LOOP).u16(11).u8(1).u8(REC_OP_COND).u8(6).leaf(6, 1).leaf(6, 2).leaf(6, 3)
        .u8(REC_EXPR).u8(REC_ASM_CALL_ARGS).u8(6).leaf(6, 0).u8(2).raw("x").u8(0).leaf(6, 4)
        .u8(REC_COUNTED_LOOP).u16(11).u8(0)
        .u8(REC_SWITCH4).u16(13).u8(REC_SWITCH_TABLE).u8(0).u16(13).u16(15).u16(1).u16(4)
        .u8(REC_CASE_RANGE).u32(1).u32(2).u16(17).u8(REC_CASE_LIST).u16(1).u32(9).u16(19)
        .u8(REC_SWITCH_END).u8(REC_LABEL).u16(15).u32(3).u8(0).u8(REC_RETURN)
        .u8(REC_FUNCTION_END);
    cut().u8(REC_LITERAL).u8(0).u8(0).u16(0).u16(21).u8(REC_STRING).u8(0).u8(REC_DATA_END);
    cut().u8(REC_PUBLIC).name("x").u16(0).u32(4);
    cut();
    if (cuts) *cuts = at;
    return b.b;
}

// Every cut of a valid file is either at a record boundary of the file
// level, and then valid, or an error that names the end of the file.
TEST(Zirdump, EveryTruncationIsDetected) {
    std::vector<size_t> cuts;
    Bytes file = rich_file(&cuts);
    Result whole = dump(file);
    ASSERT_EQ(whole.status, 0) << whole.err;
    for (size_t cut = 0; cut <= file.size(); cut++) {
        Bytes part(file.begin(), file.begin() + long(cut));
        Result r = dump(part);
        if (std::find(cuts.begin(), cuts.end(), cut) != cuts.end()) {
            EXPECT_EQ(r.status, 0) << "cut at " << cut << ": " << r.err;
        } else {
            EXPECT_EQ(r.status, 1) << "cut at " << cut;
            EXPECT_NE(r.err.find("found end of file"), std::string::npos)
                << "cut at " << cut << ": " << r.err;
        }
    }
}

// Prefix nesting as deep as the file allows must not exhaust the stack.
TEST(Zirdump, DeepExpressionNesting) {
    Build b;
    b.header().function("f").u8(REC_EXPR);
    const int depth = 200000;
    for (int i = 0; i < depth; i++) b.u8(REC_OP_NEG).u8(6);
    b.leaf(6, 1).u8(REC_FUNCTION_END);
    Result r = dump(b.b);
    EXPECT_EQ(r.status, 0) << r.err;
    size_t opens = 0;
    for (char c : r.out) opens += c == '(';
    EXPECT_EQ(opens, size_t(depth) + 1);
}

// Random and mutated input: the reader must always end with a verdict, a
// message exactly when it says the file is malformed, and never read past
// the buffer (the sanitizer build checks that).
TEST(Zirdump, FuzzRandomAndMutatedInput) {
    std::mt19937 random(20240611);
    const Bytes seed_files[] = {rich_file(), Build().header().function("f").u8(REC_FUNCTION_END).b};
    auto check = [](const Bytes &input) {
        Result r = dump(input);
        ASSERT_TRUE(r.status == 0 || r.status == 1);
        if (r.status == 0) {
            ASSERT_EQ(r.err, "");
        } else {
            ASSERT_EQ(r.err.compare(0, 14, "zirdump: t.o: "), 0) << r.err;
            ASSERT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        }
        if (!r.out.empty()) ASSERT_EQ(r.out.back(), '\n');
    };
    auto started = std::chrono::steady_clock::now();
    int runs = 0;
    for (; runs < 60000; runs++) {
        Bytes input;
        switch (random() % 4) {
        case 0: {   // random bytes behind a valid header
            input = Build().header(random() % 2 ? 0x04 : 0).b;
            size_t n = random() % 64;
            for (size_t i = 0; i < n; i++) input.push_back(uint8_t(random()));
            break;
        }
        case 1: {   // random bytes, header and all
            size_t n = random() % 16;
            for (size_t i = 0; i < n; i++) input.push_back(uint8_t(random()));
            break;
        }
        default: {  // a valid file with a few bytes changed, inserted or removed
            input = seed_files[random() % 2];
            int edits = 1 + int(random() % 4);
            for (int e = 0; e < edits && !input.empty(); e++) {
                size_t at = random() % input.size();
                switch (random() % 3) {
                case 0: input[at] = uint8_t(random()); break;
                case 1: input.insert(input.begin() + long(at), uint8_t(random())); break;
                default: input.erase(input.begin() + long(at)); break;
                }
            }
            break;
        }
        }
        check(input);
        if (HasFatalFailure()) {
            std::string hex;
            for (uint8_t byte : input) {
                char two[4];
                std::snprintf(two, sizeof two, "%02x", byte);
                hex += two;
            }
            FAIL() << "input " << hex;
        }
        if (std::chrono::steady_clock::now() - started > std::chrono::seconds(3)) break;
    }
    EXPECT_GT(runs, 1000);
}

}  // namespace
