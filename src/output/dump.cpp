// Reads an intermediate file back and prints it as text, one record per
// line, for people and for tests.
//
// The reader knows the four contexts of the format (file level, data object,
// statement sequence, expression) and the fixed frame of a function, so it
// tells a well-formed file from a malformed one: the first truncated field,
// unknown tag or record out of its context ends the dump with the byte offset
// and what was expected.  Nothing here recurses on the input: expressions are
// read with an explicit stack, so a hostile file cannot exhaust the C stack.
#include "output/records.h"

#include <cmath>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

// Where the reader stands between records.
enum class Context {
    file,           // between functions and data objects
    data,           // inside a data object
    function_lines, // behind REC_FUNCTION
    reg_args,       // REC_REG_ARG records or REC_ARGS_END
    frame,          // REC_FRAME_SIZE or REC_REGISTERS
    registers,      // REC_REGISTERS after REC_FRAME_SIZE
    body,           // statements
    case_records,   // behind REC_SWITCH_TABLE
    switch_end,     // behind REC_CASE_LIST
};

// What may stand in an operand place of an expression.
enum Slot : uint8_t {
    SLOT_EXPR,      // any node but an argument link
    SLOT_ARGS,      // an argument link, or the last argument
};

// An operator node whose operands are being read.
struct OpenNode {
    uint8_t tag;
    uint8_t operands;   // number of operands
    uint8_t done;       // operands read so far
    bool text_read;     // _asm call: the text behind the callee was read
};

const char *operator_name(int tag) {
    switch (tag) {
    case REC_OP_ADD: return "+";
    case REC_OP_SUB: return "-";
    case REC_OP_MUL: return "*";
    case REC_OP_DIV: return "/";
    case REC_OP_MOD: return "%";
    case REC_OP_SHL: return "<<";
    case REC_OP_SHR: return ">>";
    case REC_OP_AND: return "&";
    case REC_OP_XOR: return "^";
    case REC_OP_OR: return "|";
    case REC_OP_LT: return "<";
    case REC_OP_GE: return ">=";
    case REC_OP_GT: return ">";
    case REC_OP_LE: return "<=";
    case REC_OP_EQ: return "==";
    case REC_OP_NE: return "!=";
    case REC_OP_LOGAND: return "&&";
    case REC_OP_LOGOR: return "||";
    case REC_OP_ASSIGN: return "=";
    case REC_OP_ADD_ASSIGN: return "+=";
    case REC_OP_SUB_ASSIGN: return "-=";
    case REC_OP_MUL_ASSIGN: return "*=";
    case REC_OP_DIV_ASSIGN: return "/=";
    case REC_OP_MOD_ASSIGN: return "%=";
    case REC_OP_SHL_ASSIGN: return "<<=";
    case REC_OP_SHR_ASSIGN: return ">>=";
    case REC_OP_AND_ASSIGN: return "&=";
    case REC_OP_XOR_ASSIGN: return "^=";
    case REC_OP_OR_ASSIGN: return "|=";
    case REC_OP_COMMA: return "comma";
    case REC_OP_COND: return "cond";
    case REC_OP_POSTINC: return "postinc";
    case REC_OP_POSTDEC: return "postdec";
    case REC_OP_NEG: return "neg";
    case REC_OP_NOT: return "not";
    case REC_OP_COMPL: return "compl";
    case REC_OP_DEREF: return "deref";
    case REC_OP_ADDR: return "addr";
    case REC_OP_CAST: return "cast";
    case REC_CALL: return "call";
    case REC_CALL_ARGS: return "call";
    case REC_ARG: return "arg";
    case REC_ASM_CALL: return "asm";
    case REC_ASM_CALL_ARGS: return "asm";
    case REC_NEG_IN_PLACE: return "neg-in-place";
    case REC_COMPL_IN_PLACE: return "compl-in-place";
    default: return nullptr;
    }
}

// Number of operands of an expression tag; -1 for a tag that is none.
int operand_count(int tag) {
    switch (tag) {
    case REC_LEAF: return 0;
    case REC_OP_NEG: case REC_OP_NOT: case REC_OP_COMPL: case REC_OP_DEREF:
    case REC_OP_ADDR: case REC_OP_CAST: case REC_NEG_IN_PLACE:
    case REC_COMPL_IN_PLACE: case REC_CALL: case REC_ASM_CALL:
        return 1;
    case REC_OP_COND:
        return 3;
    default:
        return operator_name(tag) ? 2 : -1;
    }
}

class Dumper {
public:
    Dumper(const uint8_t *data, size_t size, const char *name, bool show_offsets,
           FILE *out, FILE *err)
        : data_(data), size_(size), name_(name), show_offsets_(show_offsets),
          out_(out), err_(err) {}

    int run();

private:
    const uint8_t *data_;
    size_t size_;
    size_t pos_ = 0;
    const char *name_;
    bool show_offsets_;
    FILE *out_;
    FILE *err_;

