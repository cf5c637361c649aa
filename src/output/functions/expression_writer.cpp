// Expressions in prefix form: operator nodes with their tags, leaves with
// their places, calls with their arguments, and _asm("...") calls.
#include "output/records.h"

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "driver/stack_room.h"
#include "expr/expr_node.h"
#include "lexer/token.h"

namespace {

// The longest text of an _asm call: its length + 1 must fit one byte.
constexpr uint32_t MAX_ASM_CALL_TEXT = 254;

// The first word of each reserved label of a real literal: one label for
// each form the value may be asked for (1 byte, 2 bytes, float, double).
constexpr uint16_t FLOAT_FORM_OFFSET = 4;
constexpr uint16_t DOUBLE_FORM_OFFSET = 6;
constexpr uint8_t FLOAT_FORM = 4;
constexpr uint8_t DOUBLE_FORM = 8;

void put_no_ref() {
    put_byte(0);
    put_u16(0);
}

// The label of a pooled literal, given on first use.  A real value takes
// four labels in a row, one for each form it may be written in; the form
// used here is noted, so that the pool writes it at the end of the unit.
uint16_t literal_label(StringConst *literal, const TypeNode *type) {
    bool real = is_real_code(type->code);
    if (literal->label == 0) {
        literal->label = uint16_t(new_label());
        if (real)
            for (int i = 0; i < 3; i++) new_label();
    }
    if (!real) return literal->label;
    if (type->code == TY_FLOAT) {
        literal->variants |= FLOAT_FORM;
        return uint16_t(literal->label + FLOAT_FORM_OFFSET);
    }
    literal->variants |= DOUBLE_FORM;
    return uint16_t(literal->label + DOUBLE_FORM_OFFSET);
}

// The attribute word of a literal: const unless -sa, in the space that
// constants default to.
uint16_t literal_attr() {
    uint16_t attr = opt_sa ? 0 : uint16_t(ATTR_CONST);
    apply_default_attrs(&attr, 0, 0);
    return attr;
}

// Where a Symbol's value lives.
uint32_t symbol_location(const Symbol *sym) {
    switch (sym->sclass) {
    case SC_AUTO: return LOC_LOCAL;
    case SC_ARG: return LOC_ARG;
    case SC_REGISTER: return register_location(sym->attr);
    default: return LOC_STATIC;
    }
}

// Objects that the code generator knows by name.
bool has_name_ref(const Symbol *sym) {
    switch (sym->sclass) {
    case SC_NONE: case SC_STATIC: case SC_EXTERN: case SC_ABSOLUTE: return true;
    default: return false;
    }
}

void write_symbol_leaf(const ExprNode *node) {
    const Symbol *sym = node->sym;
    uint32_t indirect = node->lflags & LF_CONTENTS;
    if (sym->flags & SYM_UNROLL_VALUE) {
        // The control variable of a loop being unrolled: the value of the
        // round being written.
        const ExprNode *round = sym->init;
        write_type(round->type, 0);
        put_no_ref();
        put_u32(uint32_t(round->value));
        put_byte(LOC_STATIC);
        put_byte(round->lflags & LF_CONTENTS);
        return;
    }
    bool in_register = sym->sclass == SC_REGISTER;
    write_type(node->type, in_register ? 0 : sym->attr);
    if (has_name_ref(sym)) {
        write_name_block(sym);
        put_u32(uint32_t(node->value));
    } else {
        put_no_ref();
        put_u32(sym->value + uint32_t(node->value));
    }
    put_byte(symbol_location(sym));
    put_byte(in_register ? 0 : indirect);
}

void write_leaf(const ExprNode *node) {
    put_byte(REC_LEAF);
    uint8_t lflags = uint8_t(node->lflags);
    if ((lflags & LF_SYMBOL) && node->sym != nullptr) {
        write_symbol_leaf(node);
        return;
    }
    if ((lflags & LF_LITERAL) && node->literal != nullptr) {
        write_type(node->type, literal_attr());
        put_byte(0);
        put_u16(literal_label(node->literal, node->type));
        // A real literal is read from its label; a string is an address
        // into it.
        bool real = is_real_code(node->type->code);
        put_u32(real ? 0 : uint32_t(node->value));
        put_byte(LOC_STATIC);
        put_byte(real ? 1 : (lflags & LF_CONTENTS));
        return;
    }
    write_type(node->type, 0);
    put_no_ref();
    put_u32(uint32_t(node->value));
    put_byte(LOC_STATIC);
    put_byte(lflags & LF_CONTENTS);
}

// The arguments of a call: a chain of OP_ARG links, each with an argument
// on its left, and the last argument itself at the end.
void write_arguments(ExprNode *arg) {
    while (arg != nullptr && arg->op == OP_ARG) {
        put_byte(REC_ARG);
        write_type(&type_int, 0);
        write_expr(arg->left, 0);
        arg = arg->right;
    }
    if (arg != nullptr) write_expr(arg, 0);
}

void write_call(ExprNode *node) {
    ExprNode *rest = nullptr;
    if (write_asm_call(node, 0, &rest)) {
        write_arguments(rest);
        return;
    }
    put_byte(node->right != nullptr ? REC_CALL_ARGS : REC_CALL);
    write_type(node->type, (node->eflags & EF_OPEN_ARGS) ? 0x4000 : 0);
    write_call_target(node->left);
    write_arguments(node->right);
}

bool is_int_const_of(const ExprNode *e, int32_t value) {
    return e != nullptr && is_int_const(e) && e->value == value;
}

// The value stored by an assignment with the conversions that do not
// narrow it taken away: a cast is passed over unless it changes the type
// code to a class narrower than that of the assignment.
const ExprNode *stored_value(const ExprNode *node) {
    const ExprNode *r = node->right;
    int assigned = node->type->code & ~3;
    while (r != nullptr && r->op == OP_CAST && r->left != nullptr) {
        if (r->type->code != r->left->type->code && assigned > (r->type->code & ~3)) break;
        r = r->left;
    }
    return r;
}

// x = -x and x = ~x, and on a one-bit field b = b == 0 and b = b ^ 1: the
// operation done in place on the lvalue.  Gives the tag, or 0.
uint32_t in_place_tag(const ExprNode *node) {
    const ExprNode *r = stored_value(node);
    if (r == nullptr || r->op == OP_LEAF) return 0;
    const TypeNode *target = node->left->type;
    bool one_bit = is_bit_field_code(target->code) && target->bit_width == 1;
    bool in_place = r->op == OP_NEG || r->op == OP_COMPL ||
                    (one_bit && r->op == OP_EQ && is_int_const_of(r->right, 0)) ||
                    (one_bit && r->op == OP_XOR && is_int_const_of(r->right, 1));
    if (!in_place || !same_expr(r->left, node->left, 0)) return 0;
    return r->op == OP_NEG ? REC_NEG_IN_PLACE : REC_COMPL_IN_PLACE;
}

// The discard flag of the first operand, by operator: a comma's left value
// is never used, the tests of ?: && || always are.
int first_operand_discard(int op, int discard) {
    switch (op) {
    case OP_COMMA: return 1;
    case OP_COND: case OP_LOGAND: case OP_LOGOR: return 0;
    default: return discard;
    }
}

void write_expr_here(ExprNode *node, int discard) {
    switch (node->op) {
    case OP_LEAF:
        write_leaf(node);
        return;
    case OP_CAST:
        if (node->type->code == TY_VOID) {
            write_expr(node->left, discard);
            return;
        }
        break;
    case OP_CALL:
        write_call(node);
        return;
    case OP_ASSIGN:
        if (uint32_t tag = in_place_tag(node)) {
            put_byte(tag);
            write_type(node->type, 0);
            write_expr(node->left, discard);
            return;
        }
        if (node->type->code == TY_VOID) {
            write_expr(node->left, discard);
            return;
        }
        break;
    default:
        break;
    }
    // A comparison whose value is unused, and an && or || whose right
    // operand has no effect of its own, only evaluate their operands.
    if (discard && (is_comparison(node->op) ||
                    (is_logical(node->op) && same_expr(node->right, node->right, 0))))
        node->op = OP_COMMA;

    int tag = expr_tag(node->op);
    if (tag < 0) {
        report("PANIC! unknown op %o", unsigned(node->op));
        return;
    }
    put_byte(uint32_t(tag));
    write_type(node->type, 0);
    int op = node->op;
    write_expr(node->left, first_operand_discard(op, discard));
    if (op == OP_COND) {
        write_expr(node->middle, discard);
        write_expr(node->right, discard);
    } else if (is_assignment_op(op)) {
        write_expr(node->right, 0);
    } else if (op == OP_COMMA || is_binary_op(op)) {
        write_expr(node->right, discard);
    }
}

}  // namespace

