// The stored value of a const object: a small tree of records that lives
// for the whole run, from the heap rather than the expression pool, whose
// nodes go back at the end of every function.  Siblings are chained through
// `link`; a scalar is a copy of its folded leaf with the declared type.
#include "stmt/initializer.h"

#include "driver/options.h"
#include "expr/expr_node.h"

namespace {

ExprNode *blank_record(int op) {
    ExprNode *record = static_cast<ExprNode *>(checked_alloc(sizeof(ExprNode), nullptr));
    *record = ExprNode{};
    record->op = uint8_t(op);
    return record;
}

} // namespace

ExprNode **keep_record(ExprNode **keep, ExprNode *record) {
    if (keep == nullptr)
        return nullptr;
    *keep = record;
    return &record->link;
}

ExprNode *new_record(int op, uint32_t size) {
    ExprNode *record = blank_record(op);
    if (op == INIT_GAP)
        record->value = int32_t(size);
    else
        record->size = size;
    return record;
}

ExprNode *leaf_record(const ExprNode *leaf, TypeNode *type) {
    ExprNode *record = blank_record(OP_LEAF);
    *record = *leaf;
    record->link = nullptr;
    record->type = type;
    return record;
}

ExprNode *int_record(int32_t value, TypeNode *type) {
    ExprNode *record = make_int_const(blank_record(OP_LEAF), value);
    record->type = type;
    return record;
}
