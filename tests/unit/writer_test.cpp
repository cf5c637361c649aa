// The writer operations of the intermediate file, byte by byte, and the
// operators they write as the reader reads them back.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <sstream>
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

// A writer operation and the bytes it must write.
struct Case {
    const char *what;
    std::function<void()> write;
    Bytes bytes;
};

// Runs writer operations into a memory stream and gives back what they
// wrote; diagnostics go to a scratch file.
class Writer : public ::testing::Test {
protected:
    void SetUp() override {
        opt_f = opt_x = opt_xx = opt_xd = opt_fr = opt_xp = 0;
        output_stream = open_memstream(&buffer_, &size_);
        error_stream = std::tmpfile();
        write_file_header();
        written();
    }
    void TearDown() override {
        flush_output();
        std::fclose(output_stream);
        std::fclose(error_stream);
        std::free(buffer_);
        output_stream = error_stream = nullptr;
    }
    // Everything written since the last call.
    Bytes written() {
        flush_output();
        std::fflush(output_stream);
        Bytes bytes(buffer_ + mark_, buffer_ + size_);
        mark_ = size_;
        return bytes;
    }
    void check(std::initializer_list<Case> cases) {
        for (const Case &c : cases) {
            c.write();
            EXPECT_EQ(written(), c.bytes) << c.what;
        }
    }
    char *buffer_ = nullptr;
    size_t size_ = 0, mark_ = 0;
};


NameRecord *name(const char *text) { return intern_name(text, unsigned(std::strlen(text))); }

Symbol make_symbol(const char *text, uint8_t sclass, TypeNode *type, uint16_t attr = 0,
                   uint32_t value = 0) {
    Symbol s{};
    s.name = name(text);
    s.sclass = sclass;
    s.type = type;
    s.attr = attr;
    s.value = value;
    return s;
}

TypeNode make_type(uint8_t code, TypeNode *next = nullptr, uint32_t size = 0) {
    TypeNode t{};
    t.code = code;
    t.next = next;
    t.size = size;
    return t;
}

// ---------------------------------------------------------------------------

