// The known values of variables: the one flow-sensitive tool of the
// parser.  An assignment notes what a variable was given, and a later read
// of that variable, or of a const object whose value is stored, is
// replaced by the value as the tree is built.  The list lives in
// func_state.known_values; the statement parser cuts it wherever control
// joins, and a call cuts it since any call may change any variable.
#include <unordered_map>
#include <vector>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/binary_rules.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "stmt/stmt_node.h"

using namespace binary_rules;

namespace {

// A variable whose value can be followed: no const or volatile object,
// and no address was taken of it.
bool is_plain_symbol(const Symbol *sym) {
    return (sym->attr & (ATTR_CONST | ATTR_VOLATILE)) == 0 && (sym->flags & SYM_ADDR_TAKEN) == 0;
}

bool pointer_is_plain(const TypeNode *type) {
    return type != nullptr && type->code == TY_POINTER && (type->attr & (ATTR_CONST | ATTR_VOLATILE)) == 0;
}

// `*address` with a constant address, the form of a fixed object reached
// through a pointer that keeps its space.
bool is_address_deref(const ExprNode *e) {
    return e->op == OP_DEREF && e->left != nullptr && e->left->op == OP_LEAF &&
           (e->left->lflags & LF_CONTENTS) == 0 && (e->left->eflags & EF_RETYPED) == 0;
}

// The value of the compound assignment `op` on the known constant `k`
// with the operand `v`.  A division by 0 leaves 0: it has been noted for
// its report, and the value is never used.
int32_t compute(int op, int32_t k, int32_t v, bool divide_unsigned, bool k_unsigned) {
    switch (op) {
    case OP_ADD_ASSIGN: return wrap_add(k, v);
    case OP_SUB_ASSIGN: return wrap_sub(k, v);
    case OP_MUL_ASSIGN: return wrap_mul(k, v);
    case OP_DIV_ASSIGN: return v == 0 ? 0 : wrap_div(k, v, divide_unsigned);
    case OP_MOD_ASSIGN: return v == 0 ? 0 : wrap_mod(k, v, divide_unsigned);
    case OP_SHL_ASSIGN: return wrap_shl(k, v);
    case OP_SHR_ASSIGN: return shift_right(k, v, k_unsigned);
    case OP_AND_ASSIGN: return k & v;
    case OP_XOR_ASSIGN: return k ^ v;
    case OP_OR_ASSIGN: return k | v;
    default: return k;
    }
}

// ---------------------------------------------------------------------------
// An index beside the list, so that a lookup does not walk the whole list:
// it gives exactly the answer of that walk, the newest record in the list
// whose lvalue is the same expression.
//
// Records whose lvalues compare equal have equal keys (the operator, and
// the symbol, offset and form of the leaf at the bottom).  `newest` maps a
// key to the newest record of that key in the list that starts at
// `index_head`; each record links to the next older record of its key
// (`key_prev`, fixed when it is pushed, since the records below a record
// never change).  The index is no part of the function's state: the head in
// func_state is the truth, and it is cut, restored, or saved and put back
// around a directive without telling the index.  So each use first brings
// the index in step with the head: a head of null empties the index, a
// head that is an older record of the same list drops the newer records,
// and any other head makes the index anew from the list.

struct Key {
    const void *base;
    int32_t value;
    uint16_t form;
    bool operator==(const Key &other) const {
        return base == other.base && value == other.value && form == other.form;
    }
};

struct KeyHash {
    size_t operator()(const Key &k) const {
        return std::hash<const void *>()(k.base) ^ (size_t(uint32_t(k.value)) * 0x9E3779B1u) ^
               (size_t(k.form) << 20);
    }
};

// Per record, by the number kept in its `size` field.
struct RecordInfo {
    ExprNode *record;
    ExprNode *key_prev;
};

std::vector<RecordInfo> records;
std::unordered_map<Key, ExprNode *, KeyHash> newest;
ExprNode *index_head;

Key key_of(const ExprNode *e) {
    const ExprNode *leaf = e;
    uint16_t form = uint16_t(e->op) << 8;
    if (e->op == OP_DEREF && e->left != nullptr)
        leaf = e->left;
    if (leaf->op != OP_LEAF)
        return Key{nullptr, 0, form};
    return Key{leaf->left, leaf->value, uint16_t(form | (leaf->lflags & 0xF7))};
}

// The info of a record of ours, or null for anything else.
RecordInfo *info_of(const ExprNode *record) {
    if (record == nullptr || record->size >= records.size() || records[record->size].record != record)
        return nullptr;
    return &records[record->size];
}

void drop_newest(ExprNode *record) {
    Key key = key_of(record->left);
    auto found = newest.find(key);
    if (found == newest.end() || found->second != record)
        return;
    RecordInfo *info = info_of(record);
    if (info != nullptr && info->key_prev != nullptr)
        found->second = info->key_prev;
    else
        newest.erase(found);
}

void rebuild_index() {
    newest.clear();
    for (ExprNode *entry = func_state.known_values; entry != nullptr; entry = entry->next_known)
        newest.emplace(key_of(entry->left), entry);
    index_head = func_state.known_values;
}

void sync_index() {
    if (func_state.known_values == index_head)
        return;
    if (func_state.known_values == nullptr) {
        newest.clear();
        index_head = nullptr;
        return;
    }
    RecordInfo *target = info_of(func_state.known_values);
    RecordInfo *current = info_of(index_head);
    if (target != nullptr && current != nullptr && func_state.known_values->size < index_head->size) {
        // Back to an older state: drop what was pushed since.
        ExprNode *entry = index_head;
        while (entry != nullptr && info_of(entry) != nullptr && entry->size > func_state.known_values->size) {
            drop_newest(entry);
            entry = entry->next_known;
        }
        if (entry == func_state.known_values) {
            index_head = entry;
            return;
        }
    }
    rebuild_index();
}

ExprNode *find_entry(const ExprNode *t) {
    sync_index();
    auto found = newest.find(key_of(t));
    if (found == newest.end())
        return nullptr;
    for (ExprNode *entry = found->second; entry != nullptr;) {
        if (same_expr(t, entry->left, 1))
            return entry;
        RecordInfo *info = info_of(entry);
        entry = info != nullptr ? info->key_prev : nullptr;
    }
    return nullptr;
}

void push_entry(ExprNode *lvalue, ExprNode *value) {
    sync_index();
    ExprNode *entry = new_expr(OP_LEAF);
    entry->type = nullptr;
    entry->left = lvalue;
    entry->right = value;
    entry->next_known = func_state.known_values;
    entry->size = uint32_t(records.size());
    Key key = key_of(lvalue);
    auto found = newest.find(key);
    records.push_back(RecordInfo{entry, found != newest.end() ? found->second : nullptr});
    newest[key] = entry;
    func_state.known_values = entry;
    index_head = entry;
}

// `x` takes the value `v`: a new node with all fields of `v`, so that later
// changes of the tree do not reach the stored record.
ExprNode *replace_by(ExprNode **slot, ExprNode *x, const ExprNode *v) {
    ExprNode *copy = new_expr(v->op);
    ExprNode *link = copy->link;
    *copy = *v;
    copy->link = link;
    if (copy->type != nullptr && is_bit_field_code(copy->type->code))
        copy->type = &type_int;
    *slot = convert_to(copy, x->type);
    return *slot;
}

// `x` reads the byte at `offset` of a string; 0 behind its end.
ExprNode *string_byte(ExprNode *x, const StringConst *string, int32_t offset) {
    int32_t value = 0;
    if (string != nullptr && offset >= 0 && uint32_t(offset) < string->length)
        value = int8_t(string->bytes[offset]);
    TypeNode *type = x->type;
    make_int_const(x, value);
    x->type = type;
    truncate_const(x, type, 0);
    return x;
}

ExprNode *rest_is_zero(ExprNode **slot, ExprNode *x) {
    TypeNode *type = x->type;
    make_int_const(x, 0);
    *slot = convert_to(x, type);
    return *slot;
}

// Reads the scalar at `offset` of a const object from its stored records.
ExprNode *read_stored(ExprNode **slot, ExprNode *x, ExprNode *rec, int32_t offset) {
    for (;;) {
        if (rec == nullptr)
            return rest_is_zero(slot, x);
        if (rec->op == OP_LEAF) {
            if (offset <= 0)
                break;
            offset -= type_size(rec->type);
            if (rec->type != nullptr && is_bit_field_code(rec->type->code)) {
                // The fields of one unit share its bytes: step to its last.
                while (rec->link != nullptr && rec->link->op == OP_LEAF && rec->link->type != nullptr &&
                       is_bit_field_code(rec->link->type->code) &&
                       (opt_rb ? rec->link->type->bit_offset < rec->type->bit_offset
                               : rec->link->type->bit_offset > rec->type->bit_offset))
                    rec = rec->link;
            }
            rec = rec->link;
            continue;
        }
        if (rec->op == INIT_GAP) {
            offset -= rec->value;
            rec = rec->link;
            continue;
        }
        if (rec->op == INIT_STRING || rec->op == INIT_STRUCT || rec->op == INIT_UNION ||
            rec->op == INIT_ARRAY) {
            if (offset >= int32_t(rec->size)) {
                offset -= int32_t(rec->size);
                rec = rec->link;
                continue;
            }
            if (rec->op == INIT_UNION)
                return x;
            if (rec->op == INIT_STRING)
                return string_byte(x, rec->literal, offset);
            rec = rec->left;
            continue;
        }
        return x;   // no record of a stored value
    }
    if (offset != 0)
        return x;
    if (x->type != nullptr && is_bit_field_code(x->type->code)) {
        while (rec != nullptr) {
            if (rec->op != OP_LEAF || rec->type == nullptr || !is_bit_field_code(rec->type->code))
                return rest_is_zero(slot, x);
            if (rec->type->bit_width == x->type->bit_width && rec->type->bit_offset == x->type->bit_offset)
                break;
            rec = rec->link;
        }
        if (rec == nullptr)
            return rest_is_zero(slot, x);
    }
    return replace_by(slot, x, rec);
}

}  // namespace

