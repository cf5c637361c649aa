// Types in the debug data.  A type is a 32-bit word: the base type in the
// low 8 bits and, from bit 31 down to bit 8, two bits for each derivation,
// the outermost first (1 pointer, 2 function, 3 array), so at most 12
// derivations.  Beside the word stands the type data: the attribute word
// of the object, the value of each derivation (a pointer's attributes, 0 for
// a function, an array's element count), a bit-field's place, and for a
// struct, union or enum its layout, described once per file.
#include "output/debug/debug_writer.h"

#include "decl/symbol.h"
#include "decl/type.h"
#include "lexer/token.h"

namespace {

constexpr int MAX_DERIVATIONS = 12;
constexpr int FIRST_DERIVATION_SHIFT = 30;

// Kind bytes of the name node of a tag.
constexpr uint32_t KIND_STRUCT_TAG = 10;
constexpr uint32_t KIND_UNION_TAG = 11;
constexpr uint32_t KIND_ENUM_TAG = 13;

bool is_derivation(const TypeNode *type) {
    return type->code == TY_POINTER || type->code == TY_ARRAY || type->code == TY_FUNCTION;
}

uint32_t derivation_code(const TypeNode *type) {
    switch (type->code) {
    case TY_POINTER: return 1;
    case TY_FUNCTION: return 2;
    default: return 3;
    }
}

bool is_aggregate_base(const TypeNode *type) {
    return type->code == TY_STRUCT || type->code == TY_UNION || type->code == TY_ENUM;
}

uint32_t base_code(const TypeNode *type) {
    switch (type->code) {
    case TY_CHAR: return 8;
    case TY_UCHAR: return 10;
    case TY_CHAR_BITS: return 11;
    case TY_SHORT: return 16;
    case TY_USHORT: return 17;
    case TY_SHORT_BITS: return 18;
    case TY_INT: return 24;
    case TY_UINT: return 26;
    case TY_LONG: return 32;
    case TY_ULONG: return 33;
    case TY_INT_BITS: case TY_LONG_BITS: return 34;
    case TY_FLOAT: return 40;
    case TY_DOUBLE: return 41;
    case TY_STRUCT: return 72;
    case TY_UNION: return 73;
    case TY_VOID: return 80;
    case TY_ENUM: {
        // By the integer type that holds the values: char, short, int, long.
        int width = type->next ? width_class(type->next->code) : width_class(TY_INT);
        if (width <= width_class(TY_CHAR)) return 75;
        if (width == width_class(TY_SHORT)) return 76;
        if (width == width_class(TY_INT)) return 77;
        return 78;
    }
    default: return 0;
    }
}

uint32_t type_word(TypeNode *type) {
    uint32_t word = 0;
    int shift = FIRST_DERIVATION_SHIFT;
    for (; type != nullptr && is_derivation(type); type = type->next) {
        if (shift >= 8) word |= derivation_code(type) << shift;
        shift -= 2;
    }
    if (type != nullptr) word |= base_code(type);
    return word;
}

// The word as the target, which is big-endian, reads it from a 4-byte
// value: the most significant byte first in the file.
uint32_t reversed(uint32_t word) {
    return (word >> 24) | ((word >> 8) & 0xFF00) | ((word << 8) & 0xFF0000) | (word << 24);
}

// The members of a struct or union, or the constants of an enum, which are
// chained through enum_link up to the one that holds the integer type.
template <typename Visit>
void for_each_member(TypeNode *base, Visit visit) {
    Symbol *member = base->members;
    if (base->code != TY_ENUM) {
        for (; member != nullptr; member = member->next) visit(member);
        return;
    }
    while (member != nullptr) {
        Symbol *after = (member->flags & SYM_LAST_ENUM) ? nullptr : member->enum_link;
        visit(member);
        member = after;
    }
}

uint32_t tag_kind(const TypeNode *base) {
    if (base->code == TY_STRUCT) return KIND_STRUCT_TAG;
    if (base->code == TY_UNION) return KIND_UNION_TAG;
    return KIND_ENUM_TAG;
}

// The layout of a struct, union or enum: a link to its tag's name node,
// the members' entries, a null link, and for a struct or union its size.
// The members' name nodes and type data, and the tag's name node, stand
// in front of it.
void write_layout(TypeNode *base) {
    base->dbg_label = new_debug_label();
    write_debug_link(base->dbg_label);
    for_each_member(base, [](Symbol *member) { write_debug_symbol(member, 0); });
    Symbol *tag = base->tag;
    uint16_t tag_label;
    if (tag != nullptr && tag->dbg_label > file_name_label) {
        tag_label = tag->dbg_label;
    } else {
        tag_label = new_debug_label();
        write_debug_label(tag_label);
        if (tag != nullptr) {
            tag->dbg_label = tag_label;
            write_debug_string(tag->name ? tag->name->text : "", tag->name ? tag->name->length : 0);
        } else {
            write_debug_int1(0);
        }
        write_debug_int1(tag_kind(base));
    }
    write_debug_label(base->dbg_label);
    write_debug_link(tag_label);
    for_each_member(base, [](Symbol *member) { write_debug_symbol(member, 1); });
    write_debug_link(0);
    if (base->code != TY_ENUM) write_debug_int4(base->size);
}

// The type data of `head` as declared for `sym`.  The label of the data,
// where any is written, goes to sym->dbg_type_label, which the type word's
// link names: a type node may be shared by many objects (a base type, a
// typedef's chain), and each object's entry must lead to its own data.
void write_type_data(TypeNode *head, Symbol *sym) {
    sym->dbg_type_label = 0;
    int derivations = 0;
    TypeNode *type = head;
    for (; type != nullptr && is_derivation(type); type = type->next) {
        if (derivations == MAX_DERIVATIONS) {
            report("type too complex for debug");
            return;
        }
        if (derivations == 0) {
            head->dbg_label = new_debug_label();
            sym->dbg_type_label = head->dbg_label;
            write_debug_label(head->dbg_label);
            write_debug_int4(sym->attr);
        }
        derivations++;
        uint32_t value = 0;
        if (type->code == TY_POINTER) value = type->attr;
        else if (type->code == TY_ARRAY) value = uint32_t(type->dim);
        write_debug_int4(value);
    }
    TypeNode *base = type;
    if (base == nullptr) return;
    if (is_aggregate_base(base)) {
        uint16_t place = new_debug_label();
        write_debug_label(place);
        if (derivations == 0) {
            sym->dbg_type_label = place;
            write_debug_int4(sym->attr);
        }
        if (base->dbg_label != 0 && base->dbg_label > file_name_label)
            write_debug_link(base->dbg_label);
        else
            write_layout(base);
        return;
    }
    bool bit_field = is_bit_field_code(base->code);
    if (derivations != 0) {
        if (bit_field) write_debug_int4(uint32_t(base->bit_offset) * 256 + base->bit_width);
        return;
    }
    if (!bit_field && sym->attr == 0) return;
    head->dbg_label = new_debug_label();
    sym->dbg_type_label = head->dbg_label;
    write_debug_label(head->dbg_label);
    write_debug_int4(sym->attr);
    if (bit_field) write_debug_int4(uint32_t(base->bit_offset) * 256 + base->bit_width);
}

}  // namespace

void write_debug_type(TypeNode *type, int mode, Symbol *sym) {
    if (mode == 0) {
        if (type != nullptr) write_type_data(type, sym);
        return;
    }
    if (type == nullptr) {
        write_debug_int4(0);
        write_debug_link(0);
        return;
    }
    write_debug_int4(reversed(type_word(type)));
    write_debug_link(sym != nullptr ? sym->dbg_type_label : 0);
}