// The record by mode, the NameBlock with the kind and label of the Symbol,
// its attribute word and the size that the code generator needs.
TEST_F(Writer, SymbolDeclarations) {
    TypeNode record = make_type(TY_STRUCT, nullptr, 24), onion = make_type(TY_UNION, nullptr, 8);
    record.members = reinterpret_cast<Symbol *>(&record);   // complete
    onion.members = reinterpret_cast<Symbol *>(&onion);
    TypeNode array = make_type(TY_ARRAY, &type_short), fn_int = make_type(TY_FUNCTION, &type_int);
    array.dim = 5;
    TypeNode fn_struct = make_type(TY_FUNCTION, &record), fn_union = make_type(TY_FUNCTION, &onion);
    TypeNode fn_double = make_type(TY_FUNCTION, &type_double);
    TypeNode fn_float = make_type(TY_FUNCTION, &type_float);
    auto decl = [](const char *name, uint8_t sclass, TypeNode *type, uint16_t attr, uint32_t value,
                   int mode) {
        Symbol s = make_symbol(name, sclass, type, attr, value);
        write_symbol_decl(&s, mode);
    };
    const uint16_t F = ATTR_FUNCTION;
    std::string long_name(255, 'n');
    Bytes cut_name = {0x90, 255, 0, 0, 0x81};
    cut_name.insert(cut_name.end(), 254, 'n');
    cut_name.insert(cut_name.end(), 6, 0);
    check({
        {"extern object: size 0", [&] { decl("v", SC_NONE, &type_int, 0, 0, 0); },
         {0x90, 2, 0, 0, 0x81, 'v', 0, 0, 0, 0, 0, 0}},
        {"public object: its size", [&] { decl("v", SC_NONE, &array, 0, 0, 1); },
         {0x84, 2, 0, 0, 0x81, 'v', 0, 0, 10, 0, 0, 0}},
        {"public void object", [&] { decl("v", SC_NONE, &type_void, 0, 0, 1); },
         {0x84, 2, 0, 0, 0x81, 'v', 0, 0, 0, 0, 0, 0}},
        {"static: its label", [&] { decl("s", SC_STATIC, &type_int, 0, 0x10007, 1); },
         {0x84, 2, 7, 0, 0x81, 's', 0, 0, 4, 0, 0, 0}},
        {"extern with a value: no label", [&] { decl("e", SC_EXTERN, &type_int, 0, 7, 0); },
         {0x90, 2, 0, 0, 0x81, 'e', 0, 0, 0, 0, 0, 0}},
        {"far object", [&] { decl("v", SC_NONE, &type_char, ATTR_FAR, 0, 1); },
         {0x84, 2, 0, 0, 0x89, 'v', 0, 0x30, 1, 0, 0, 0}},
        {"near object", [&] { decl("v", SC_NONE, &type_char, ATTR_NEAR, 0, 1); },
         {0x84, 2, 0, 0, 0x81, 'v', 0, 0x20, 1, 0, 0, 0}},
        {"far absolute function returning double",
         [&] { decl("g", SC_ABSOLUTE, &fn_double, F | ATTR_FAR, 0, 0); },
         {0x90, 2, 0, 0, 0x9D, 'g', 0, 0x38, 0, 0, 0, 0}},
        {"extern function returning a struct", [&] { decl("g", SC_NONE, &fn_struct, F, 0, 0); },
         {0x90, 2, 0, 0, 0x86, 'g', 0, 8, 24, 0, 0, 0}},
        {"definition returning a union", [&] { decl("g", SC_NONE, &fn_union, F, 0, 0x801); },
         {0x86, 2, 0, 0, 0x86, 'g', 0, 8, 8, 0, 0, 0}},
        {"public function returning float", [&] { decl("g", SC_NONE, &fn_float, F, 0, 2); },
         {0x84, 2, 0, 0, 0x84, 'g', 0, 8, 0, 0, 0, 0}},
        {"_asm is never external", [&] { decl("_asm", SC_NONE, &fn_int, F, 0, 0); }, {}},
        {"_asm defined here is public", [&] { decl("_asm", SC_NONE, &fn_int, F, 0, 1); },
         {0x84, 5, 0, 0, 0x84, '_', 'a', 's', 'm', 0, 8, 0, 0, 0, 0}},
        {"expanded inline function", [&] { decl("h", SC_NONE, &fn_int, F | ATTR_INLINE, 1, 0x800); },
         {}},
        {"inline function not expanded",
         [&] { decl("h", SC_NONE, &fn_int, F | ATTR_INLINE, 0, 0x800); },
         {0x86, 2, 0, 0, 0x84, 'h', 0, 0x0A, 0, 0, 0, 0}},
        {"a name too long for its length byte is cut",
         [&] { decl(long_name.c_str(), SC_NONE, &type_int, 0, 0, 0); }, cut_name},
    });
}

