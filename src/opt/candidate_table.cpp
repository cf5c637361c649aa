// The candidate table that the sharing of local slots leaves behind for
// register assignment.  With -ns it stays empty, no Symbol has a bit in
// reg_mask, and every local may take a register by its own use count alone.
#include "opt/registers.h"

Symbol *candidates[MAX_CANDIDATES];
int32_t candidate_block[MAX_CANDIDATES];
BlockEntry *block_table;
int32_t block_count;
