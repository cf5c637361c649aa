// Register masks of the function being compiled, the argument registers,
// and the choice of a register for one variable.
#include "opt/registers.h"

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "stmt/stmt_node.h"

uint32_t free_regs;
uint32_t regs_left;
uint32_t float_regs_left;
uint32_t free_float_regs;
uint32_t byte_regs;
int32_t reg_arg_count;

namespace {

// The eight argument registers, free slots as bits, for integers and for
// floats; set once an argument found no slot, after which every later
// argument is passed in memory.
uint32_t int_arg_regs;
uint32_t float_arg_regs;
bool arg_overflow;

// Two free registers next to each other, within the 18 of the target.
bool has_adjacent_pair(uint32_t mask) { return (mask & (mask >> 1) & ALL_REGS) != 0; }

int base_code(const TypeNode *type) {
    if (type == nullptr)
        return TY_VOID;
    return type->code == TY_ENUM && type->next != nullptr ? type->next->code : type->code;
}

uint32_t float_candidates() { return free_float_regs != 0 ? free_float_regs | FLOAT_REG_MARK : 0; }

// The depth of a candidate's block, and whether block `inner` lies within
// block `outer` at depth `depth`.
int32_t block_depth(int32_t index) { return block_table != nullptr ? block_table[index].depth : 0; }

bool lies_within(int32_t inner, int32_t outer, int32_t depth) {
    while (inner >= 0 && block_table[inner].depth > depth)
        inner = block_table[inner].parent;
    return inner == outer;
}

int candidate_index(const Symbol *sym) {
    for (int i = 0; i < MAX_CANDIDATES && candidates[i] != nullptr; i++)
        if (candidates[i] == sym)
            return i;
    return -1;
}

}  // namespace

int assign_arg_register(TypeNode *type, uint16_t attr, Symbol *) {
    if (type == nullptr) {
        int_arg_regs = (attr & ATTR_VOLATILE) ? 0 : 0xFF;
        float_arg_regs = opt_fr ? int_arg_regs : 0;
        arg_overflow = false;
        reg_arg_count = 0;
        return 1;
    }
    if (arg_overflow)
        return 1;
    int code = base_code(type);
    uint32_t pattern = 0;
    bool in_float = false;
    if (is_integer_code(code) || code == TY_POINTER) {
        pattern = int_arg_regs != 0 ? 1 : 0;
    } else if (code == TY_FLOAT || code == TY_DOUBLE) {
        if (opt_fr && float_arg_regs != 0) {
            pattern = 5;
            in_float = true;
        } else if (code == TY_FLOAT) {
            pattern = int_arg_regs != 0 ? 1 : 0;
        } else {
            pattern = has_adjacent_pair(int_arg_regs) ? 3 : 0;
        }
    }
    if (pattern == 0) {
        arg_overflow = true;
        return 0;
    }
    // A pattern that runs out of the word becomes 0 and takes nothing.
    uint32_t &slots = in_float ? float_arg_regs : int_arg_regs;
    while (pattern != 0 && (pattern & slots) != pattern)
        pattern <<= 1;
    slots &= ~pattern;
    reg_arg_count++;
    return 1;
}

void start_register_assignment(StmtNode *root) {
    free_regs = regs_left = byte_regs = ALL_REGS;
    free_float_regs = float_regs_left = opt_fr ? ALL_REGS : 0;
    for (Symbol *sym = root->locals; sym != nullptr; sym = sym->next) {
        if (sym->sclass != SC_REG_ARG)
            continue;
        if ((opt_a & 3) != 0 && promote_arg_register(root, sym))
            continue;
        sym->sclass = SC_ARG;
    }
}

uint32_t usable_regs(TypeNode *type, uint32_t mask) {
    if (type == nullptr)
        return 0;
    switch (base_code(type)) {
    case TY_CHAR:
    case TY_UCHAR:
        return mask & byte_regs;
    case TY_SHORT:
    case TY_USHORT:
    case TY_INT:
    case TY_UINT:
    case TY_LONG:
    case TY_ULONG:
        return mask;
    case TY_POINTER:
        return (type->attr & ATTR_SPACE) == ATTR_TINY ? mask & byte_regs : mask;
    case TY_FLOAT:
        return opt_fr ? float_candidates() : mask;
    case TY_DOUBLE:
        if (opt_fr)
            return float_candidates();
        return has_adjacent_pair(mask) ? mask | PAIR_REG_MARK : 0;
    default:
        return 0;
    }
}

