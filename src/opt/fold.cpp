// The last walk over a finished expression tree before it is written.
//
// Arithmetic on constants was done as the tree was typed; what is left
// needs the finished tree or the width in which a value is finally used:
// the divisions by a constant zero noted earlier are reported here, so only
// for code that is still alive; arithmetic is narrowed to the width of its
// use; a shift of a memory operand by whole bytes becomes a narrower load
// at a byte offset; `strlen` of a literal through an @inline declaration
// becomes a constant; and uses of a much-used object go through the
// register that holds its address.
#include <cstring>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "driver/stack_room.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "stmt/stmt_node.h"

namespace {

void fold(ExprNode *e) { fold_expr(e, 0); }

// The width a use of a value of this type wants, or 0 for a full one.
int want_of(const ExprNode *e) {
    return e != nullptr && e->type != nullptr && is_narrow_code(e->type->code) ? e->type->code : 0;
}

void report_at(Token *position, const char *message) {
    Token *saved = last_token;
    if (position != nullptr)
        last_token = position;
    report("%s", message);
    last_token = saved;
}

void fold_leaf(ExprNode *node, int want) {
    uintptr_t flags = node->lflags;
    if (flags & (LF_ZERO_DIVIDE | LF_ZERO_MODULUS)) {
        report_at(node->position, (flags & LF_ZERO_DIVIDE) ? "zero divide" : "zero modulus");
        return;
    }
    if ((flags & LF_SYMBOL) != 0 && node->sym != nullptr && node->sym->partner != nullptr) {
        // The object is reached through the register holding its address.
        Symbol *partner = node->sym->partner;
        if ((flags & LF_CONTENTS) == 0) {
            node->sym = partner;
            node->lflags = flags | LF_CONTENTS;
            return;
        }
        ExprNode *leaf = new_expr(OP_LEAF);
        leaf->lflags = flags;
        leaf->value = node->value;
        leaf->sym = partner;
        leaf->type = partner->type;
        node->op = OP_DEREF;
        node->left = leaf;
        node->right = nullptr;
        return;
    }
    if ((flags & 7) == 0 && want != 0 && node->type != nullptr && node->type->code > want)
        narrow_type(node, want);
}

void fold_cast(ExprNode *node, int want) {
    int code = node->type->code;
    if (want != 0 && want < code && is_int_const_code(code))
        narrow_type(node, want);
    code = node->type->code;
    ExprNode *operand = node->left;
    if (operand == nullptr)
        return;
    fold_expr(operand, is_narrow_code(code) ? code : 0);
    int from = operand->type->code;
    if (is_bit_field_code(from) || is_real_code(from) || from == TY_POINTER)
        return;
    if (!is_int_const(operand)) {
        if (width_class(from) != width_class(code))
            return;
        int op = operand->op;
        if (op == OP_DEREF || op == OP_SHR || op == OP_DIV || op == OP_MOD)
            return;
    }
    operand->type = node->type;
}

bool is_named(const Symbol *sym, const char *name) {
    size_t length = std::strlen(name);
    return sym->name != nullptr && sym->name->length == length && std::memcmp(sym->name->text, name, length) == 0;
}

void fold_call(ExprNode *node) {
    ExprNode *first = nullptr;
    ExprNode *arg = node->right;
    while (arg != nullptr && arg->op == OP_ARG) {
        if (arg->left != nullptr) {
            if (first == nullptr)
                first = arg->left;
            arg->left->eflags |= EF_RETYPED;   // its conversion must stay
            fold(arg->left);
        }
        arg = arg->right;
    }
    if (arg != nullptr) {
        if (first == nullptr)
            first = arg;
        arg->eflags |= EF_RETYPED;
        fold(arg);
    }

    ExprNode *callee = node->left;
    if (callee != nullptr && callee->op == OP_LEAF && (callee->lflags & LF_SYMBOL) != 0 && callee->sym != nullptr &&
        (callee->sym->attr & ATTR_INLINE) != 0) {
        Symbol *sym = callee->sym;
        if (is_named(sym, "strlen") && first != nullptr && first->op == OP_LEAF &&
            (first->lflags & LF_LITERAL) != 0 && first->literal != nullptr) {
            StringConst *string = first->literal;
            const void *zero = std::memchr(string->bytes, 0, string->length);
            int32_t length = zero != nullptr ? int32_t(static_cast<const uint8_t *>(zero) - string->bytes)
                                             : int32_t(string->length);
            drop_literal_use(string);
            node->op = OP_LEAF;
            node->sym = nullptr;
            node->value = length;
            node->lflags = LEAF_CONST;
        } else if (sym->inline_body != nullptr) {
            report("invalid inline function usage");
        }
        return;
    }
    fold(callee);
}

// The node becomes the leaf `leaf`: a narrower load replaces the shift.
void take_leaf(ExprNode *node, ExprNode *leaf) {
    node->op = OP_LEAF;
    node->left = leaf->left;
    node->value = leaf->value;
    node->right = leaf->right;
    node->type = leaf->type;
}

// A shift of a word in memory by whole bytes reads fewer bytes.  The target
// is big-endian: the byte at offset 0 of a word is the most significant
// one, so the low half of a word is at offset 2 and its low byte at 3.
bool shift_as_load(ExprNode *node, int want) {
    ExprNode *l = node->left;
    ExprNode *r = node->right;
    if (want == 0 || !is_int_const(r) || l->op != OP_LEAF || (l->lflags & LF_CONTENTS) == 0)
        return false;
    if ((l->lflags & LF_SYMBOL) != 0 && l->sym != nullptr &&
        (l->sym->sclass == SC_REGISTER || l->sym->sclass == SC_REG_ARG))
        return false;
    // A bit-field's bits are not where a byte load would find them.
    if (l->type == nullptr || is_bit_field_code(l->type->code))
        return false;
    int32_t c = r->value;
    int32_t w = want <= TY_UCHAR ? 1 : 2;
    int op = node->op;
    if (want <= TY_USHORT && !is_narrow_code(l->type->code) && is_integer_code(l->type->code)) {
        uint8_t saved = l->eflags;
        l->eflags &= uint8_t(~EF_RETYPED);
        if (c == 8 && op == OP_SHL) {
            l->value += 2;
            l->type = &type_ushort;
            narrow_type(node, want);
            return true;
        }
        if (c == 8 && op == OP_SHR && w == 1) {
            l->value += 3 - w;
            narrow_type(l, want);
            take_leaf(node, l);
            return true;
        }
        if (c == 16 && op == OP_SHR) {
            l->value += 2 - w;
            narrow_type(l, want);
            take_leaf(node, l);
            return true;
        }
        if (c == 24 && op == OP_SHR) {
            narrow_type(l, TY_CHAR);
            take_leaf(node, l);
            return true;
        }
        if (c > 16 && c < 32 && op == OP_SHR) {
            narrow_type(l, TY_SHORT);
            r->value -= 16;
            narrow_type(node, want);
            return true;
        }
        l->eflags = saved;
    }
    if (want < TY_SHORT && l->type->code > TY_UCHAR && l->type->code < TY_INT && op == OP_SHR && c == 8) {
        // The high byte of a short is at its offset 0.
        l->type = want == TY_UCHAR ? &type_uchar : &type_char;
        take_leaf(node, l);
        return true;
    }
    return false;
}

void fold_shift(ExprNode *node, int want) {
    ExprNode *l = node->left;
    if (l == nullptr || node->right == nullptr)
        return;
    if (l->op == OP_CAST && l->type->code == node->type->code && l->left != nullptr && l->left->op == OP_LEAF &&
        l->left->type->code <= node->type->code) {
        node->left = l->left;
        l = node->left;
    }
    if (shift_as_load(node, want))
        return;
    fold(node->left);
    fold(node->right);
}

void fold_here(ExprNode *node, int want) {
    if (node->op == OP_PRELUDE) {
        rewrite_prelude(node);
        node = node->right;
        if (node == nullptr)
            return;
    }
    switch (node->op) {
    case OP_LEAF:
        fold_leaf(node, want);
        return;
    case OP_COND:
        fold(node->left);
        fold(node->middle);
        fold(node->right);
        return;
    case OP_COMMA:
    case OP_DIV:
    case OP_MOD:
    case OP_POSTINC:
    case OP_POSTDEC:
    case OP_XOR:
    case OP_OR:
    case OP_AND:
    case OP_ADD:
    case OP_SUB:
    case OP_MUL:
    case OP_ASSIGN:
    case OP_ADD_ASSIGN:
    case OP_SUB_ASSIGN:
    case OP_MUL_ASSIGN:
    case OP_SHL_ASSIGN:
    case OP_AND_ASSIGN:
    case OP_XOR_ASSIGN:
    case OP_OR_ASSIGN:
        fold(node->left);
        fold(node->right);
        return;
    case OP_DIV_ASSIGN:
    case OP_MOD_ASSIGN:
    case OP_SHR_ASSIGN:
        fold(node->right);
        fold(node->left);
        return;
    case OP_NEG:
    case OP_DEREF:
    case OP_NOT:
    case OP_COMPL:
        fold(node->left);
        return;
    case OP_CAST:
        fold_cast(node, want);
        return;
    case OP_CALL:
        fold_call(node);
        return;
    case OP_SHL:
    case OP_SHR:
        fold_shift(node, want);
        return;
    case OP_LT:
    case OP_GE:
    case OP_GT:
    case OP_LE:
    case OP_EQ:
    case OP_NE:
    case OP_LOGAND:
    case OP_LOGOR:
        // The operands of a comparison keep their own narrow width.
        if (want != 0)
            narrow_type(node, want);
        fold_expr(node->right, want_of(node->right));
        fold_expr(node->left, want_of(node->left));
        return;
    default:
        return;   // OP_ADDR and the rest: the operands are not walked
    }
}

}  // namespace

