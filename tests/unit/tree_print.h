// A compact text form of expression trees, for test expectations and
// readable failures.
//
//   tree(e)   operators in prefix form, leaves by their addressing form:
//             `5` integer constant, `@256` contents of an absolute address,
//             `&x` address of x, `x` contents of x, `x+4` / `&x+4` with an
//             offset, `"ab"` pooled string, `1.5r` pooled real; marks behind
//             a leaf: `!div`, `!mod`, `!init`.  Example: `(+ x 3)`.
//   typed(e)  the same with `:type` behind every node and the node marks in
//             braces: N not an lvalue, R retyped, U union path, O open
//             arguments, A anonymous alias.  Example: `(+ x:i 3:i):i{N}`.
//   type_text(t)  `c uc s us i ui l ul f d v struct union enum`, bit-fields
//             `bits3@5`, pointers `T*` with the space letter t, n or f when
//             one is given and `c`, `v` for const and volatile behind it,
//             arrays `T[4]`, functions `T()`.
#pragma once

#include <cstdio>
#include <cstring>
#include <string>

#include "decl/symbol.h"
#include "decl/type.h"
#include "expr/expr_node.h"
#include "lexer/token.h"

namespace tree_print {

inline std::string type_text(const TypeNode *t) {
    if (t == nullptr)
        return "?";
    switch (t->code) {
    case TY_CHAR: return "c";
    case TY_UCHAR: return "uc";
    case TY_SHORT: return "s";
    case TY_USHORT: return "us";
    case TY_INT: return "i";
    case TY_UINT: return "ui";
    case TY_LONG: return "l";
    case TY_ULONG: return "ul";
    case TY_FLOAT: return "f";
    case TY_DOUBLE: return "d";
    case TY_VOID: return "v";
    case TY_STRUCT: return "struct";
    case TY_UNION: return "union";
    case TY_ENUM: return "enum";
    case TY_CHAR_BITS:
    case TY_SHORT_BITS:
    case TY_INT_BITS:
    case TY_LONG_BITS:
        return "bits" + std::to_string(t->bit_width) + "@" + std::to_string(t->bit_offset);
    case TY_POINTER: {
        std::string text = type_text(t->next) + "*";
        static const char *const spaces[] = {"", "t", "n", "f"};
        text += spaces[(t->attr & ATTR_SPACE) >> 12];
        if (t->attr & ATTR_CONST)
            text += "c";
        if (t->attr & ATTR_VOLATILE)
            text += "v";
        return text;
    }
    case TY_ARRAY:
        return type_text(t->next) + "[" + std::to_string(t->dim) + "]";
    case TY_FUNCTION:
        return type_text(t->next) + "()";
    default:
        return "code" + std::to_string(t->code);
    }
}

inline const char *op_text(int op) {
    switch (op) {
    case OP_COMMA: return ",";
    case OP_COND: return "?:";
    case OP_POSTINC: return "post++";
    case OP_POSTDEC: return "post--";
    case OP_ARG: return "arg";
    case OP_CAST: return "cast";
    case OP_CALL: return "call";
    case OP_NEG: return "neg";
    case OP_DEREF: return "deref";
    case OP_ADDR: return "addr";
    case OP_NOT: return "!";
    case OP_COMPL: return "~";
    case OP_DIV: return "/";
    case OP_MOD: return "%";
    case OP_SHL: return "<<";
    case OP_SHR: return ">>";
    case OP_XOR: return "^";
    case OP_OR: return "|";
    case OP_LT: return "<";
    case OP_GE: return ">=";
    case OP_GT: return ">";
    case OP_LE: return "<=";
    case OP_EQ: return "==";
    case OP_NE: return "!=";
    case OP_ADD_ASSIGN: return "+=";
    case OP_SUB_ASSIGN: return "-=";
    case OP_MUL_ASSIGN: return "*=";
    case OP_DIV_ASSIGN: return "/=";
    case OP_MOD_ASSIGN: return "%=";
    case OP_SHL_ASSIGN: return "<<=";
    case OP_SHR_ASSIGN: return ">>=";
    case OP_AND_ASSIGN: return "&=";
    case OP_XOR_ASSIGN: return "^=";
    case OP_OR_ASSIGN: return "|=";
    case OP_LOGAND: return "&&";
    case OP_LOGOR: return "||";
    case OP_ASSIGN: return "=";
    case OP_ADD: return "+";
    case OP_SUB: return "-";
    case OP_MUL: return "*";
    case OP_AND: return "&";
    case OP_PRELUDE: return "prelude";
    default: return "op?";
    }
}

inline std::string symbol_name(const Symbol *sym) {
    if (sym == nullptr || sym->name == nullptr)
        return "?";
    return std::string(sym->name->text, sym->name->length);
}

inline std::string leaf_text(const ExprNode *e) {
    std::string text;
    unsigned flags = unsigned(e->lflags & 0xFF);
    std::string offset = e->value != 0 ? (e->value > 0 ? "+" : "") + std::to_string(e->value) : "";
    switch (flags & 7) {
    case LEAF_CONST:
        text = std::to_string(e->value);
        break;
    case LEAF_ABSOLUTE:
        text = "@" + std::to_string(e->value);
        break;
    case LEAF_ADDRESS:
        text = "&" + symbol_name(e->sym) + offset;
        break;
    case LEAF_VARIABLE:
        text = symbol_name(e->sym) + offset;
        break;
    default:
        if (e->literal == nullptr) {
            text = "literal?";
        } else if (e->type != nullptr && (e->type->code & 0xF0) == 0x50) {
            double value;
            std::memcpy(&value, e->literal->bytes, sizeof value);
            char buffer[40];
            std::snprintf(buffer, sizeof buffer, "%gr", value);
            text = buffer;
        } else {
            text = "\"" + std::string(reinterpret_cast<const char *>(e->literal->bytes), e->literal->length) +
                   "\"" + offset;
        }
        if (flags & LF_CONTENTS)
            text = "*" + text;
        break;
    }
    if (flags & LF_ZERO_DIVIDE)
        text += "!div";
    if (flags & LF_ZERO_MODULUS)
        text += "!mod";
    if (flags & LF_INIT_TARGET)
        text += "!init";
    return text;
}

inline std::string print(const ExprNode *e, bool with_types, int depth = 0) {
    if (e == nullptr)
        return "null";
    if (depth > 200)
        return "...";
    std::string text;
    if (e->op == OP_LEAF) {
        text = leaf_text(e);
    } else {
        text = std::string("(") + op_text(e->op);
        if (e->op == OP_COND) {
            text += " " + print(e->left, with_types, depth + 1);
            text += " " + print(e->middle, with_types, depth + 1);
            text += " " + print(e->right, with_types, depth + 1);
        } else if (e->op == OP_PRELUDE) {
            text += " stmts " + print(e->right, with_types, depth + 1);
        } else {
            text += " " + print(e->left, with_types, depth + 1);
            bool binary = (e->op & 0xC0) == 0x40 || e->op == OP_COMMA || e->op == OP_ARG ||
                          e->op == OP_CALL || e->op == OP_POSTINC || e->op == OP_POSTDEC;
            if (binary && (e->right != nullptr || e->op != OP_CALL))
                text += " " + print(e->right, with_types, depth + 1);
        }
        text += ")";
    }
    if (with_types) {
        text += ":" + type_text(e->type);
        std::string marks;
        if (e->eflags & EF_NOT_LVALUE)
            marks += "N";
        if (e->eflags & EF_RETYPED)
            marks += "R";
        if (e->eflags & EF_UNION_PATH)
            marks += "U";
        if (e->eflags & EF_OPEN_ARGS)
            marks += "O";
        if (e->eflags & EF_ANON_ALIAS)
            marks += "A";
        if (!marks.empty())
            text += "{" + marks + "}";
    }
    return text;
}

} // namespace tree_print

inline std::string tree(const ExprNode *e) { return tree_print::print(e, false); }
inline std::string typed(const ExprNode *e) { return tree_print::print(e, true); }
inline std::string type_text(const TypeNode *t) { return tree_print::type_text(t); }
