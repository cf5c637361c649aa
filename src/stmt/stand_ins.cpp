// Stand-ins for the statement parser's state, which is not written yet; the
// expression layer already reads and sets it.  These definitions go when the
// statement parser lands.
#include "stmt/stmt_node.h"

// Set by a division with a long or real result inside a loop.
uint16_t loop_has_long_div = 0;
