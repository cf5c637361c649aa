// The debug information writer's own operations.  Under -x the program is
// described by a linked structure made of value records (REC_INT,
// REC_STRING, REC_ADDRESS4) and REC_DEBUG_LABEL marks: an item starts at a
// label, and items point to each other with links, which are REC_ADDRESS4
// of a label with addend 0.
#pragma once

#include <cstdint>

#include "output/records.h"

// The label made for the name of the file whose records are being
// written.  Labels only grow, so the debug label of a struct, union, enum
// or tag that is not above it was written for an earlier file, and the
// type is described anew.
extern uint16_t file_name_label;

// A link to `label`; 0 gives the null link.
void write_debug_link(uint16_t label);
// Sets `label` at the present place of the debug data.
void write_debug_label(uint16_t label);
// `new_label` cut to the 16 bits of a label field.
uint16_t new_debug_label();
// An int of width 1 or 4, and a string with its 0 byte.
inline void write_debug_int1(uint32_t value) { write_int_value(value, 1); }
inline void write_debug_int4(uint32_t value) { write_int_value(value, 4); }
void write_debug_string(const char *text, size_t length);
// The part of a file name that is written: under -xp the part behind the
// last path separator.
const char *debug_file_name(const char *name);

// Pass 0: the name node of `sym` and its type data.  Pass 1: its entry in a
// list: a link to the name node, its place, its type word and a link to the
// type data.  Symbols that the debugger has no use for write nothing.
void write_debug_symbol(Symbol *sym, int pass);
// Mode 0: the type data of `type` as declared for `sym`; mode 1: the type
// word and the link to that data.
void write_debug_type(TypeNode *type, int mode, Symbol *sym);
// A statement label under -xx: its name node (pass 0), or its entry with
// the address of its code label (pass 1).
void write_debug_statement_label(Symbol *label, int pass);
// REC_DEBUG_NAME for each name with a bit of `mask` in its flags, from
// symbol_list and then the locals of `block` and the blocks behind it;
// then the number of names.
void write_debug_names(StmtNode *block, uint32_t mask);
// The place of an argument or local in a @nostack function: an address in
// the function's static frame.
void write_debug_frame_address(uint32_t offset);
// The kind byte of a Symbol's name node.
uint32_t debug_kind(const Symbol *sym);
// The last member of the enum of an enum member: it holds the integer type.
Symbol *last_enum_member(Symbol *member);