uint16_t take_register(uint32_t mask) {
    uint32_t pattern = (mask & PAIR_REG_MARK) ? 3 : 1;
    uint32_t regs = mask & ALL_REGS;
    int bit = 0;
    while (bit < 18 && ((pattern << bit) & regs) != (pattern << bit))
        bit++;
    uint32_t taken = pattern << bit;
    if (mask & FLOAT_REG_MARK) {
        free_float_regs &= ~taken;
        float_regs_left &= ~taken;
        return uint16_t(19 + bit);
    }
    free_regs &= ~taken;
    regs_left &= ~taken;
    return uint16_t(pattern == 3 ? 2 + bit : 1 + bit);
}

int enough_regs_left(Symbol *sym, uint32_t mask) {
    int self = sym->reg_mask != 0 ? candidate_index(sym) : -1;
    if (self < 0)
        return 1;
    int32_t home = candidate_block[self];
    int32_t depth = block_depth(home);
    mask &= 0xFFFF;
    for (int i = 0; i < self && mask != 0; i++) {
        Symbol *other = candidates[i];
        if (other->use_count == sym->use_count)
            break;
        if ((other->flags & SYM_PLACED) || other->sclass == SC_MERGED)
            continue;
        int32_t where = candidate_block[i];
        // A variable of a block inside this one, used more: keep a register
        // for it.
        if (block_table != nullptr && block_depth(where) > depth && lies_within(where, home, depth))
            mask &= mask - 1;
    }
    return mask != 0;
}

int assign_register(Symbol *sym) {
    uint32_t mask = (sym->flags & SYM_USED) ? usable_regs(sym->type, free_regs) : 0;
    if (mask == 0) {
        if (sym->sclass != SC_REG_COPY)
            sym->sclass = SC_AUTO;
        return 0;
    }
    if (((opt_a & 1) == 0 && sym->sclass == SC_REGISTER) || enough_regs_left(sym, mask)) {
        sym->attr = take_register(mask);
        sym->value = 0;
        return 1;
    }
    if (sym->sclass == SC_REGISTER)
        sym->sclass = SC_AUTO;
    return 0;
}

int promote_arg_register(StmtNode *block, Symbol *sym) {
    if ((sym->flags & SYM_USED) == 0)
        return 0;
    // An argument read once is cheaper in memory when calls would make the
    // register be saved around them.
    if (sym->sclass != SC_REG_ARG && sym->use_count < (func_state.call_count != 0 ? 2 : 1))
        return 0;
    uint32_t mask = usable_regs(sym->type, free_regs);
    if (mask == 0 || !enough_regs_left(sym, mask))
        return 0;
    sym->attr = take_register(mask);

    ExprNode *leaf = new_expr(OP_LEAF);
    leaf->lflags = LEAF_VARIABLE;
    leaf->sym = sym;
    leaf->value = 0;
    leaf->type = sym->type->code == TY_ENUM && sym->type->next != nullptr ? sym->type->next : sym->type;
    // Arguments that arrive in registers move first.
    StmtNode **slot = &block->body;
    StmtNode *first = *slot;
    if (first != nullptr && first->kind == ST_REG_MOVE && first->expr != nullptr &&
        (first->expr->lflags & 7) == LEAF_VARIABLE && first->expr->sym != nullptr &&
        (first->expr->sym->flags & SYM_REG_PASSED))
        slot = &first->next;
    insert_reg_move(block, slot, leaf);
    return 1;
}

void insert_reg_move(StmtNode *block, StmtNode **slot, ExprNode *leaf) {
    StmtNode *move = new_stmt(ST_REG_MOVE);
    move->expr = leaf;
    move->body = nullptr;
    move->line = move->end_line = block->line;
    move->col = move->end_col = block->col;
    move->file = block->file;
    move->next = *slot;
    *slot = move;
}
