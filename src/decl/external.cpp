// File-scope declarations.
//
// One call reads one declaration: the specifier list, then each declarator
// on a copy of it.  A name seen before is a redeclaration, merged into the
// Symbol that holds it when the two agree; a new name enters symbol_list
// with the default attributes of its class.  Then, by what follows the
// declarator: an `@` puts the object at a fixed address, a function may
// have a body, and an object may have an initialiser.  An object without
// one stays tentative until flush_symbols reserves it.
//
// A declarator that fails (a clash with an earlier declaration, a missing
// name) is not entered anywhere: its work record stands in for the Symbol
// for the rest of the declarator, so that an initialiser or body behind it
// is still read and its own errors are found.
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "lexer/token.h"
#include "output/records.h"
#include "stmt/stmt_node.h"

int32_t object_seen;

namespace {

bool is_function(const TypeNode *type) { return type != nullptr && type->code == TY_FUNCTION; }

// Old-style list of names: the entries carry no types.
bool has_name_list(const TypeNode *function) {
    return function->args != nullptr && function->args->type == nullptr;
}

// With -x, the debug record of a type is labelled on its node.  A scalar
// declared with attributes of its own gets a node of its own, so that its
// record is not the one shared by every plain object of that type.  For a
// function it is the result type.
void give_own_scalar_node(Symbol *record) {
    TypeNode **slot = &record->type;
    if (is_function(*slot))
        slot = &(*slot)->next;
    TypeNode *type = *slot;
    if (type == nullptr || type->code >= 93 || (type->code & 2) != 0)
        return;
    TypeNode *own = new_type(type->code, nullptr);
    own->args = nullptr;
    own->members = nullptr;
    own->size = 0;
    *slot = own;
}

// A second declaration of a name already in symbol_list.  Returns whether
// it is accepted; an accepted redeclaration of a function without an
// argument list gives the old Symbol the new type, so that a later
// prototype replaces an old-style or empty declaration.
bool accept_redeclaration(Symbol *old, Symbol *record) {
    NameRecord *name = record->name;
    if (old->sclass == SC_TYPEDEF || record->sclass == SC_TYPEDEF) {
        report("redeclared typedef %.*s", name->length, name->text);
        return false;
    }
    if (old->sclass == SC_ABSOLUTE || record->sclass == SC_ABSOLUTE) {
        report("redeclared localized %.*s", name->length, name->text);
        return false;
    }
    // An enum constant uses its type field as the link of its enum: it has
    // no type to compare, and an object of its name is a clash.
    if (old->sclass == SC_ENUM_MEMBER || !same_type(old->type, record->type) ||
        (record->sclass == SC_STATIC && old->sclass != SC_STATIC) ||
        (opt_sa && ((old->attr ^ record->attr) & (ATTR_CONST | ATTR_VOLATILE)) != 0)) {
        report("redeclared external %.*s", name->length, name->text);
        return false;
    }
    if (is_function(record->type) && old->type->args == nullptr &&
        (record->sclass == SC_EXTERN || record->sclass == SC_NONE)) {
        apply_default_attrs(&record->attr, record->sclass, TY_FUNCTION);
        old->type = record->type;
        old->attr = record->attr;
    }
    return true;
}

// A name declared for the first time: it enters symbol_list with the
// attributes a #pragma attribute gave it and the defaults of its class.
Symbol *enter_new_symbol(Symbol *record) {
    Symbol *sym = new_symbol(&symbol_list, record->name, record->sclass, record->type);
    sym->attr = record->attr;
    if (sym->sclass != SC_TYPEDEF) {
        check_pragma_attribute(sym);
        apply_default_attrs(&sym->attr, sym->sclass, sym->type->code);
    }
    sym->flags = record->flags | SYM_DECLARED;
    return sym;
}

// The Symbol that the rest of the declarator works on: the old one, the new
// one, or after a failure the work record itself, kept off every list (its
// dbg_next points at itself, which keeps it out of the debug lists too).
Symbol *declare(Symbol *record) {
    if (record->name == nullptr) {
        report("missing name in declaration");
        record->name = intern_name("", 0);
        record->dbg_next = record;
        return record;
    }
    Symbol *old = find_symbol(record->name, symbol_list, nullptr);
    if (old == nullptr)
        return enter_new_symbol(record);
    if (!accept_redeclaration(old, record)) {
        record->dbg_next = record;
        return record;
    }
    // `extern int x; int x;` is a tentative definition.
    if (old->sclass == SC_EXTERN && record->sclass == SC_NONE)
        old->sclass = SC_NONE;
    merge_types(old, record);
    merge_attrs(old, record);
    return old;
}

enum class After { NEXT_DECLARATOR, BODY_DONE };

// What follows a declarator of an object or function: a fixed address, a
// body, or an initialiser.
After define_symbol(Symbol *sym, uint32_t line) {
    sym->flags |= SYM_FILE_SCOPE;
    if (sym->sclass == SC_STATIC && (sym->value & 0xFFFF) == 0)
        sym->value |= uint16_t(new_label());
    Token *t = next_token();
    if (t->code == TOK_AT) {
        parse_alias(sym);
        debug_note(sym);
        return After::NEXT_DECLARATOR;
    }
    unget_token();
    if (is_function(sym->type)) {
        if (define_function(sym, line))
            return After::BODY_DONE;
        if (has_name_list(sym->type))
            report("useless argument list");
    } else if (parse_global_initializer(sym)) {
        object_seen = 1;
        debug_note(sym);
    }
    return After::NEXT_DECLARATOR;
}

} // namespace

void parse_external_declaration() {
    Symbol specs{};
    decl_seen = 0;
    // A missing type is implicit int: `main() {}` declares a function.
    parse_decl_specifiers(&specs, file_scope_classes);
    int32_t implicit = implicit_int;

    for (;;) {
        Symbol record = specs;
        Token *t = next_token();
        uint32_t line = t->line;
        unget_token();
        if (!parse_declarator(&record)) {
            recovery_target = TOK_SEMI;
            expect_token(TOK_SEMI);
            if (!decl_seen)
                report("incomplete declaration");
            return;
        }
        if (opt_ck != 0 && implicit) {
            report("W1implicit int type in global declaration");
            implicit = 0;
        }
        if (opt_x && record.attr != 0)
            give_own_scalar_node(&record);

        Symbol *sym = declare(&record);
        if (sym->sclass != SC_TYPEDEF) {
            if (define_symbol(sym, line) == After::BODY_DONE) {
                // A body behind a typedef of a function type: `F f { }`.
                if (is_function(specs.type) && record.type == specs.type)
                    report("invalid function declaration");
                object_seen = 1;
                debug_note(sym);
                return;
            }
        } else if (opt_xx) {
            debug_note(sym);
        }

        decl_seen = 1;
        if (next_token()->code != TOK_COMMA) {
            unget_token();
            recovery_target = TOK_SEMI;
            expect_token(TOK_SEMI);
            return;
        }
    }
}
