// Stands in for the rewriting of statements, which is not written yet: no
// expression is folded and no statement is changed; each block only has
// its locals placed, as the finished walk does on entry to a block.  This
// file is deleted when statement rewriting lands.
#include "opt/registers.h"
#include "stmt/stmt_node.h"

void rewrite_stmt(StmtNode *statement) {
    if (statement == nullptr || statement->kind != ST_BLOCK)
        return;
    for (StmtNode *block = statement; block != nullptr; block = block->next_block)
        place_locals(block);
}