    bool failed_ = false;
    uint8_t options_ = 0;
    Context context_ = Context::file;
    int indent_ = 0;
    size_t record_start_ = 0;
    bool string_continues_ = false;   // the last REC_STRING piece was full
    std::string line_;
    std::vector<OpenNode> nodes_;     // operator nodes of the expression being read
    std::vector<uint16_t> loops_;     // labels of the open counted loops

    // -- failure ------------------------------------------------------------
    bool fail_at(size_t offset, const char *expected, const char *found) {
        if (!failed_)
            std::fprintf(err_, "zirdump: %s: offset %zu (0x%zx): expected %s, found %s\n",
                         name_, offset, offset, expected, found);
        failed_ = true;
        return false;
    }
    bool fail_byte(size_t offset, const char *expected) {
        if (offset >= size_) return fail_at(offset, expected, "end of file");
        char found[32];
        std::snprintf(found, sizeof found, "0x%02x", data_[offset]);
        return fail_at(offset, expected, found);
    }
    bool fail_tag(const char *expected) {
        if (record_start_ >= size_) return fail_at(record_start_, expected, "end of file");
        char found[32];
        std::snprintf(found, sizeof found, "tag 0x%02x", data_[record_start_]);
        return fail_at(record_start_, expected, found);
    }

    // -- fields ---------------------------------------------------------------
    bool need(size_t count, const char *what) {
        if (size_ - pos_ < count) return fail_at(pos_, what, "end of file");
        return true;
    }
    bool u8(uint32_t *v, const char *what) {
        if (!need(1, what)) return false;
        *v = data_[pos_++];
        return true;
    }
    bool u16(uint32_t *v, const char *what) {
        if (!need(2, what)) return false;
        *v = data_[pos_] | uint32_t(data_[pos_ + 1]) << 8;
        pos_ += 2;
        return true;
    }
    bool u32(uint32_t *v, const char *what) {
        if (!need(4, what)) return false;
        *v = data_[pos_] | uint32_t(data_[pos_ + 1]) << 8 |
             uint32_t(data_[pos_ + 2]) << 16 | uint32_t(data_[pos_ + 3]) << 24;
        pos_ += 4;
        return true;
    }
    bool zeros(size_t count, const char *what) {
        for (size_t i = 0; i < count; i++) {
            uint32_t v;
            size_t at = pos_;
            if (!u8(&v, what)) return false;
            if (v != 0) return fail_byte(at, what);
        }
        return true;
    }

    // -- text -------------------------------------------------------------------
    void put(const char *text) { line_ += text; }
    void putf(const char *format, ...) __attribute__((format(printf, 2, 3))) {
        char buffer[96];
        va_list args;
        va_start(args, format);
        int n = std::vsnprintf(buffer, sizeof buffer, format, args);
        va_end(args);
        if (n > 0) line_.append(buffer, size_t(n) < sizeof buffer ? size_t(n) : sizeof buffer - 1);
    }
    void put_text(const uint8_t *bytes, size_t length) {
        line_ += '"';
        for (size_t i = 0; i < length; i++) {
            uint8_t c = bytes[i];
            if (c == '"' || c == '\\') { line_ += '\\'; line_ += char(c); }
            else if (c == '\n') line_ += "\\n";
            else if (c == '\t') line_ += "\\t";
            else if (c >= 0x20 && c < 0x7F) line_ += char(c);
            else putf("\\x%02x", c);
        }
        line_ += '"';
    }
    void put_label(uint32_t label) {
        if (label == 0) put("none");
        else putf("L%u", label);
    }
    // Small numbers read best in decimal, bit patterns in hexadecimal.
    void put_number(uint32_t v) {
        int32_t s = int32_t(v);
        if (s > -65536 && s < 65536) putf("%d", s);
        else putf("0x%08x", v);
    }
    void put_double(const uint8_t *bytes) {
        uint64_t bits = 0;
        for (int i = 7; i >= 0; i--) bits = bits << 8 | bytes[i];
        double d;
        std::memcpy(&d, &bits, sizeof d);
        if (std::isnan(d)) { putf("nan(0x%016llx)", (unsigned long long)bits); return; }
        if (std::isinf(d)) { put(d < 0 ? "-inf" : "inf"); return; }
        // The shortest text that reads back as the same double.
        char buffer[40];
        for (int precision = 1; precision <= 17; precision++) {
            std::snprintf(buffer, sizeof buffer, "%.*g", precision, d);
            if (std::strtod(buffer, nullptr) == d) break;
        }
        put(buffer);
    }
    void put_location(uint32_t location) {
        switch (location) {
        case LOC_STATIC: put("static"); break;
        case LOC_RESULT: put("result"); break;
        case LOC_SELECTOR: put("selector"); break;
        case LOC_ARG: put("arg"); break;
        case LOC_LOCAL: put("local"); break;
        default: putf("reg%u", location - LOC_REGISTER_BASE); break;
        }
    }
    void begin_line() {
        line_.clear();
        if (show_offsets_) putf("%08zx: ", record_start_);
        line_.append(size_t(indent_) * 2, ' ');
    }
    void end_line() {
        line_ += '\n';
        std::fwrite(line_.data(), 1, line_.size(), out_);
    }

