// Initialisers: the data of a static object go to the intermediate file
// value by value, in storage order, while the tokens are read, so that no
// image of an object is ever held in memory.  Padding, the rest of a short
// array and the tail of a union go out as runs of zero bytes.
//
// Braces follow the shape of the type: each aggregate level may open its
// own, and one left out is elided, the level then taking as many values as
// it has elements or members and leaving the comma behind them to the level
// around it.  Only the outermost level of an aggregate needs its brace.
//
// A const object that is not volatile keeps its value as records (see
// initializer.h), so that a later read of it, `c + 1` or `s[1]`, is
// replaced by the value.
#include "stmt/initializer.h"

#include <unordered_set>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "driver/stack_room.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "output/records.h"
#include "stmt/stmt_node.h"

namespace {

// The `{` of a struct or union, if it stands next.  Without it the level
// is elided, which the outermost one may not be.
bool open_brace(int top) {
    if (next_token()->code == TOK_LBRACE)
        return true;
    if (top)
        report("missing {");
    unget_token();
    return false;
}

// The link where the next record goes, behind the one the last call of
// init_any stored, if it stored one.
ExprNode **behind_stored(ExprNode **keep) {
    if (keep == nullptr || *keep == nullptr)
        return keep;
    return &(*keep)->link;
}

// ---------------------------------------------------------------------------
// Arrays.

// A copy of the array node `array` with `dim` elements.  The node of the
// declaration is not changed: a typedef or another object may share it.
TypeNode *sized_array(const TypeNode *array, int32_t dim) {
    TypeNode *sized = new_type(array->code, array->next);
    sized->dim = dim;
    sized->members = nullptr;
    sized->size = 0;
    sized->dbg_label = array->dbg_label;
    return sized;
}

// A string constant for an array of characters: as many bytes as the array
// holds, with the terminating 0 only when there is room for it.
void init_string(TypeNode **slot, ExprNode **keep, StringConst *string, bool braced) {
    int64_t length = string->length;
    int64_t dim = (*slot)->dim;
    if (dim == 0) {
        dim = length + 1;
        *slot = sized_array(*slot, int32_t(dim));
    }
    if (keep != nullptr) {
        ExprNode *record = new_record(INIT_STRING, uint32_t(dim));
        record->literal = string;
        keep_record(keep, record);
    }
    if (length > dim) {
        report("string too long");
    } else if (length == dim) {
        for (int64_t i = 0; i < length; i++)
            write_int_value(uint32_t(int32_t(int8_t(string->bytes[i]))), 1);
    } else {
        write_string_value(string->bytes, size_t(length));
        if (dim - length - 1 != 0)
            write_space(uint32_t(dim - length - 1));
    }
    if (braced)
        expect_token(TOK_RBRACE);
}

// ---------------------------------------------------------------------------
// Structs and unions.

// The writing position inside one struct: `pos` is the byte offset reached
// in the output, and bit-fields gather in `acc` until their unit of `unit`
// bytes is complete.  A unit is open while `unit` is not 0.
struct StructImage {
    uint32_t pos;
    uint32_t acc;
    uint32_t unit;
    ExprNode **keep;
};

void finish_unit(StructImage &image) {
    if (image.unit == 0)
        return;
    write_int_value(image.acc, int(image.unit));
    image.pos += image.unit;
    image.acc = 0;
}

// Zero bytes up to the member at `offset`.
void close_gap(StructImage &image, uint32_t offset) {
    if (offset <= image.pos)
        return;
    write_space(offset - image.pos);
    image.keep = keep_record(image.keep, new_record(INIT_GAP, offset - image.pos));
    image.pos = offset;
}

// The value of a bit-field: an integer constant expression, no brace, cut
// to the field's width.
uint32_t bit_field_value(const TypeNode *type) {
    ExprNode *pool_mark = expr_free_list;
    int32_t value;
    parse_const_expr(&value, 1);
    expr_free_list = pool_mark;
    uint32_t width = type->bit_width;
    return width >= 32 ? uint32_t(value) : uint32_t(value) & ((1u << width) - 1);
}

void init_bit_field(StructImage &image, Symbol *member) {
    if (image.unit != 0 && image.pos != member->value)
        finish_unit(image);
    close_gap(image, member->value);
    image.unit = uint32_t(type_size(member->type));
    uint32_t value = bit_field_value(member->type);
    image.keep = keep_record(image.keep, int_record(int32_t(value), member->type));
    image.acc |= value << member->type->bit_offset;
}

void init_member(StructImage &image, Symbol *member, uint16_t attr) {
    finish_unit(image);
    image.unit = 0;
    close_gap(image, member->value);
    TypeNode *type = member->type;
    init_any(&type, image.keep, attr, 0);
    image.keep = behind_stored(image.keep);
    image.pos += uint32_t(type_size(type));
}

// The next member that takes a value.  An anonymous struct or union is in
// the list as copies of its members; the copies of a union's further
// members share the storage of its first and take no value.
Symbol *member_to_fill(Symbol *m) {
    while (m != nullptr && (m->flags & SYM_ANON_ALIAS) != 0)
        m = m->next;
    return m;
}

// A struct or union without members was only declared.
void init_incomplete(const char *message, bool braced) {
    report("%s", message);
    if (braced)
        recovery_target = TOK_RBRACE;
}

// The structs and unions whose values are being read, outermost first.  A
// type that is among them already holds itself, which its declaration
// reported: as an elided level it would be entered again and again without
// a token read, so it is taken as one that was only declared.
std::unordered_set<const TypeNode *> open_aggregates;

bool enter_aggregate(const TypeNode *type) { return open_aggregates.insert(type).second; }

void leave_aggregate(const TypeNode *type) { open_aggregates.erase(type); }

// Fills the members in order, from `m` on.  Gives whether every member got
// a value and the comma behind the last one was read.
bool fill_members(StructImage &image, Symbol *m, uint16_t attr) {
    for (;;) {
        m = member_to_fill(m);
        if (m == nullptr)
            return true;
        if (next_token()->code == TOK_RBRACE) {
            unget_token();
            return false;
        }
        unget_token();
        if (is_bit_field_code(m->type->code))
            init_bit_field(image, m);
        else
            init_member(image, m, attr);
        int code = next_token()->code;
        if (code != TOK_COMMA) {
            unget_token();
            return false;
        }
        m = m->next;
    }
}

void init_any_here(TypeNode **slot, ExprNode **keep, uint16_t attr, int top) {
    TypeNode *type = *slot;
    switch (type->code) {
    case TY_STRUCT:
        init_struct(type, keep, attr, top);
        break;
    case TY_UNION:
        init_union(type, keep, attr, top);
        break;
    case TY_ARRAY:
        init_array(slot, keep, attr, top);
        break;
    default:
        init_scalar(type, keep, attr);
        break;
    }
}

} // namespace

