// Liveness over the flow graph: before each node, the candidates whose
// value is read later; which candidates are live together; and the stores
// whose value nobody reads.
#include <algorithm>
#include <vector>

#include "decl/symbol.h"
#include "expr/expr_node.h"
#include "opt/sharing/slot_sharing.h"

namespace {

// Predecessors of each node, one run per node in `preds`, the run of node
// i starting at pred_start[i].  Kept from one function to the next.
std::vector<int32_t> pred_start;
std::vector<int32_t> preds;
std::vector<int32_t> work;
std::vector<uint8_t> queued;

void find_predecessors() {
    size_t count = share.nodes.size();
    pred_start.assign(count + 1, 0);
    for (const FlowNode &n : share.nodes)
        for (int32_t k = 0; k < n.succ_count; k++)
            pred_start[size_t(share.succ[size_t(n.succ + k)]) + 1]++;
    for (size_t i = 0; i < count; i++)
        pred_start[i + 1] += pred_start[i];
    preds.resize(size_t(pred_start[count]));
    std::vector<int32_t> &fill = work;
    fill.assign(pred_start.begin(), pred_start.end() - 1);
    for (size_t i = 0; i < count; i++) {
        const FlowNode &n = share.nodes[i];
        for (int32_t k = 0; k < n.succ_count; k++)
            preds[size_t(fill[size_t(share.succ[size_t(n.succ + k)])]++)] = int32_t(i);
    }
}

// Each candidate live before a node is live together with all the others
// live there.
void note_interference() {
    std::fill(share.interferes, share.interferes + MAX_CANDIDATES, 0u);
    uint32_t last = 0;
    for (const FlowNode &n : share.nodes) {
        uint32_t live = n.live_in;
        if (live == last)
            continue;
        last = live;
        for (uint32_t bits = live; bits != 0; bits &= bits - 1)
            share.interferes[__builtin_ctz(bits)] |= live;
    }
}

}  // namespace

// The least solution of: live_out is the or of the successors' live_in,
// and live_in is uses or (live_out and not defs).  A worklist takes the
// nodes from the last to the first, so that a straight run settles in one
// sweep, and a node comes back only when a successor's live_in grew.
void compute_liveness() {
    find_predecessors();
    size_t count = share.nodes.size();
    work.clear();
    queued.assign(count, 1);
    for (size_t i = 0; i < count; i++) {
        share.nodes[i].live_in = 0;
        share.nodes[i].live_out = 0;
        work.push_back(int32_t(i));
    }
    while (!work.empty()) {
        int32_t i = work.back();
        work.pop_back();
        queued[size_t(i)] = 0;
        FlowNode &n = share.nodes[size_t(i)];
        uint32_t out = 0;
        for (int32_t k = 0; k < n.succ_count; k++)
            out |= share.nodes[size_t(share.succ[size_t(n.succ + k)])].live_in;
        n.live_out = out;
        uint32_t in = n.uses | (out & ~n.defs);
        if (in == n.live_in)
            continue;
        n.live_in = in;
        for (int32_t p = pred_start[size_t(i)]; p < pred_start[size_t(i) + 1]; p++) {
            int32_t pred = preds[size_t(p)];
            if (!queued[size_t(pred)]) {
                queued[size_t(pred)] = 1;
                work.push_back(pred);
            }
        }
    }
    note_interference();
}

// A store at the root of a statement part to a candidate that is not live
// behind it becomes a comma: the value is still computed, for its effects,
// but the variable is not written.  A store that stays and writes a
// candidate nobody reads afterwards still changes its home, so that
// candidate counts as live together with all that is live there.
void remove_dead_stores() {
    for (FlowNode &n : share.nodes) {
        if (n.defs == 0 || n.expr == nullptr)
            continue;
        ExprNode *e = n.expr;
        while (e != nullptr && e->op == OP_PRELUDE)
            e = e->right;
        if (e != nullptr && e->op == OP_ASSIGN && e->left != nullptr && e->left->op == OP_LEAF &&
            (e->left->lflags & LF_SYMBOL) != 0 && e->left->sym != nullptr) {
            uint32_t bit = e->left->sym->reg_mask & n.defs;
            if (bit != 0 && (bit & n.live_out) == 0) {
                e->op = OP_COMMA;
                n.defs &= ~bit;
            }
        }
        uint32_t dead = n.defs & ~n.live_out & ~n.uses;
        for (uint32_t bits = dead; bits != 0; bits &= bits - 1) {
            uint32_t one = bits & (0u - bits);
            share.interferes[__builtin_ctz(bits)] |= n.live_out | one;
            for (uint32_t live = n.live_out; live != 0; live &= live - 1)
                share.interferes[__builtin_ctz(live)] |= one;
        }
    }
}
