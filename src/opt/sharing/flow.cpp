// The flow graph of a function body for the sharing of local slots: which
// candidates each expression reads and stores, and one run of nodes for
// each statement, in the order of the source, with the branches of the
// statements that choose, loop and jump.
//
// The walk follows the nesting of the source and the depth of its
// expressions; near the end of the stack it goes on in a thread with a
// large stack of its own, as the other walks over the tree do.
#include <algorithm>
#include <climits>
#include <cstddef>

#include <vector>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/stack_room.h"
#include "expr/expr_node.h"
#include "opt/sharing/slot_sharing.h"
#include "stmt/stmt_node.h"

namespace {

int32_t node_count() { return int32_t(share.nodes.size()); }

void set_succ(int32_t node, int32_t k, int32_t target) { share.succ[size_t(share.nodes[node].succ + k)] = target; }

// The last node made falls through to `target` instead of the node made
// next; a node that leaves, or jumps elsewhere, keeps its way.
void lead_to(int32_t target) {
    FlowNode &last = share.nodes.back();
    if (last.succ_count == 1 && last.label == nullptr && share.succ[size_t(last.succ)] == NEXT_NODE)
        share.succ[size_t(last.succ)] = target;
}

// Where the statement or expression part stands in the lookup of
// labelled statements and blocks, or -1.
int32_t find_in(const std::vector<std::pair<const StmtNode *, int32_t>> &table, size_t from, const StmtNode *s) {
    auto first = table.begin() + std::ptrdiff_t(from);
    auto found = std::lower_bound(first, table.end(), std::make_pair(s, INT32_MIN));
    return found != table.end() && found->first == s ? found->second : -1;
}

// A leaf stored to only in part (one byte of a word, say) leaves the rest
// of the variable as it was: the store reads it too.
bool whole_variable(const ExprNode *e) {
    const Symbol *sym = e->sym;
    if ((e->lflags & 7) != LEAF_VARIABLE || e->value != 0)
        return false;
    return e->type != nullptr && sym->type != nullptr && type_size(e->type) == type_size(sym->type);
}

void leaf_masks(ExprNode *e, int mode) {
    uint32_t bit = 0;
    if ((e->lflags & LF_SYMBOL) && e->sym != nullptr)
        bit = e->sym->reg_mask;
    e->flow_defs = 0;
    e->flow_uses = bit;
    if (bit == 0 || (mode & 1) == 0)
        return;
    e->flow_defs = bit;
    if (mode == 1 && whole_variable(e))
        e->flow_uses = 0;
}

// The two words of `e` are the or of those of its operands.
void add_operand(ExprNode *e, ExprNode *operand, int mode) {
    if (operand == nullptr)
        return;
    flow_masks(operand, mode);
    e->flow_defs |= operand->flow_defs;
    e->flow_uses |= operand->flow_uses;
}

// The statements of an OP_PRELUDE, which run before its expression, in the
// order they run: the left side holds one statement or a chain of nested
// preludes.
void flow_prelude(const ExprNode *prelude) {
    std::vector<StmtNode *> statements;
    prelude_statements(prelude, statements);
    for (StmtNode *s : statements)
        build_flow(s, NEXT_NODE, NEXT_NODE, share.current_block);
}

void masks_here(ExprNode *e, int mode) {
    int op = e->op;
    if (op == OP_LEAF) {
        leaf_masks(e, mode);
        return;
    }
    e->flow_defs = 0;
    e->flow_uses = 0;
    if (op == OP_PRELUDE) {
        flow_prelude(e);
        add_operand(e, e->right, mode);
        return;
    }
    // The target of a store; with mode 3 its value is read as well.
    int target = (mode & 2) ? 3 : 1;
    switch (op) {
    case OP_ASSIGN:
        add_operand(e, e->left, target);
        add_operand(e, e->right, 2);
        return;
    case OP_POSTINC:
    case OP_POSTDEC:
        add_operand(e, e->left, target);
        add_operand(e, e->right, 2);
        e->flow_uses |= e->left != nullptr ? e->left->flow_defs : 0;
        return;
    case OP_COND:
        add_operand(e, e->left, 2);
        add_operand(e, e->middle, 2);
        add_operand(e, e->right, 2);
        return;
    default:
        if (is_compound_assign(op)) {
            add_operand(e, e->left, target);
            add_operand(e, e->right, 2);
            e->flow_uses |= e->left != nullptr ? e->left->flow_defs : 0;
            return;
        }
        // Calls, argument lists, unary and binary operators: operands only.
        add_operand(e, e->left, 2);
        add_operand(e, e->right, 2);
        return;
    }
}

// A node for an expression part of a statement: the parts that run before
// it come first.
int32_t expr_node(ExprNode *e, int mode, int32_t succ_count) {
    if (e != nullptr)
        flow_masks(e, mode);
    return new_flow_node(e, succ_count);
}

// A node that jumps to `target`, and the node behind it, which no flow
// enters but that ends the statement.
void jump_node(int32_t target) {
    int32_t jump = new_flow_node(nullptr, 1);
    set_succ(jump, 0, target);
    new_flow_node(nullptr, 1);
}

void build_block(StmtNode *s, int32_t cont, int32_t brk, int32_t block) {
    int32_t index = find_in(share.block_index, 0, s);
    int32_t saved_block = share.current_block;
    share.depth++;
    if (index >= 0) {
        share.blocks[size_t(index)].depth = share.depth;
        share.blocks[size_t(index)].parent = share.depth == 0 ? -1 : block;
        block = index;
        share.current_block = index;
    }
    if (s->body == nullptr)
        new_flow_node(nullptr, 1);
    for (StmtNode *t = s->body; t != nullptr; t = t->next)
        build_flow(t, cont, brk, block);
    share.depth--;
    share.current_block = saved_block;
}

void build_if(StmtNode *s, int32_t cont, int32_t brk, int32_t block) {
    int32_t test = expr_node(s->expr, 2, 2);
    int32_t then_first = node_count();
    if (s->body != nullptr)
        build_flow(s->body, cont, brk, block);
    int32_t then_end = node_count();
    int32_t else_first = then_end;
    if (s->alt != nullptr)
        build_flow(s->alt, cont, brk, block);
    int32_t else_end = node_count();
    int32_t join = new_flow_node(nullptr, 1);
    if (then_end > then_first) {
        // The then-branch goes past the else-branch to the join.
        FlowNode &last = share.nodes[size_t(then_end - 1)];
        if (last.succ_count == 1 && last.label == nullptr && share.succ[size_t(last.succ)] == NEXT_NODE)
            share.succ[size_t(last.succ)] = join;
    }
    set_succ(test, 0, then_end > then_first ? then_first : join);
    set_succ(test, 1, else_end > else_first ? else_first : join);
}

// The body of a loop, with `back` where it goes on after each round; the
// loop's exit node leads to a node behind everything.
void build_loop_body(StmtNode *s, int32_t back, int32_t exit, int32_t block) {
    if (s->body != nullptr)
        build_flow(s->body, back, exit, block);
    else
        new_flow_node(nullptr, 1);
    lead_to(back);
    int32_t after = new_flow_node(nullptr, 1);
    set_succ(exit, 0, after);
}

void build_while(StmtNode *s, int32_t block) {
    int32_t test_start = node_count();
    int32_t test = expr_node(s->expr, 2, 2);
    int32_t exit = new_flow_node(nullptr, 1);
    set_succ(test, 0, exit + 1);
    set_succ(test, 1, exit);
    build_loop_body(s, test_start, exit, block);
}

void build_do(StmtNode *s, int32_t block) {
    int32_t entry = new_flow_node(nullptr, 1);
    int32_t test_start = node_count();
    int32_t test = expr_node(s->expr, 2, 2);
    int32_t exit = new_flow_node(nullptr, 1);
    set_succ(entry, 0, exit + 1);
    set_succ(test, 0, exit + 1);
    set_succ(test, 1, exit);
    build_loop_body(s, test_start, exit, block);
}

void build_for(StmtNode *s, int32_t block) {
    expr_node(s->init, 0, 1);
    int32_t test_start = node_count();
    int32_t test = expr_node(s->expr, 2, 2);
    int32_t back = test_start;
    if (s->update != nullptr) {
        back = node_count();
        int32_t update = expr_node(s->update, 0, 1);
        set_succ(update, 0, test_start);
    }
    int32_t exit = new_flow_node(nullptr, 1);
    set_succ(test, 0, exit + 1);
    set_succ(test, 1, exit);
    build_loop_body(s, back, exit, block);
}

// The selector leads to each statement of the case list, and past the
// body when no case matches.
void build_switch(StmtNode *s, int32_t cont, int32_t block) {
    int32_t case_count = 0;
    for (Symbol *entry = s->cases; entry != nullptr; entry = entry->next)
        case_count++;
    int32_t test = expr_node(s->expr, 2, case_count + 1);
    int32_t exit = new_flow_node(nullptr, 1);
    size_t first_target = share.targets.size();
    if (s->body != nullptr)
        build_flow(s->body, cont, exit, block);
    else
        new_flow_node(nullptr, 1);
    lead_to(exit);
    int32_t after = new_flow_node(nullptr, 1);
    set_succ(exit, 0, after);

    std::sort(share.targets.begin() + std::ptrdiff_t(first_target), share.targets.end());
    int32_t k = 0;
    for (Symbol *entry = s->cases; entry != nullptr; entry = entry->next, k++) {
        int32_t node = find_in(share.targets, first_target, entry->stmt);
        if (node < 0) {
            share.unsure = true;
            node = exit;
        }
        set_succ(test, k, node);
    }
    set_succ(test, case_count, exit);
}

void build_here(StmtNode *s, int32_t cont, int32_t brk, int32_t block) {
    if (s->label != 0 || (s->flags & (SF_LABELLED | SF_CASE_TARGET)))
        share.targets.emplace_back(s, node_count());
    switch (s->kind) {
    case ST_EXPR:
        if (s->expr != nullptr)
            flow_masks(s->expr, 0);
        if (s->expr != nullptr && (s->expr->flow_defs | s->expr->flow_uses) != 0)
            new_flow_node(s->expr, 1);
        else
            new_flow_node(nullptr, 1);
        return;
    case ST_BLOCK:
        build_block(s, cont, brk, block);
        return;
    case ST_ASM:
        new_flow_node(nullptr, 1);
        return;
    case ST_BREAK:
        jump_node(brk);
        return;
    case ST_CONTINUE:
        jump_node(cont);
        return;
    case ST_GOTO: {
        int32_t jump = expr_node(s->expr, 0, 1);
        share.nodes[size_t(jump)].label = s->goto_label;
        if (s->goto_label == nullptr)
            share.unsure = true;
        new_flow_node(nullptr, 1);
        return;
    }
    case ST_RETURN:
        if (s->expr != nullptr) {
            flow_masks(s->expr, 2);
            if ((s->expr->flow_defs | s->expr->flow_uses) != 0)
                new_flow_node(s->expr, 1);
        }
        new_flow_node(nullptr, 0);
        return;
    case ST_IF:
        build_if(s, cont, brk, block);
        return;
    case ST_WHILE:
        build_while(s, block);
        return;
    case ST_DO:
        build_do(s, block);
        return;
    case ST_FOR:
    case ST_COUNTED:
        build_for(s, block);
        return;
    case ST_SWITCH:
        build_switch(s, cont, block);
        return;
    default:
        // Made by no parse of a correct body: nothing here can be trusted.
        share.unsure = true;
        new_flow_node(nullptr, 1);
        return;
    }
}

}  // namespace

