// Comparing, assigning and merging types.
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"

namespace {

bool is_void(const TypeNode *type) { return type != nullptr && type->code == TY_VOID; }

bool is_pointer(const TypeNode *type) { return type != nullptr && type->code == TY_POINTER; }

// A prototype is a list whose entries carry types; an old-style list of
// names has null types.
bool has_prototype(const Symbol *args) { return args != nullptr && args->type != nullptr; }

// Two prototypes: entry by entry.  Pointers to void match any pointer.
bool same_prototypes(Symbol *p, Symbol *q) {
    for (; p != nullptr && q != nullptr; p = p->next, q = q->next) {
        TypeNode *a = p->type;
        TypeNode *b = q->type;
        if (is_pointer(a) && is_pointer(b)) {
            if (opt_sa && ((a->attr ^ b->attr) & (ATTR_CONST | ATTR_VOLATILE)))
                return false;
            if (is_void(a->next) || is_void(b->next))
                continue;
        }
        if (!same_type(a, b))
            return false;
    }
    return p == nullptr && q == nullptr;
}

// A prototype against a declaration without one.  A call through the
// declaration without a prototype passes its arguments promoted, so the
// prototype may hold no char and no float (unless float is double), and
// may not end in `...`.  `names` is the other declaration's list of names,
// or null when it has none.
bool prototype_matches_names(Symbol *proto, Symbol *names) {
    Symbol *other = names != nullptr ? names : proto;
    while (proto != nullptr && !is_void(proto->type)) {
        if (other == nullptr || proto->type == nullptr)
            return false;
        int32_t code = proto->type->code;
        if (is_char_code(code))
            return false;
        if (code == TY_FLOAT && !opt_f)
            return false;
        proto = proto->next;
        other = other->next;
    }
    if (proto == nullptr)
        return false;
    return other == nullptr || other == proto;
}

bool same_arguments(Symbol *p, Symbol *q) {
    bool p_proto = has_prototype(p);
    bool q_proto = has_prototype(q);
    if (p_proto && q_proto)
        return same_prototypes(p, q);
    if (!p_proto && !q_proto)
        return true;
    return p_proto ? prototype_matches_names(p, q) : prototype_matches_names(q, p);
}

} // namespace

bool same_type(TypeNode *a, TypeNode *b) {
    for (;;) {
        if (a == nullptr)
            return b == nullptr;
        // An enum is the integer type that represents it.
        if (a->code == TY_ENUM)
            a = a->next;
        if (b != nullptr && b->code == TY_ENUM)
            b = b->next;
        if (a == nullptr)
            return b == nullptr;
        if (b == nullptr || a->code != b->code)
            return false;
        switch (a->code) {
        case TY_STRUCT:
        case TY_UNION:
            // Two incomplete structs have null members and so match.
            if (a->members != b->members)
                return false;
            break;
        case TY_POINTER:
            if (pointer_space(a->attr) != pointer_space(b->attr))
                return false;
            break;
        case TY_ARRAY:
            if (a->dim != 0 && b->dim != 0 && a->dim != b->dim)
                return false;
            break;
        case TY_FUNCTION:
            if (!same_arguments(a->args, b->args))
                return false;
            break;
        default:
            break;
        }
        a = a->next;
        b = b->next;
    }
}

bool assignable_type(TypeNode *target, TypeNode *source) {
    if (target == nullptr || source == nullptr)
        return false;
    switch (target->code) {
    case TY_STRUCT:
    case TY_UNION:
        return same_type(target, source);
    case TY_POINTER: {
        if (source->code != TY_POINTER)
            return false;
        // A pointer may go into a wider space, never into a narrower one.
        if (pointer_space(source->attr) > pointer_space(target->attr))
            return false;
        if (opt_sa && (source->attr & (ATTR_CONST | ATTR_VOLATILE) & ~target->attr))
            return false;
        // Behind the first level the pointed-to pointers must agree in space.
        TypeNode *t = target->next;
        TypeNode *s = source->next;
        while (is_pointer(t) && is_pointer(s)) {
            if (pointer_space(t->attr) != pointer_space(s->attr))
                return false;
            t = t->next;
            s = s->next;
        }
        if (is_void(t) || is_void(s))
            return true;
        return same_type(t, s);
    }
    default:
        return !(source->code == TY_POINTER || is_struct_code(source->code));
    }
}

void merge_types(Symbol *dst, Symbol *src) {
    TypeNode *d = dst->type;
    TypeNode *s = src->type;
    while (d != nullptr) {
        if (d->code == TY_ENUM) {
            d = d->next;
            continue;
        }
        while (s != nullptr && s->code == TY_ENUM)
            s = s->next;
        if (s == nullptr)
            return;
        if (d->code == s->code) {
            switch (d->code) {
            case TY_POINTER:
                d->attr |= s->attr;
                break;
            case TY_ARRAY:
                if (d->dim == 0)
                    d->dim = s->dim;
                break;
            case TY_FUNCTION:
                if (s->args != nullptr)
                    d->args = s->args;
                break;
            default:
                break;
            }
        }
        d = d->next;
        s = s->next;
    }
}
