// The reader of intermediate files: the records it hands out, truncated,
// deep and random input.  The text of each record, and the message for each
// kind of malformed record, are pinned by the end-to-end cases of zirdump.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "zir/zir_dump.h"
#include "zir/zir_reader.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Builds a file byte by byte, fields little-endian.
struct Build {
    Bytes b;
    Build &u8(uint32_t v) { b.push_back(uint8_t(v)); return *this; }
    Build &u16(uint32_t v) { return u8(v).u8(v >> 8); }
    Build &u32(uint32_t v) { return u16(v).u16(v >> 16); }
    Build &raw(const char *text) { b.insert(b.end(), text, text + std::strlen(text)); return *this; }
    Build &header(uint32_t options = 0) { return u8(0xCB).u8(0x0C).u8(options).u8(0xFF).u8(0x12); }
    Build &name(const char *text, uint32_t label = 0, uint32_t kind = NK_OBJECT) {
        return u8(uint32_t(std::strlen(text)) + 1).u16(label).u8(kind).raw(text);
    }
    Build &text(const char *text) { return name(text, 0, 0); }
    Build &leaf(uint32_t type, uint32_t value, uint32_t location = 0, uint32_t indirect = 0) {
        return u8(REC_LEAF).u8(type).u8(0).u16(0).u32(value).u8(location).u8(indirect);
    }
    // A function frame with no arguments, open for statements.
    Build &function(const char *fn) {
        return u8(REC_FUNCTION).name(fn, 0, NK_FUNCTION).u16(0).u32(0)
            .u8(REC_FUNCTION_LINES).u32(1).u32(2).u8(REC_ARGS_END).u32(0)
            .u8(REC_REGISTERS).u32(0x3FFFF).u32(0);
    }
};

struct Result {
    int status;
    std::string out, err;
};

Result dump(const Bytes &bytes) {
    char *text[2] = {nullptr, nullptr};
    size_t size[2] = {0, 0};
    FILE *out = open_memstream(&text[0], &size[0]), *err = open_memstream(&text[1], &size[1]);
    int status = dump_intermediate(bytes.data(), bytes.size(), "t.o", false, out, err);
    std::fclose(out);
    std::fclose(err);
    Result r{status, std::string(text[0], size[0]), std::string(text[1], size[1])};
    std::free(text[0]);
    std::free(text[1]);
    return r;
}

// ---------------------------------------------------------------------------

