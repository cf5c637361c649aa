// The pools of TypeNode, StmtNode and ExprNode records, and label numbers.
//
// Each pool has a free list and a chain head, both linked through the
// record's first word `link`.  A record from the heap is linked to the chain
// head and becomes the new head; a record popped from the free list keeps
// its `link`.  Giving everything back is then one assignment: the free list
// becomes the chain.  For types, mark_types first sets the chain head to the
// free list, so that the release at the end of a function gives back exactly
// what was taken since the mark, old records and new, while types taken at
// file scope are gone from the free list for good.
#include "decl/symbol.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "stmt/stmt_node.h"

ExprNode *expr_free_list;

namespace {

TypeNode *type_free;
TypeNode *type_chain;
StmtNode *stmt_free;
StmtNode *stmt_chain;
ExprNode *expr_chain;

// Labels are odd, from 3: the counter starts at 1 and grows by 2.
uint32_t label_counter = 1;

// A record of the pool with this free list and chain head: popped from the
// free list, else a new one from the heap that becomes the chain head.
template <typename T>
T *take_record(T *&free_list, T *&chain) {
    T *record;
    if (free_list != nullptr) {
        record = free_list;
        free_list = record->link;
    } else {
        record = static_cast<T *>(checked_alloc(sizeof(T), chain));
        chain = record;
    }
    return record;
}

} // namespace

TypeNode *new_type(int32_t code, TypeNode *next) {
    TypeNode *type;
    if ((code & TY_KEEP) != 0)
        // Kept for good: from the heap, and never part of the chain.
        type = static_cast<TypeNode *>(checked_alloc(sizeof(TypeNode), type_chain));
    else
        type = take_record(type_free, type_chain);
    type->code = uint8_t(code);
    type->next = next;
    type->dbg_label = 0;
    type->body_shift = 0;
    return type;
}

void mark_types() { type_chain = type_free; }

void release_types() { type_free = type_chain; }

StmtNode *new_stmt(int32_t kind) {
    StmtNode *stmt = take_record(stmt_free, stmt_chain);
    stmt->kind = uint8_t(kind);
    stmt->flags = 0;
    stmt->label = 0;
    stmt->next = nullptr;
    return stmt;
}

void release_stmts() { stmt_free = stmt_chain; }

ExprNode *new_expr(int32_t op) {
    ExprNode *expr = take_record(expr_free_list, expr_chain);
    expr->op = uint8_t(op);
    expr->eflags = 0;
    expr->right = nullptr;
    return expr;
}

void release_exprs() { expr_free_list = expr_chain; }

int32_t new_label() {
    // The counter stops short of wrapping, so that every request past the
    // 16-bit limit keeps reporting.
    if (label_counter < 0x7FFFFFF0u)
        label_counter += 2;
    if (label_counter > 0xFFFF)
        report("file too large for label information");
    return int32_t(label_counter);
}
