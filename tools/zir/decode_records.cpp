// The records of the intermediate file, read in their contexts: the file
// level, a data object, the frame and the statements of a function, and a
// switch table.
#include <cstdio>

#include "zir/decoder.h"

namespace {

bool is_value_tag(uint32_t tag) {
    switch (tag) {
    case REC_INT: case REC_FLOAT: case REC_STRING: case REC_ZEROS:
    case REC_ADDRESS1: case REC_ADDRESS2: case REC_ADDRESS4:
        return true;
    default:
        return false;
    }
}

}  // namespace

bool ZirReader::Decoder::header() {
    static const uint8_t fixed[5] = {HEADER_FIRST, HEADER_SECOND, 0, HEADER_FOURTH, HEADER_FIFTH};
    static const char *const what[5] = {"header byte 0xcb", "header byte 0x0c", "option byte",
                                        "header byte 0xff", "header byte 0x12"};
    for (int i = 0; i < 5; i++) {
        if (pos >= size) return fail_at(pos, what[i], "end of file");
        uint8_t b = data[pos];
        if (i == 2) {
            if (b & HDR_UNUSED_BITS) return fail_byte(pos, "option byte without bits 0xe2");
            options = b;
        } else if (b != fixed[i]) {
            return fail_byte(pos, what[i]);
        }
        pos++;
    }
    return true;
}

// One record: its tag, then its fields by the context it stands in.
bool ZirReader::Decoder::record(ZirRecord *r) {
    record_start = pos;
    nodes.clear();
    uint32_t tag = data[pos++];
    if (string_continues && tag != REC_STRING)
        return fail_tag("REC_STRING continuing a full 255-byte piece");
    string_continues = false;
    r->offset = record_start;
    r->tag = uint8_t(tag);
    r->context = context();
    r->depth = depth_of(tag);
    switch (state) {
    case ZirState::file: return file_record(r);
    case ZirState::data: return data_record(r);
    case ZirState::function_lines:
    case ZirState::reg_args:
    case ZirState::frame:
    case ZirState::registers: return frame_record(r);
    case ZirState::body: return statement_record(r);
    default: return case_record(r);
    }
}

ZirContext ZirReader::Decoder::context() const {
    switch (state) {
    case ZirState::file: return ZIR_FILE;
    case ZirState::data: return ZIR_DATA;
    case ZirState::body: return ZIR_BODY;
    case ZirState::case_records:
    case ZirState::switch_end: return ZIR_CASES;
    default: return ZIR_FRAME;
    }
}

// A data object or function nests its records one step in, with its
// closing record at the level of the opening one; each open counted loop
// and a switch table nest one step further.
uint32_t ZirReader::Decoder::depth_of(uint32_t tag) const {
    uint32_t loops_open = uint32_t(loops.size());
    switch (state) {
    case ZirState::file:
        return 0;
    case ZirState::data:
        return tag != REC_DATA_END;
    case ZirState::body:
        // The close of a counted loop is set back when it has been read.
        return tag == REC_FUNCTION_END ? 0 : 1 + loops_open;
    case ZirState::case_records:
        return 2 + loops_open;
    case ZirState::switch_end:   // only REC_SWITCH_END may stand here
        return 1 + loops_open;
    default:
        return 1;
    }
}

// The end of the file is only valid at file level.
bool ZirReader::Decoder::at_end() {
    record_start = pos;
    if (string_continues) return fail_tag("REC_STRING continuing a full 255-byte piece");
    switch (state) {
    case ZirState::file: return true;
    case ZirState::data: return fail_tag("a value record or REC_DATA_END");
    case ZirState::function_lines: return fail_tag("REC_FUNCTION_LINES");
    case ZirState::reg_args: return fail_tag("REC_REG_ARG or REC_ARGS_END");
    case ZirState::frame: return fail_tag("REC_FRAME_SIZE or REC_REGISTERS");
    case ZirState::registers: return fail_tag("REC_REGISTERS");
    case ZirState::body: return fail_tag("a statement record or REC_FUNCTION_END");
    case ZirState::case_records:
        return fail_tag("REC_CASE_TABLE, REC_CASE_RANGE or REC_CASE_LIST");
    case ZirState::switch_end: return fail_tag("REC_SWITCH_END");
    }
    return true;
}

// ---------------------------------------------------------------------------
// Records that stand both at file level and among statements.

