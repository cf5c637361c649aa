// Enum bodies: the constants with their values, and the integer type that
// represents the enum, as narrow as the values allow unless -ne asks for
// int.  The constants are ordinary identifiers of symbol_list (of
// proto_symbol_list inside an argument list); within their enum they are
// chained through their `type` field, and the last one holds there the
// integer type, so that a constant finds its type by following the chain.
#include "decl/decl_parser.h"
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "lexer/token.h"

namespace {

// The narrowest type that holds every value from lo to hi, unsigned when
// no value is negative.
TypeNode *representation(int32_t lo, int32_t hi) {
    if (lo >= 0) {
        if (hi < 256)
            return &type_uchar;
        if (hi < 65536)
            return &type_ushort;
        return &type_ulong;
    }
    if (lo >= -128 && hi < 128)
        return &type_char;
    if (lo >= -32768 && hi < 32768)
        return &type_short;
    return &type_long;
}

// Whether an earlier constant of the enum's scope has this name.
bool constant_declared(NameRecord *name) {
    if (proto_depth == 0)
        return find_symbol(name, symbol_list, scope_mark) != nullptr;
    if (proto_names != nullptr)
        return proto_names->constants.count(name) != 0;
    return find_symbol(name, proto_symbol_list, nullptr) != nullptr;
}

Symbol *new_constant(NameRecord *name) {
    Symbol **list = &symbol_list;
    if (proto_depth != 0) {
        list = &proto_symbol_list;
        if (proto_names != nullptr)
            proto_names->constants.insert(name);
    }
    Symbol *sym = new_symbol(list, name, SC_ENUM_MEMBER, nullptr);
    sym->flags |= SYM_USED | SYM_DECLARED;
    return sym;
}

}  // namespace

void parse_enum_body(TypeNode *type) {
    int32_t value = 0;
    int32_t lo = 0;
    int32_t hi = 0;
    type->members = nullptr;
    Symbol **tail = &type->members;
    Symbol *last = nullptr;
    Token *t;
    for (;;) {
        t = next_token();
        if (t->code != TOK_IDENT) {
            report("missing enumeration member");
            break;
        }
        NameRecord *name = t->value.name;
        if (constant_declared(name))
            report("redeclared enum member %.*s", name->length, name->text);
        last = new_constant(name);
        *tail = last;
        tail = &last->enum_link;
        if (next_token()->code == TOK_ASSIGN)
            parse_const_expr(&value, 1);
        else
            unget_token();
        if (value < lo)
            lo = value;
        else if (value > hi)
            hi = value;
        last->value = uint32_t(value);
        value = int32_t(uint32_t(value) + 1);   // wraps silently at 32 bits
        t = next_token();
        if (t->code != TOK_COMMA)
            break;
    }
    if (t->code != TOK_RBRACE) {
        report("missing } in enum definition");
        unget_token();
    }
    type->next = opt_ne ? &type_int : representation(lo, hi);
    if (last != nullptr) {
        last->flags |= SYM_LAST_ENUM;
        last->type = type->next;
    }
}