void fold_expr(ExprNode *node, int want) {
    if (node == nullptr)
        return;
    // The walk follows the depth of the tree; near the end of the stack it
    // goes on in a thread with a large stack of its own.
    if (stack_is_low()) {
        auto call = [&] { fold_here(node, want); };
        on_fresh_stack(call);
        return;
    }
    fold_here(node, want);
}

void narrow_type(ExprNode *node, int code) {
    if ((node->eflags & EF_RETYPED) != 0 || node->type == nullptr)
        return;   // a conversion that must stay
    bool is_unsigned = node->type->code == TY_POINTER || is_unsigned_code(node->type->code);
    if (code == TY_UCHAR && node->op != OP_LEAF && is_binary_op(node->op) &&
        ((node->left != nullptr && node->left->type != nullptr && node->left->type->code == TY_UCHAR) ||
         (node->right != nullptr && node->right->type != nullptr && node->right->type->code == TY_UCHAR)))
        is_unsigned = true;
    switch (code) {
    case TY_CHAR:
    case TY_UCHAR:
        node->type = is_unsigned ? &type_uchar : &type_char;
        break;
    case TY_SHORT:
    case TY_USHORT:
        node->type = is_unsigned ? &type_ushort : &type_short;
        break;
    case TY_INT:
    case TY_UINT:
        node->type = is_unsigned ? &type_uint : &type_int;
        break;
    case TY_LONG:
    case TY_ULONG:
        node->type = is_unsigned ? &type_ulong : &type_long;
        break;
    default:
        break;
    }
}

// The statements in front of an expression are rewritten like any others.
void rewrite_prelude(ExprNode *prelude) {
    std::vector<StmtNode *> statements;
    prelude_statements(prelude, statements);
    for (StmtNode *s : statements)
        rewrite_stmt(s);
}