void note_assignment(ExprNode *e, ExprNode *value) {
    ExprNode *t = e->left;
    if (t == nullptr || t->type == nullptr || is_bit_field_code(t->type->code))
        return;
    bool tracked = false;
    if (is_symbol_leaf(t))
        tracked = (t->eflags & EF_UNION_PATH) == 0 && is_plain_symbol(t->sym);
    else if (is_address_deref(t))
        tracked = ((t->eflags | t->left->eflags) & (EF_RETYPED | EF_UNION_PATH)) == 0 &&
                  pointer_is_plain(t->left->type);
    if (!tracked)
        return;

    while (value != nullptr && value->op == OP_ASSIGN && same_type(value->type, t->type))
        value = value->right;

    ExprNode *known = nullptr;
    if (value != nullptr && (is_int_const(value) || is_real_const(value) || is_address_const(value)) &&
        e->op == OP_ASSIGN && cond_depth == 0) {
        known = value;
    } else {
        ExprNode *entry = find_entry(t);
        if (entry == nullptr || entry->right == nullptr)
            return;   // nothing was known and nothing is
        ExprNode *old = entry->right;
        if (cond_depth == 0 && is_compound_assign(e->op) && value != nullptr && is_int_const(old) &&
            is_int_const(value)) {
            bool divide_unsigned = is_unsigned_code(old->type->code) || is_unsigned_code(value->type->code);
            int32_t result = compute(e->op, old->value, value->value, divide_unsigned,
                                     is_unsigned_code(old->type->code));
            known = make_int_const(nullptr, result);
            known->type = old->type;
        }
    }
    if (known != nullptr) {
        if (is_real_code(t->type->code) || is_real_code(known->type->code))
            known = convert_to(known, t->type);
        else if (is_int_const(known))
            truncate_const(known, t->type, 0);
    }
    push_entry(t, known);
}