bool ZirReader::Decoder::shared_record(ZirRecord *r, bool *known) {
    uint32_t v;
    *known = true;
    switch (r->tag) {
    case REC_SOURCE_FILE: {
        // A name written without its path holds the file part, a 0 byte and
        // the directory part.
        ZirText text;
        if (!text_block(&text)) return false;
        const void *zero = std::memchr(text.bytes, 0, text.length);
        uint32_t file_part = zero ? uint32_t(static_cast<const uint8_t *>(zero) - text.bytes)
                                  : text.length;
        r->source.name = ZirText{text.bytes, file_part};
        r->source.dir = zero ? ZirText{text.bytes + file_part + 1, text.length - file_part - 1}
                             : ZirText{nullptr, 0};
        return true;
    }
    case REC_LINE:
        return u32(&r->line, "line");
    case REC_ASM_TEXT: {
        size_t at = pos;
        if (!u8(&v, "assembly text length")) return false;
        if (v == 0) return fail_byte(at, "assembly text length 1..255");
        return bytes(v, &r->text, "assembly text");
    }
    default:
        *known = false;
        return true;
    }
}

// ---------------------------------------------------------------------------
// File level.

// REC_EXTERN, REC_PUBLIC, REC_FUNCTION: NameBlock, attribute word, size.
bool ZirReader::Decoder::symbol_decl(ZirRecord *r, uint32_t want) {
    uint32_t attr;
    if (!symbol_name(&r->decl.name, want) || !u16(&attr, "attribute word") ||
        !u32(&r->decl.size, "size"))
        return false;
    r->decl.attr = uint16_t(attr);
    return true;
}

// REC_LITERAL, at file level or within a data object: the alignment, three
// zero bytes and the label of the literal.
bool ZirReader::Decoder::literal_record(ZirRecord *r) {
    uint32_t alignment, label;
    if (!small(&alignment, 3, "alignment", "alignment 0..3") ||
        !zeros(3, "three zero bytes of REC_LITERAL") || !u16(&label, "literal label"))
        return false;
    r->literal.alignment = uint8_t(alignment);
    r->literal.label = uint16_t(label);
    return true;
}

bool ZirReader::Decoder::file_record(ZirRecord *r) {
    uint32_t v, attr;
    bool known;
    if (!shared_record(r, &known)) return false;
    if (known) return true;
    switch (r->tag) {
    case REC_SPACE_NAME:
        return text_block(&r->text);
    case REC_SECTION:
        if (!u16(&attr, "section attribute word") || !u8(&v, "section name length")) return false;
        r->section.attr = uint16_t(attr);
        r->section.name = ZirText{nullptr, 0};
        return v == 0 || bytes(v, &r->section.name, "section name");
    case REC_EXTERN:
    case REC_PUBLIC:
        return symbol_decl(r, 0);
    case REC_FUNCTION:
        if (!symbol_decl(r, NK_FUNCTION)) return false;
        state = ZirState::function_lines;
        return true;
    case REC_DATA:
    case REC_DATA_ATTR: {
        if (!small(&v, 3, "alignment", "alignment 0..3")) return false;
        r->data.alignment = uint8_t(v);
        r->data.attr = 0;
        if (r->tag == REC_DATA_ATTR) {
            size_t at = pos;
            if (!u16(&attr, "attribute word")) return false;
            if (attr == 0) return fail_byte(at, "nonzero attribute word");
            r->data.attr = uint16_t(attr);
        }
        if (!symbol_name(&r->data.name, NK_OBJECT)) return false;
        state = ZirState::data;
        return true;
    }
    case REC_ABSOLUTE:
        if (!zeros(1, "byte 0 of REC_ABSOLUTE") || !symbol_name(&r->absolute.name, 0) ||
            !u32(&r->absolute.address, "address"))
            return false;
        // An object with an initial value follows its address record with
        // the values; a name declared at an address stands alone.
        r->absolute.opens_data =
            pos < size && (is_value_tag(data[pos]) || data[pos] == REC_DATA_END);
        if (r->absolute.opens_data) state = ZirState::data;
        return true;
    case REC_LITERAL:
        if (!literal_record(r)) return false;
        state = ZirState::data;
        return true;
    case REC_DEBUG_LABEL:
    case REC_DEBUG_FUNCTION:
    case REC_DEBUG_FILE:
    case REC_DEBUG_NAME:
        if (!(options & HDR_DEBUG))
            return fail_tag("a file-level record (the header announces no debug information)");
        return debug_record(r);
    default:
        if (!is_value_tag(r->tag)) return fail_tag("a file-level record");
        if (!(options & HDR_DEBUG))
            return fail_tag("a file-level record (values outside a data object are "
                            "debug data, and the header announces none)");
        return value_record(r);
    }
}

bool ZirReader::Decoder::debug_record(ZirRecord *r) {
    uint32_t v;
    switch (r->tag) {
    case REC_DEBUG_LABEL:
        if (!zeros(2, "two zero bytes of REC_DEBUG_LABEL") || !u16(&v, "debug label"))
            return false;
        r->label = uint16_t(v);
        return true;
    case REC_DEBUG_NAME:
        return u8(&v, "debug name length") && bytes(v, &r->text, "debug name");
    default:
        return zeros(1, "byte 0 of a debug record") && text_block(&r->text);
    }
}

