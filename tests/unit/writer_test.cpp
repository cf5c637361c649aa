// The writer operations of the intermediate file, byte by byte.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "file_text.h"
#include "lexer/token.h"
#include "output/records.h"
#include "zir/zir_dump.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Runs writer operations into a scratch file and gives back what they
// wrote; diagnostics go to a second scratch file.
class Writer : public ::testing::Test {
protected:
    void SetUp() override {
        opt_f = opt_x = opt_xx = opt_xd = opt_fr = opt_xp = 0;
        output_stream = std::tmpfile();
        error_stream = std::tmpfile();
        ASSERT_NE(output_stream, nullptr);
        ASSERT_NE(error_stream, nullptr);
    }
    void TearDown() override {
        std::fclose(output_stream);
        std::fclose(error_stream);
        output_stream = error_stream = nullptr;
    }
    // Everything written since the last call.
    Bytes written() {
        std::fflush(output_stream);
        long end = std::ftell(output_stream);
        Bytes bytes(size_t(end - mark_));
        std::fseek(output_stream, mark_, SEEK_SET);
        size_t n = std::fread(bytes.data(), 1, bytes.size(), output_stream);
        bytes.resize(n);
        std::fseek(output_stream, 0, SEEK_END);
        mark_ = end;
        return bytes;
    }
    std::string diagnostics() { return file_text(error_stream); }
    long mark_ = 0;
};

NameRecord *name(const char *text) { return intern_name(text, unsigned(std::strlen(text))); }

Symbol make_symbol(const char *text, uint8_t sclass, TypeNode *type, uint16_t attr = 0,
                   uint32_t value = 0) {
    Symbol s{};
    s.name = text ? name(text) : nullptr;
    s.sclass = sclass;
    s.type = type;
    s.attr = attr;
    s.value = value;
    return s;
}

Bytes concat(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes &p : parts) all.insert(all.end(), p.begin(), p.end());
    return all;
}

Bytes repeat(uint8_t byte, size_t count) { return Bytes(count, byte); }

// ---------------------------------------------------------------------------

TEST_F(Writer, HeaderCarriesTheOptionByte) {
    struct Case { int f, x, xx, xd, fr; uint8_t byte; };
    const Case cases[] = {
        {0, 0, 0, 0, 0, 0x00},
        {1, 0, 0, 0, 0, 0x01},
        {0, 1, 0, 0, 0, 0x04},
        {0, 0, 1, 0, 0, 0x04},   // -xx forces debug information
        {0, 1, 0, 1, 0, 0x0C},
        {0, 0, 0, 1, 0, 0x0C},   // -xd forces it too
        {0, 0, 0, 0, 1, 0x10},
        {1, 1, 0, 1, 1, 0x1D},
    };
    for (const Case &c : cases) {
        opt_f = c.f, opt_x = c.x, opt_xx = c.xx, opt_xd = c.xd, opt_fr = c.fr;
        write_file_header();
        EXPECT_EQ(written(), (Bytes{0xCB, 0x0C, c.byte, 0xFF, 0x12}))
            << "-f " << c.f << " -x " << c.x << " -xx " << c.xx << " -xd " << c.xd;
    }
}

// int x = 5; at file scope, then its public name at the end of the unit.
TEST_F(Writer, InitialisedIntAndItsPublicName) {
    Symbol x = make_symbol("x", SC_NONE, &type_int);
    write_data_begin(&x);
    write_int_value(5, 4);
    write_data_end();
    write_symbol_decl(&x, 1);
    EXPECT_EQ(written(), (Bytes{0x83, 0x02, 0x02, 0x00, 0x00, 0x81, 0x78,
                                0x89, 0x04, 0x05, 0x00, 0x00, 0x00,
                                0xD2,
                                0x84, 0x02, 0x00, 0x00, 0x81, 0x78, 0x00, 0x00,
                                0x04, 0x00, 0x00, 0x00}));
}

