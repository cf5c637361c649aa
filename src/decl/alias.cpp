// Objects at a fixed address: `int port @ 0xFF00;`.
//
// The expression behind the `@` must come down to a constant address: a
// number, a pointer constant such as `(char *)0x100`, or the address of
// another fixed-address object with an offset, `&x + 2`, which C scales by
// the size of what the pointer reaches, so the object lies where the
// expression points.  Such an object is written as soon as it is known, by
// one record that holds its address and stands by itself.
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "output/records.h"

namespace {

// The address that the folded leaf `e` stands for, or false when it is
// none: a literal, the contents of an address, or an object that has no
// fixed address of its own.
bool leaf_address(const ExprNode *e, uint32_t *address) {
    if (e->op != OP_LEAF)
        return false;
    if ((e->lflags & LF_SYMBOL) == 0) {
        if ((e->lflags & 7) != LEAF_CONST)
            return false;
        *address = uint32_t(e->value);
        return true;
    }
    if (e->sym->sclass != SC_ABSOLUTE)
        return false;
    // The leaf's value is the offset from the object, in bytes.
    *address = e->sym->value + uint32_t(e->value);
    return true;
}

} // namespace

void parse_alias(Symbol *sym) {
    // Uses before this point took it for an ordinary object.
    if ((sym->flags & SYM_USED) && sym->name != nullptr)
        report("redefined alias %.*s", sym->name->length, sym->name->text);
    ExprNode *e = parse_assignment();
    if (e == nullptr) {
        report("bad alias expression");
        return;
    }
    uint32_t address;
    if (is_int_const(e)) {
        address = uint32_t(e->value);
    } else {
        fold_expr(e, 0);
        if (!leaf_address(e, &address)) {
            report("bad alias expression");
            return;
        }
    }
    sym->value = address;
    sym->sclass = SC_ABSOLUTE;
    write_space_names();
    write_data_begin(sym);
}