// Modes: 0 the root of a statement, whose value nobody reads; 2 an operand;
// 1 the target of a store whose value is not read; 3 the target of a store
// whose value is read as well.
void flow_masks(ExprNode *e, int mode) {
    if (stack_is_low()) {
        auto call = [&] { masks_here(e, mode); };
        on_fresh_stack(call);
        return;
    }
    masks_here(e, mode);
}

int32_t new_flow_node(ExprNode *e, int32_t succ_count) {
    FlowNode node{};
    node.expr = e;
    if (e != nullptr) {
        node.defs = e->flow_defs;
        node.uses = e->flow_uses;
    }
    node.succ_count = succ_count;
    node.succ = int32_t(share.succ.size());
    share.succ.insert(share.succ.end(), size_t(succ_count), NEXT_NODE);
    share.nodes.push_back(node);
    return node_count() - 1;
}

// `cont` and `brk` are the nodes that continue and break go to, NEXT_NODE
// where there is none; `block` is the index of the innermost block.
void build_flow(StmtNode *s, int32_t cont, int32_t brk, int32_t block) {
    if (stack_is_low()) {
        auto call = [&] { build_here(s, cont, brk, block); };
        on_fresh_stack(call);
        return;
    }
    build_here(s, cont, brk, block);
}

// Every successor becomes a node index: "the next node" is the node made
// next, or none behind the last node; a goto takes the first node of its
// labelled statement.  Gathers the candidates read anywhere.
void close_flow() {
    std::sort(share.targets.begin(), share.targets.end());
    int32_t count = node_count();
    share.all_used = 0;
    for (int32_t i = 0; i < count; i++) {
        FlowNode &n = share.nodes[size_t(i)];
        share.all_used |= n.uses;
        if (n.label != nullptr) {
            int32_t target = find_in(share.targets, 0, n.label->stmt);
            if (target < 0 || target >= count) {
                share.unsure = true;
                target = i;
            }
            set_succ(i, 0, target);
        }
        for (int32_t k = 0; k < n.succ_count; k++) {
            int32_t &entry = share.succ[size_t(n.succ + k)];
            if (entry != NEXT_NODE)
                continue;
            if (i + 1 < count)
                entry = i + 1;
            else if (n.succ_count == 1)
                n.succ_count = 0;
            else
                entry = i;
        }
    }
}