    // -- encodings ----------------------------------------------------------------
    struct NameView {
        uint32_t label, kind;
        const uint8_t *text;
        uint32_t length;
        size_t kind_offset;
    };
    bool read_name_block(NameView *view);
    bool name_block(const char *field, uint32_t want);
    bool text_block(NameView *view);
    bool text_record(const char *title);
    bool ref(const char *field);
    bool type_desc(bool attr_allowed);
    bool expression(Slot first);
    bool open_node(Slot slot);
    bool asm_text();

    // -- records ------------------------------------------------------------------
    bool header();
    bool file_record(uint32_t tag);
    bool data_record(uint32_t tag);
    bool frame_record(uint32_t tag);
    bool statement_record(uint32_t tag);
    bool case_record(uint32_t tag);
    bool value_record(uint32_t tag);
    bool literal_record();
    bool shared_record(uint32_t tag, bool *known);
    bool symbol_decl(const char *title, uint32_t want);
    bool label_record(const char *title);
    bool branch_record(const char *title);
    bool at_end();
    int indent_for(uint32_t tag) const;
};

bool Dumper::read_name_block(NameView *view) {
    uint32_t length;
    size_t at = pos_;
    if (!u8(&length, "NameBlock length")) return false;
    if (length == 0) return fail_byte(at, "NameBlock length above 0");
    if (!u16(&view->label, "NameBlock label")) return false;
    view->kind_offset = pos_;
    if (!u8(&view->kind, "NameBlock kind")) return false;
    if (!need(length - 1, "NameBlock text")) return false;
    view->text = data_ + pos_;
    view->length = length - 1;
    pos_ += length - 1;
    return true;
}

// The NameBlock of a Symbol: its kind tells object or function, far and
// absolute.  `want` is the kind without those two bits that the record
// needs, or 0 for any, or NK_FUNCTION for any function kind.
bool Dumper::name_block(const char *field, uint32_t want) {
    NameView view;
    if (!read_name_block(&view)) return false;
    uint32_t base = view.kind & ~uint32_t(NK_FAR | NK_ABSOLUTE);
    bool function = base == NK_FUNCTION || base == NK_FUNCTION_DOUBLE ||
                    base == NK_FUNCTION_STRUCT;
    if (!function && base != NK_OBJECT)
        return fail_byte(view.kind_offset,
                         "NameBlock kind of a name (0x81, 0x84, 0x85, 0x86, +0x08, +0x10)");
    if (want == NK_OBJECT && function)
        return fail_byte(view.kind_offset, "NameBlock kind of an object");
    if (want == NK_FUNCTION && !function)
        return fail_byte(view.kind_offset, "NameBlock kind of a function");
    putf("%s=", field);
    put_text(view.text, view.length);
    put(" label=");
    put_label(view.label);
    putf(" kind=0x%02x", view.kind);
    return true;
}

// A NameBlock with label 0 and kind 0 that only carries a text.
bool Dumper::text_block(NameView *view) {
    if (!read_name_block(view)) return false;
    if (view->label != 0) return fail_byte(view->kind_offset - 2, "NameBlock label 0");
    if (view->kind != 0) return fail_byte(view->kind_offset, "NameBlock kind 0");
    return true;
}

bool Dumper::text_record(const char *title) {
    NameView view;
    if (!text_block(&view)) return false;
    putf("%s name=", title);
    put_text(view.text, view.length);
    return true;
}

bool Dumper::ref(const char *field) {
    if (!need(1, "Ref")) return false;
    putf(" %s=", field);
    if (data_[pos_] != 0) {
        put("{");
        if (!name_block("name", 0)) return false;
        put("}");
        return true;
    }
    pos_++;
    uint32_t label;
    if (!u16(&label, "label of a Ref")) return false;
    put_label(label);
    return true;
}

bool Dumper::type_desc(bool attr_allowed) {
    uint32_t byte, attr = 0, a, b;
    size_t at = pos_;
    if (!u8(&byte, "TypeDesc type byte")) return false;
    bool has_attr = byte & TD_HAS_ATTR;
    if (has_attr && !attr_allowed)
        return fail_byte(at, "TypeDesc without attribute word");
    if (has_attr && !u16(&attr, "TypeDesc attribute word")) return false;
    switch (byte & 0x7F) {
    case TD_CHAR: put("char"); break;
    case TD_UCHAR: put("uchar"); break;
    case TD_SHORT: put("short"); break;
    case TD_USHORT: put("ushort"); break;
    case TD_INT: put("int"); break;
    case TD_UINT: put("uint"); break;
    case TD_FLOAT: put("float"); break;
    case TD_DOUBLE: put("double"); break;
    case TD_REAL_OTHER: put("real12"); break;
    case TD_POINTER:
        if (!u16(&a, "pointer attribute word")) return false;
        putf("ptr(attr=0x%04x)", a);
        break;
    case TD_SHORT_BITS: case TD_INT_BITS: case TD_CHAR_BITS:
        if (!u8(&a, "bit offset") || !u8(&b, "bit width")) return false;
        putf("%s(offset=%u,width=%u)",
             (byte & 0x7F) == TD_SHORT_BITS ? "shortbits"
             : (byte & 0x7F) == TD_INT_BITS ? "intbits" : "charbits", a, b);
        break;
    case TD_STRUCT:
        if (!u32(&a, "struct size")) return false;
        putf("struct(size=%u)", a);
        break;
    default:
        return fail_byte(at, "TypeDesc type byte 1..14");
    }
    if (has_attr) putf(" attr=0x%04x", attr);
    return true;
}

