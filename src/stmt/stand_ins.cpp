// Stand-ins for the statement parser's state, which is not written yet; the
// expression layer already reads and sets it.  These definitions go when the
// statement and initialiser code lands.
#include "stmt/stmt_node.h"

uint16_t loop_depth = 0;
uint16_t loop_has_long_div = 0;
int32_t op_count = 0;
int32_t call_count = 0;
int32_t pending_inline = 0;
int32_t in_data_init = 0;

void note_var_use(Symbol *, uint32_t) {}