// Whoever runs the file goes by context and depth: which records belong to
// a data object, a function, a loop or a switch table.
TEST(ZirReader, RecordsCarryTheirContextAndNesting) {
    Bytes file = Build().header(HDR_DEBUG)
        .u8(REC_DEBUG_LABEL).u16(0).u16(3).u8(REC_INT).u8(4).u32(1)
        .u8(REC_ABSOLUTE).u8(0).name("p", 0, 0x91).u32(0x100)
        .u8(REC_ABSOLUTE).u8(0).name("q", 0, 0x91).u32(0x104).u8(REC_INT).u8(4).u32(7)
        .u8(REC_DATA_END).function("f")
        .u8(REC_COUNTED_LOOP).u16(3).u8(1).leaf(TD_UINT, 2)
        .u8(REC_SWITCH_TABLE).u8(0).u16(5).u16(7).u16(0).u16(1).u8(REC_CASE_LIST).u16(0)
        .u8(REC_SWITCH_END).u8(REC_COUNTED_LOOP).u16(3).u8(0).u8(REC_FUNCTION_END).b;
    struct Want { uint8_t tag; ZirContext context; uint32_t depth; };
    const Want want[] = {
        {REC_DEBUG_LABEL, ZIR_FILE, 0}, {REC_INT, ZIR_FILE, 0}, {REC_ABSOLUTE, ZIR_FILE, 0},
        {REC_ABSOLUTE, ZIR_FILE, 0}, {REC_INT, ZIR_DATA, 1}, {REC_DATA_END, ZIR_DATA, 0},
        {REC_FUNCTION, ZIR_FILE, 0}, {REC_FUNCTION_LINES, ZIR_FRAME, 1},
        {REC_ARGS_END, ZIR_FRAME, 1}, {REC_REGISTERS, ZIR_FRAME, 1},
        {REC_COUNTED_LOOP, ZIR_BODY, 1}, {REC_SWITCH_TABLE, ZIR_BODY, 2},
        {REC_CASE_LIST, ZIR_CASES, 3}, {REC_SWITCH_END, ZIR_CASES, 2},
        {REC_COUNTED_LOOP, ZIR_BODY, 1}, {REC_FUNCTION_END, ZIR_BODY, 0},
    };
    ZirReader reader(file.data(), file.size());
    ASSERT_TRUE(reader.read_header());
    EXPECT_EQ(reader.options(), HDR_DEBUG);
    ZirRecord r;
    int absolute = 0;
    for (const Want &w : want) {
        ASSERT_EQ(reader.next(&r), ZIR_RECORD) << reader.error().expected;
        EXPECT_EQ(r.tag, w.tag) << "at " << r.offset;
        EXPECT_EQ(r.context, w.context) << "at " << r.offset;
        EXPECT_EQ(r.depth, w.depth) << "at " << r.offset;
        // Only the second address record has values behind it.
        if (r.tag == REC_ABSOLUTE) {
            EXPECT_EQ(r.absolute.opens_data, absolute++ == 1);
        }
    }
    EXPECT_EQ(reader.next(&r), ZIR_END);
    EXPECT_EQ(reader.next(&r), ZIR_END);
}

// A file with every kind of record.  `cuts` receives the offsets at which
// the file may end: the starts of the records at file level, and its end.
Bytes rich_file(std::vector<size_t> *cuts = nullptr) {
    std::vector<size_t> at;
    Build b;
    auto cut = [&]() -> Build & { at.push_back(b.b.size()); return b; };
    b.header(HDR_DEBUG);
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
    cut().u8(REC_FUNCTION).name("f", 0, NK_FUNCTION).u16(0).u32(0)
        .u8(REC_FUNCTION_LINES).u32(1).u32(2).u8(REC_REG_ARG).u8(TD_POINTER).u16(0).u32(0).u8(5)
        .u8(REC_ARGS_END).u32(4).u8(REC_FRAME_SIZE).u32(uint32_t(-8))
        .u8(REC_REGISTERS).u32(0x3FFFE).u32(0)
        .u8(REC_LINE).u32(2).u8(REC_POSITION).u32(2).u16(1).u32(2).u16(5)
        .u8(REC_EXPR).u8(REC_CALL_ARGS).u8(6).leaf(6, 0).u8(REC_ARG).u8(6).leaf(6, 1).leaf(6, 2)
        .u8(REC_BRANCH_EQ).u16(3).u8(REC_OP_ADD).u8(6).leaf(6, 1).leaf(6, 2).leaf(6, 3)
        .u8(REC_COUNTED_LOOP).u16(11).u8(1).u8(REC_OP_COND).u8(6).leaf(6, 1).leaf(6, 2).leaf(6, 3)
        .u8(REC_EXPR).u8(REC_ASM_CALL_ARGS).u8(6).leaf(6, 0).u8(2).raw("x").u8(0).leaf(6, 4)
        .u8(REC_COUNTED_LOOP).u16(11).u8(0)
        .u8(REC_SWITCH4).u16(13).u8(REC_SWITCH_TABLE).u8(0).u16(13).u16(15).u16(1).u16(4)
        .u8(REC_CASE_TABLE).u16(2).u32(0).u16(15).u16(17)
        .u8(REC_CASE_RANGE).u32(1).u32(2).u16(17).u8(REC_CASE_LIST).u16(1).u32(9).u16(19)
        .u8(REC_SWITCH_END).u8(REC_LABEL).u16(15).u32(3).u8(0).u8(REC_RETURN)
        .u8(REC_FUNCTION_END);
    cut().u8(REC_LITERAL).u8(0).u8(0).u16(0).u16(21).u8(REC_STRING).u8(0).u8(REC_DATA_END);
    cut().u8(REC_PUBLIC).name("x").u16(0).u32(4);
    cut();
    if (cuts) *cuts = at;
    return b.b;
}