void forget_aggregate(ExprNode *x) {
    ExprNode *base;
    if (is_symbol_leaf(x) && is_plain_symbol(x->sym))
        base = x;
    else if (is_address_deref(x) && pointer_is_plain(x->left->type))
        base = x->left;
    else
        return;
    Symbol *sym = (base->lflags & LF_SYMBOL) != 0 ? base->sym : nullptr;
    for (ExprNode *entry = func_state.known_values; entry != nullptr; entry = entry->next_known) {
        if (entry->right == nullptr)
            continue;
        ExprNode *target = entry->left;
        if (target->op == OP_DEREF)
            target = target->left;
        if (target == nullptr || target->op != OP_LEAF)
            continue;
        // An object at a fixed address without a symbol forgets every
        // member reached through such an address.
        bool same = sym != nullptr ? (target->lflags & LF_SYMBOL) != 0 && target->sym == sym
                                   : (target->lflags & LF_SYMBOL) == 0 && entry->left->op == OP_DEREF;
        if (same)
            push_entry(entry->left, nullptr);
    }
}

ExprNode *find_known_value(ExprNode *e) {
    if (opt_cp || error_count != 0 || e == nullptr || e->type == nullptr)
        return nullptr;
    if (e->type->code == TY_POINTER && (e->type->next == nullptr || e->type->next->code != TY_FUNCTION))
        return nullptr;   // data pointers are not followed, function pointers are
    if (is_symbol_leaf(e)) {
        if (!is_plain_symbol(e->sym))
            return nullptr;
    } else if (!is_address_deref(e)) {
        return nullptr;
    }
    ExprNode *entry = find_entry(e);
    if (entry == nullptr || entry->right == nullptr)
        return nullptr;
    ExprNode *value = entry->right;
    if (e->type->code == TY_POINTER && value->type != nullptr && value->type->code == TY_POINTER) {
        bool e_far = (e->type->attr & ATTR_SPACE) == ATTR_FAR;
        bool v_far = (value->type->attr & ATTR_SPACE) == ATTR_FAR;
        if (e_far != v_far)
            return nullptr;
    }
    return value;
}