TEST_F(Writer, TypeDescriptors) {
    TypeNode pointer = make_type(TY_POINTER, &type_char);
    pointer.attr = ATTR_FAR | ATTR_CONST;
    TypeNode bits = make_type(TY_INT_BITS);
    bits.bit_offset = 3;
    bits.bit_width = 5;
    TypeNode char_bits = bits, short_bits = bits, long_bits = bits;
    char_bits.code = TY_CHAR_BITS, short_bits.code = TY_SHORT_BITS, long_bits.code = TY_LONG_BITS;
    TypeNode record = make_type(TY_UNION, nullptr, 0x10203);
    TypeNode enumeration = make_type(TY_ENUM, &type_uchar), array = make_type(TY_ARRAY, &type_char);
    TypeNode function = make_type(TY_FUNCTION, &type_double);
    TypeNode bad = make_type(0x99);
    struct Row { TypeNode *type; uint16_t attr; Bytes bytes; };
    const Row rows[] = {
        {&type_char, 0, {1}}, {&type_uchar, 0, {2}}, {&type_void, 0, {2}}, {&type_short, 0, {3}},
        {&type_ushort, 0, {5}}, {&type_int, 0, {6}}, {&type_long, 0, {6}}, {&type_uint, 0, {8}},
        {&type_ulong, 0, {8}}, {&type_float, 0, {9}}, {&type_double, 0, {10}},
        {&pointer, 0, {11, 0x00, 0xB0}}, {&bits, 0, {7, 3, 5}}, {&long_bits, 0, {7, 3, 5}},
        {&char_bits, 0, {13, 3, 5}}, {&short_bits, 0, {4, 3, 5}},
        {&record, 0, {14, 0x03, 0x02, 0x01, 0x00}}, {&enumeration, 0, {2}}, {&array, 0, {6}},
        {&function, 0, {6}}, {&type_int, 0x8001, {0x86, 0x01, 0x80}},
        {&pointer, 0x4000, {0x8B, 0x00, 0x40, 0x00, 0xB0}}, {&bits, 0x0100, {0x87, 0x00, 0x01, 3, 5}},
        // A code outside the table is reported and written as char.
        {&bad, 0, {1}},
    };
    for (const Row &r : rows) {
        write_type(r.type, r.attr);
        EXPECT_EQ(written(), r.bytes) << "type code 0x" << std::hex << int(r.type->code);
    }
    EXPECT_NE(file_text(error_stream).find("PANIC! bad type code: 99"), std::string::npos);
}

TEST_F(Writer, DataAndCodeRecords) {
    Symbol plain = make_symbol("d", SC_NONE, &type_double);
    Symbol with_attr = make_symbol("s", SC_STATIC, &type_short, ATTR_CONST | ATTR_FAR, 0x0105);
    Symbol fixed = make_symbol("port", SC_ABSOLUTE, &type_uchar, 0, 0xFFF00010);
    Symbol global = make_symbol("g", SC_NONE, &type_int);
    Symbol external = make_symbol("e", SC_EXTERN, &type_int);
    Symbol member = make_symbol("m", SC_MEMBER, &type_int, 0, 8);
    auto address = [](Symbol *sym, int32_t value, int width) {
        ExprNode leaf{};
        leaf.sym = sym;
        leaf.lflags = sym ? LEAF_ADDRESS : LEAF_CONST;
        leaf.value = value;
        leaf.type = &type_int;
        write_address_value(&leaf, width);
    };
    double one_and_half = 1.5;
    check({
        {"object of attribute 0", [&] { write_data_begin(&plain); }, {0x83, 3, 2, 0, 0, 0x81, 'd'}},
        {"object with attributes", [&] { write_data_begin(&with_attr); },
         {0xC7, 1, 0x00, 0xB0, 2, 0x05, 0x01, 0x89, 's'}},
        {"object at an address", [&] { write_data_begin(&fixed); },
         {0xC9, 0, 5, 0, 0, 0x91, 'p', 'o', 'r', 't', 0x10, 0x00, 0xF0, 0xFF}},
        {"int of 1 byte", [] { write_int_value(0xFFFFFFFE, 1); }, {0x89, 1, 0xFE, 0xFF, 0xFF, 0xFF}},
        {"float: a double narrowed later", [&] { write_float_value(&one_and_half, 4); },
         {0x85, 4, 0, 0, 0, 0, 0, 0, 0xF8, 0x3F}},
        {"zeros", [] { write_space(0x01020304); }, {0x93, 4, 3, 2, 1}},
        {"label inside data", [] { write_literal_label(0x1234, 3); }, {0xB8, 3, 0, 0, 0, 0x34, 0x12}},
        {"address of a global", [&] { address(&global, 4, 4); }, {0xC8, 2, 0, 0, 0x81, 'g', 4, 0, 0, 0}},
        {"address of a static", [&] { address(&with_attr, 0, 2); },
         {0xC0, 2, 0x05, 0x01, 0x89, 's', 0, 0, 0, 0}},
        {"address of an extern", [&] { address(&external, -1, 1); },
         {0xC5, 2, 0, 0, 0x81, 'e', 0xFF, 0xFF, 0xFF, 0xFF}},
        {"address at an address", [&] { address(&fixed, 2, 4); },
         {0xC8, 5, 0, 0, 0x91, 'p', 'o', 'r', 't', 2, 0, 0, 0}},
        {"member: its offset joins the addend", [&] { address(&member, 2, 4); }, {0xC8, 0, 0, 0, 10, 0, 0, 0}},
        {"plain number, odd width", [&] { address(nullptr, 0x1234, 3); }, {0xC8, 0, 0, 0, 0x34, 0x12, 0, 0}},
        {"no jump, no label", [] { write_label_ops(0, 0, 5, 1); }, {}},
        {"label without a line: no flag", [] { write_label_ops(0, 7, 0, 1); }, {0x8C, 7, 0, 0, 0, 0, 0}},
        {"jump, then a label whose flag is 1", [] { write_label_ops(0x0109, 11, 0x10203, 5); },
         {0x8B, 9, 1, 0x8C, 11, 0, 3, 2, 1, 0, 1}},
    });
}