// The text of an _asm call, between its callee and its further arguments.
bool Dumper::asm_text() {
    uint32_t length, end;
    size_t at = pos_;
    if (!u8(&length, "_asm text length")) return false;
    if (length == 0) return fail_byte(at, "_asm text length + 1, above 0");
    if (!need(length - 1, "_asm text")) return false;
    put(" text=");
    put_text(data_ + pos_, length - 1);
    pos_ += length - 1;
    at = pos_;
    if (!u8(&end, "0 byte behind _asm text")) return false;
    if (end != 0) return fail_byte(at, "0 byte behind _asm text");
    return true;
}

// Reads the tag of one node into an operand place; an operator node is
// pushed on `nodes_`, a leaf is read whole.
bool Dumper::open_node(Slot slot) {
    uint32_t tag;
    size_t at = pos_;
    if (!u8(&tag, "expression node")) return false;
    int operands = operand_count(tag);
    if (tag == REC_ARG && slot != SLOT_ARGS) operands = -1;
    if (operands < 0) {
        char found[32];
        std::snprintf(found, sizeof found, "tag 0x%02x", tag);
        return fail_at(at, slot == SLOT_ARGS ? "an expression node or an argument link"
                                             : "an expression node", found);
    }
    put(nodes_.empty() ? "(" : " (");
    if (tag == REC_LEAF) {
        uint32_t value, location, indirect;
        put("leaf ");
        if (!type_desc(true) || !ref("ref")) return false;
        if (!u32(&value, "leaf value")) return false;
        if (!u8(&location, "leaf location")) return false;
        at = pos_;
        if (!u8(&indirect, "leaf indirect")) return false;
        if (indirect > 1) return fail_byte(at, "leaf indirect 0 or 1");
        put(" value=");
        put_number(value);
        put(" loc=");
        put_location(location);
        putf(" indirect=%u)", indirect);
        return true;
    }
    if (tag == REC_ARG) {
        at = pos_;
        if (!need(1, "TypeDesc of int")) return false;
        if (data_[pos_] != TD_INT) return fail_byte(at, "TypeDesc of int behind an argument link");
        pos_++;
        put("arg");
    } else {
        putf("%s ", operator_name(int(tag)));
        if (!type_desc(tag == REC_CALL || tag == REC_CALL_ARGS)) return false;
    }
    nodes_.push_back(OpenNode{uint8_t(tag), uint8_t(operands), 0, false});
    return true;
}

// One expression tree, printed in prefix form on the current line.
bool Dumper::expression(Slot first) {
    nodes_.clear();
    Slot slot = first;
    for (;;) {
        size_t depth = nodes_.size();
        if (!open_node(slot)) return false;
        if (nodes_.size() == depth) {
            // A leaf: one more operand of its parent is complete.
            if (depth == 0) return true;
            nodes_.back().done++;
        }
        // Close every node whose operands are complete.  The text of an
        // _asm call stands between its callee and its further arguments.
        while (!nodes_.empty()) {
            OpenNode &top = nodes_.back();
            if (top.done == 1 && !top.text_read &&
                (top.tag == REC_ASM_CALL || top.tag == REC_ASM_CALL_ARGS)) {
                if (!asm_text()) return false;
                top.text_read = true;
            }
            if (top.done < top.operands) break;
            line_ += ')';
            nodes_.pop_back();
            if (!nodes_.empty()) nodes_.back().done++;
        }
        if (nodes_.empty()) return true;
        const OpenNode &top = nodes_.back();
        bool arguments = (top.tag == REC_CALL_ARGS || top.tag == REC_ASM_CALL_ARGS ||
                          top.tag == REC_ARG) && top.done == 1;
        slot = arguments ? SLOT_ARGS : SLOT_EXPR;
    }
}

