// Stand-ins for what the binary operators use in parts not written yet;
// each real definition overrides its weak one here.
#include "stmt/stmt_node.h"

#define PENDING __attribute__((weak))

// Loop state of the statement parser: set by a division of long or float
// result.
PENDING uint16_t loop_has_long_div = 0;
