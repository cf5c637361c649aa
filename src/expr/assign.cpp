// Assignment typing and known values (being written).
#include "expr/expr_node.h"