// A string value ends with a piece of less than 255 bytes, an empty one if
// need be; assembly text does not.
TEST_F(Writer, ValuesAndAssemblyTextAreCutIntoPieces) {
    struct Row { bool text; size_t length; std::vector<size_t> pieces; };
    const Row rows[] = {
        {false, 0, {0}}, {false, 254, {254}}, {false, 255, {255, 0}}, {false, 510, {255, 255, 0}},
        {false, 600, {255, 255, 90}}, {true, 0, {}}, {true, 255, {255}}, {true, 510, {255, 255}},
    };
    for (const Row &r : rows) {
        std::string value(r.length, 'x');
        for (size_t i = 0; i < r.length; i++) value[i] = char(i * 7 + 1);
        if (r.text) write_asm_text(value.data(), r.length);
        else write_string_value(value.data(), r.length);
        Bytes expected;
        size_t at = 0;
        for (size_t piece : r.pieces) {
            expected.push_back(r.text ? uint8_t(REC_ASM_TEXT) : uint8_t(REC_STRING));
            expected.push_back(uint8_t(piece));
            expected.insert(expected.end(), value.begin() + long(at),
                            value.begin() + long(at + piece));
            at += piece;
        }
        EXPECT_EQ(written(), expected) << (r.text ? "text" : "value") << " of length " << r.length;
    }
}

TEST_F(Writer, LiteralsGetALabelAndAreWrittenOnceNewestFirst) {
    write_literals();   // older entries of the pool are out of the way
    written();
    StringConst *unused = pool_string("never used", 10), *older = pool_string("ab", 2);
    StringConst *empty = pool_string("", 0);
    double real = 2.5;
    StringConst *constant = pool_string(&real, 8);
    (void)unused;
    // An address of a literal gives it its label, once.
    ExprNode leaf{};
    leaf.literal = older;
    leaf.lflags = LEAF_LITERAL;
    leaf.value = 3;
    write_address_value(&leaf, 4);
    write_address_value(&leaf, 4);
    uint16_t label = older->label;
    ASSERT_EQ(label % 2, 1);
    uint8_t lo = uint8_t(label), hi = uint8_t(label >> 8);
    EXPECT_EQ(written(), (Bytes{0xC8, 0, lo, hi, 3, 0, 0, 0, 0xC8, 0, lo, hi, 3, 0, 0, 0}));
    empty->label = 0x103;
    constant->label = 0x201;
    constant->variants = 4 | 8;
    write_literals();
    const Bytes expected[] = {
        {0xB8, 2, 0, 0, 0, 0x05, 0x02, 0x85, 4, 0, 0, 0, 0, 0, 0, 0x04, 0x40, 0xD2},   // float at L+4
        {0xB8, 3, 0, 0, 0, 0x07, 0x02, 0x85, 8, 0, 0, 0, 0, 0, 0, 0x04, 0x40, 0xD2},   // double at L+6
        {0xB8, 0, 0, 0, 0, 0x03, 0x01, 0x89, 1, 0, 0, 0, 0, 0xD2},   // the empty string: a 0 byte
        {0xB8, 0, 0, 0, 0, lo, hi, 0x94, 2, 'a', 'b', 0xD2}};
    Bytes all;
    for (const Bytes &part : expected) all.insert(all.end(), part.begin(), part.end());
    EXPECT_EQ(written(), all);
    // A second call writes only a form asked for since.
    constant->variants |= 1;
    write_literals();
    EXPECT_EQ(written(),
              (Bytes{0xB8, 2, 0, 0, 0, 0x01, 0x02, 0x85, 2, 0, 0, 0, 0, 0, 0, 0x04, 0x40, 0xD2}));
    write_literals();
    EXPECT_EQ(written(), Bytes{});
}

