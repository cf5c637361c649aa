// Stands in for register assignment, which is not written yet: no argument
// is passed in a register, no local gets a register, every local stays
// where the parser put it.  Of what placing a block's locals reports, one
// message is given already: a name used in a block but declared nowhere, at
// the place of its first use.  This file is deleted when register
// assignment lands.
#include "lexer/token.h"
#include "opt/registers.h"
#include "stmt/stmt_node.h"

uint32_t free_regs;
uint32_t regs_left;
uint32_t float_regs_left;
int32_t reg_arg_count;

int assign_arg_register(TypeNode *, uint16_t, Symbol *) { return 0; }

void start_register_assignment(StmtNode *) {}

void place_locals(StmtNode *block) {
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
