// Stand-in for function definitions, which are not written yet.  A body is
// skipped, braces balanced, so that the declarations after it are still
// read; old-style argument declarations in front of it are read and
// dropped.  Nothing of the function is written.  A declaration without a
// body makes the function extern, as it will.  This file is deleted when
// function definitions land.
#include <cstdlib>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "lexer/token.h"
#include "stmt/stmt_node.h"

namespace {

// The declarations between the `)` of an old-style head and the `{`.
// Returns whether there were any.
bool skip_argument_declarations() {
    bool any = false;
    Symbol record{};
    while (parse_decl_specifiers(&record, argument_classes)) {
        any = true;
        for (;;) {
            Symbol declarator = record;
            if (!parse_declarator(&declarator))
                break;
            if (next_token()->code != TOK_COMMA) {
                unget_token();
                break;
            }
        }
        if (next_token()->code != TOK_SEMI) {
            unget_token();
            report("missing ; in argument declaration");
        }
    }
    return any;
}

// With the `{` read: up to and including the matching `}`.
void skip_body() {
    int depth = 1;
    while (depth > 0) {
        Token *t = next_token();
        switch (t->code) {
        case TOK_EOF:
            unget_token();
            expect_token(TOK_RBRACE);
            return;
        case TOK_ASM:
            std::free(t->value.text);   // assembly text belongs to its reader
            t->value.text = nullptr;
            break;
        case TOK_LBRACE:
            depth++;
            break;
        case TOK_RBRACE:
            depth--;
            break;
        default:
            break;
        }
    }
}

} // namespace

int define_function(Symbol *sym, uint32_t) {
    Symbol *args = sym->type->args;
    bool declared_args = args != nullptr && args->type == nullptr && skip_argument_declarations();
    if (next_token()->code != TOK_LBRACE) {
        unget_token();
        if (declared_args)
            report("bad function declaration");
        if (sym->sclass == SC_NONE && (sym->flags & SYM_DEFINED) == 0)
            sym->sclass = SC_EXTERN;
        return 0;
    }
    func_state.in_function = 1;
    skip_body();
    func_state.in_function = 0;
    sym->flags |= SYM_DEFINED | SYM_DECLARED;
    return 1;
}