TEST_F(Writer, NameBlockKinds) {
    TypeNode struct_type{};
    struct_type.code = TY_STRUCT;
    struct_type.size = 12;
    TypeNode union_type = struct_type;
    union_type.code = TY_UNION;
    struct Case {
        const char *what;
        TypeNode *result;   // null: an object of type int
        uint8_t sclass;
        uint16_t attr;
        uint8_t kind;
    };
    const Case cases[] = {
        {"object", nullptr, SC_NONE, 0, 0x81},
        {"function returning int", &type_int, SC_NONE, 0, 0x84},
        {"function returning float", &type_float, SC_NONE, 0, 0x84},
        {"function returning double", &type_double, SC_NONE, 0, 0x85},
        {"function returning struct", &struct_type, SC_NONE, 0, 0x86},
        {"function returning union", &union_type, SC_NONE, 0, 0x86},
        {"function returning void", &type_void, SC_NONE, 0, 0x84},
        {"far object", nullptr, SC_NONE, ATTR_FAR, 0x89},
        {"near object", nullptr, SC_NONE, ATTR_NEAR, 0x81},
        {"tiny object", nullptr, SC_NONE, ATTR_TINY, 0x81},
        {"absolute object", nullptr, SC_ABSOLUTE, 0, 0x91},
        {"far absolute function", &type_double, SC_ABSOLUTE, ATTR_FAR | ATTR_FUNCTION, 0x9D},
        {"extern object", nullptr, SC_EXTERN, 0, 0x81},
    };
    for (const Case &c : cases) {
        TypeNode function{};
        function.code = TY_FUNCTION;
        function.next = c.result;
        Symbol s = make_symbol("ab", c.sclass, c.result ? &function : &type_int, c.attr);
        write_name_block(&s);
        EXPECT_EQ(written(), (Bytes{3, 0, 0, c.kind, 'a', 'b'})) << c.what;
    }
}

TEST_F(Writer, NameBlockLabelOnlyForStatics) {
    // Two statics of one name differ only in their label.
    Symbol a = make_symbol("count", SC_STATIC, &type_int, 0, 0x10007);
    Symbol b = make_symbol("count", SC_STATIC, &type_int, 0, 9);
    Symbol e = make_symbol("count", SC_EXTERN, &type_int, 0, 7);
    write_name_block(&a);
    EXPECT_EQ(written(), (Bytes{6, 0x07, 0x00, 0x81, 'c', 'o', 'u', 'n', 't'}));
    write_name_block(&b);
    EXPECT_EQ(written(), (Bytes{6, 0x09, 0x00, 0x81, 'c', 'o', 'u', 'n', 't'}));
    write_name_block(&e);
    EXPECT_EQ(written(), (Bytes{6, 0x00, 0x00, 0x81, 'c', 'o', 'u', 'n', 't'}));
}

TEST_F(Writer, OverlongNameIsCutToFitItsBlock) {
    std::string long_name(255, 'n');
    Symbol s{};
    s.name = intern_name(long_name.data(), 255);
    s.type = &type_int;
    write_name_block(&s);
    Bytes bytes = written();
    ASSERT_EQ(bytes.size(), 4u + 254u);
    EXPECT_EQ(bytes[0], 255);
}