bool Dumper::header() {
    static const uint8_t fixed[5] = {HEADER_FIRST, HEADER_SECOND, 0, HEADER_FOURTH, HEADER_FIFTH};
    static const char *const what[5] = {"header byte 0xcb", "header byte 0x0c", "option byte",
                                        "header byte 0xff", "header byte 0x12"};
    for (int i = 0; i < 5; i++) {
        if (pos_ >= size_) return fail_at(pos_, what[i], "end of file");
        uint8_t b = data_[pos_];
        if (i == 2) {
            if (b & HDR_UNUSED_BITS) return fail_byte(pos_, "option byte without bits 0xe2");
            options_ = b;
        } else if (b != fixed[i]) {
            return fail_byte(pos_, what[i]);
        }
        pos_++;
    }
    begin_line();
    putf("HEADER options=0x%02x", options_);
    if (options_ & HDR_SINGLE_FLOAT) put(" -f");
    if (options_ & HDR_DEBUG) put(" -x");
    if (options_ & HDR_DEBUG_DATA) put(" -xd");
    if (options_ & HDR_FLOAT_REGS) put(" -fr");
    end_line();
    return true;
}

// REC_EXTERN, REC_PUBLIC, REC_FUNCTION: NameBlock, attribute word, size.
bool Dumper::symbol_decl(const char *title, uint32_t want) {
    uint32_t attr, size;
    put(title);
    put(" ");
    if (!name_block("name", want)) return false;
    if (!u16(&attr, "attribute word") || !u32(&size, "size")) return false;
    putf(" attr=0x%04x size=%u", attr, size);
    return true;
}

// Records that stand both at file level and among statements.
bool Dumper::shared_record(uint32_t tag, bool *known) {
    uint32_t v;
    *known = true;
    switch (tag) {
    case REC_SOURCE_FILE: {
        // A block made under -xp holds the file part, a 0 byte and the
        // directory part: show the two parts apart.
        NameView view;
        if (!text_block(&view)) return false;
        const void *zero = std::memchr(view.text, 0, view.length);
        uint32_t file_part = zero ? uint32_t(static_cast<const uint8_t *>(zero) - view.text)
                                  : view.length;
        put("SOURCE_FILE name=");
        put_text(view.text, file_part);
        if (zero) {
            put(" dir=");
            put_text(view.text + file_part + 1, view.length - file_part - 1);
        }
        return true;
    }
    case REC_LINE:
        if (!u32(&v, "line")) return false;
        putf("LINE line=%u", v);
        return true;
    case REC_ASM_TEXT: {
        size_t at = pos_;
        if (!u8(&v, "assembly text length")) return false;
        if (v == 0) return fail_byte(at, "assembly text length 1..255");
        if (!need(v, "assembly text")) return false;
        putf("ASM_TEXT length=%u text=", v);
        put_text(data_ + pos_, v);
        pos_ += v;
        return true;
    }
    default:
        *known = false;
        return true;
    }
}

// The body of a REC_LITERAL record, at file level or within a data object:
// the alignment, three zero bytes and the label of the literal.
bool Dumper::literal_record() {
    uint32_t v, label;
    size_t at = pos_;
    if (!u8(&v, "alignment")) return false;
    if (v > 3) return fail_byte(at, "alignment 0..3");
    if (!zeros(3, "three zero bytes of REC_LITERAL") || !u16(&label, "literal label"))
        return false;
    putf("LITERAL align=%u label=", v);
    put_label(label);
    return true;
}

// Value records of a data object, and of debug data at file level.
bool Dumper::value_record(uint32_t tag) {
    uint32_t width, v;
    switch (tag) {
    case REC_INT:
        if (!u8(&width, "integer width") || !u32(&v, "integer value")) return false;
        putf("INT width=%u value=", width);
        put_number(v);
        return true;
    case REC_FLOAT:
        if (!u8(&width, "real width") || !need(8, "8-byte double")) return false;
        putf("FLOAT width=%u value=", width);
        put_double(data_ + pos_);
        pos_ += 8;
        return true;
    case REC_STRING:
        if (!u8(&v, "string piece length") || !need(v, "string bytes")) return false;
        putf("STRING length=%u bytes=", v);
        put_text(data_ + pos_, v);
        pos_ += v;
        string_continues_ = v == MAX_PIECE;
        return true;
    case REC_ZEROS:
        if (!u32(&v, "count of zero bytes")) return false;
        putf("ZEROS count=%u", v);
        return true;
    case REC_ADDRESS1: case REC_ADDRESS2: case REC_ADDRESS4:
        put(tag == REC_ADDRESS1 ? "ADDRESS1" : tag == REC_ADDRESS2 ? "ADDRESS2" : "ADDRESS4");
        if (!ref("ref") || !u32(&v, "addend")) return false;
        put(" addend=");
        put_number(v);
        return true;
    default:
        return fail_tag("a value record");
    }
}

