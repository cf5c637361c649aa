// Stand-in for the initialisers of file-scope objects, which are not written
// yet.  A declaration without `=` is what it will be: a tentative definition
// unless it is extern.  An initialiser is refused as a syntax error and
// skipped up to the `,` or `;` behind it, so that the declarations after it
// are still read.  This file is deleted when initialisers land.
#include <cstdlib>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "lexer/token.h"
#include "stmt/stmt_node.h"

namespace {

// Skips an initialiser, leaving the `,` or `;` that ends it, or a closing
// bracket without its opening one, to be read next.
void skip_initializer() {
    int depth = 0;
    for (;;) {
        Token *t = next_token();
        switch (t->code) {
        case TOK_EOF:
            return;
        case TOK_ASM:
            std::free(t->value.text);   // assembly text belongs to its reader
            t->value.text = nullptr;
            break;
        case TOK_LPAREN:
        case TOK_LBRACKET:
        case TOK_LBRACE:
            depth++;
            break;
        case TOK_RPAREN:
        case TOK_RBRACKET:
        case TOK_RBRACE:
            if (depth == 0) {
                unget_token();
                return;
            }
            depth--;
            break;
        case TOK_SEMI:
            unget_token();
            return;
        case TOK_COMMA:
            if (depth == 0) {
                unget_token();
                return;
            }
            break;
        default:
            break;
        }
    }
}

} // namespace

int parse_global_initializer(Symbol *sym) {
    if (next_token()->code != TOK_ASSIGN) {
        unget_token();
        if (sym->sclass != SC_EXTERN && sym->type->code == TY_VOID)
            report("invalid void declaration");
        return sym->sclass != SC_EXTERN;
    }
    report("syntax error");
    skip_initializer();
    sym->flags |= SYM_USED | SYM_DEFINED;
    return 1;
}
