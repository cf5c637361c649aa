// Groups of candidates that are never live together, and the merging of
// each group into one home; share_locals, the whole pass.
//
// The search for groups is best first over partial partitions: a state
// has placed the candidates of the table up to an index, each in a group.
// The states wait in a list sorted by the number of groups they would end
// with if every candidate still to place got a group of its own, fewest
// first; a state taken off the head gives one copy for each group the next
// candidate may join, and one where it starts a group of its own.  The
// first state at the head with nothing left to place is the answer.
//
// A copy never ends with more groups by that count than the state it comes
// from, so one of the copies of the head is the next head: the search goes
// straight down, and keeps at most 32 * 33 / 2 states.  The states come
// from a pool of at most STATE_LIMIT that keeps its room from one function
// to the next.
// Should the pool run out, the best state found so far, the head, is
// finished by giving each candidate still to place a group of its own:
// any partition whose groups hold no two candidates live together is
// correct, and fewer groups only mean fewer homes.
#include <algorithm>
#include <vector>

#include "decl/symbol.h"
#include "opt/sharing/slot_sharing.h"
#include "stmt/stmt_node.h"

namespace {

struct SearchState {
    int32_t next;          // next state of the list, -1 at its end
    int32_t index;         // next candidate of the table to place
    int32_t left;          // candidates still to place
    int32_t groups;        // groups so far
    uint32_t group[MAX_CANDIDATES];
};

std::vector<SearchState> pool;
int32_t free_state;        // first state of the free list, -1 if none
int32_t head;              // first state of the sorted list, -1 if none

int32_t sum(const SearchState &s) { return s.left + s.groups; }

// The pool grows as the search needs it, up to STATE_LIMIT, and keeps its
// room for the next function.
void reset_pool() {
    pool.clear();
    free_state = -1;
    head = -1;
}

// Puts a copy of `s` into the list in front of the first state whose sum
// is equal or greater; false when the pool is used up.
bool insert_state(const SearchState &s) {
    int32_t fresh = free_state;
    if (fresh >= 0) {
        free_state = pool[size_t(fresh)].next;
    } else if (pool.size() < size_t(STATE_LIMIT)) {
        fresh = int32_t(pool.size());
        pool.emplace_back();
    } else {
        return false;
    }
    pool[size_t(fresh)] = s;
    int32_t *slot = &head;
    while (*slot >= 0 && sum(pool[size_t(*slot)]) < sum(s))
        slot = &pool[size_t(*slot)].next;
    pool[size_t(fresh)].next = *slot;
    *slot = fresh;
    return true;
}

void release_state(int32_t index) {
    pool[size_t(index)].next = free_state;
    free_state = index;
}

// Whether candidate `c` of the table may join group mask `g`.
bool may_join(int32_t c, uint32_t g) {
    const Symbol *sym = candidates[c];
    uint32_t bit = sym->reg_mask;
    if ((g & share.interferes[__builtin_ctz(bit)]) != 0 || (g & ~share.all_used) != 0)
        return false;
    for (int32_t j = 0; j < c; j++)
        if ((candidates[j]->reg_mask & g) != 0 && !can_share(sym, candidates[j]))
            return false;
    return true;
}

// Places the remaining candidates of `s` each in a group of its own.
void finish_alone(SearchState &s) {
    for (; s.left > 0; s.left--, s.index++)
        s.group[s.groups++] = candidates[s.index]->reg_mask;
}

SearchState find_groups(int32_t count) {
    reset_pool();
    SearchState first{};
    first.next = -1;
    first.index = 1;
    first.left = count - 1;
    first.groups = 1;
    first.group[0] = candidates[0]->reg_mask;
    insert_state(first);
    while (pool[size_t(head)].left > 0) {
        SearchState taken = pool[size_t(head)];
        int32_t old = head;
        head = taken.next;
        release_state(old);
        int32_t c = taken.index;
        uint32_t bit = candidates[c]->reg_mask;
        SearchState copy = taken;
        copy.index++;
        copy.left--;
        bool room = true;
        if ((bit & share.all_used) != 0) {
            for (int32_t g = 0; g < taken.groups && room; g++) {
                if (!may_join(c, taken.group[g]))
                    continue;
                copy.group[g] = taken.group[g] | bit;
                room = insert_state(copy);
                copy.group[g] = taken.group[g];
            }
        }
        if (room) {
            copy.group[copy.groups++] = bit;
            room = insert_state(copy);
        }
        if (!room) {
            // Out of states: the best one found so far, finished as is.
            SearchState best = head >= 0 && sum(pool[size_t(head)]) <= sum(taken) ? pool[size_t(head)] : taken;
            finish_alone(best);
            return best;
        }
    }
    return pool[size_t(head)];
}

bool is_argument(const Symbol *sym) { return is_argument_class(sym->sclass); }

int32_t depth_of(int32_t i) { return block_table[candidate_block[i]].depth; }

// Whether block `inner` lies within block `outer`, which stands at `depth`.
bool within(int32_t inner, int32_t outer, int32_t depth) {
    while (inner >= 0 && block_table[inner].depth > depth)
        inner = block_table[inner].parent;
    return inner == outer;
}

// One home for the candidates of a group.  The representative keeps its
// own place; the others take it over when their block is placed, so the
// representative's block must hold all of theirs.  Of two blocks at the
// same shallowest depth neither holds the other, and the group is left
// alone.  At the body's level an argument is the representative, as its
// place exists from the start.
void merge_group(uint32_t mask) {
    if ((mask & (mask - 1)) == 0)
        return;
    int32_t members[MAX_CANDIDATES];
    int32_t count = 0;
    for (int32_t i = 0; i < MAX_CANDIDATES && candidates[i] != nullptr; i++)
        if ((candidates[i]->reg_mask & mask) != 0)
            members[count++] = i;
    int32_t r = members[0];
    int32_t d = depth_of(r);
    if (d != 0) {
        int32_t at_depth = 0;
        for (int32_t k = 0; k < count; k++) {
            int32_t depth = depth_of(members[k]);
            if (depth < d || k == 0) {
                r = members[k];
                d = depth;
                at_depth = 1;
            } else if (depth == d) {
                at_depth++;
            }
        }
        if (d != 0) {
            if (at_depth > 1)
                return;
            int32_t kept = 0;
            for (int32_t k = 0; k < count; k++)
                if (members[k] == r || within(candidate_block[members[k]], candidate_block[r], d))
                    members[kept++] = members[k];
            count = kept;
            if (count < 2)
                return;
        }
    }
    if (d == 0 && !is_argument(candidates[r])) {
        for (int32_t k = 0; k < count; k++) {
            if (members[k] > r && is_argument(candidates[members[k]])) {
                r = members[k];
                break;
            }
        }
    }
    Symbol *home = candidates[r];
    for (int32_t k = 0; k < count; k++) {
        Symbol *sym = candidates[members[k]];
        if (sym == home)
            continue;
        sym->sclass = SC_MERGED;
        sym->merged_with = home;
        home->use_count = uint16_t(home->use_count + sym->use_count);
    }
}

}  // namespace

void share_locals(StmtNode *root) {
    int32_t count = collect_locals(root);
    if (count <= 1)
        return;
    sort_candidates(count);

    share.nodes.clear();
    share.succ.clear();
    share.targets.clear();
    share.unsure = false;
    share.current_block = 0;
    share.depth = -1;
    int32_t entry = new_flow_node(nullptr, 1);
    build_flow(root, NEXT_NODE, NEXT_NODE, 0);
    close_flow();
    // Arguments have a value on entry.
    for (int32_t i = 0; i < count; i++)
        if (is_argument(candidates[i]))
            share.nodes[size_t(entry)].defs |= candidates[i]->reg_mask;
    if (share.unsure)
        return;
    compute_liveness();
    remove_dead_stores();

    SearchState best = find_groups(count);
    if (best.groups < count)
        for (int32_t g = 0; g < best.groups; g++)
            merge_group(best.group[g]);
    sort_candidates(count);
}
