// The pool of StmtNode records.  No mark is taken: release_stmts, at the
// end of each function definition, gives back every node ever taken from
// the heap, so no statement outlives the function it belongs to.
#include "stmt/stmt_node.h"

namespace {

StmtNode *stmt_free;
StmtNode *stmt_chain;

} // namespace

StmtNode *new_stmt(int32_t kind) {
    StmtNode *stmt = take_pool_record(stmt_free, stmt_chain);
    stmt->kind = uint8_t(kind);
    stmt->flags = 0;
    stmt->label = 0;
    stmt->next = nullptr;
    return stmt;
}

void release_stmts() { stmt_free = stmt_chain; }
