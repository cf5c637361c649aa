// The parts of statement rewriting that its files share.
#pragma once

#include <cstdint>

struct ExprNode;
struct StmtNode;
struct Symbol;

// What an initial expression tells of a loop's test on entry: 0 nothing,
// 1 the test fails, 2 the test holds.
int first_test_known(ExprNode *init, ExprNode *test);
// A new goto with the position of `s` and no expression; the caller sets
// its target.
StmtNode *make_goto(StmtNode *s);
// Simplifies a switch with a case list; `test` is its folded selector.
void rewrite_switch(StmtNode *s, ExprNode *test);
// True when the statement or something in it carries a label: code could
// jump into it, so it cannot be dropped.
bool carries_label(const StmtNode *s);
