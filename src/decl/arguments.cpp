// Argument lists of function declarators, in both forms: a prototype, whose
// entries are declarations, or an old-style list of names.  Tags and enum
// constants declared inside the list go to the proto lists, which the
// function node keeps for the body to bring back into scope.
#include "decl/decl_parser.h"
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "lexer/token.h"

ProtoNames *proto_names;

namespace {

// Appends an argument at `*tail` and returns it.
Symbol *append_argument(Symbol **&tail, NameRecord *name, int32_t sclass, TypeNode *type) {
    Symbol *sym = new_symbol(tail, name, sclass, type);
    tail = &sym->next;
    if (name != nullptr)
        proto_names->arguments.insert(name);
    return sym;
}

bool is_argument(NameRecord *name) { return name != nullptr && proto_names->arguments.count(name) != 0; }

// The entries of a prototype; the first specifier list has been read into
// `record`.  The token behind the entries is left unread, but for a `...`
// behind a comma, which belongs to the list.
void parse_prototype(Symbol **tail, Symbol *record) {
    int position = 0;
    bool ellipsis = false;
    // The last token read, when it still waits to be given back.
    bool pending = false;
    for (;;) {
        parse_declarator(record);
        if (is_argument(record->name))
            report("redeclared proto argument %.*s", record->name->length, record->name->text);
        Token *t = next_token();
        pending = true;
        bool is_void = record->type->code == TY_VOID;
        if (is_void && (position != 0 || t->code != TOK_RPAREN)) {
            report("bad void argument");
        } else {
            Symbol *sym = append_argument(tail, record->name, record->sclass, record->type);
            sym->attr = record->attr;
            adjust_argument(sym);
            if (sym->sclass == SC_NONE || sym->sclass == SC_REGISTER)
                apply_default_attrs(&sym->attr, SC_ARG, 0);
        }
        position++;
        if (t->code != TOK_COMMA) {
            if (t->code == TOK_ELLIPSIS) {
                unget_token();
                pending = false;
                ellipsis = true;
            }
            break;
        }
        t = next_token();
        if (t->code == TOK_ELLIPSIS) {
            pending = false;
            ellipsis = true;
            break;
        }
        unget_token();
        pending = false;
        if (!parse_decl_specifiers(record, argument_classes)) {
            report("bad proto argument type");
            break;
        }
    }
    if (ellipsis)
        return;
    // A prototype without `...` ends in a nameless void entry.
    new_symbol(tail, nullptr, SC_NONE, new_type(TY_VOID, nullptr));
    if (pending)
        unget_token();
}

// Names separated by commas, up to the first token that is no name.
void parse_names(Symbol **tail) {
    for (;;) {
        Token *t = next_token();
        if (t->code != TOK_IDENT) {
            unget_token();
            return;
        }
        NameRecord *name = t->value.name;
        if (is_argument(name))
            report("redeclared argument %.*s", name->length, name->text);
        else
            append_argument(tail, name, SC_NONE, nullptr);
        t = next_token();
        if (t->code != TOK_COMMA) {
            unget_token();
            return;
        }
    }
}

}  // namespace

void parse_arguments(TypeNode *fn) {
    Symbol *saved_symbols = proto_symbol_list;
    Symbol *saved_tags = proto_tag_list;
    ProtoNames *saved_names = proto_names;
    ProtoNames names;
    proto_symbol_list = nullptr;
    proto_tag_list = nullptr;
    proto_names = &names;
    proto_depth++;
    fn->args = nullptr;
    Symbol **tail = &fn->args;

    // `(...)` is the same as `()`.
    if (next_token()->code != TOK_ELLIPSIS) {
        unget_token();
        Symbol record{};
        if (parse_decl_specifiers(&record, argument_classes))
            parse_prototype(tail, &record);
        else
            parse_names(tail);
    }

    fn->proto_symbols = proto_symbol_list;
    fn->proto_tags = proto_tag_list;
    proto_symbol_list = saved_symbols;
    proto_tag_list = saved_tags;
    proto_names = saved_names;
    proto_depth--;
}

void adjust_argument(Symbol *sym) {
    TypeNode *type = sym->type;
    if (!is_function_type(type) && !is_array_type(type))
        return;
    apply_default_attrs(&sym->attr, TOK_STAR, type->code);
    if (is_array_type(type))
        type = type->next;
    sym->type = new_pointer(type, sym->attr);
    sym->attr = 0;
}