bool Dumper::file_record(uint32_t tag) {
    uint32_t v, attr;
    size_t at;
    bool known;
    if (!shared_record(tag, &known)) return false;
    if (known) return true;
    switch (tag) {
    case REC_SPACE_NAME:
        return text_record("SPACE_NAME");
    case REC_SECTION:
        if (!u16(&attr, "section attribute word") || !u8(&v, "section name length"))
            return false;
        putf("SECTION attr=0x%04x name=", attr);
        if (v == 0) {
            put("none");
            return true;
        }
        if (!need(v, "section name")) return false;
        put_text(data_ + pos_, v);
        pos_ += v;
        return true;
    case REC_EXTERN:
        return symbol_decl("EXTERN", 0);
    case REC_PUBLIC:
        return symbol_decl("PUBLIC", 0);
    case REC_FUNCTION:
        if (!symbol_decl("FUNCTION", NK_FUNCTION)) return false;
        context_ = Context::function_lines;
        return true;
    case REC_DATA:
    case REC_DATA_ATTR:
        at = pos_;
        if (!u8(&v, "alignment")) return false;
        if (v > 3) return fail_byte(at, "alignment 0..3");
        putf("%s align=%u ", tag == REC_DATA ? "DATA" : "DATA_ATTR", v);
        if (tag == REC_DATA_ATTR) {
            at = pos_;
            if (!u16(&attr, "attribute word")) return false;
            if (attr == 0) return fail_byte(at, "nonzero attribute word");
            putf("attr=0x%04x ", attr);
        }
        if (!name_block("name", NK_OBJECT)) return false;
        context_ = Context::data;
        return true;
    case REC_ABSOLUTE:
        put("ABSOLUTE ");
        if (!zeros(1, "byte 0 of REC_ABSOLUTE") || !name_block("name", 0) ||
            !u32(&v, "address"))
            return false;
        putf(" address=0x%08x", v);
        // An object with an initial value follows its address record with
        // the values; a name declared at an address stands alone.
        if (pos_ < size_) {
            switch (data_[pos_]) {
            case REC_INT: case REC_FLOAT: case REC_STRING: case REC_ZEROS:
            case REC_ADDRESS1: case REC_ADDRESS2: case REC_ADDRESS4: case REC_DATA_END:
                context_ = Context::data;
                break;
            }
        }
        return true;
    case REC_LITERAL:
        if (!literal_record()) return false;
        if (context_ == Context::file) context_ = Context::data;
        return true;
    case REC_DEBUG_LABEL:
    case REC_DEBUG_FUNCTION:
    case REC_DEBUG_FILE:
    case REC_DEBUG_NAME:
        if (!(options_ & HDR_DEBUG))
            return fail_tag("a file-level record (the header announces no debug information)");
        if (tag == REC_DEBUG_LABEL) {
            if (!zeros(2, "two zero bytes of REC_DEBUG_LABEL") || !u16(&v, "debug label"))
                return false;
            put("DEBUG_LABEL label=");
            put_label(v);
            return true;
        }
        if (tag == REC_DEBUG_NAME) {
            if (!u8(&v, "debug name length") || !need(v, "debug name")) return false;
            put("DEBUG_NAME name=");
            put_text(data_ + pos_, v);
            pos_ += v;
            return true;
        }
        return zeros(1, "byte 0 of a debug record") &&
               text_record(tag == REC_DEBUG_FILE ? "DEBUG_FILE" : "DEBUG_FUNCTION");
    case REC_INT: case REC_FLOAT: case REC_STRING: case REC_ZEROS:
    case REC_ADDRESS1: case REC_ADDRESS2: case REC_ADDRESS4:
        if (!(options_ & HDR_DEBUG))
            return fail_tag("a file-level record (values outside a data object are "
                            "debug data, and the header announces none)");
        return value_record(tag);
    default:
        return fail_tag("a file-level record");
    }
}

bool Dumper::data_record(uint32_t tag) {
    switch (tag) {
    case REC_DATA_END:
        context_ = Context::file;
        put("DATA_END");
        return true;
    case REC_LITERAL:
        return literal_record();
    case REC_INT: case REC_FLOAT: case REC_STRING: case REC_ZEROS:
    case REC_ADDRESS1: case REC_ADDRESS2: case REC_ADDRESS4:
        return value_record(tag);
    default:
        return fail_tag("a value record or REC_DATA_END");
    }
}

// The fixed head of a function, up to REC_REGISTERS.
bool Dumper::frame_record(uint32_t tag) {
    uint32_t a, b;
    switch (context_) {
    case Context::function_lines:
        if (tag != REC_FUNCTION_LINES) return fail_tag("REC_FUNCTION_LINES");
        if (!u32(&a, "line of the declarator") || !u32(&b, "line of the opening brace"))
            return false;
        putf("FUNCTION_LINES declarator=%u brace=%u", a, b);
        context_ = Context::reg_args;
        return true;
    case Context::reg_args:
        if (tag == REC_REG_ARG) {
            put("REG_ARG type=");
            if (!type_desc(true) || !u32(&a, "argument offset") || !u8(&b, "argument location"))
                return false;
            putf(" offset=%d location=", int32_t(a));
            if (b == 0) put("memory");
            else put_location(b);
            return true;
        }
        if (tag != REC_ARGS_END) return fail_tag("REC_REG_ARG or REC_ARGS_END");
        if (!u32(&a, "size of the argument area")) return false;
        putf("ARGS_END bytes=%u", a);
        context_ = Context::frame;
        return true;
    case Context::frame:
        if (tag == REC_FRAME_SIZE) {
            if (!u32(&a, "lowest frame offset")) return false;
            putf("FRAME_SIZE offset=%d", int32_t(a));
            context_ = Context::registers;
            return true;
        }
        [[fallthrough]];
    default:
        if (tag != REC_REGISTERS)
            return fail_tag(context_ == Context::frame ? "REC_FRAME_SIZE or REC_REGISTERS"
                                                       : "REC_REGISTERS");
        if (!u32(&a, "integer register mask") || !u32(&b, "float register mask")) return false;
        putf("REGISTERS int=0x%05x float=0x%05x", a, b);
        context_ = Context::body;
        return true;
    }
}