TEST_F(Writer, TypeDescriptors) {
    TypeNode far_pointer{};
    far_pointer.code = TY_POINTER;
    far_pointer.next = &type_char;
    far_pointer.attr = 0x3000 | ATTR_CONST;
    TypeNode bits{};
    bits.code = TY_INT_BITS;
    bits.bit_offset = 3;
    bits.bit_width = 5;
    TypeNode char_bits = bits;
    char_bits.code = TY_CHAR_BITS;
    TypeNode short_bits = bits;
    short_bits.code = TY_SHORT_BITS;
    TypeNode long_bits = bits;
    long_bits.code = TY_LONG_BITS;
    TypeNode record{};
    record.code = TY_UNION;
    record.size = 0x10203;
    TypeNode enumeration{};
    enumeration.code = TY_ENUM;
    enumeration.next = &type_uchar;
    TypeNode array{};
    array.code = TY_ARRAY;
    array.next = &type_char;
    array.dim = 10;
    TypeNode function{};
    function.code = TY_FUNCTION;
    function.next = &type_double;
    struct Case {
        const char *what;
        TypeNode *type;
        uint16_t attr;
        Bytes bytes;
    };
    const Case cases[] = {
        {"char", &type_char, 0, {1}},
        {"unsigned char", &type_uchar, 0, {2}},
        {"void", &type_void, 0, {2}},
        {"short", &type_short, 0, {3}},
        {"unsigned short", &type_ushort, 0, {5}},
        {"int", &type_int, 0, {6}},
        {"long", &type_long, 0, {6}},
        {"unsigned int", &type_uint, 0, {8}},
        {"unsigned long", &type_ulong, 0, {8}},
        {"float", &type_float, 0, {9}},
        {"double", &type_double, 0, {10}},
        {"pointer", &far_pointer, 0, {11, 0x00, 0xB0}},
        {"int bit-field", &bits, 0, {7, 3, 5}},
        {"long bit-field", &long_bits, 0, {7, 3, 5}},
        {"char bit-field", &char_bits, 0, {13, 3, 5}},
        {"short bit-field", &short_bits, 0, {4, 3, 5}},
        {"union", &record, 0, {14, 0x03, 0x02, 0x01, 0x00}},
        {"enum", &enumeration, 0, {2}},
        {"array", &array, 0, {6}},
        {"function", &function, 0, {6}},
        {"int with attributes", &type_int, 0x8001, {0x86, 0x01, 0x80}},
        {"pointer with attributes", &far_pointer, 0x4000, {0x8B, 0x00, 0x40, 0x00, 0xB0}},
        {"bit-field with attributes", &bits, 0x0100, {0x87, 0x00, 0x01, 3, 5}},
    };
    for (const Case &c : cases) {
        write_type(c.type, c.attr);
        EXPECT_EQ(written(), c.bytes) << c.what;
    }
    EXPECT_EQ(diagnostics(), "");
}

TEST_F(Writer, BadTypeCodeIsReportedAndWrittenAsChar) {
    TypeNode bad{};
    bad.code = 0x99;
    int32_t errors = error_count;
    write_type(&bad, 0);
    EXPECT_EQ(written(), (Bytes{1}));
    EXPECT_EQ(error_count, errors + 1);
    EXPECT_NE(diagnostics().find("PANIC! bad type code: 99"), std::string::npos);
}