// ---------------------------------------------------------------------------
// Data objects.

bool ZirReader::Decoder::data_record(ZirRecord *r) {
    switch (r->tag) {
    case REC_DATA_END:
        state = ZirState::file;
        return true;
    case REC_LITERAL:
        return literal_record(r);
    default:
        if (!is_value_tag(r->tag)) return fail_tag("a value record or REC_DATA_END");
        return value_record(r);
    }
}

// Value records of a data object, and of debug data at file level.
bool ZirReader::Decoder::value_record(ZirRecord *r) {
    uint32_t width;
    ZirText real;
    switch (r->tag) {
    case REC_INT:
        if (!u8(&width, "integer width") || !u32(&r->int_value.value, "integer value"))
            return false;
        r->int_value.width = uint8_t(width);
        return true;
    case REC_FLOAT:
        if (!u8(&width, "real width") || !bytes(8, &real, "8-byte double")) return false;
        r->float_value.width = uint8_t(width);
        r->float_value.bits = zir_u32(real.bytes) | uint64_t(zir_u32(real.bytes + 4)) << 32;
        return true;
    case REC_STRING:
        if (!u8(&width, "string piece length") || !bytes(width, &r->text, "string bytes"))
            return false;
        string_continues = width == MAX_PIECE;
        return true;
    case REC_ZEROS:
        return u32(&r->count, "count of zero bytes");
    default:   // REC_ADDRESS1, REC_ADDRESS2, REC_ADDRESS4
        return ref(&r->address.ref) && u32(&r->address.addend, "addend");
    }
}

// ---------------------------------------------------------------------------
// Functions.

// The fixed head of a function, up to REC_REGISTERS.
bool ZirReader::Decoder::frame_record(ZirRecord *r) {
    uint32_t v;
    switch (state) {
    case ZirState::function_lines:
        if (r->tag != REC_FUNCTION_LINES) return fail_tag("REC_FUNCTION_LINES");
        if (!u32(&r->function_lines.declarator, "line of the declarator") ||
            !u32(&r->function_lines.brace, "line of the opening brace"))
            return false;
        state = ZirState::reg_args;
        return true;
    case ZirState::reg_args:
        if (r->tag == REC_REG_ARG) {
            if (!type_desc(&r->reg_arg.type, true) ||
                !u32(&r->reg_arg.offset, "argument offset") || !u8(&v, "argument location"))
                return false;
            r->reg_arg.location = uint8_t(v);
            return true;
        }
        if (r->tag != REC_ARGS_END) return fail_tag("REC_REG_ARG or REC_ARGS_END");
        if (!u32(&r->args_bytes, "size of the argument area")) return false;
        state = ZirState::frame;
        return true;
    case ZirState::frame:
        if (r->tag == REC_FRAME_SIZE) {
            if (!u32(&v, "lowest frame offset")) return false;
            r->frame_offset = int32_t(v);
            state = ZirState::registers;
            return true;
        }
        [[fallthrough]];
    default:
        if (r->tag != REC_REGISTERS)
            return fail_tag(state == ZirState::frame ? "REC_FRAME_SIZE or REC_REGISTERS"
                                                     : "REC_REGISTERS");
        if (!u32(&r->registers.int_mask, "integer register mask") ||
            !u32(&r->registers.float_mask, "float register mask"))
            return false;
        state = ZirState::body;
        return true;
    }
}

// REC_LABEL and REC_CASE_LABEL: label, line, and a flag only with a line.
bool ZirReader::Decoder::label_record(ZirRecord *r) {
    uint32_t label, flag = 0;
    if (!u16(&label, "label") || !u32(&r->code_label.line, "line")) return false;
    if (r->code_label.line != 0 && !small(&flag, 1, "loop test flag", "loop test flag 0 or 1"))
        return false;
    r->code_label.label = uint16_t(label);
    r->code_label.flag = uint8_t(flag);
    return true;
}

// Phase 1 opens a counted loop and carries its trip count; phase 0 closes
// the innermost open loop, which must have the same label.
bool ZirReader::Decoder::counted_loop(ZirRecord *r) {
    uint32_t label, phase;
    if (!u16(&label, "loop label") || !small(&phase, 1, "loop phase", "loop phase 0 or 1"))
        return false;
    r->counted_loop.label = uint16_t(label);
    r->counted_loop.phase = uint8_t(phase);
    r->counted_loop.count = nullptr;
    if (phase == 1) {
        if (!expression(&r->counted_loop.count)) return false;
        loops.push_back(uint16_t(label));
        return true;
    }
    if (loops.empty())
        return fail_at(record_start, "a statement record or REC_FUNCTION_END",
                       "the close of a counted loop that is not open");
    if (loops.back() != label) {
        char expected[64], found[64];
        std::snprintf(expected, sizeof expected, "the close of the counted loop L%u",
                      unsigned(loops.back()));
        std::snprintf(found, sizeof found, "the close of L%u", label);
        return fail_at(record_start, expected, found);
    }
    loops.pop_back();
    r->depth = 1 + uint32_t(loops.size());
    return true;
}

