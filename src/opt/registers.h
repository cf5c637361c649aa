// Where the locals of a function live: the register masks of the function
// being compiled, and the placing of each block's locals.  Tree rewriting
// places a block's locals when it enters the block and gives the frame and
// the registers back when it leaves; the function writer reads the masks
// that no variable took and whether any argument came in a register.
//
// Registers are bits of a mask, bit 0 first, 18 of them for integers and 18
// for floats (0x3FFFF).  A variable that gets one keeps its register number
// in Symbol.attr, with `value` 0: 1 + bit for an integer register (1..18),
// 2 + lower bit for an adjacent pair holding a double (2..18), 19 + bit for
// a float register (19..36).
#pragma once

#include <cstdint>

struct ExprNode;
struct StmtNode;
struct Symbol;
struct TypeNode;

// Every register of the target.
constexpr uint32_t ALL_REGS = 0x3FFFF;
// Marks that usable_regs adds to its mask: the register is taken from the
// float masks, or is a pair of adjacent integer registers.
constexpr uint32_t FLOAT_REG_MARK = 0x100000;
constexpr uint32_t PAIR_REG_MARK = 0x200000;

// Integer registers free at the present point of the walk over the body;
// rewriting saves it on entry to a block and restores it on exit.
extern uint32_t free_regs;
// Integer and float registers that no variable of this function has taken.
extern uint32_t regs_left;
extern uint32_t float_regs_left;
// Float registers free at the present point; not given back at a block's end.
extern uint32_t free_float_regs;
// Registers that can hold a one-byte value: all of them on this target.
extern uint32_t byte_regs;
// Arguments that were given an argument register.
extern int32_t reg_arg_count;

// Gives each local of the block its place: a register, a frame slot below
// func_state.frame_offset, or none; reports the names used but never
// declared.
void place_locals(StmtNode *block);
// Reports the names used but never declared in the blocks of the body
// that rewriting never entered, as dead code is not walked.
void report_unreached_names(StmtNode *root);
// The order in which a block's locals compete for registers: `register`
// variables first (unless -a1), then by use count, greatest first.
void sort_locals(StmtNode *block);
// Keeps the address of each global read at least 6 times in a register:
// an SC_REG_COPY local named "reg" whose `partner` is the global.
void cache_globals(StmtNode *block);

// 1 if `sym` got a register; otherwise 0, and a register variable may have
// become SC_AUTO.
int assign_register(Symbol *sym);
// Puts a statement that loads a register from `leaf` at `slot` in the
// statements of `block`, at the block's position.
void insert_reg_move(StmtNode *block, StmtNode **slot, ExprNode *leaf);
// 1 if the argument `sym`, passed in memory, got a register; the move into
// it goes to the head of `block`.
int promote_arg_register(StmtNode *block, Symbol *sym);
// The registers of `mask` that can hold a value of `type`, with
// FLOAT_REG_MARK or PAIR_REG_MARK added; 0 if none.
uint32_t usable_regs(TypeNode *type, uint32_t mask);
// Takes the lowest register (or pair) of a mask from usable_regs out of
// the masks and gives its number.
uint16_t take_register(uint32_t mask);
// 1 if a register of `mask` may go to `sym`, keeping enough for the
// much-used variables of the blocks inside its own.
int enough_regs_left(Symbol *sym, uint32_t mask);

// The value free_regs gets back at the end of a block: the two topmost
// registers do not come back once a block has ended.
constexpr uint32_t restored_free_regs(uint32_t saved) { return saved & 0xFFFF; }

// ---------------------------------------------------------------------------
// The candidate table that the sharing of local slots leaves behind, read by
// enough_regs_left.  A local or argument with a bit in Symbol.reg_mask is a
// candidate; reg_mask 0 means it is none.  `candidates` is sorted by
// use_count, greatest first, and null from the first unused entry on;
// candidate_block[i] is the index in block_table of the block that declared
// candidates[i].  block_table lists the blocks of the function in the order
// of the chain of blocks, each with its depth (the body 0) and the index of
// its parent block.
constexpr int MAX_CANDIDATES = 32;

struct BlockEntry {
    StmtNode *block;
    int32_t depth;
    int32_t parent;
};

extern Symbol *candidates[MAX_CANDIDATES];
extern int32_t candidate_block[MAX_CANDIDATES];
extern BlockEntry *block_table;
extern int32_t block_count;
