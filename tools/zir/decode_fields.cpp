// The encodings of the intermediate file: NameBlock, Ref, TypeDesc and
// expression trees, each checked as it is read.
#include <cstdio>

#include "zir/decoder.h"

namespace {

// The number of operands of an expression tag; -1 for a tag that is none.
int operand_count(uint32_t tag) {
    switch (tag) {
    case REC_LEAF:
        return 0;
    case REC_OP_NEG: case REC_OP_NOT: case REC_OP_COMPL: case REC_OP_DEREF:
    case REC_OP_ADDR: case REC_OP_CAST: case REC_NEG_IN_PLACE: case REC_COMPL_IN_PLACE:
    case REC_CALL: case REC_ASM_CALL:
        return 1;
    case REC_OP_COND:
        return 3;
    case REC_OP_ADD: case REC_OP_SUB: case REC_OP_MUL: case REC_OP_DIV: case REC_OP_MOD:
    case REC_OP_SHL: case REC_OP_SHR: case REC_OP_AND: case REC_OP_XOR: case REC_OP_OR:
    case REC_OP_LT: case REC_OP_GE: case REC_OP_GT: case REC_OP_LE: case REC_OP_EQ:
    case REC_OP_NE: case REC_OP_LOGAND: case REC_OP_LOGOR:
    case REC_OP_ASSIGN: case REC_OP_ADD_ASSIGN: case REC_OP_SUB_ASSIGN:
    case REC_OP_MUL_ASSIGN: case REC_OP_DIV_ASSIGN: case REC_OP_MOD_ASSIGN:
    case REC_OP_SHL_ASSIGN: case REC_OP_SHR_ASSIGN: case REC_OP_AND_ASSIGN:
    case REC_OP_XOR_ASSIGN: case REC_OP_OR_ASSIGN:
    case REC_OP_COMMA: case REC_OP_POSTINC: case REC_OP_POSTDEC:
    case REC_CALL_ARGS: case REC_ARG: case REC_ASM_CALL_ARGS:
        return 2;
    default:
        return -1;
    }
}

bool is_asm_call(uint32_t tag) { return tag == REC_ASM_CALL || tag == REC_ASM_CALL_ARGS; }

}  // namespace

// ---------------------------------------------------------------------------

bool ZirReader::Decoder::fail_at(size_t offset, const char *expected, const char *found) {
    if (!failed) error = ZirError{offset, expected, found};
    failed = true;
    return false;
}

bool ZirReader::Decoder::fail_byte(size_t offset, const char *expected) {
    if (offset >= size) return fail_at(offset, expected, "end of file");
    char found[32];
    std::snprintf(found, sizeof found, "0x%02x", data[offset]);
    return fail_at(offset, expected, found);
}

bool ZirReader::Decoder::fail_tag(const char *expected) {
    if (record_start >= size) return fail_at(record_start, expected, "end of file");
    char found[32];
    std::snprintf(found, sizeof found, "tag 0x%02x", data[record_start]);
    return fail_at(record_start, expected, found);
}

bool ZirReader::Decoder::zeros(size_t count, const char *what) {
    for (size_t i = 0; i < count; i++) {
        uint32_t v;
        size_t at = pos;
        if (!u8(&v, what)) return false;
        if (v != 0) return fail_byte(at, what);
    }
    return true;
}

bool ZirReader::Decoder::small(uint32_t *v, uint32_t max, const char *what,
                               const char *expected) {
    size_t at = pos;
    if (!u8(v, what)) return false;
    if (*v > max) return fail_byte(at, expected);
    return true;
}

// ---------------------------------------------------------------------------
// NameBlock: u8 length (text + 1), u16 label, u8 kind, the text.

