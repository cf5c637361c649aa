// Declaration specifiers: the storage class, the type keywords, typedef
// names, struct, union and enum specifiers, qualifiers and space modifiers
// in front of the declarators.  The type keywords gather in a mask, which
// must name one of the combinations of the table below.
#include "decl/decl_parser.h"
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "lexer/token.h"

const uint8_t file_scope_classes[] = {TOK_EXTERN, TOK_STATIC, TOK_TYPEDEF, 0};
const uint8_t block_classes[] = {TOK_EXTERN, TOK_STATIC, TOK_AUTO, TOK_REGISTER, TOK_TYPEDEF, 0};
const uint8_t argument_classes[] = {TOK_REGISTER, 0};

uint16_t spec_seen;
int32_t implicit_int;
int32_t decl_seen;

namespace {

// The mask bit of a type keyword or qualifier, 0 for any other token.
uint16_t keyword_bit(int code) {
    switch (code) {
    case TOK_CHAR: return SPEC_CHAR;
    case TOK_SHORT: return SPEC_SHORT;
    case TOK_INT_KW: return SPEC_INT;
    case TOK_LONG_KW: return SPEC_LONG;
    case TOK_FLOAT_KW: return SPEC_FLOAT;
    case TOK_DOUBLE_KW: return SPEC_DOUBLE;
    case TOK_SIGNED: return SPEC_SIGNED;
    case TOK_UNSIGNED: return SPEC_UNSIGNED;
    case TOK_CONST: return SPEC_CONST;
    case TOK_VOLATILE: return SPEC_VOLATILE;
    case TOK_VOID: return SPEC_VOID;
    case TOK_STRUCT:
    case TOK_UNION:
    case TOK_ENUM:
        return SPEC_TAG;
    default:
        return 0;
    }
}

bool is_storage_class(int code) {
    return code == TOK_EXTERN || code == TOK_STATIC || code == TOK_AUTO || code == TOK_REGISTER ||
           code == TOK_TYPEDEF;
}

bool class_allowed(const uint8_t *allowed, int sclass) {
    for (; *allowed != 0; allowed++)
        if (*allowed == sclass)
            return true;
    return false;
}

// The combinations of type keywords that make a type, qualifiers taken out.
// Plain char is the one entry that depends on an option.
struct Combination {
    uint16_t spec;
    TypeNode *type;
};

const Combination combinations[] = {
    {SPEC_CHAR, &type_char},
    {SPEC_SIGNED | SPEC_CHAR, &type_char},
    {SPEC_UNSIGNED | SPEC_CHAR, &type_uchar},
    {SPEC_SHORT, &type_short},
    {SPEC_SIGNED | SPEC_SHORT, &type_short},
    {SPEC_UNSIGNED | SPEC_SHORT, &type_ushort},
    {SPEC_SHORT | SPEC_INT, &type_short},
    {SPEC_SIGNED | SPEC_SHORT | SPEC_INT, &type_short},
    {SPEC_UNSIGNED | SPEC_SHORT | SPEC_INT, &type_ushort},
    {SPEC_INT, &type_int},
    {SPEC_SIGNED | SPEC_INT, &type_int},
    {SPEC_UNSIGNED | SPEC_INT, &type_uint},
    {SPEC_SIGNED, &type_int},
    {SPEC_UNSIGNED, &type_uint},
    {SPEC_LONG, &type_long},
    {SPEC_SIGNED | SPEC_LONG, &type_long},
    {SPEC_UNSIGNED | SPEC_LONG, &type_ulong},
    {SPEC_LONG | SPEC_INT, &type_long},
    {SPEC_SIGNED | SPEC_LONG | SPEC_INT, &type_long},
    {SPEC_UNSIGNED | SPEC_LONG | SPEC_INT, &type_ulong},
    {SPEC_FLOAT, &type_float},
    {SPEC_DOUBLE, &type_double},
    {SPEC_LONG | SPEC_DOUBLE, &type_double},   // long double
    {SPEC_VOID, &type_void},
};

// The type of a keyword mask, or null when the keywords make none.  The
// struct, union or enum of SPEC_TAG is already in the record.
TypeNode *combination_type(uint16_t spec) {
    if (spec == SPEC_CHAR && opt_u)
        return &type_uchar;
    for (const Combination &entry : combinations)
        if (entry.spec == spec)
            return entry.type;
    return nullptr;
}

// A typedef name stands for the type while the list has taken no type
// keyword yet: after one, the name is the declared name.
Symbol *typedef_here(const Token *t, uint16_t spec) {
    if (t->code != TOK_IDENT || (spec & ~(SPEC_CONST | SPEC_VOLATILE)) != 0)
        return nullptr;
    Symbol *sym = find_symbol(t->value.name, symbol_list, nullptr);
    return sym != nullptr && sym->sclass == SC_TYPEDEF ? sym : nullptr;
}

void take_typedef(Symbol *record, Symbol *name, uint16_t *spec) {
    *spec = uint16_t((*spec & (SPEC_CONST | SPEC_VOLATILE)) | SPEC_TYPEDEF);
    if (!opt_c99 && (((*spec & SPEC_CONST) && (name->attr & ATTR_CONST)) ||
                     ((*spec & SPEC_VOLATILE) && (name->attr & ATTR_VOLATILE))))
        report("repeated qualifier specification");
    record->type = name->type;
    merge_attrs(record, name);
    name->flags |= SYM_USED;
}

}  // namespace

int parse_decl_specifiers(Symbol *record, const uint8_t *allowed) {
    record->sclass = 0;
    record->flags = 0;
    record->attr = 0;
    record->value = 0;
    record->name = nullptr;
    uint16_t spec = 0;
    implicit_int = 0;
    spec_seen = 0;

    for (;;) {
        Token *t = next_token();
        int code = t->code;
        if (code == TOK_AT) {
            parse_space_modifier(&record->attr);
        } else if (is_storage_class(code)) {
            if (record->sclass != 0)
                report("invalid storage class");
            else
                record->sclass = uint8_t(code);
        } else if (uint16_t bit = keyword_bit(code)) {
            spec_seen |= bit;
            if (spec & bit)
                report("repeated type specification");
            spec |= bit;
            if (bit == SPEC_TAG) {
                record->type = parse_tag(code);
                implicit_int = 0;
            }
        } else if (Symbol *name = typedef_here(t, spec)) {
            take_typedef(record, name, &spec);
        } else {
            unget_token();
            break;
        }
    }

    if (record->sclass != 0 && allowed != nullptr && !class_allowed(allowed, record->sclass))
        report("illegal storage class");
    if (spec & SPEC_CONST)
        record->attr |= ATTR_CONST;
    if (spec & SPEC_VOLATILE)
        record->attr |= ATTR_VOLATILE;
    spec &= uint16_t(~(SPEC_CONST | SPEC_VOLATILE));

    if (spec == 0) {
        record->type = &type_int;
        implicit_int = 1;
    } else if (spec != SPEC_TYPEDEF && spec != SPEC_TAG) {
        record->type = combination_type(spec);
        if (record->type == nullptr) {
            report("illegal type specification");
            record->type = &type_int;
        }
    }
    return spec != 0 || record->sclass != 0 || record->attr != 0;
}

void merge_attrs(Symbol *dst, Symbol *src) {
    uint16_t dst_space = dst->attr & ATTR_SPACE;
    uint16_t src_space = src->attr & ATTR_SPACE;
    if (dst_space != 0 && src_space != 0 && dst_space != src_space)
        report("space attribute conflict");
    dst->attr |= src->attr;
}