TEST_F(Writer, SymbolDeclarations) {
    TypeNode record{};
    record.code = TY_STRUCT;
    record.size = 24;
    record.members = reinterpret_cast<Symbol *>(&record);   // complete
    TypeNode struct_function{};
    struct_function.code = TY_FUNCTION;
    struct_function.next = &record;
    TypeNode int_function{};
    int_function.code = TY_FUNCTION;
    int_function.next = &type_int;
    TypeNode array{};
    array.code = TY_ARRAY;
    array.next = &type_short;
    array.dim = 5;

    struct Case {
        const char *what;
        const char *name;
        TypeNode *type;
        uint16_t attr;
        uint32_t value;
        int mode;
        Bytes bytes;
    };
    const Case cases[] = {
        {"extern object: size 0", "v", &type_int, 0, 0, 0, {0x90, 2, 0, 0, 0x81, 'v', 0, 0, 0, 0, 0, 0}},
        {"public object: its size", "v", &array, 0, 0, 1, {0x84, 2, 0, 0, 0x81, 'v', 0, 0, 10, 0, 0, 0}},
        {"public void object: size 0", "v", &type_void, 0, 0, 1, {0x84, 2, 0, 0, 0x81, 'v', 0, 0, 0, 0, 0, 0}},
        {"extern function returning a struct", "g", &struct_function, ATTR_FUNCTION, 0, 0,
         {0x90, 2, 0, 0, 0x86, 'g', 0x00, 0x08, 24, 0, 0, 0}},
        {"function definition", "g", &int_function, ATTR_FUNCTION | ATTR_FAR, 0, 0x800,
         {0x86, 2, 0, 0, 0x8C, 'g', 0x00, 0x38, 0, 0, 0, 0}},
        {"function definition returning a struct", "g", &struct_function, ATTR_FUNCTION, 0,
         0x801, {0x86, 2, 0, 0, 0x86, 'g', 0x00, 0x08, 24, 0, 0, 0}},
        {"public function", "g", &int_function, ATTR_FUNCTION, 0, 2,
         {0x84, 2, 0, 0, 0x84, 'g', 0x00, 0x08, 0, 0, 0, 0}},
        {"_asm is never external", "_asm", &int_function, ATTR_FUNCTION, 0, 0, {}},
        {"_asm defined here is public", "_asm", &int_function, ATTR_FUNCTION, 0, 1,
         {0x84, 5, 0, 0, 0x84, '_', 'a', 's', 'm', 0x00, 0x08, 0, 0, 0, 0}},
        {"expanded inline function", "h", &int_function, ATTR_FUNCTION | ATTR_INLINE, 1, 0x800, {}},
        {"inline function with no expansion record", "h", &int_function,
         ATTR_FUNCTION | ATTR_INLINE, 0, 0x800,
         {0x86, 2, 0, 0, 0x84, 'h', 0x00, 0x0A, 0, 0, 0, 0}},
    };
    for (const Case &c : cases) {
        Symbol s = make_symbol(c.name, SC_NONE, c.type, c.attr, c.value);
        write_symbol_decl(&s, c.mode);
        EXPECT_EQ(written(), c.bytes) << c.what;
    }
}

TEST_F(Writer, DataObjectOpeners) {
    Symbol plain = make_symbol("d", SC_NONE, &type_double);
    Symbol with_attr = make_symbol("s", SC_STATIC, &type_short, ATTR_CONST | ATTR_FAR, 0x0105);
    Symbol fixed = make_symbol("port", SC_ABSOLUTE, &type_uchar, 0, 0xFFF00010);
    write_data_begin(&plain);
    EXPECT_EQ(written(), (Bytes{0x83, 3, 2, 0, 0, 0x81, 'd'}));
    write_data_begin(&with_attr);
    EXPECT_EQ(written(), (Bytes{0xC7, 1, 0x00, 0xB0, 2, 0x05, 0x01, 0x89, 's'}));
    write_data_begin(&fixed);
    EXPECT_EQ(written(), (Bytes{0xC9, 0, 5, 0, 0, 0x91, 'p', 'o', 'r', 't',
                                0x10, 0x00, 0xF0, 0xFF}));
}

TEST_F(Writer, ValueRecords) {
    write_int_value(0xFFFFFFFE, 1);
    EXPECT_EQ(written(), (Bytes{0x89, 1, 0xFE, 0xFF, 0xFF, 0xFF}));
    double d = 1.5;
    write_float_value(&d, 4);
    EXPECT_EQ(written(), (Bytes{0x85, 4, 0, 0, 0, 0, 0, 0, 0xF8, 0x3F}));
    d = -2.0;
    write_float_value(&d, 8);
    EXPECT_EQ(written(), (Bytes{0x85, 8, 0, 0, 0, 0, 0, 0, 0x00, 0xC0}));
    write_space(0x01020304);
    EXPECT_EQ(written(), (Bytes{0x93, 4, 3, 2, 1}));
    write_literal_label(0x1234, 3);
    EXPECT_EQ(written(), (Bytes{0xB8, 3, 0, 0, 0, 0x34, 0x12}));
}