bool ZirReader::Decoder::read_name_block(ZirName *name, size_t *kind_offset) {
    uint32_t length, label, kind;
    size_t at = pos;
    if (!u8(&length, "NameBlock length")) return false;
    if (length == 0) return fail_byte(at, "NameBlock length above 0");
    if (!u16(&label, "NameBlock label")) return false;
    *kind_offset = pos;
    if (!u8(&kind, "NameBlock kind") || !bytes(length - 1, &name->text, "NameBlock text"))
        return false;
    name->label = uint16_t(label);
    name->kind = uint8_t(kind);
    return true;
}

// The NameBlock of a Symbol: its kind tells object or function, far and
// absolute.  `want` is the kind, without those two bits, that the record
// needs: NK_OBJECT, NK_FUNCTION for any function kind, or 0 for any.
bool ZirReader::Decoder::symbol_name(ZirName *name, uint32_t want) {
    size_t kind_offset = 0;
    if (!read_name_block(name, &kind_offset)) return false;
    uint32_t base = name->kind & ~uint32_t(NK_FAR | NK_ABSOLUTE);
    bool function = base == NK_FUNCTION || base == NK_FUNCTION_DOUBLE ||
                    base == NK_FUNCTION_STRUCT;
    if (!function && base != NK_OBJECT)
        return fail_byte(kind_offset,
                         "NameBlock kind of a name (0x81, 0x84, 0x85, 0x86, +0x08, +0x10)");
    if (want == NK_OBJECT && function)
        return fail_byte(kind_offset, "NameBlock kind of an object");
    if (want == NK_FUNCTION && !function)
        return fail_byte(kind_offset, "NameBlock kind of a function");
    return true;
}

// A NameBlock with label 0 and kind 0 that only carries a text.
bool ZirReader::Decoder::text_block(ZirText *text) {
    ZirName name{};
    size_t kind_offset = 0;
    if (!read_name_block(&name, &kind_offset)) return false;
    if (name.label != 0) return fail_byte(kind_offset - 2, "NameBlock label 0");
    if (name.kind != 0) return fail_byte(kind_offset, "NameBlock kind 0");
    *text = name.text;
    return true;
}

// Ref: a NameBlock when the first byte is not 0, else 0 and a label.
bool ZirReader::Decoder::ref(ZirRef *r) {
    if (!need(1, "Ref")) return false;
    r->named = data[pos] != 0;
    if (r->named) return symbol_name(&r->name, 0);
    pos++;
    uint32_t label;
    if (!u16(&label, "label of a Ref")) return false;
    r->label = uint16_t(label);
    return true;
}

bool ZirReader::Decoder::type_desc(ZirType *type, bool attr_allowed) {
    uint32_t byte, attr = 0, a, b;
    size_t at = pos;
    *type = ZirType{};
    if (!u8(&byte, "TypeDesc type byte")) return false;
    type->has_attr = byte & TD_HAS_ATTR;
    if (type->has_attr && !attr_allowed)
        return fail_byte(at, "TypeDesc without attribute word");
    if (type->has_attr && !u16(&attr, "TypeDesc attribute word")) return false;
    type->code = uint8_t(byte & ~TD_HAS_ATTR);
    type->attr = uint16_t(attr);
    switch (type->code) {
    case TD_CHAR: case TD_UCHAR: case TD_SHORT: case TD_USHORT: case TD_INT: case TD_UINT:
    case TD_FLOAT: case TD_DOUBLE: case TD_REAL_OTHER:
        return true;
    case TD_POINTER:
        if (!u16(&a, "pointer attribute word")) return false;
        type->pointee_attr = uint16_t(a);
        return true;
    case TD_SHORT_BITS: case TD_INT_BITS: case TD_CHAR_BITS:
        if (!u8(&a, "bit offset") || !u8(&b, "bit width")) return false;
        type->bits.offset = uint8_t(a);
        type->bits.width = uint8_t(b);
        return true;
    case TD_STRUCT:
        return u32(&type->size, "struct size");
    default:
        return fail_byte(at, "TypeDesc type byte 1..14");
    }
}

