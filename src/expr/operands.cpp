// The operands of the expression parser: constants and string literals,
// names with the implicit declaration of an unknown function, calls with
// the checks of their arguments, and the postfix operators (array
// subscripts, member access, ++ and --).
#include <cstring>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "expr/operands.h"
#include "lexer/token.h"
#include "output/records.h"
#include "stmt/stmt_node.h"

namespace {

// Literal types by the low two bits of the token code.
TypeNode *const literal_types[4] = {&type_int, &type_uint, &type_long, &type_ulong};

TypeNode *pointer_to(TypeNode *target, uint16_t attr) {
    TypeNode *pointer = new_type(TY_POINTER, target);
    pointer->args = nullptr;
    pointer->attr = attr;
    return pointer;
}

// An enum value reads as the integer type that represents it.
TypeNode *integer_of_enum(TypeNode *type) {
    if (type != nullptr && type->code == TY_ENUM)
        return type->next != nullptr ? type->next : &type_int;
    return type;
}

// A leaf for a pooled string or real constant, counted as one more use of
// it (the count sticks at its top); the caller gives it its type.
ExprNode *literal_leaf(StringConst *literal) {
    if (literal->extra_uses != 0xFFFF)
        literal->extra_uses++;
    ExprNode *e = new_expr(OP_LEAF);
    e->literal = literal;
    e->value = 0;
    e->lflags = LEAF_LITERAL;
    return e;
}

// Checks and converts one argument against the prototype element `*param`
// and steps the element on.
ExprNode *check_argument(ExprNode *call, ExprNode *arg, Symbol **param, uint16_t attr) {
    decay_if_needed(arg);
    arg = replace_known_value(&arg);
    Symbol *p = *param;
    if (p == nullptr || p->type == nullptr)
        return arg;
    TypeNode *want = p->type;
    if (want->code == TY_VOID) {
        report("too many arguments");
    } else if (want->code == TY_POINTER && is_int_const(arg) && arg->value == 0) {
        arg = convert_to(arg, want);
    } else if (!assignable_type(want, arg->type)) {
        report("incompatible argument type");
    } else if (!(fits_int_code(want->code) && fits_int_code(arg->type->code))) {
        if (opt_ck != 0)
            check_assign_range(want, arg);
        arg = convert_to(arg, want);
    }
    *param = p->next;
    if (*param == nullptr) {
        // The prototype ended in `...` or has been used up.
        if (attr & ATTR_NOSTACK)
            report("W1variable arguments in nostack mode");
        call->eflags |= EF_OPEN_ARGS;
    }
    return arg;
}

// `callee(` has been read.
ExprNode *parse_call(ExprNode *callee) {
    callee = replace_known_value(&callee);
    ExprNode *call = new_expr(OP_CALL);
    call->left = callee;
    call->value = 0;
    func_state.call_count++;

    TypeNode *ftype = callee->type;
    TypeNode *function = nullptr;   // the function type whose arguments are checked
    TypeNode *result = &type_int;
    bool known_type = true;
    Symbol *sym = (callee->op == OP_LEAF && (callee->lflags & LF_SYMBOL) != 0) ? callee->sym : nullptr;
    if (ftype->code == TY_FUNCTION) {
        function = ftype;
        result = ftype->next;
        if (sym != nullptr) {
            if (sym->flags & SYM_DBG_USED)
                sym->flags = (sym->flags & ~uint32_t(SYM_DBG_USED)) | SYM_DBG_CALLED;
            if (sym->attr & ATTR_INLINE) {
                // An inline call is expanded in place, no call is made.
                if (sym->flags & SYM_INLINE_OPEN)
                    report("invalid recursive inline function");
                else if (sym->inline_body != nullptr)
                    func_state.pending_inline++;
                func_state.call_count--;
            }
        }
        decay_to_pointer(callee);
    } else if (ftype->code == TY_POINTER && ftype->next != nullptr && ftype->next->code == TY_FUNCTION) {
        function = ftype->next;
        result = function->next;
    } else if (sym != nullptr && (sym->flags & SYM_DECLARED) == 0) {
        // A call of an undeclared name declares it as a function that
        // returns int.  Its type must outlive the current function.
        sym->sclass = SC_EXTERN;
        uint16_t attr = ATTR_FUNCTION;
        apply_default_attrs(&attr, SC_EXTERN, TY_FUNCTION);
        sym->attr = attr;
        sym->value = 0;
        function = new_type(TY_FUNCTION | TY_KEEP, &type_int);
        function->args = nullptr;
        function->proto_symbols = nullptr;
        function->proto_tags = nullptr;
        sym->type = function;
        sym->flags |= SYM_IMPLICIT_FN | SYM_DECLARED | SYM_USED;
        if (!func_state.in_data_init) {
            sym->flags |= SYM_DBG_CALLED;
            note_debug_name_use(sym);
        }
        callee->type = function;
        decay_to_pointer(callee);
        result = &type_int;
    } else {
        report("invalid function type");
        known_type = false;
    }
    if (result == nullptr)
        result = &type_int;
    result = integer_of_enum(result);
    if (is_struct_code(result->code) && result->members == nullptr)
        report("incomplete struct/union type");
    call->type = result;

    uint16_t attr = callee->type->code == TY_POINTER ? callee->type->attr : 0;
    Symbol *param = function != nullptr ? function->args : nullptr;
    if (param != nullptr && param->type == nullptr)
        param = nullptr;   // an old-style list of names is no prototype
    if (opt_p) {
        if (!known_type)
            report("missing prototype");
        else if (param == nullptr && !is_named_call(callee, "_asm") && (attr & ATTR_INLINE) == 0)
            report("missing prototype");
    }

    ExprNode **tail = &call->right;
    ExprNode *arg = parse_assignment();
    while (arg != nullptr) {
        arg = check_argument(call, arg, &param, attr);
        Token *t = next_token();
        if (t->code != TOK_COMMA) {
            unget_token();
            break;
        }
        ExprNode *link = new_expr(OP_ARG);
        link->left = arg;
        link->type = arg->type;
        *tail = link;
        tail = &link->right;
        arg = parse_assignment();
        if (arg == nullptr) {
            report("missing argument");
            arg = make_int_const(nullptr, 0);
        }
    }
    *tail = arg;
    expect_token(TOK_RPAREN);
    if (param != nullptr && param->type != nullptr && param->type->code != TY_VOID)
        report("missing argument");
    // Any call may change any variable.
    func_state.known_values = nullptr;
    func_state.op_count++;
    return call;
}

// `node.` or `node->` has been read; `dot` tells which.
ExprNode *parse_member(ExprNode *node, bool dot) {
    bool not_lvalue = false;
    if (dot) {
        node = address_of_base(node);
        not_lvalue = (node->op == OP_ADDR && node->left != nullptr && node->left->op == OP_CALL) ||
                     (node->op != OP_LEAF && (node->eflags & EF_NOT_LVALUE) != 0);
    } else if (node->type->code == TY_ARRAY) {
        decay_to_pointer(node);
    }

    Symbol *member = nullptr;
    NameRecord *name = nullptr;
    Token *t = next_token();
    if (t->code == TOK_IDENT) {
        name = t->value.name;
    } else {
        unget_token();
        report("missing member name");
    }

    TypeNode *pointer = node->type;
    TypeNode *aggregate = nullptr;
    if (pointer->code == TY_POINTER && pointer->next != nullptr && is_struct_code(pointer->next->code))
        aggregate = pointer->next;
    else
        report("bad struct/union operand");
    if (aggregate != nullptr && name != nullptr) {
        if (aggregate->members == nullptr) {
            report("undefined struct/union");
        } else {
            member = find_symbol(name, aggregate->members, nullptr);
            if (member == nullptr)
                report("%.*s not a member", int(name->length), name->text);
        }
    }

    bool in_union = aggregate != nullptr && aggregate->code == TY_UNION;
    uint16_t attr = pointer->code == TY_POINTER ? pointer->attr : 0;
    if (member != nullptr)
        attr |= member->attr & ~ATTR_SPACE;
    uint8_t anon = node->eflags & EF_ANON_ALIAS;
    if (member != nullptr && member->value != 0) {
        int32_t offset = int32_t(member->value);
        bool union_path = in_union || (node->eflags & EF_UNION_PATH) != 0;
        node->type = pointer_to(&type_char, attr);
        if (node->op == OP_ADD && is_int_const(node->right)) {
            node->right->value = int32_t(uint32_t(node->right->value) + uint32_t(offset));
        } else {
            ExprNode *add = new_expr(OP_ADD);
            add->left = node;
            add->right = make_int_const(nullptr, offset);
            node = binary_expr(add);
            node->eflags |= anon;
        }
        if (union_path)
            node->eflags |= EF_UNION_PATH;
    } else if (member != nullptr && in_union) {
        node->eflags |= EF_UNION_PATH;
    }
    node->type = pointer_to(member != nullptr && member->type != nullptr ? member->type : &type_int, attr);

    ExprNode *deref = new_expr(OP_DEREF);
    deref->left = node;
    uint8_t union_flag = node->eflags & EF_UNION_PATH;
    deref->eflags |= union_flag;
    ExprNode *result = unary_expr(deref);
    result->eflags |= union_flag;
    if ((node->eflags & EF_ANON_ALIAS) != 0 || (member != nullptr && (member->flags & SYM_ANON_ALIAS) != 0))
        result->eflags |= EF_ANON_ALIAS;
    if (not_lvalue)
        result->eflags |= EF_NOT_LVALUE;
    func_state.op_count++;
    return result;
}

}  // namespace