// A string value ends with a piece of less than 255 bytes, an empty one if
// need be; assembly text does not.
TEST_F(Writer, ValuesAndAssemblyTextAreCutIntoPieces) {
    struct Case { bool text; size_t length; std::vector<size_t> pieces; };
    const Case cases[] = {
        {false, 0, {0}},        {false, 1, {1}},        {false, 254, {254}},     {false, 255, {255, 0}},
        {false, 256, {255, 1}}, {false, 510, {255, 255, 0}}, {false, 600, {255, 255, 90}},
        {true, 0, {}},          {true, 1, {1}},         {true, 255, {255}},      {true, 256, {255, 1}},
        {true, 510, {255, 255}},
    };
    for (const Case &c : cases) {
        std::string value(c.length, 'x');
        for (size_t i = 0; i < c.length; i++) value[i] = char(c.text ? 'a' + i % 26 : i * 7 + 1);
        if (c.text)
            write_asm_text(value.data(), c.length);
        else
            write_string_value(value.data(), c.length);
        Bytes expected;
        size_t at = 0;
        for (size_t piece : c.pieces) {
            expected.push_back(c.text ? 0xCB : 0x94);
            expected.push_back(uint8_t(piece));
            expected.insert(expected.end(), value.begin() + long(at), value.begin() + long(at + piece));
            at += piece;
        }
        EXPECT_EQ(written(), expected) << (c.text ? "text" : "value") << " of length " << c.length;
    }
}

TEST_F(Writer, LabelOperations) {
    struct Case { uint16_t jump, define; uint32_t line; int flag; Bytes bytes; };
    const Case cases[] = {
        {0, 0, 5, 1, {}},
        {0x0105, 0, 0, 0, {0x8B, 0x05, 0x01}},
        {0, 7, 0, 1, {0x8C, 7, 0, 0, 0, 0, 0}},              // no line: no flag byte
        {0, 7, 0x10203, 0, {0x8C, 7, 0, 3, 2, 1, 0, 0}},
        {0, 7, 12, 5, {0x8C, 7, 0, 12, 0, 0, 0, 1}},        // any nonzero flag is 1
        {9, 11, 3, 0, {0x8B, 9, 0, 0x8C, 11, 0, 3, 0, 0, 0, 0}},
    };
    for (const Case &c : cases) {
        write_label_ops(c.jump, c.define, c.line, c.flag);
        EXPECT_EQ(written(), c.bytes) << c.jump << " " << c.define << " " << c.line;
    }
}

TEST_F(Writer, AddressValues) {
    Symbol global = make_symbol("g", SC_NONE, &type_int);
    Symbol file_static = make_symbol("s", SC_STATIC, &type_int, 0, 21);
    Symbol external = make_symbol("e", SC_EXTERN, &type_int);
    Symbol fixed = make_symbol("a", SC_ABSOLUTE, &type_int, 0, 0x400);
    Symbol member = make_symbol("m", SC_MEMBER, &type_int, 0, 8);
    struct Case {
        const char *what;
        Symbol *sym;
        int32_t value;
        int width;
        Bytes bytes;
    };
    const Case cases[] = {
        {"global, 4 bytes", &global, 4, 4, {0xC8, 2, 0, 0, 0x81, 'g', 4, 0, 0, 0}},
        {"static, 2 bytes", &file_static, 0, 2, {0xC0, 2, 21, 0, 0x81, 's', 0, 0, 0, 0}},
        {"extern, 1 byte", &external, -1, 1, {0xC5, 2, 0, 0, 0x81, 'e', 0xFF, 0xFF, 0xFF, 0xFF}},
        {"absolute", &fixed, 2, 4, {0xC8, 2, 0, 0, 0x91, 'a', 2, 0, 0, 0}},
        {"member: its offset joins the addend", &member, 2, 4, {0xC8, 0, 0, 0, 10, 0, 0, 0}},
        {"plain number, odd width", nullptr, 0x1234, 3, {0xC8, 0, 0, 0, 0x34, 0x12, 0, 0}},
    };
    for (const Case &c : cases) {
        ExprNode leaf{};
        leaf.sym = c.sym;
        leaf.lflags = c.sym ? LEAF_ADDRESS : LEAF_CONST;
        leaf.value = c.value;
        leaf.type = &type_int;
        write_address_value(&leaf, c.width);
        EXPECT_EQ(written(), c.bytes) << c.what;
    }
}