bool ZirReader::Decoder::statement_record(ZirRecord *r) {
    uint32_t a, b, c, d;
    bool known;
    if (!shared_record(r, &known)) return false;
    if (known) return true;
    switch (r->tag) {
    case REC_POSITION:
        if (!u32(&a, "first line") || !u16(&b, "first column") || !u32(&c, "last line") ||
            !u16(&d, "last column"))
            return false;
        r->position = {a, uint16_t(b), c, uint16_t(d)};
        return true;
    case REC_JUMP:
    case REC_SWITCH1: case REC_SWITCH2: case REC_SWITCH4:
        if (!u16(&a, r->tag == REC_JUMP ? "jump label" : "switch table label")) return false;
        r->label = uint16_t(a);
        return true;
    case REC_LABEL:
    case REC_CASE_LABEL:
        return label_record(r);
    case REC_BRANCH_LT: case REC_BRANCH_GE: case REC_BRANCH_GT:
    case REC_BRANCH_LE: case REC_BRANCH_EQ: case REC_BRANCH_NE:
        if (!u16(&a, "branch label")) return false;
        r->branch.label = uint16_t(a);
        return expression(&r->branch.left) && expression(&r->branch.right);
    case REC_EXPR:
        return expression(&r->expr);
    case REC_RETURN:
        return true;
    case REC_SWITCH_TABLE:
        if (!zeros(1, "byte 0 of REC_SWITCH_TABLE") || !u16(&a, "table label") ||
            !u16(&b, "default label") || !u16(&c, "number of cases") ||
            !u16(&d, "selector width"))
            return false;
        r->switch_table = {uint16_t(a), uint16_t(b), uint16_t(c), uint16_t(d)};
        state = ZirState::case_records;
        return true;
    case REC_COUNTED_LOOP:
        return counted_loop(r);
    case REC_FUNCTION_END:
        if (!loops.empty()) {
            char expected[64];
            std::snprintf(expected, sizeof expected, "the close of the counted loop L%u",
                          unsigned(loops.back()));
            return fail_tag(expected);
        }
        state = ZirState::file;
        return true;
    default:
        return fail_tag("a statement record or REC_FUNCTION_END");
    }
}

// The records of a switch table: dense tables and ranges, then the list.
bool ZirReader::Decoder::case_record(ZirRecord *r) {
    uint32_t a, b, c;
    if (state == ZirState::switch_end) {
        if (r->tag != REC_SWITCH_END) return fail_tag("REC_SWITCH_END");
        state = ZirState::body;
        return true;
    }
    switch (r->tag) {
    case REC_CASE_TABLE:
        if (!u16(&a, "number of table entries") || !u32(&b, "first case value")) return false;
        r->case_table.entries = uint16_t(a);
        r->case_table.first = b;
        // Each label read on its own, so that a short table names the entry
        // where the file ends.
        r->case_table.labels = ZirText{data + pos, 2 * a};
        for (uint32_t i = 0; i < a; i++)
            if (!u16(&c, "label of a table entry")) return false;
        return true;
    case REC_CASE_RANGE:
        if (!u32(&r->case_range.first, "first case value") ||
            !u32(&r->case_range.count, "number of values") || !u16(&c, "label of the range"))
            return false;
        r->case_range.label = uint16_t(c);
        return true;
    case REC_CASE_LIST:
        if (!u16(&a, "number of listed cases")) return false;
        r->case_list.count = uint16_t(a);
        r->case_list.cases = ZirText{data + pos, 6 * a};
        for (uint32_t i = 0; i < a; i++)
            if (!u32(&b, "case value") || !u16(&c, "case label")) return false;
        state = ZirState::switch_end;
        return true;
    default:
        return fail_tag("REC_CASE_TABLE, REC_CASE_RANGE or REC_CASE_LIST");
    }
}

// ---------------------------------------------------------------------------

ZirReader::ZirReader(const uint8_t *data, size_t size)
    : decoder_(std::make_unique<Decoder>(data, size)) {}

ZirReader::~ZirReader() = default;

bool ZirReader::read_header() {
    return decoder_->header();
}

uint8_t ZirReader::options() const {
    return decoder_->options;
}

ZirStatus ZirReader::next(ZirRecord *record) {
    Decoder &d = *decoder_;
    if (d.failed) return ZIR_ERROR;
    if (d.pos >= d.size) return d.at_end() ? ZIR_END : ZIR_ERROR;
    return d.record(record) ? ZIR_RECORD : ZIR_ERROR;
}

const ZirError &ZirReader::error() const {
    return decoder_->error;
}
