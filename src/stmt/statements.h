// Inside the statement layer: the pieces of the statement parser that live
// in files of their own (loops and switch, labels, local declarations), and
// the small helpers they share.
#pragma once

#include <cstdint>

#include "decl/symbol.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "stmt/stmt_node.h"

// The statements whose keyword has been read, `statement` made with its
// position and kind (loops_and_switch.cpp).
void parse_while(StmtNode *statement);
void parse_do(StmtNode *statement);
void parse_for(StmtNode *statement);
void parse_switch(StmtNode *statement, StmtNode *continue_target);

// The test of if, while and do, with the messages for a missing and an
// invalid test (statements.cpp).
void parse_test(StmtNode *statement, const char *missing, const char *invalid);

// The statement label `name` of this function, made when missing
// (labels.cpp).
Symbol *label_symbol(NameRecord *name);

// The local declarations at the head of a block; the statements that
// initialise them go behind *tail, which moves on (local_declarations.cpp).
void parse_local_declarations(StmtNode ***tail);

// The end position of a statement: that of `t`.
inline void set_end(StmtNode *statement, const Token *t) {
    statement->end_line = t->line;
    statement->end_col = uint16_t(t->column & 0x7FFF);
}

// A non-zero integer constant: a test that always holds.
inline bool always_true(const ExprNode *test) {
    return test != nullptr && is_int_const(test) && test->value != 0;
}

// A leaf that reads the variable `sym`, typed `type`.
ExprNode *variable_leaf(Symbol *sym, TypeNode *type, uintptr_t lflags);

// Reports "unreachable code" at the position of a statement's first token
// rather than at the last token read.
void report_unreachable_at(const StmtNode *statement);