TEST_F(Writer, AddressOfLiteralGivesItALabelOnce) {
    StringConst *literal = pool_string("address me", 10);
    ASSERT_EQ(literal->label, 0);
    ExprNode leaf{};
    leaf.literal = literal;
    leaf.lflags = LEAF_LITERAL;
    leaf.value = 3;
    write_address_value(&leaf, 4);
    uint16_t label = literal->label;
    ASSERT_NE(label, 0);
    EXPECT_EQ(label % 2, 1);
    EXPECT_EQ(written(), (Bytes{0xC8, 0, uint8_t(label), uint8_t(label >> 8), 3, 0, 0, 0}));
    write_address_value(&leaf, 4);
    EXPECT_EQ(literal->label, label);
    EXPECT_EQ(written(), (Bytes{0xC8, 0, uint8_t(label), uint8_t(label >> 8), 3, 0, 0, 0}));
}

TEST_F(Writer, LiteralsAreWrittenOnceNewestFirst) {
    // Each test run makes its own entries; older entries of the pool are
    // marked written so that only these appear.
    write_literals();
    written();
    StringConst *unused = pool_string("never used", 10);
    StringConst *older = pool_string("ab", 2);
    StringConst *empty = pool_string("", 0);
    double real = 2.5;
    StringConst *constant = pool_string(&real, 8);
    older->label = 0x101;
    empty->label = 0x103;
    constant->label = 0x201;
    constant->variants = 4 | 8;
    (void)unused;
    write_literals();
    EXPECT_EQ(written(),
              concat({// the real, first as float at L+4, then as double at L+6
                      {0xB8, 2, 0, 0, 0, 0x05, 0x02, 0x85, 4, 0, 0, 0, 0, 0, 0, 0x04, 0x40, 0xD2},
                      {0xB8, 3, 0, 0, 0, 0x07, 0x02, 0x85, 8, 0, 0, 0, 0, 0, 0, 0x04, 0x40, 0xD2},
                      // the empty string is a single zero byte
                      {0xB8, 0, 0, 0, 0, 0x03, 0x01, 0x89, 1, 0, 0, 0, 0, 0xD2},
                      {0xB8, 0, 0, 0, 0, 0x01, 0x01, 0x94, 2, 'a', 'b', 0xD2}}));
    EXPECT_EQ(constant->written, 4 | 8);
    EXPECT_EQ(older->written & 0x80, 0x80);
    // A second call writes only a form asked for since.
    constant->variants |= 1;
    write_literals();
    EXPECT_EQ(written(),
              (Bytes{0xB8, 2, 0, 0, 0, 0x01, 0x02, 0x85, 2, 0, 0, 0, 0, 0, 0, 0x04, 0x40, 0xD2}));
    write_literals();
    EXPECT_EQ(written(), Bytes{});
}

TEST_F(Writer, SourceFileRecordsOnlyOnChange) {
    write_file_header();
    written();
    static const char a_name[] = "a.c";
    static const char other_a[] = "a.c";
    const Bytes a_record = {0x13, 4, 0, 0, 0, 'a', '.', 'c'};
    write_source_file(a_name);
    EXPECT_EQ(written(), a_record);
    write_source_file(a_name);
    write_source_file(nullptr);
    EXPECT_EQ(written(), Bytes{});
    // Equal text under another pointer is another entry into a file.
    write_source_file(other_a);
    EXPECT_EQ(written(), a_record);
    write_source_file(a_name);
    EXPECT_EQ(written(), a_record);
    // A new header starts afresh.
    write_file_header();
    written();
    write_source_file(a_name);
    EXPECT_EQ(written(), a_record);
}