// ---------------------------------------------------------------------------
// Expressions.

// The text of an _asm call, between its callee and its further arguments:
// u8 length + 1, the bytes, a 0 byte.
bool ZirReader::Decoder::asm_text(ZirText *text) {
    uint32_t length, end;
    size_t at = pos;
    if (!u8(&length, "_asm text length")) return false;
    if (length == 0) return fail_byte(at, "_asm text length + 1, above 0");
    if (!bytes(length - 1, text, "_asm text")) return false;
    at = pos;
    if (!u8(&end, "0 byte behind _asm text")) return false;
    if (end != 0) return fail_byte(at, "0 byte behind _asm text");
    return true;
}

// Reads one node into an operand place: a leaf whole, an operator node up
// to its operands.
bool ZirReader::Decoder::open_node(ZirSlot slot, ZirNode **out) {
    uint32_t tag;
    size_t at = pos;
    if (!u8(&tag, "expression node")) return false;
    int operands = operand_count(tag);
    if (tag == REC_ARG && slot != ZirSlot::args) operands = -1;
    if (operands < 0) {
        char found[32];
        std::snprintf(found, sizeof found, "tag 0x%02x", tag);
        return fail_at(at, slot == ZirSlot::args ? "an expression node or an argument link"
                                                 : "an expression node", found);
    }
    ZirNode &node = nodes.emplace_back();
    node.tag = uint8_t(tag);
    node.operand_count = uint8_t(operands);
    *out = &node;
    if (tag == REC_LEAF) {
        uint32_t value, location, indirect;
        if (!type_desc(&node.type, true) || !ref(&node.leaf.base) ||
            !u32(&value, "leaf value") || !u8(&location, "leaf location") ||
            !small(&indirect, 1, "leaf indirect", "leaf indirect 0 or 1"))
            return false;
        node.leaf.value = value;
        node.leaf.location = uint8_t(location);
        node.leaf.indirect = uint8_t(indirect);
        return true;
    }
    node.op = {};
    if (tag == REC_ARG) {
        // An argument link always has the TypeDesc of int.
        at = pos;
        if (!need(1, "TypeDesc of int")) return false;
        if (data[pos] != TD_INT) return fail_byte(at, "TypeDesc of int behind an argument link");
        pos++;
        node.type.code = TD_INT;
        return true;
    }
    return type_desc(&node.type, tag == REC_CALL || tag == REC_CALL_ARGS);
}

// One expression tree in prefix order.  The operator nodes whose operands
// are still to come wait on `open`, so the depth of the tree costs heap, not
// C stack.
bool ZirReader::Decoder::expression(const ZirNode **root) {
    open.clear();
    ZirSlot slot = ZirSlot::expr;
    for (;;) {
        ZirNode *node;
        if (!open_node(slot, &node)) return false;
        if (open.empty()) *root = node;
        else open.back().node->op.operand[open.back().done] = node;
        if (node->operand_count > 0) open.push_back(OpenNode{node, 0, false});
        else if (open.empty()) return true;
        else open.back().done++;
        // Close every node whose operands are complete.  The text of an
        // _asm call stands between its callee and its further arguments.
        while (!open.empty()) {
            OpenNode &top = open.back();
            if (top.done == 1 && !top.text_read && is_asm_call(top.node->tag)) {
                if (!asm_text(&top.node->op.text)) return false;
                top.text_read = true;
            }
            if (top.done < top.node->operand_count) break;
            open.pop_back();
            if (!open.empty()) open.back().done++;
        }
        if (open.empty()) return true;
        const OpenNode &top = open.back();
        uint32_t tag = top.node->tag;
        bool arguments = (tag == REC_CALL_ARGS || tag == REC_ASM_CALL_ARGS || tag == REC_ARG) &&
                         top.done == 1;
        slot = arguments ? ZirSlot::args : ZirSlot::expr;
    }
}
