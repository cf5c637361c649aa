// The records of the intermediate file: the header, the dispatch of each
// record by the context it stands in, the records that stand in more than
// one context, and the reader's interface.
#include <cstring>

#include "zir/decoder.h"

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
