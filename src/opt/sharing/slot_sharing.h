// The sharing of local slots, inside the opt folder.  The pass treats the
// 32 most used scalar locals and arguments of a function (the candidates,
// each with one bit of Symbol.reg_mask), finds over a flow graph of the
// body where each of them holds a value that is read later, turns stores
// whose value nobody reads into plain evaluations, and lets candidates that
// never hold such values at the same time share one home: all but one of a
// group become SC_MERGED, and register assignment gives them the place of
// the remaining one.
//
// The flow graph has one node per expression that reads or stores a
// candidate, and empty nodes where control splits and joins.  Nodes and
// their successor lists live in vectors that keep their room from one
// function to the next, so that a function costs no allocation per node.
// Nodes are named by their index, in order of making.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "opt/registers.h"

struct ExprNode;
struct StmtNode;
struct Symbol;

// A successor entry that means "the node made next".
constexpr int32_t NEXT_NODE = -1;

struct FlowNode {
    ExprNode *expr;      // the expression whose effects the node stands for, or null
    uint32_t defs;       // candidates stored to
    uint32_t uses;       // candidates read
    uint32_t live_in;    // live before the node
    uint32_t live_out;   // live behind the node
    int32_t succ_count;  // number of successors
    int32_t succ;        // index of the first of them in ShareState.succ
    Symbol *label;       // a goto: the label it jumps to, until the graph is closed
};

// What the pass keeps while it works on one function.
struct ShareState {
    std::vector<FlowNode> nodes;
    std::vector<int32_t> succ;
    // Statements that code can reach by a label (goto, case, default),
    // each with the first node made for it.
    std::vector<std::pair<const StmtNode *, int32_t>> targets;
    // The blocks of the function by address, each with its index in
    // block_table; sorted, for the lookup.
    std::vector<std::pair<const StmtNode *, int32_t>> block_index;
    std::vector<BlockEntry> blocks;
    int32_t current_block;   // index of the innermost block being built
    int32_t depth;           // its depth, the body 0
    // A jump whose target was not found, or a statement of a kind the
    // graph does not know: the liveness cannot be trusted, and nothing is
    // changed.
    bool unsure;
    uint32_t all_used;       // candidates read anywhere
    uint32_t interferes[MAX_CANDIDATES];  // by bit: the candidates live together with it
};

extern ShareState share;

// Candidates (candidates.cpp).
int32_t collect_locals(StmtNode *root);
void sort_candidates(int32_t count);
int can_share(const Symbol *a, const Symbol *b);
bool is_argument_class(int sclass);

// The flow graph (flow.cpp).
int32_t new_flow_node(ExprNode *e, int32_t succ_count);
void flow_masks(ExprNode *e, int mode);
void build_flow(StmtNode *s, int32_t cont, int32_t brk, int32_t block);
void close_flow();

// Liveness and dead stores (liveness.cpp).
void compute_liveness();
void remove_dead_stores();

// Groups (groups.cpp): the bound on the states the search keeps.
constexpr int32_t STATE_LIMIT = 4096;