// Records of the file level.  A source file record is written when the
// name pointer changes; space names are announced once, oldest first.
TEST_F(Writer, FileLevelRecords) {
    static const char a_name[] = "a.c", other_a[] = "a.c";
    const Bytes a_record = {0x13, 4, 0, 0, 0, 'a', '.', 'c'};
    std::string path = std::string(200, 'd') + "/" + std::string(100, 'f');
    std::string very_long = std::string(46, 'u') + std::string(254, 'v');
    Bytes long_file = {0x13, 255, 0, 0, 0}, cut_name = {0x13, 255, 0, 0, 0};
    long_file.insert(long_file.end(), 100, 'f');
    long_file.push_back(0);
    long_file.insert(long_file.end(), 152, 'd');
    long_file.push_back('/');
    cut_name.insert(cut_name.end(), 254, 'v');
    auto xp = [](const char *name) { opt_xp = 1; write_source_file(name); opt_xp = 0; };
    Symbol *saved = space_list;
    Symbol builtin = make_symbol("near", SC_NONE, nullptr, ATTR_NEAR);
    builtin.flags = SYM_DECLARED;
    Symbol first = make_symbol("sram", SC_NONE, nullptr, 0x80);
    Symbol second = make_symbol("io", SC_NONE, nullptr, 0x40);
    Symbol third = make_symbol("eep", SC_NONE, nullptr, 0x20);
    third.next = &second, second.next = &first, first.next = &builtin;
    check({
        {"a file", [] { write_source_file(a_name); }, a_record},
        {"the same pointer, or none", [] { write_source_file(a_name); write_source_file(nullptr); }, {}},
        // Equal text under another pointer is another entry into a file.
        {"another pointer", [] { write_source_file(other_a); }, a_record},
        {"-xp: file part, then the directory", [&] { xp("x\\y/b.h"); },
         {0x13, 9, 0, 0, 0, 'b', '.', 'h', 0, 'x', '\\', 'y', '/'}},
        {"-xp: a drive and backslashes", [&] { xp("c:\\t\\m.c"); },
         {0x13, 10, 0, 0, 0, 'm', '.', 'c', 0, 'c', ':', '\\', 't', '\\'}},
        {"-xp: no directory part", [&] { xp("m.c"); }, {0x13, 4, 0, 0, 0, 'm', '.', 'c'}},
        {"-xp: a directory that does not fit keeps its end", [&] { xp(path.c_str()); }, long_file},
        {"a name too long keeps its end", [&] { write_source_file(very_long.c_str()); }, cut_name},
        {"space names", [&] { space_list = &second; write_space_names(); },
         {0xBA, 5, 0, 0, 0, 's', 'r', 'a', 'm', 0xBA, 3, 0, 0, 0, 'i', 'o'}},
        {"space names once", [] { write_space_names(); }, {}},
        {"a new space name", [&] { space_list = &third; write_space_names(); },
         {0xBA, 4, 0, 0, 0, 'e', 'e', 'p'}},
        // A new header starts afresh, but a name once announced stays so.
        {"a new header", [] { write_file_header(); write_space_names(); write_source_file(a_name); },
         {0xCB, 0x0C, 0, 0xFF, 0x12, 0x13, 4, 0, 0, 0, 'a', '.', 'c'}},
        // With no source open, the position names the empty file name.
        {"section", [] { write_pragma_section(7, 0xC000, name("bss")); },
         {0x13, 1, 0, 0, 0, 0x14, 7, 0, 0, 0, 0xCC, 0x00, 0xC0, 3, 'b', 's', 's'}},
        {"section without a name", [] { write_pragma_section(8, 0x0800, nullptr); },
         {0x14, 8, 0, 0, 0, 0xCC, 0x00, 0x08, 0}},
    });
    space_list = saved;
}