ExprNode *missing_operand() {
    report("missing expression");
    return make_int_const(nullptr, 0);
}

// Arrays and functions stand for their address in a value.
void decay_if_needed(ExprNode *e) {
    int code = e->type->code;
    if (code == TY_ARRAY || code == TY_FUNCTION)
        decay_to_pointer(e);
}

ExprNode *string_leaf(const Token *t) {
    StringConst *string = t->value.string;
    ExprNode *e = literal_leaf(string);
    TypeNode *array = new_type(TY_ARRAY, opt_u ? &type_uchar : &type_char);
    array->dim = int32_t(string->length) + 1;
    e->type = array;
    return e;
}

ExprNode *real_leaf(const Token *t) {
    ExprNode *e = literal_leaf(t->value.string);
    e->type = t->code == TOK_FLOAT ? &type_float : &type_double;
    return e;
}

// `2147483648` is unsigned long and `32768` is long, while behind a minus
// sign they keep the type whose negation gives the lowest value.
ExprNode *integer_leaf(const Token *t, int prev_op) {
    int code = t->code;
    uint32_t value = uint32_t(t->value.integer);
    if (prev_op != OP_NEG) {
        if (code == TOK_INT && value == 32768)
            code = TOK_LONG;
        else if (code == TOK_LONG && value == 0x80000000u)
            code = TOK_ULONG;
    }
    ExprNode *e = make_int_const(nullptr, int32_t(value));
    e->type = literal_types[code & 3];
    return e;
}