// REC_LABEL and REC_CASE_LABEL: label, line, and a flag only with a line.
bool Dumper::label_record(const char *title) {
    uint32_t label, line, flag;
    if (!u16(&label, "label") || !u32(&line, "line")) return false;
    putf("%s label=", title);
    put_label(label);
    putf(" line=%u", line);
    if (line != 0) {
        size_t at = pos_;
        if (!u8(&flag, "loop test flag")) return false;
        if (flag > 1) return fail_byte(at, "loop test flag 0 or 1");
        putf(" flag=%u", flag);
    }
    return true;
}

bool Dumper::branch_record(const char *title) {
    uint32_t label;
    if (!u16(&label, "branch label")) return false;
    putf("%s label=", title);
    put_label(label);
    put(" left=");
    if (!expression(SLOT_EXPR)) return false;
    put(" right=");
    return expression(SLOT_EXPR);
}

bool Dumper::statement_record(uint32_t tag) {
    uint32_t a, b, c, d;
    bool known;
    if (!shared_record(tag, &known)) return false;
    if (known) return true;
    switch (tag) {
    case REC_POSITION:
        if (!u32(&a, "first line") || !u16(&b, "first column") || !u32(&c, "last line") ||
            !u16(&d, "last column"))
            return false;
        putf("POSITION first=%u:%u last=%u:%u", a, b, c, d);
        return true;
    case REC_JUMP:
        if (!u16(&a, "jump label")) return false;
        put("JUMP label=");
        put_label(a);
        return true;
    case REC_LABEL: return label_record("LABEL");
    case REC_CASE_LABEL: return label_record("CASE_LABEL");
    case REC_BRANCH_LT: return branch_record("BRANCH_LT");
    case REC_BRANCH_GE: return branch_record("BRANCH_GE");
    case REC_BRANCH_GT: return branch_record("BRANCH_GT");
    case REC_BRANCH_LE: return branch_record("BRANCH_LE");
    case REC_BRANCH_EQ: return branch_record("BRANCH_EQ");
    case REC_BRANCH_NE: return branch_record("BRANCH_NE");
    case REC_EXPR:
        put("EXPR ");
        return expression(SLOT_EXPR);
    case REC_RETURN:
        put("RETURN");
        return true;
    case REC_SWITCH1: case REC_SWITCH2: case REC_SWITCH4:
        if (!u16(&a, "switch table label")) return false;
        putf("%s table=", tag == REC_SWITCH1 ? "SWITCH1" : tag == REC_SWITCH2 ? "SWITCH2" : "SWITCH4");
        put_label(a);
        return true;
    case REC_SWITCH_TABLE:
        if (!zeros(1, "byte 0 of REC_SWITCH_TABLE") || !u16(&a, "table label") ||
            !u16(&b, "default label") || !u16(&c, "number of cases") ||
            !u16(&d, "selector width"))
            return false;
        put("SWITCH_TABLE table=");
        put_label(a);
        put(" default=");
        put_label(b);
        putf(" cases=%u width=%u", c, d);
        context_ = Context::case_records;
        return true;
    case REC_COUNTED_LOOP: {
        if (!u16(&a, "loop label")) return false;
        size_t at = pos_;
        if (!u8(&b, "loop phase")) return false;
        if (b > 1) return fail_byte(at, "loop phase 0 or 1");
        if (b == 0) {
            if (loops_.empty())
                return fail_at(record_start_, "a statement record or REC_FUNCTION_END",
                               "the close of a counted loop that is not open");
            if (loops_.back() != a) {
                char expected[64], found[64];
                std::snprintf(expected, sizeof expected, "the close of the counted loop L%u",
                              unsigned(loops_.back()));
                std::snprintf(found, sizeof found, "the close of L%u", a);
                return fail_at(record_start_, expected, found);
            }
            loops_.pop_back();
            indent_--;
            begin_line();
            put("COUNTED_LOOP label=");
            put_label(a);
            put(" phase=0");
            return true;
        }
        put("COUNTED_LOOP label=");
        put_label(a);
        put(" phase=1 count=");
        if (!expression(SLOT_EXPR)) return false;
        loops_.push_back(uint16_t(a));
        return true;
    }
    case REC_FUNCTION_END:
        if (!loops_.empty()) {
            char expected[64];
            std::snprintf(expected, sizeof expected, "the close of the counted loop L%u",
                          unsigned(loops_.back()));
            return fail_tag(expected);
        }
        context_ = Context::file;
        indent_ = 0;
        begin_line();
        put("FUNCTION_END");
        return true;
    default:
        return fail_tag("a statement record or REC_FUNCTION_END");
    }
}