TEST_F(Writer, SourceFileWithoutPathUnderXp) {
    opt_xp = 1;
    write_file_header();
    written();
    struct Case { const char *name; Bytes bytes; };
    static const char *const names[] = {"dir/a.c", "a.c", "x\\y/b.h", "c:\\t\\m.c", "d/"};
    const Case cases[] = {
        {names[0], {0x13, 9, 0, 0, 0, 'a', '.', 'c', 0, 'd', 'i', 'r', '/'}},
        {names[1], {0x13, 4, 0, 0, 0, 'a', '.', 'c'}},
        {names[2], {0x13, 9, 0, 0, 0, 'b', '.', 'h', 0, 'x', '\\', 'y', '/'}},
        {names[3], {0x13, 10, 0, 0, 0, 'm', '.', 'c', 0, 'c', ':', '\\', 't', '\\'}},
        {names[4], {0x13, 4, 0, 0, 0, 0, 'd', '/'}},
    };
    for (const Case &c : cases) {
        write_source_file(c.name);
        EXPECT_EQ(written(), c.bytes) << c.name;
    }
}

TEST_F(Writer, LongFileNamesStayWithinTheLengthByte) {
    std::string dir(200, 'd'), file(100, 'f');
    std::string path = dir + "/" + file;
    opt_xp = 1;
    write_file_header();
    written();
    write_source_file(path.c_str());
    // The directory does not fit beside the file part: it is left out.
    EXPECT_EQ(written(), concat({{0x13, 101, 0, 0, 0}, repeat('f', 100)}));
    opt_xp = 0;
    std::string very_long(300, 'v');
    write_source_file(very_long.c_str());
    EXPECT_EQ(written(), concat({{0x13, 255, 0, 0, 0}, repeat('v', 254)}));
}

TEST_F(Writer, SpaceNamesAreAnnouncedOnceOldestFirst) {
    write_file_header();
    written();
    Symbol *saved = space_list;
    Symbol builtin = make_symbol("near", SC_NONE, nullptr, ATTR_NEAR);
    builtin.flags = SYM_DECLARED;
    builtin.next = nullptr;
    Symbol first = make_symbol("sram", SC_NONE, nullptr, 0x80);
    Symbol second = make_symbol("io", SC_NONE, nullptr, 0x40);
    second.next = &first;
    first.next = &builtin;
    space_list = &second;
    write_space_names();
    EXPECT_EQ(written(), (Bytes{0xBA, 5, 0, 0, 0, 's', 'r', 'a', 'm',
                                0xBA, 3, 0, 0, 0, 'i', 'o'}));
    EXPECT_TRUE(first.flags & SYM_DECLARED);
    write_space_names();
    EXPECT_EQ(written(), Bytes{});
    Symbol third = make_symbol("eep", SC_NONE, nullptr, 0x20);
    third.next = &second;
    space_list = &third;
    write_space_names();
    EXPECT_EQ(written(), (Bytes{0xBA, 4, 0, 0, 0, 'e', 'e', 'p'}));
    space_list = saved;
}

TEST_F(Writer, PragmaSection) {
    write_file_header();
    written();
    // The position may bring a source file record first; the line and the
    // section close the output.
    auto ends_with = [](const Bytes &bytes, const Bytes &tail) {
        return bytes.size() >= tail.size() && Bytes(bytes.end() - long(tail.size()), bytes.end()) == tail;
    };
    write_pragma_section(7, 0xC000, name("bss"));
    EXPECT_TRUE(ends_with(written(), {0x14, 7, 0, 0, 0, 0xCC, 0x00, 0xC0, 3, 'b', 's', 's'}));
    write_pragma_section(8, 0x0800, nullptr);
    EXPECT_TRUE(ends_with(written(), {0x14, 8, 0, 0, 0, 0xCC, 0x00, 0x08, 0}));
}

