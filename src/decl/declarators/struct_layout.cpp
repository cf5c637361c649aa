// Struct and union bodies: the member declarations and their layout.
//
// Members are placed in declaration order at the next offset aligned for
// their type (char 1, short 2, int, long, float and pointers up to 4, double
// 8, or 4 under -f); a union puts every member at 0.  Bit-fields are packed
// into units of their declared width, char 8 bits, short 16, int and long
// 32, from bit 0 upwards, or from the top under -rb; a bit-field that does
// not fit the open unit, or is declared with another width, starts a new
// one, and `: 0` closes the open unit.  The size is padded at the end to the
// alignment of the whole, which is the largest alignment of its members.
// A member without a declarator of struct or union type is anonymous: its
// members are copied into the enclosing body at their offsets.
#include <unordered_set>

#include "decl/decl_parser.h"
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "driver/stack_room.h"
#include "expr/expr_node.h"
#include "lexer/token.h"

namespace {

// A bit-field unit of one declared width.
struct UnitKind {
    uint8_t unit_class;   // type code of its members
    uint8_t bits;
    uint8_t bytes;
    TypeNode *align;      // whose alignment a new unit takes; null: none
};

const UnitKind char_unit = {TY_CHAR_BITS, 8, 1, nullptr};
const UnitKind short_unit = {TY_SHORT_BITS, 16, 2, &type_short};
const UnitKind int_unit = {TY_INT_BITS, 32, 4, &type_int};

// The unit of a bit-field's declared type, null for a type that cannot
// hold bit-fields.
const UnitKind *unit_of(const TypeNode *type) {
    switch (type->code) {
    case TY_CHAR: case TY_UCHAR:
        return &char_unit;
    case TY_SHORT: case TY_USHORT:
        return &short_unit;
    case TY_INT: case TY_UINT: case TY_LONG: case TY_ULONG:
        return &int_unit;
    default:
        return nullptr;
    }
}

// Set in the class of an open unit after `: 0`: the next bit-field, of
// whatever class, no longer matches it and closes it.
constexpr int32_t UNIT_SEALED = 0x100;

// The state of one body.
struct Body {
    TypeNode *type;
    bool is_union;
    uint32_t offset;           // byte offset of the next member
    uint32_t size;             // largest extent so far
    int32_t unit_class;        // class of the open unit, 0 none
    int32_t unit_bits_used;    // bits taken in it
    Symbol **tail;             // where the next member goes
    std::unordered_set<NameRecord *> names;   // names among the members
};

const UnitKind &unit_kind(int32_t unit_class) {
    switch (unit_class & ~UNIT_SEALED) {
    case TY_CHAR_BITS: return char_unit;
    case TY_SHORT_BITS: return short_unit;
    default: return int_unit;
    }
}

bool unit_open_with_bits(const Body &body) { return body.unit_class != 0 && body.unit_bits_used != 0; }

uint32_t larger(uint32_t a, uint32_t b) { return a > b ? a : b; }

// The open unit is full: a struct moves on behind it, a union grows to it.
void close_unit(Body &body) {
    body.unit_class &= ~UNIT_SEALED;
    uint32_t bytes = unit_kind(body.unit_class).bytes;
    if (body.is_union)
        body.size = larger(body.size, bytes);
    else
        body.offset += bytes;
    body.unit_bits_used = 0;
}

uint32_t aligned(uint32_t offset, TypeNode *type) { return uint32_t(align_up(int32_t(offset), type)); }

// A member enters the body's list.  The body's alignment so far is kept in
// its type node, so that align_shift of a struct that holds itself (through
// an array, say) reads it instead of walking the members.
Symbol *append_member(Body &body, NameRecord *name, TypeNode *type, uint16_t attr) {
    Symbol *member = new_symbol(body.tail, name, SC_MEMBER, type);
    member->attr = attr;
    body.tail = &member->next;
    if (name != nullptr)
        body.names.insert(name);
    return member;
}

void note_alignment(Body &body, Symbol *member) {
    int32_t shift = align_shift(member->type);
    if (shift + 1 > body.type->body_shift)
        body.type->body_shift = uint8_t(shift + 1);
}

bool among_members(const Body &body, NameRecord *name) { return name != nullptr && body.names.count(name) != 0; }

void report_name(const char *format, const NameRecord *name) {
    report(format, name->length, name->text);
}

// With `:` read: the width and the place of a bit-field.  `member` is the
// named member or the anonymous record, null for an unnamed bit-field.
// Returns the token behind the width.
Token *place_bit_field(Body &body, Symbol *member, TypeNode *type) {
    if ((spec_seen & SPEC_SIGNED) && opt_csb) {
        report("signed bitfield not supported");
        spec_seen &= uint16_t(~SPEC_SIGNED);
    }
    int32_t width = 0;
    parse_const_expr(&width, 1);
    Token *t = next_token();
    if (type->code == TY_ENUM && type->next != nullptr)
        type = type->next;
    const UnitKind *unit = unit_of(type);
    if (unit == nullptr) {
        report("invalid bitfield type");
        return t;
    }
    if (width < 0 || width > unit->bits) {
        report("invalid bitfield size");
        return t;
    }
    if (body.unit_class != 0 &&
        (body.unit_class != unit->unit_class || body.unit_bits_used + width > unit->bits)) {
        close_unit(body);
        body.unit_class = unit->unit_class;
    }
    if (body.unit_class == 0)
        body.unit_class = unit->unit_class;
    if (unit->align != nullptr && body.unit_bits_used == 0)
        body.offset = aligned(body.offset, unit->align);
    if (width != 0) {
        if (member != nullptr) {
            TypeNode *bits = new_type(unit->unit_class, nullptr);
            bits->args = nullptr;   // clears the whole variant word
            bits->bit_width = uint8_t(width);
            bits->bit_offset = uint8_t(opt_rb ? unit->bits - body.unit_bits_used - width : body.unit_bits_used);
            member->value = body.offset;
            member->type = bits;
        }
        body.unit_bits_used += width;
    } else if (member != nullptr && member->name != nullptr) {
        report("invalid bitfield size");
    } else if (body.unit_bits_used != 0) {
        body.unit_class |= UNIT_SEALED;
    } else {
        body.unit_class = 0;
    }
    return t;
}

// The members of an anonymous struct or union, copied into the body at
// their offsets from the anonymous member's.  Copies out of a union but the
// first are aliases of storage that another copy names.  A body that
// takes its own type as an anonymous member (`struct a { int x; struct a; }`)
// is the list being copied: the walk stops at the first copy, which it would
// otherwise chase for ever.
void copy_anonymous(Body &body, Symbol *anonymous) {
    bool from_union = anonymous->type->code == TY_UNION;
    bool first = true;
    Symbol *first_copy = nullptr;
    for (Symbol *m = anonymous->type->members; m != nullptr && m != first_copy; m = m->next) {
        if (among_members(body, m->name))
            report_name("redefined anonymous member %.*s", m->name);
        Symbol *copy = append_member(body, m->name, m->type, anonymous->attr);
        if (first_copy == nullptr)
            first_copy = copy;
        copy->value = m->value + anonymous->value;
        copy->flags |= m->flags & SYM_ANON_ALIAS;
        if (from_union && !first)
            copy->flags |= SYM_ANON_ALIAS;
        first = false;
        note_alignment(body, copy);
    }
}

// An ordinary member: aligned, placed and counted.  False when it cannot
// be one.
bool place_member(Body &body, Symbol *member) {
    if (member == nullptr) {
        report("missing member name");
        return false;
    }
    if (is_function_type(member->type)) {
        report("invalid function member");
        return false;
    }
    if (unit_open_with_bits(body)) {
        close_unit(body);
        body.unit_class = 0;
    }
    body.offset = aligned(body.offset, member->type);
    member->value = body.offset;
    uint32_t size = uint32_t(type_size(member->type));
    if (body.is_union) {
        body.size = larger(body.size, size);
        body.offset = 0;
    } else {
        body.offset += size;
        body.size = body.offset;
    }
    if (member->name == nullptr)
        copy_anonymous(body, member);
    return true;
}

// The checks on a named member before it enters the list.
void check_member(const Body &body, Symbol *decl, int *implicit_mark) {
    if (among_members(body, decl->name))
        report_name("redefined member %.*s", decl->name);
    if (opt_ck != 0 && *implicit_mark) {
        report("W1implicit int type in struct/union declaration");
        *implicit_mark = 0;
    }
    TypeNode *type = decl->type;
    if (is_struct_or_union(type) && type->tag != nullptr && (type->tag->flags & SYM_OPEN))
        report_name("embedded usage of tag name %.*s", type->tag->name);
    else if (is_undefined_enum(type))
        report("incomplete enum type");
}

// One declarator of a member list and what follows it up to the `,` or the
// end of the list; returns that token.
Token *parse_member(Body &body, const Symbol &record, int *implicit_mark) {
    Symbol decl = record;
    Symbol *member = nullptr;
    Symbol *named = nullptr;
    if (!parse_declarator(&decl)) {
        if (!opt_sa && is_struct_or_union(decl.type))
            member = &decl;
    } else if (decl.name == nullptr) {
        report("missing member name");
        return next_token();
    } else {
        check_member(body, &decl, implicit_mark);
        member = named = append_member(body, decl.name, decl.type, decl.attr);
    }
    Token *t = next_token();
    if (t->code == TOK_COLON)
        t = place_bit_field(body, member, decl.type);
    else
        place_member(body, member);
    if (named != nullptr)
        note_alignment(body, named);
    return t;
}

void parse_struct_body_here(TypeNode *type) {
    Symbol *tag = type->tag;
    if (tag != nullptr)
        tag->flags |= SYM_OPEN;
    Body body{};
    body.type = type;
    body.is_union = type->code == TY_UNION;
    body.tail = &type->members;
    type->body_shift = 1;

    Symbol record{};
    while (parse_decl_specifiers(&record, nullptr)) {
        if (record.sclass != 0)
            report("unexpected storage class");
        int implicit_mark = implicit_int;
        Token *t;
        do
            t = parse_member(body, record, &implicit_mark);
        while (t->code == TOK_COMMA);
        if (t->code != TOK_SEMI) {
            report("missing ; in member definition");
            unget_token();
        }
    }

    if (next_token()->code != TOK_RBRACE) {
        report("missing } in struct/union definition");
        unget_token();
    }
    if (type->members == nullptr)
        report("missing member declaration");
    if (unit_open_with_bits(body)) {
        uint32_t bytes = unit_kind(body.unit_class).bytes;
        body.size = body.is_union ? larger(body.size, bytes) : body.offset + bytes;
    }
    if (body.size > 1)
        body.size = aligned(body.size, type);
    type->size = body.size;
    if (tag != nullptr)
        tag->flags = 0;
}

}  // namespace

// Nested struct definitions recurse through the specifier parser; when the
// stack runs low the body is read on a fresh one.
void parse_struct_body(TypeNode *type) {
    if (stack_is_low()) {
        auto call = [&] { parse_struct_body_here(type); };
        on_fresh_stack(call);
        return;
    }
    parse_struct_body_here(type);
}
