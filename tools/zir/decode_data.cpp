// Records of the file level and of data objects, debug data included.
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

