// Between the expression parser and its operand reader (operands.cpp);
// private to the expression folder.
#pragma once

#include "expr/expr_node.h"
#include "lexer/token.h"

// A missing operand: reported, and the constant 0 of type int in its place.
ExprNode *missing_operand();
// An array or function operand becomes a pointer to its first element.
void decay_if_needed(ExprNode *e);

// Leaves of the token just read.  `prev_op` is the prefix operator in front
// of an integer constant: under a minus, 32768 and 0x80000000 keep the
// narrower type.
ExprNode *string_leaf(const Token *t);
ExprNode *real_leaf(const Token *t);
ExprNode *integer_leaf(const Token *t, int prev_op);
ExprNode *identifier_leaf(const Token *t);

// Whether `callee` names the function `name` directly.
bool is_named_call(const ExprNode *callee, const char *name);

// The postfix operators behind the operand `e`: calls, subscripts, member
// access, ++ and --.
ExprNode *parse_postfix(ExprNode *e);
