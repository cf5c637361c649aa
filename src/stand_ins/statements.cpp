// Stands in for the statement and initialiser code, which is not written
// yet: the state of the function being parsed, which the expression layer
// already reads and sets, and note_var_use, through which the expression
// layer reports every use of and assignment to a variable; with no loop
// records there is nothing to note.  This file is deleted when the
// statement code lands.
#include "stmt/stmt_node.h"

uint16_t loop_depth = 0;
uint16_t loop_has_long_div = 0;
int32_t op_count = 0;
int32_t call_count = 0;
int32_t pending_inline = 0;
int32_t in_data_init = 0;

void note_var_use(Symbol *, uint32_t) {}