// Every cut of a valid file is at a record boundary of the file level, and
// then valid, or an error that names the end of the file.
TEST(ZirReader, EveryTruncationIsDetected) {
    std::vector<size_t> cuts;
    Bytes file = rich_file(&cuts);
    Result whole = dump(file);
    ASSERT_EQ(whole.status, 0) << whole.err;
    for (size_t cut = 0; cut <= file.size(); cut++) {
        Result r = dump(Bytes(file.begin(), file.begin() + long(cut)));
        if (std::find(cuts.begin(), cuts.end(), cut) != cuts.end()) {
            EXPECT_EQ(r.status, 0) << "cut at " << cut << ": " << r.err;
        } else {
            EXPECT_EQ(r.status, 1) << "cut at " << cut;
            EXPECT_NE(r.err.find("found end of file"), std::string::npos)
                << "cut at " << cut << ": " << r.err;
        }
    }
}

// Prefix nesting as deep as the file allows exhausts neither the reader's
// stack nor the printer's.
TEST(ZirReader, DeepExpressionNesting) {
    Build b;
    b.header().function("f").u8(REC_EXPR);
    const int depth = 200000;
    for (int i = 0; i < depth; i++) b.u8(REC_OP_NEG).u8(TD_INT);
    b.leaf(TD_INT, 1).u8(REC_FUNCTION_END);
    Result r = dump(b.b);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(size_t(std::count(r.out.begin(), r.out.end(), ')')), size_t(depth) + 1);
}

// Random and mutated input: the reader always ends with a verdict, gives a
// message exactly when it says the file is malformed, and never reads past
// the buffer (the sanitizer build checks that).
TEST(ZirReader, FuzzRandomAndMutatedInput) {
    std::mt19937 random(20240611);
    const Bytes seeds[] = {rich_file(), Build().header().function("f").u8(REC_FUNCTION_END).b};
    auto started = std::chrono::steady_clock::now();
    int runs = 0;
    for (; runs < 60000; runs++) {
        Bytes input;
        if (random() % 4 == 0) {   // random bytes, behind a valid header or not
            input = random() % 2 ? Build().header(random() % 2 ? HDR_DEBUG : 0).b : Bytes{};
            for (size_t n = random() % 64; n > 0; n--) input.push_back(uint8_t(random()));
        } else {                   // a valid file with a few bytes changed, inserted or removed
            input = seeds[random() % 2];
            for (int e = 1 + int(random() % 4); e > 0 && !input.empty(); e--) {
                size_t at = random() % input.size();
                switch (random() % 3) {
                case 0: input[at] = uint8_t(random()); break;
                case 1: input.insert(input.begin() + long(at), uint8_t(random())); break;
                default: input.erase(input.begin() + long(at)); break;
                }
            }
        }
        Result r = dump(input);
        bool verdict = r.status == 0 ? r.err.empty()
                       : r.status == 1 && r.err.rfind("zirdump: t.o: offset ", 0) == 0 &&
                             std::count(r.err.begin(), r.err.end(), '\n') == 1;
        if (!verdict || (!r.out.empty() && r.out.back() != '\n')) {
            std::string hex;
            for (uint8_t byte : input) {
                hex += "0123456789abcdef"[byte >> 4];
                hex += "0123456789abcdef"[byte & 15];
            }
            FAIL() << "input " << hex << ": status " << r.status << ", " << r.err;
        }
        if (std::chrono::steady_clock::now() - started > std::chrono::seconds(3)) break;
    }
    EXPECT_GT(runs, 1000);
}

}  // namespace
