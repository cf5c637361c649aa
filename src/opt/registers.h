// Where the locals of a function live: the register masks of the function
// being compiled, and the placing of each block's locals.  Tree rewriting
// places a block's locals when it enters the block and gives the frame and
// the registers back when it leaves; the function writer reads the masks
// that no variable took and whether any argument came in a register.
#pragma once

#include <cstdint>

struct StmtNode;

// Integer registers free at the present point of the walk over the body;
// rewriting saves it on entry to a block and restores it on exit.
extern uint32_t free_regs;
// Integer and float registers that no variable of this function has taken.
extern uint32_t regs_left;
extern uint32_t float_regs_left;
// Arguments that were given an argument register.
extern int32_t reg_arg_count;

// Gives each local of the block its place: a register, a frame slot below
// func_state.frame_offset, or none; reports the names used but never
// declared.
void place_locals(StmtNode *block);

// The value free_regs gets back at the end of a block: the two topmost
// registers do not come back once a block has ended.
constexpr uint32_t restored_free_regs(uint32_t saved) { return saved & 0xFFFF; }
