// One scalar value of an initialiser: parsed, folded to a constant, checked
// against the type it initialises and written as the target stores it.
//
// A static object's value must be known when the file is written, so what
// is accepted is an integer or real constant, or an address: a leaf that
// names no contents, such as `&x + 1`, a function, or a string literal.
#include "stmt/initializer.h"

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "output/records.h"

namespace {

// An integer as the target keeps it in `type`: char and short keep their
// low 8 or 16 bits, sign-extended when they are signed.
int32_t target_int_value(int32_t value, const TypeNode *type) {
    int code = type->code == TY_ENUM && type->next != nullptr ? type->next->code : type->code;
    switch (code) {
    case TY_CHAR: return int32_t(int8_t(value));
    case TY_UCHAR: return int32_t(uint8_t(value));
    case TY_SHORT: return int32_t(int16_t(value));
    case TY_USHORT: return int32_t(uint16_t(value));
    default: return value;
    }
}

// An address leaf: a constant pointer, or the address of a symbol or a
// literal, never the contents of one.
bool is_address_leaf(const ExprNode *e) { return e->op == OP_LEAF && (e->lflags & LF_CONTENTS) == 0; }

// The checks of a value for a pointer.  The constant 0 is the null pointer
// of every pointer type.
void check_pointer_value(TypeNode *type, ExprNode *e, TypeNode *folded_type) {
    if (is_int_or_pointer_const(e) && e->value == 0)
        return;
    if (!assignable_type(type, folded_type) || !is_address_leaf(e))
        report("invalid pointer initializer");
}

// Brings a value for `type`, which is no pointer, to a constant of its kind.
// False, after a report, when it is none.
bool convert_value(TypeNode *type, ExprNode *e) {
    if (e->type->code == TY_POINTER) {
        report("invalid initializer");
        return false;
    }
    bool real_target = is_real_code(type->code);
    if (is_int_const(e)) {
        if (real_target) {
            make_real_const(e, integer_as_double(e->value, e->type->code));
            e->type = type;
        }
    } else if (is_real_const(e)) {
        if (!real_target) {
            double value = real_value(e);
            drop_literal_use(e->literal);
            make_int_const(e, real_to_int32(value));
        }
    } else if (!is_address_leaf(e)) {
        report("invalid initializer expression");
        return false;
    }
    return true;
}

// A const real object in a plain memory space is the pool's copy of its
// value: the literal's label for this form is set on the object's storage,
// so that other uses of the same constant refer to it and the literal is
// not written again.  A real literal owns four labels, one for each form,
// of which float is the third and double the fourth.
void place_literal_label(ExprNode *e, const TypeNode *type) {
    StringConst *literal = e->literal;
    if (literal->label == 0) {
        literal->label = uint16_t(new_label());
        new_label();
        new_label();
        new_label();
    }
    bool is_float = type->code == TY_FLOAT;
    uint8_t form = is_float ? 4 : 8;
    if (literal->written & form)
        return;
    literal->variants |= form;
    literal->written |= form;
    write_literal_label(uint16_t(literal->label + (is_float ? 4 : 6)),
                        align_shift(is_float ? &type_float : &type_double));
}

// Writes the checked value `e` for `type`.  Returns whether a const
// object may keep a record of it: only a constant leaf can stand for the
// object in a later expression.
bool write_value(TypeNode *type, ExprNode *e, bool keep, uint16_t attr) {
    int width = type_size(type);
    if (!is_address_leaf(e)) {
        // A value computed at run time, already refused: the image keeps
        // its place.
        write_int_value(0, width);
        return false;
    }
    if (e->type->code == TY_POINTER) {
        if (type_size(e->type) > width)
            report("invalid pointer initializer");
        write_address_value(e, width);
        return true;
    }
    if (!is_real_code(type->code)) {
        e->value = target_int_value(e->value, type);
        write_int_value(uint32_t(e->value), width);
        return true;
    }
    if (!is_real_const(e) || e->literal == nullptr) {
        static const double zero = 0.0;
        write_float_value(&zero, width);
        return false;
    }
    if (keep && (attr & ATTR_USER) != 0)
        keep = false;   // an object in a user space is no copy of the pool
    if (keep)
        place_literal_label(e, type);
    write_float_value(e->literal->bytes, width);
    return keep;
}

} // namespace

void init_scalar(TypeNode *type, ExprNode **keep, uint16_t attr) {
    // The nodes of the expression go back to the pool when the value is out.
    ExprNode *pool_mark = expr_free_list;
    bool braced = next_token()->code == TOK_LBRACE;
    if (!braced)
        unget_token();

    ExprNode *e = parse_assignment();
    if (e == nullptr) {
        report("missing initializer");
        e = make_int_const(nullptr, 0);
    }
    if (e->type->code == TY_ARRAY || e->type->code == TY_FUNCTION)
        decay_to_pointer(e);
    if (opt_ck != 0)
        check_assign_range(type, e);
    fold_expr(e, 0);
    TypeNode *folded_type = e->type;
    while (e->op == OP_CAST)
        e = e->left;

    bool written = false;
    if (type->code == TY_VOID) {
        report("invalid void initialization");
    } else {
        if (type->code == TY_POINTER)
            check_pointer_value(type, e, folded_type);
        if (type->code == TY_POINTER || convert_value(type, e)) {
            written = true;
            if (write_value(type, e, keep != nullptr, attr) && keep != nullptr)
                keep_record(keep, leaf_record(e, type));
        }
    }

    expr_free_list = pool_mark;
    // After a refused value the stream goes on where it is; a `{` that was
    // read stays open.
    if (written && braced)
        expect_token(TOK_RBRACE);
}
