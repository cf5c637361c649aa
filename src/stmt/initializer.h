// Inside the initialisers: the routine of each kind of value, and the
// stored value records that a const object keeps (see INIT_ in
// expr/expr_node.h).  init_any (stmt_node.h) picks the routine by the type.
//
// Every routine writes what it reads at once, in storage order, and holds
// nothing of the image.  `keep`, when not null, is the link where the
// routine stores the one record that stands for its value; it leaves the
// link null when it stores none, after an error.
#pragma once

#include <cstdint>

struct ExprNode;
struct TypeNode;

void init_scalar(TypeNode *type, ExprNode **keep, uint16_t attr);
void init_array(TypeNode **slot, ExprNode **keep, uint16_t attr, int top);
void init_struct(TypeNode *type, ExprNode **keep, uint16_t attr, int top);
void init_union(TypeNode *type, ExprNode **keep, uint16_t attr, int top);

// Stored value records (const_records.cpp).  They live for the whole run.

// Stores `record` at *keep and gives the link behind it, where the next
// sibling goes; with a null keep it does nothing and gives null.
ExprNode **keep_record(ExprNode **keep, ExprNode *record);
// The record of an aggregate, a string or a gap: `op` one of the INIT_
// codes, `size` its size in bytes (a gap keeps its length in `value`).
ExprNode *new_record(int op, uint32_t size);
// A copy of the constant leaf `leaf`, typed `type`: a scalar's record.
ExprNode *leaf_record(const ExprNode *leaf, TypeNode *type);
// The integer leaf `value` of type `type`: a bit-field's record.
ExprNode *int_record(int32_t value, TypeNode *type);