ExprNode *replace_known_value(ExprNode **slot) {
    ExprNode *x = *slot;
    // Under -nc nothing is replaced, and the operand of sizeof is not
    // evaluated at all.
    if (x == nullptr || x->type == nullptr || opt_nc || sizeof_depth != 0)
        return x;
    int code = x->type->code;
    if (code == TY_ARRAY || is_struct_code(code))
        return x;

    ExprNode *value = nullptr;
    if (x->op == OP_LEAF && (x->lflags & 3) == LEAF_VARIABLE && x->sym != nullptr) {
        Symbol *sym = x->sym;
        if (sym->attr & ATTR_VOLATILE)
            return x;
        if ((sym->attr & ATTR_CONST) != 0 && sym->init != nullptr && sym->init->op == OP_LEAF &&
            sym->init->type != nullptr && x->value == 0)
            value = sym->init;
        else
            value = find_known_value(x);
    } else if (x->op == OP_DEREF && x->left != nullptr && x->left->op == OP_LEAF &&
               (x->left->lflags & LF_CONTENTS) == 0 && (x->left->eflags & EF_RETYPED) == 0 &&
               (x->eflags & EF_ANON_ALIAS) == 0) {
        ExprNode *leaf = x->left;
        if ((leaf->lflags & LF_SYMBOL) != 0 && leaf->sym != nullptr &&
            (leaf->sym->attr & (ATTR_CONST | ATTR_VOLATILE)) == ATTR_CONST && leaf->sym->init != nullptr)
            return read_stored(slot, x, leaf->sym->init, leaf->value);
        if ((leaf->lflags & LF_LITERAL) != 0) {
            StringConst *string = leaf->literal;
            int32_t offset = leaf->value;
            if (string == nullptr || offset < 0 || uint32_t(offset) > string->length)
                return x;
            drop_literal_use(string);
            return string_byte(x, string, offset);
        }
        value = find_known_value(x);
    } else {
        return x;
    }
    if (value == nullptr)
        return x;
    return replace_by(slot, x, value);
}