// The records of a switch table: dense tables and ranges, then the list.
bool Dumper::case_record(uint32_t tag) {
    uint32_t a, b, c;
    if (context_ == Context::switch_end) {
        if (tag != REC_SWITCH_END) return fail_tag("REC_SWITCH_END");
        context_ = Context::body;
        indent_--;
        begin_line();
        put("SWITCH_END");
        return true;
    }
    switch (tag) {
    case REC_CASE_TABLE:
        if (!u16(&a, "number of table entries") || !u32(&b, "first case value")) return false;
        putf("CASE_TABLE entries=%u first=", a);
        put_number(b);
        put(" labels=[");
        for (uint32_t i = 0; i < a; i++) {
            if (!u16(&c, "label of a table entry")) return false;
            if (i) put(" ");
            put_label(c);
        }
        put("]");
        return true;
    case REC_CASE_RANGE:
        if (!u32(&a, "first case value") || !u32(&b, "number of values") ||
            !u16(&c, "label of the range"))
            return false;
        put("CASE_RANGE first=");
        put_number(a);
        putf(" count=%u label=", b);
        put_label(c);
        return true;
    case REC_CASE_LIST:
        if (!u16(&a, "number of listed cases")) return false;
        putf("CASE_LIST count=%u cases=[", a);
        for (uint32_t i = 0; i < a; i++) {
            if (!u32(&b, "case value") || !u16(&c, "case label")) return false;
            if (i) put(" ");
            put_number(b);
            put(":");
            put_label(c);
        }
        put("]");
        context_ = Context::switch_end;
        return true;
    default:
        return fail_tag("REC_CASE_TABLE, REC_CASE_RANGE or REC_CASE_LIST");
    }
}

// Records inside a data object or function stand one step in, and their
// closing record at the level of the opening one; debug values at file level
// stand one step in under their debug label; the body of a counted loop and
// the entries of a switch table one step further.
int Dumper::indent_for(uint32_t tag) const {
    switch (context_) {
    case Context::file:
        return tag == REC_INT || tag == REC_FLOAT || tag == REC_STRING || tag == REC_ZEROS ||
               tag == REC_ADDRESS1 || tag == REC_ADDRESS2 || tag == REC_ADDRESS4;
    case Context::data:
        return tag != REC_DATA_END;
    case Context::body:
        return 1 + int(loops_.size());
    case Context::case_records:
    case Context::switch_end:
        return 2 + int(loops_.size());
    default:
        return 1;
    }
}

// The end of the file is only valid at file level.
bool Dumper::at_end() {
    record_start_ = pos_;
    if (string_continues_) return fail_tag("REC_STRING continuing a full 255-byte piece");
    switch (context_) {
    case Context::file: return true;
    case Context::data: return fail_tag("a value record or REC_DATA_END");
    case Context::function_lines: return fail_tag("REC_FUNCTION_LINES");
    case Context::reg_args: return fail_tag("REC_REG_ARG or REC_ARGS_END");
    case Context::frame: return fail_tag("REC_FRAME_SIZE or REC_REGISTERS");
    case Context::registers: return fail_tag("REC_REGISTERS");
    case Context::body: return fail_tag("a statement record or REC_FUNCTION_END");
    case Context::case_records: return fail_tag("REC_CASE_TABLE, REC_CASE_RANGE or REC_CASE_LIST");
    case Context::switch_end: return fail_tag("REC_SWITCH_END");
    }
    return true;
}

int Dumper::run() {
    record_start_ = 0;
    if (!header()) return 1;
    while (pos_ < size_) {
        record_start_ = pos_;
        uint32_t tag = data_[pos_++];
        if (string_continues_ && tag != REC_STRING) {
            fail_tag("REC_STRING continuing a full 255-byte piece");
            return 1;
        }
        string_continues_ = false;
        indent_ = indent_for(tag);
        begin_line();
        bool ok;
        switch (context_) {
        case Context::file: ok = file_record(tag); break;
        case Context::data: ok = data_record(tag); break;
        case Context::function_lines:
        case Context::reg_args:
        case Context::frame:
        case Context::registers: ok = frame_record(tag); break;
        case Context::body: ok = statement_record(tag); break;
        default: ok = case_record(tag); break;
        }
        if (!ok) return 1;
        end_line();
    }
    return at_end() ? 0 : 1;
}

}  // namespace

int dump_intermediate(const uint8_t *data, size_t size, const char *name, bool show_offsets,
                      FILE *out, FILE *err) {
    Dumper dumper(data, size, name, show_offsets, out, err);
    return dumper.run();
}
