// Stand-ins for what the expression parser, the assignments and the last
// folds call in layers not written yet; each real definition overrides its
// weak one here.
#include "decl/symbol.h"
#include "expr/expr_node.h"
#include "stmt/stmt_node.h"

#define PENDING __attribute__((weak))

// State of the statement parser.
PENDING int32_t op_count = 0;
PENDING int32_t call_count = 0;
PENDING uint16_t loop_depth = 0;
PENDING int32_t pending_inline = 0;
PENDING void note_var_use(Symbol *, uint32_t) {}

// Set by the initialiser code while a static object's value is written.
PENDING int32_t in_data_init = 0;

// Type names come with the declarator parser; until then `(` always opens
// a parenthesised expression.
PENDING ExprNode *parse_type_name() { return nullptr; }

// Statement rewriting, for the statements in front of an expression.
PENDING void rewrite_stmt(StmtNode *) {}
