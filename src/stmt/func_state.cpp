// The state of the function being parsed.  It starts cleared: file-scope
// code (a static object's initial value) runs with no function open, at
// loop depth 0 and with nothing known.
#include "stmt/stmt_node.h"

FuncState func_state;