// Nested braces and nested aggregates recurse here, one level each, as deep
// as the source nests them.
void init_any(TypeNode **slot, ExprNode **keep, uint16_t attr, int top) {
    if (stack_is_low()) {
        auto call = [&] { init_any_here(slot, keep, attr, top); };
        on_fresh_stack(call);
        return;
    }
    init_any_here(slot, keep, attr, top);
}

void init_array(TypeNode **slot, ExprNode **keep, uint16_t attr, int top) {
    TypeNode *array = *slot;
    int32_t dim = array->dim;
    int32_t count = 0;

    Token *t = next_token();
    bool braced = t->code == TOK_LBRACE;
    if (braced)
        t = next_token();
    int elem_code = array->next->code;
    if (t->code == TOK_STRING && (elem_code == TY_CHAR || elem_code == TY_UCHAR)) {
        init_string(slot, keep, t->value.string, braced);
        return;
    }
    unget_token();
    if (!braced && top)
        report("missing {");

    ExprNode *record = nullptr;
    if (keep != nullptr) {
        record = new_record(INIT_ARRAY, 0);
        keep_record(keep, record);
        keep = &record->left;
    }
    for (;;) {
        if (next_token()->code == TOK_RBRACE) {
            unget_token();
            break;
        }
        unget_token();
        TypeNode *elem = array->next;
        init_any(&elem, keep, attr, 0);
        keep = behind_stored(keep);
        count++;
        int code = next_token()->code;
        // Without braces an inner array ends with its last element, and the
        // comma behind it belongs to the level around it.
        if ((!top && !braced && dim != 0 && dim == count) || code != TOK_COMMA) {
            unget_token();
            break;
        }
    }

    if (dim == 0) {
        *slot = sized_array(array, count);
    } else if (count > dim) {
        report("too many initializers");
    } else if (count < dim) {
        write_space(uint32_t(dim - count) * uint32_t(type_size(array->next)));
    }
    if (record != nullptr)
        record->size = uint32_t(type_size(*slot));
    if (braced) {
        if (count == 0)
            report("missing initializer");
        expect_token(TOK_RBRACE);
    }
}

