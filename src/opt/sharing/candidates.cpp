// The candidates of the sharing of local slots: which locals and arguments
// the analysis follows, in which order, and which of them may share a home.
#include <algorithm>

#include "decl/symbol.h"
#include "decl/type.h"
#include "opt/sharing/slot_sharing.h"
#include "stmt/stmt_node.h"

ShareState share;

namespace {

// A scalar local or argument whose slot nobody can reach but by its name.
bool is_candidate(const Symbol *sym) {
    if (sym->sclass != SC_AUTO && sym->sclass != SC_REGISTER && !is_argument_class(sym->sclass))
        return false;
    if (sym->type == nullptr || sym->use_count == 0)
        return false;
    int code = sym->type->code;
    if (is_struct_code(code) || code == TY_ARRAY || code == TY_FUNCTION)
        return false;
    return (sym->attr & ATTR_VOLATILE) == 0 && (sym->flags & SYM_ADDR_TAKEN) == 0;
}

// The table entry with the smallest use count, the first one if equal.
int32_t least_used() {
    int32_t least = 0;
    for (int32_t i = 1; i < MAX_CANDIDATES; i++)
        if (candidates[i]->use_count < candidates[least]->use_count)
            least = i;
    return least;
}

}  // namespace

bool is_argument_class(int sclass) { return sclass == SC_ARG || sclass == SC_REG_ARG; }

// Walks the chain of blocks: each block gets its entry of block_table, and
// its candidates a bit each.  When more than 32 qualify, a later one with a
// greater use count takes the bit of the least used so far, which then
// takes no part.
int32_t collect_locals(StmtNode *root) {
    std::fill(candidates, candidates + MAX_CANDIDATES, nullptr);
    share.blocks.clear();
    share.block_index.clear();
    int32_t count = 0;
    for (StmtNode *block = root; block != nullptr; block = block->next_block) {
        int32_t index = int32_t(share.blocks.size());
        share.blocks.push_back(BlockEntry{block, 0, -1});
        share.block_index.emplace_back(block, index);
        for (Symbol *sym = block->locals; sym != nullptr; sym = sym->next) {
            if (!is_candidate(sym))
                continue;
            if (count < MAX_CANDIDATES) {
                sym->reg_mask = uint32_t(1) << count;
                candidates[count] = sym;
                candidate_block[count] = index;
                count++;
                continue;
            }
            int32_t least = least_used();
            if (sym->use_count > candidates[least]->use_count) {
                sym->reg_mask = candidates[least]->reg_mask;
                candidates[least]->reg_mask = 0;
                candidates[least] = sym;
                candidate_block[least] = index;
            }
        }
    }
    std::sort(share.block_index.begin(), share.block_index.end());
    block_table = share.blocks.data();
    block_count = int32_t(share.blocks.size());
    return count;
}

// Greatest use count first; equal counts keep their order.
void sort_candidates(int32_t count) {
    for (int32_t pass = count - 1; pass > 0; pass--) {
        for (int32_t i = 0; i < pass; i++) {
            if (candidates[i]->use_count >= candidates[i + 1]->use_count)
                continue;
            std::swap(candidates[i], candidates[i + 1]);
            std::swap(candidate_block[i], candidate_block[i + 1]);
        }
    }
}

// Two arguments each have their own place in the argument area; otherwise
// a home serves values of one size only.
int can_share(const Symbol *a, const Symbol *b) {
    if (is_argument_class(a->sclass) && is_argument_class(b->sclass))
        return 0;
    return type_size(a->type) == type_size(b->type) ? 1 : 0;
}
