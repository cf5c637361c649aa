// Stands in for the rewriting of statements, which is not written yet: the
// statements that run in front of an expression are left as they are.  Of
// what rewriting a function body reports, one message is given already: a
// name used in a block but declared nowhere, at the place of its first use
// (the placing of a block's locals finds it).  This file is deleted when
// statement rewriting lands.
#include "lexer/token.h"
#include "stmt/stmt_node.h"

void rewrite_stmt(StmtNode *statement) {
    if (statement == nullptr || statement->kind != ST_BLOCK)
        return;
    for (StmtNode *block = statement; block != nullptr; block = block->next_block) {
        for (Symbol *sym = block->locals; sym != nullptr; sym = sym->next) {
            if (sym->flags & SYM_DECLARED)
                continue;
            Token first_use{};
            first_use.code = TOK_IDENT;
            first_use.line = sym->value;
            first_use.column = sym->column;
            first_use.length = sym->name->length;
            first_use.value.name = sym->name;
            last_token = &first_use;
            report("%.*s undefined", sym->name->length, sym->name->text);
            last_token = nullptr;
        }
    }
}
