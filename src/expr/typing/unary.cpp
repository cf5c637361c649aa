// Typing of the unary operators, and the decay of arrays and functions.
//
// These fold as they type: `&x` of a variable turns the leaf itself into
// an address, `*` of an address turns it back into a variable, and the
// negation of a constant is a constant.
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"

namespace {

// The pseudo storage class of pointer nodes for the default tables: the
// token code of `*`.
constexpr int32_t POINTER_CLASS = 99;

TypeNode *pointer_to(TypeNode *target, uint16_t attr) {
    TypeNode *pointer = new_type(TY_POINTER, target);
    pointer->args = nullptr;
    pointer->attr = attr;
    return pointer;
}

// A pointer to `target` with no attributes but the defaults of pointers
// to things of that kind.
TypeNode *default_pointer_to(TypeNode *target, uint16_t attr) {
    apply_default_attrs(&attr, POINTER_CLASS, target->code);
    return pointer_to(target, attr);
}

ExprNode *mark_not_lvalue(ExprNode *e) {
    e->eflags |= EF_NOT_LVALUE;
    return e;
}

ExprNode *negate(ExprNode *e, ExprNode *x, bool *invalid) {
    e->type = promote_type(x->type, 0);
    if (!is_arith_code(x->type->code))
        *invalid = true;
    if (x->op == OP_LEAF) {
        if (is_int_const(x)) {
            // The value is one of the promoted type: -(unsigned short)1
            // is the int -1, not a short.
            x->value = int32_t(0u - uint32_t(x->value));
            x->type = e->type;
            return x;
        }
        if (is_real_const(x)) {
            double value = real_value(x);
            drop_literal_use(x->literal);
            make_real_const(x, -value);
            return x;
        }
        return e;
    }
    if (x->op == OP_NEG)
        return mark_not_lvalue(x->left);
    if (x->op == OP_SUB) {
        // -(a - b) is b - a.
        ExprNode *first = x->left;
        x->left = x->right;
        x->right = first;
        return x;
    }
    return e;
}

ExprNode *complement(ExprNode *e, ExprNode *x, bool *invalid) {
    e->type = promote_type(x->type, 0);
    if (!is_integer_code(x->type->code))
        *invalid = true;
    if (is_int_const(x)) {
        // As for negation: ~(unsigned short)0xFFFF is the int ~65535.
        x->value = ~x->value;
        x->type = e->type;
        return x;
    }
    if (x->op == OP_COMPL)
        return mark_not_lvalue(x->left);
    return e;
}

ExprNode *logical_not(ExprNode *e, ExprNode *x, bool *invalid) {
    if (x->op == OP_NOT)
        return mark_not_lvalue(x->left);
    if (is_int_const(x)) {
        x->value = x->value == 0;
        return x;
    }
    if (make_test(&e->left) == nullptr) {
        e->type = &type_int;
        *invalid = true;
        return e;
    }
    // The whole operand, with any commas on top, is the test to negate.
    return negate_test(e->left);
}

ExprNode *indirection(ExprNode *e, ExprNode *x) {
    if (x->op == OP_ADDR && x->left != nullptr && x->left->op != OP_CALL &&
        x->type->code == TY_POINTER) {
        ExprNode *object = x->left;
        object->type = x->type->next;
        object->eflags &= ~EF_NOT_LVALUE;
        return object;
    }
    if (x->type->code == TY_ARRAY || x->type->code == TY_FUNCTION)
        decay_to_pointer(x);
    TypeNode *pointer = x->type;
    if (pointer->code == TY_POINTER && pointer->next != nullptr && pointer->next->code != TY_VOID) {
        TypeNode *target = pointer->next;
        if (target->code == TY_ENUM && target->next != nullptr)
            target = target->next;
        e->type = target;
    } else {
        report("invalid indirection operand");
        e->type = pointer;
    }
    ExprNode *result = e;
    if (x->op == OP_LEAF && (x->lflags & LF_CONTENTS) == 0 && pointer->code == TY_POINTER) {
        // An address constant read through a plain pointer is a direct
        // access.  A const, volatile, far or user-space access keeps its
        // indirection, since its space lives on the pointer type.
        uint16_t attr = pointer->attr;
        if ((attr & ATTR_FUNCTION) != 0 ||
            ((attr & (ATTR_CONST | ATTR_VOLATILE | ATTR_USER)) == 0 && (attr & ATTR_SPACE) != ATTR_FAR)) {
            x->type = e->type;
            x->lflags |= LF_CONTENTS;
            x->eflags &= ~EF_RETYPED;
            result = x;
        }
    }
    result->eflags &= ~EF_NOT_LVALUE;
    return result;
}

ExprNode *address_of(ExprNode *e, ExprNode *x) {
    if ((x->eflags & EF_NOT_LVALUE) != 0)
        report("invalid lvalue");
    if (is_bit_field_code(x->type->code)) {
        // A bit-field has no address.
        report("invalid address type");
        e->type = default_pointer_to(&type_int, 0);
        return e;
    }
    if (x->op == OP_DEREF) {
        // &*p is p, as a pointer to what * gave, with the old pointer's
        // attributes.
        ExprNode *pointer = x->left;
        uint16_t attr = pointer->type->code == TY_POINTER ? pointer->type->attr : uint16_t(0);
        pointer->type = pointer_to(x->type, attr);
        if (in_member_access)
            pointer->eflags &= ~EF_NOT_LVALUE;
        return pointer;
    }
    if (x->op != OP_LEAF) {
        // Only a call that returns a struct or union has an address here:
        // the code generator keeps the result in memory.
        int code = x->type->code;
        if (!(x->op == OP_CALL && is_struct_code(code)))
            report("invalid address expression");
        e->type = default_pointer_to(x->type, 0);
        return e;
    }
    Symbol *sym = (x->lflags & LF_SYMBOL) != 0 ? x->sym : nullptr;
    if ((x->lflags & LF_CONTENTS) == 0 ||
        (sym != nullptr && (sym->sclass == SC_REGISTER || sym->sclass == SC_REG_ARG)))
        report("invalid address operand");
    x->type = default_pointer_to(x->type, sym != nullptr ? sym->attr : uint16_t(0));
    if (sym != nullptr && !in_member_access)
        sym->flags |= SYM_ADDR_TAKEN;
    x->lflags &= ~uintptr_t(LF_CONTENTS);
    return x;
}

} // namespace