ExprNode *identifier_leaf(const Token *t) {
    NameRecord *name = t->value.name;
    Symbol *sym = find_symbol(name, symbol_list, nullptr);
    if (sym == nullptr) {
        // Used but never declared: the error comes when its block closes.
        sym = new_symbol(&symbol_list, name, SC_NONE, &type_int);
        sym->value = t->line;
        sym->column = t->column;
    }
    sym->flags |= SYM_USED;
    note_var_use(sym, 2);
    if (sym->use_count == 0 && (sym->flags & SYM_FILE_SCOPE))
        note_counted_global(sym);
    sym->use_count++;

    ExprNode *e = new_expr(OP_LEAF);
    e->sym = sym;
    e->value = 0;
    switch (sym->sclass) {
    case SC_ENUM_MEMBER: {
        // The members of an enum are chained through their type field; the
        // last one holds the integer type of the enum.
        Symbol *member = sym;
        while (member != nullptr && (member->flags & SYM_LAST_ENUM) == 0)
            member = member->enum_link;
        TypeNode *type = member != nullptr ? member->type : nullptr;
        if (type == nullptr || is_char_code(type->code))
            type = &type_int;
        make_int_const(e, int32_t(sym->value));
        e->type = type;
        return e;
    }
    case SC_TYPEDEF:
        report("invalid typedef usage");
        return make_int_const(e, 0);
    default:
        break;
    }
    e->lflags = LEAF_VARIABLE;
    if (!func_state.in_data_init && (sym->flags & (SYM_DBG_CALLED | SYM_DBG_USED)) == 0 &&
        (sym->sclass == SC_NONE || sym->sclass == SC_EXTERN || sym->sclass == SC_STATIC ||
         sym->sclass == SC_ABSOLUTE)) {
        sym->flags |= SYM_DBG_USED;
        note_debug_name_use(sym);
    }
    // A use inside loops weighs more when registers are handed out.
    if (func_state.loop_depth != 0 && !func_state.in_data_init)
        sym->use_count = uint16_t(sym->use_count + 2 * func_state.loop_depth);
    e->type = integer_of_enum(sym->type);
    if (e->type == nullptr)
        e->type = &type_int;
    return e;
}

bool is_named_call(const ExprNode *callee, const char *name) {
    if (callee->op != OP_LEAF || (callee->lflags & LF_SYMBOL) == 0 || callee->sym == nullptr ||
        callee->sym->name == nullptr)
        return false;
    size_t length = std::strlen(name);
    return callee->sym->name->length == length && std::memcmp(callee->sym->name->text, name, length) == 0;
}

// The operators that may follow a primary expression.
ExprNode *parse_postfix(ExprNode *e) {
    for (;;) {
        Token *t = next_token();
        int code = t->code;
        switch (code) {
        case TOK_INC:
        case TOK_DEC: {
            ExprNode *node = new_expr(code == TOK_INC ? OP_POSTINC : OP_POSTDEC);
            node->left = e;
            node->right = make_int_const(nullptr, 1);
            e = assign_expr(node);
            func_state.op_count++;
            break;
        }
        case TOK_LBRACKET: {
            ExprNode *add = new_expr(OP_ADD);
            add->left = e;
            ExprNode *index = parse_expression(0);
            if (index == nullptr) {
                report("missing array subscript");
                index = make_int_const(nullptr, 0);
            }
            add->right = index;
            ExprNode *deref = new_expr(OP_DEREF);
            deref->left = binary_expr(add);
            e = unary_expr(deref);
            expect_token(TOK_RBRACKET);
            func_state.op_count += 2;
            break;
        }
        case TOK_LPAREN:
            // A number is never called: `0(` is left to the caller, which
            // sees an incomplete expression.
            if (is_int_const(e)) {
                unget_token();
                return e;
            }
            e = parse_call(e);
            break;
        case TOK_DOT:
        case TOK_ARROW:
            e = parse_member(e, code == TOK_DOT);
            break;
        default:
            unget_token();
            return e;
        }
    }
}
