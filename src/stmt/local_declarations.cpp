// The declarations at the head of a block.  Each local enters symbol_list
// at the head, so a block's locals stand newest first; an initialiser
// becomes a statement at the head of the block's statement list, in the
// order of the declarations.
#include "decl/type.h"
#include "driver/options.h"
#include "preproc/source.h"
#include "stmt/statements.h"

namespace {

// The space named by an attribute word, the source-named spaces included.
uint16_t space_of(uint16_t attr) { return attr & (ATTR_SPACE | ATTR_USER); }

bool has_name_list(const TypeNode *type) {
    return type->code == TY_FUNCTION && type->args != nullptr && type->args->type == nullptr;
}

void report_name(const char *format, const Symbol *sym) {
    report(format, sym->name->length, sym->name->text);
}

// A local declared extern that nothing initialises refers to the object
// of that name outside the block.
void link_extern(Symbol *sym) {
    Symbol *outer = find_symbol(sym->name, scope_mark, nullptr);
    if (outer == nullptr || (outer->flags & SYM_FILE_SCOPE) == 0)
        return;
    if (!same_type(outer->type, sym->type))
        report_name("redeclared external %.*s", sym);
    if (outer->sclass != SC_STATIC) {
        merge_types(sym, outer);
        merge_attrs(sym, outer);
    } else {
        // The local steps aside, so that lookups find the static.
        sym->name = intern_name("", 0);
    }
}

// The Symbol that a declarator declares in this block: a new one, or an
// extern declared here before.  Null after "redeclared local".
Symbol *enter_local(Symbol *record) {
    Symbol *old = find_symbol(record->name, symbol_list, scope_mark);
    if (old != nullptr && old->sclass != SC_EXTERN) {
        report_name("redeclared local %.*s", record);
        return nullptr;
    }
    bool repeated = record->sclass == SC_EXTERN ||
                    (record->sclass == SC_NONE && record->type->code == TY_FUNCTION);
    if (old != nullptr && repeated) {
        if (!same_type(old->type, record->type))
            report_name("redeclared external %.*s", record);
        return old;
    }
    Symbol *sym = new_symbol(&symbol_list, record->name, record->sclass, record->type);
    sym->attr = record->attr;
    sym->flags = SYM_DECLARED;
    return sym;
}

void settle_class(Symbol *sym) {
    if (sym->sclass == SC_NONE)
        sym->sclass = sym->type->code == TY_FUNCTION ? SC_EXTERN : SC_AUTO;
    if (sym->sclass == SC_STATIC) {
        if (func_state.function_attr & ATTR_INLINE)
            report_name("invalid static %.*s in inline function", sym);
        if ((sym->value & 0xFFFF) == 0)
            sym->value |= uint16_t(new_label());
    }
    if (sym->sclass != SC_TYPEDEF)
        apply_default_attrs(&sym->attr, sym->sclass, sym->type->code);
    if (sym->sclass == SC_AUTO && space_of(sym->attr) != 0 &&
        space_of(sym->attr) != space_of(data_defaults[2]))
        report_name("invalid space for local %.*s", sym);
}

// One declarator, read into `record`, with what follows it up to the `,`
// or `;`.  Gives the token behind it.
Token *local_declarator(Symbol *record, StmtNode ***tail) {
    if (record->name == nullptr) {
        report("missing local name");
        decl_seen = 1;
        return next_token();
    }
    Symbol *sym = enter_local(record);
    decl_seen = 1;
    if (sym == nullptr)
        return next_token();

    Token *t = next_token();
    uint32_t line = t->line;
    uint16_t col = uint16_t(t->column & 0x7FFF);
    if (t->code == TOK_AT)
        parse_alias(sym);
    else
        unget_token();
    settle_class(sym);

    ExprNode *init = parse_local_initializer(sym);
    if (init != nullptr) {
        StmtNode *s = new_stmt(ST_EXPR);
        s->line = line;
        s->col = col;
        s->file = current_file_name();
        s->expr = init;
        set_end(s, next_token());
        unget_token();
        **tail = s;
        *tail = &s->next;
    } else if (sym->sclass == SC_EXTERN) {
        link_extern(sym);
    }
    if (sym->sclass == SC_STATIC && sym->type->code == TY_FUNCTION && (sym->flags & SYM_DEFINED) == 0)
        report_name("static function %.*s undefined", sym);
    if (has_name_list(sym->type))
        report("useless argument list");
    return next_token();
}

// Inline calls in the initialisers of one declaration, from `first` to
// `end`.  They are expanded once its `;` has been read, when no token is
// held back, each in front of its own initialiser.  The values known while
// the later initialisers were parsed do not hold before the earlier ones
// run, so nothing is known around the expansions.
// An expansion parses declarations of its own.
void expand_initializer_calls(StmtNode **first, StmtNode **end) {
    int32_t seen = decl_seen;
    func_state.known_values = nullptr;
    for (StmtNode **at = first; at != end; at = &(*at)->next)
        expand_inline_calls(&(*at)->expr, 1, 0);
    func_state.known_values = nullptr;
    decl_seen = seen;
}

} // namespace

void parse_local_declarations(StmtNode ***tail) {
    decl_seen = 0;
    Symbol specs{};
    while (parse_decl_specifiers(&specs, block_classes)) {
        int32_t implicit = implicit_int;
        StmtNode **first = *tail;
        func_state.pending_inline = 0;
        Token *t;
        for (;;) {
            Symbol record = specs;
            if (!parse_declarator(&record)) {
                t = next_token();
                break;
            }
            if (implicit && opt_ck != 0) {
                report("W1implicit int type in local declaration");
                implicit = 0;
            }
            t = local_declarator(&record, tail);
            if (t->code != TOK_COMMA)
                break;
        }
        if (t->code != TOK_SEMI) {
            unget_token();
            report("missing ; in local declaration");
        } else if (func_state.pending_inline != 0) {
            expand_initializer_calls(first, *tail);
        }
        if (!decl_seen)
            report("incomplete declaration");
        decl_seen = 0;
        specs = Symbol{};
    }
}