// Each operator that may reach the file is written under a tag that the
// reader reads back as the same operator, with its number of operands.
TEST(ExprTag, OperatorsReadBackAsThemselves) {
    struct Row { int op; const char *name; int operands; };
    const Row rows[] = {
        {OP_ADD, "+", 2}, {OP_SUB, "-", 2}, {OP_MUL, "*", 2}, {OP_DIV, "/", 2}, {OP_MOD, "%", 2},
        {OP_SHL, "<<", 2}, {OP_SHR, ">>", 2}, {OP_AND, "&", 2}, {OP_XOR, "^", 2}, {OP_OR, "|", 2},
        {OP_LT, "<", 2}, {OP_GE, ">=", 2}, {OP_GT, ">", 2}, {OP_LE, "<=", 2}, {OP_EQ, "==", 2},
        {OP_NE, "!=", 2}, {OP_LOGAND, "&&", 2}, {OP_LOGOR, "||", 2}, {OP_ASSIGN, "=", 2},
        {OP_ADD_ASSIGN, "+=", 2}, {OP_SUB_ASSIGN, "-=", 2}, {OP_MUL_ASSIGN, "*=", 2},
        {OP_DIV_ASSIGN, "/=", 2}, {OP_MOD_ASSIGN, "%=", 2}, {OP_SHL_ASSIGN, "<<=", 2},
        {OP_SHR_ASSIGN, ">>=", 2}, {OP_AND_ASSIGN, "&=", 2}, {OP_XOR_ASSIGN, "^=", 2},
        {OP_OR_ASSIGN, "|=", 2}, {OP_COMMA, "comma", 2}, {OP_COND, "cond", 3},
        {OP_POSTINC, "postinc", 2}, {OP_POSTDEC, "postdec", 2}, {OP_NEG, "neg", 1},
        {OP_NOT, "not", 1}, {OP_COMPL, "compl", 1}, {OP_DEREF, "deref", 1}, {OP_ADDR, "addr", 1},
        {OP_CAST, "cast", 1},
    };
    Bytes file = {0xCB, 0x0C, 0, 0xFF, 0x12, REC_FUNCTION, 2, 0, 0, NK_FUNCTION, 'f', 0, 0, 0, 0,
                  0, 0, REC_FUNCTION_LINES, 1, 0, 0, 0, 1, 0, 0, 0, REC_ARGS_END, 0, 0, 0, 0,
                  REC_REGISTERS, 0, 0, 0, 0, 0, 0, 0, 0};
    const Bytes leaf = {REC_LEAF, TD_INT, 0, 0, 0, 1, 0, 0, 0, 0, 0};
    std::string want, names;
    for (const Row &r : rows) {
        file.insert(file.end(), {REC_EXPR, uint8_t(expr_tag(r.op)), TD_INT});
        for (int i = 0; i < r.operands; i++) file.insert(file.end(), leaf.begin(), leaf.end());
        want += std::string(r.name) + " ";
    }
    file.push_back(REC_FUNCTION_END);
    FILE *out = std::tmpfile(), *err = std::tmpfile();
    EXPECT_EQ(dump_intermediate(file.data(), file.size(), "t.o", false, out, err), 0) << file_text(err);
    std::istringstream lines(file_text(out));
    for (std::string line; std::getline(lines, line);)
        if (line.rfind("  EXPR (", 0) == 0) names += line.substr(8, line.find(' ', 8) - 8) + " ";
    EXPECT_EQ(names, want);
    std::fclose(out);
    std::fclose(err);
    for (int op : {OP_LEAF, OP_CALL, OP_ARG, OP_PRELUDE})
        EXPECT_EQ(expr_tag(op), -1) << "operator " << op;
}

}  // namespace