void write_expr(ExprNode *node, int discard) {
    if (node == nullptr) return;
    // The walk follows the depth of the tree; near the end of the stack it
    // goes on in a thread with a large stack of its own.
    if (stack_is_low()) {
        auto call = [&] { write_expr_here(node, discard); };
        on_fresh_stack(call);
        return;
    }
    write_expr_here(node, discard);
}

// The callee read through as a function: a new dereference of a copy of
// it, which typing folds into a leaf for a named function.  It keeps the
// callee's type.
void write_call_target(ExprNode *callee) {
    ExprNode *copy = new_expr(OP_LEAF);
    ExprNode *link = copy->link;
    *copy = *callee;
    copy->link = link;   // the pool's chain stays as it was
    ExprNode *deref = new_expr(OP_DEREF);
    deref->left = copy;
    deref->type = callee->type;
    ExprNode *target = unary_expr(deref);
    target->type = callee->type;
    write_expr(target, 0);
}

int write_asm_call(ExprNode *call, int check, ExprNode **rest) {
    ExprNode *callee = call->left;
    if (callee == nullptr || callee->op != OP_LEAF || !(callee->lflags & LF_SYMBOL) ||
        callee->sym == nullptr || !is_asm_name(callee->sym->name))
        return 0;
    if (check) return 1;
    // _asm is no function of the program: it must not be asked for as an
    // external name.
    callee->sym->flags &= ~uint32_t(SYM_USED);
    ExprNode *text = call->right;
    if (text == nullptr) {
        report("missing _asm() argument");
        return 0;
    }
    *rest = nullptr;
    if (text->op == OP_ARG) {
        *rest = text->right;
        text = text->left;
    }
    if (text->op == OP_CAST && text->type->code == TY_POINTER) text = text->left;
    if (text == nullptr || text->op != OP_LEAF || !(text->lflags & LF_LITERAL) ||
        text->literal == nullptr || text->type->code != TY_POINTER) {
        report("bad _asm() argument type");
        *rest = nullptr;
        return 0;
    }
    uint32_t length = text->literal->length;
    if (length > MAX_ASM_CALL_TEXT) {
        report("_asm string too long");
        length = MAX_ASM_CALL_TEXT;
    }
    put_byte(*rest != nullptr ? REC_ASM_CALL_ARGS : REC_ASM_CALL);
    write_type(call->type, 0);
    write_expr(callee, 0);
    put_byte(length + 1);
    put_bytes(text->literal->bytes, length);
    put_byte(0);
    return 1;
}