void init_struct(TypeNode *type, ExprNode **keep, uint16_t attr, int top) {
    bool braced = open_brace(top);
    if (type->members == nullptr || !enter_aggregate(type)) {
        init_incomplete("unknown structure", braced);
    } else {
        StructImage image{};
        if (keep != nullptr) {
            ExprNode *record = new_record(INIT_STRUCT, type->size);
            keep_record(keep, record);
            image.keep = &record->left;
        }
        bool all_filled = fill_members(image, type->members, attr);
        finish_unit(image);
        if (type->size > image.pos)
            write_space(type->size - image.pos);
        if (all_filled) {
            // A comma behind the last member: braced, only `}` may follow
            // it; elided, it belongs to the level around.
            if (!braced) {
                unget_token();
            } else if (next_token()->code != TOK_RBRACE) {
                report("too many initializers");
                recovery_target = TOK_RBRACE;
            } else {
                unget_token();
            }
        }
        leave_aggregate(type);
    }
    if (braced)
        expect_token(TOK_RBRACE);
}

void init_union(TypeNode *type, ExprNode **keep, uint16_t attr, int top) {
    bool braced = open_brace(top);
    if (type->members == nullptr || !enter_aggregate(type)) {
        init_incomplete("unknown union", braced);
    } else {
        // The first member takes the value, the rest of the union is zero.
        StructImage image{};
        if (keep != nullptr) {
            ExprNode *record = new_record(INIT_UNION, type->size);
            keep_record(keep, record);
            image.keep = &record->left;
        }
        Symbol *first = type->members;
        if (is_bit_field_code(first->type->code))
            init_bit_field(image, first);
        else
            init_member(image, first, attr);
        finish_unit(image);
        if (type->size > image.pos)
            write_space(type->size - image.pos);
        leave_aggregate(type);
    }
    if (braced)
        expect_token(TOK_RBRACE);
}

int parse_global_initializer(Symbol *sym) {
    if (next_token()->code != TOK_ASSIGN) {
        unget_token();
        if (sym->sclass != SC_EXTERN && sym->type->code == TY_VOID)
            report("invalid void declaration");
        return sym->sclass != SC_EXTERN;
    }
    if (sym->flags & SYM_DEFINED)
        report("redeclared external %.*s", sym->name->length, sym->name->text);
    if (sym->sclass == SC_EXTERN)
        sym->sclass = SC_NONE;
    sym->flags |= SYM_USED | SYM_DEFINED;

    write_space_names();
    write_data_begin(sym);
    func_state.in_data_init = 1;
    ExprNode **keep = nullptr;
    if ((sym->attr & (ATTR_CONST | ATTR_VOLATILE)) == ATTR_CONST) {
        sym->init = nullptr;
        keep = &sym->init;
    }
    init_any(&sym->type, keep, sym->attr, 1);
    func_state.in_data_init = 0;
    write_data_end();
    return 1;
}
