// The candidate table of the sharing of local slots.  Register assignment
// reads it; while no local is a candidate it stays empty and every local
// may take a register by its own use count alone.
#include "opt/registers.h"

Symbol *candidates[MAX_CANDIDATES];
int32_t candidate_block[MAX_CANDIDATES];
BlockEntry *block_table;
int32_t block_count;