TypeNode *decay_to_pointer(ExprNode *e) {
    TypeNode *old_type = e->type;
    TypeNode *pointer = pointer_to(old_type->code == TY_ARRAY ? old_type->next : old_type, 0);
    if (opt_sa && (e->eflags & EF_NOT_LVALUE) != 0)
        report("invalid lvalue");
    if (e->op == OP_LEAF) {
        if ((e->lflags & LF_SYMBOL) != 0 && e->sym != nullptr)
            pointer->attr = e->sym->attr;
        else if ((e->lflags & LF_LITERAL) != 0 && !opt_sa)
            pointer->attr = ATTR_CONST;   // string literals are const to the pointer
        e->lflags &= ~uintptr_t(LF_CONTENTS);
    } else if (e->op == OP_DEREF && e->left != nullptr) {
        // *p decays to p.
        ExprNode *inner = e->left;
        if (inner->type != nullptr && inner->type->code == TY_POINTER)
            pointer->attr = inner->type->attr;
        e->op = inner->op;
        e->left = inner->left;
        e->middle = inner->middle;
        e->right = inner->right;
        e->size = inner->size;
    }
    apply_default_attrs(&pointer->attr, POINTER_CLASS, old_type->code);
    e->type = pointer;
    return pointer;
}

ExprNode *unary_expr(ExprNode *e) {
    if (e->left == nullptr)
        e->left = make_int_const(nullptr, 0);
    if (e->op != OP_ADDR)
        e->left = replace_known_value(&e->left);
    ExprNode *x = e->left;
    bool invalid = false;
    ExprNode *result = e;
    switch (e->op) {
    case OP_NEG:
        result = negate(e, x, &invalid);
        break;
    case OP_COMPL:
        result = complement(e, x, &invalid);
        break;
    case OP_NOT:
        result = logical_not(e, x, &invalid);
        break;
    case OP_DEREF:
        result = indirection(e, x);
        break;
    case OP_ADDR:
        result = address_of(e, x);
        break;
    default:
        break;
    }
    if (invalid)
        report("invalid operand type");
    return result;
}