// What the operations write together reads back as a well-formed file.
TEST_F(Writer, OperationsMakeAWellFormedFile) {
    opt_xp = 1;
    write_file_header();
    static const char file_name[] = "src/m.c";
    write_source_file(file_name);
    write_line(3);
    write_asm_text("\tnop", 4);
    TypeNode pointer{};
    pointer.code = TY_POINTER;
    pointer.next = &type_char;
    pointer.attr = ATTR_FAR;
    Symbol p = make_symbol("p", SC_STATIC, &pointer, ATTR_CONST, 41);
    Symbol q = make_symbol("q", SC_ABSOLUTE, &type_int, 0, 0x200);
    write_data_begin(&p);
    StringConst *text = pool_string("round trip", 10);
    ExprNode leaf{};
    leaf.literal = text;
    leaf.lflags = LEAF_LITERAL;
    write_address_value(&leaf, 4);
    std::string long_value(300, 'r');
    write_string_value(long_value.data(), long_value.size());
    write_literal_label(43, 2);
    double one = 1.0;
    write_float_value(&one, 4);
    write_space(3);
    write_data_end();
    write_data_begin(&q);
    write_data_begin(&q);
    write_int_value(9, 4);
    write_data_end();
    write_symbol_decl(&q, 0);
    write_literals();
    Bytes bytes = written();

    char *text_out = nullptr, *text_err = nullptr;
    size_t out_size = 0, err_size = 0;
    FILE *out = open_memstream(&text_out, &out_size);
    FILE *err = open_memstream(&text_err, &err_size);
    int status = dump_intermediate(bytes.data(), bytes.size(), "w.o", false, out, err);
    std::fclose(out);
    std::fclose(err);
    std::string dump(text_out, out_size), errors(text_err, err_size);
    std::free(text_out);
    std::free(text_err);
    EXPECT_EQ(status, 0) << errors;
    EXPECT_NE(dump.find("SOURCE_FILE name=\"m.c\" dir=\"src/\"\n"), std::string::npos) << dump;
    EXPECT_NE(dump.find("DATA_ATTR align=2 attr=0x8000 name=\"p\" label=L41 kind=0x81\n"),
              std::string::npos) << dump;
    EXPECT_NE(dump.find("ABSOLUTE name=\"q\" label=none kind=0x91 address=0x00000200\n"
                        "ABSOLUTE name=\"q\" label=none kind=0x91 address=0x00000200\n"
                        "  INT width=4 value=9\n"
                        "DATA_END\n"),
              std::string::npos) << dump;
}

TEST(ExprTag, OperatorsMapToTheirTags) {
    struct Case { int op; int tag; };
    const Case cases[] = {
        {OP_ADD, 222}, {OP_SUB, 216}, {OP_MUL, 226}, {OP_DIV, 133}, {OP_MOD, 153},
        {OP_SHL, 151}, {OP_SHR, 160}, {OP_AND, 193}, {OP_XOR, 163}, {OP_OR, 156},
        {OP_LT, 149}, {OP_GE, 144}, {OP_GT, 143}, {OP_LE, 150}, {OP_EQ, 148}, {OP_NE, 155},
        {OP_LOGAND, 130}, {OP_LOGOR, 157}, {OP_ASSIGN, 136}, {OP_ADD_ASSIGN, 142},
        {OP_SUB_ASSIGN, 139}, {OP_MUL_ASSIGN, 145}, {OP_DIV_ASSIGN, 135},
        {OP_MOD_ASSIGN, 140}, {OP_SHL_ASSIGN, 137}, {OP_SHR_ASSIGN, 138},
        {OP_AND_ASSIGN, 134}, {OP_XOR_ASSIGN, 146}, {OP_OR_ASSIGN, 141}, {OP_COMMA, 168},
        {OP_COND, 159}, {OP_POSTINC, 170}, {OP_POSTDEC, 167}, {OP_NEG, 108}, {OP_NOT, 90},
        {OP_COMPL, 67}, {OP_DEREF, 107}, {OP_ADDR, 100}, {OP_CAST, 102},
        // Operators that never reach the file as such.
        {OP_LEAF, -1}, {OP_CALL, -1}, {OP_ARG, -1}, {OP_PRELUDE, -1},
    };
    for (const Case &c : cases) EXPECT_EQ(expr_tag(c.op), c.tag) << "operator " << c.op;
}

}  // namespace
