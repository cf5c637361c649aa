// The output subsystem's chief header: the record tags of the intermediate
// file, the encodings it is made of, and the writer operations through which
// every other subsystem reaches the file.
//
// The file is one stream of records with no index and no end mark.  A record
// is a one-byte tag and its fields, unaligned.  A tag has a meaning only in
// its context: the file level, a data object, a statement sequence or an
// expression, so one number may stand for different records (136 is a
// conditional branch among statements and an assignment in an expression).
//
// Every multi-byte field is little-endian whatever the host; a real is an
// 8-byte IEEE 754 double, also where the target stores a 4-byte float.
//
// The encodings:
//   NameBlock  u8 length (text length + 1, never 0), u16 label, u8 kind,
//              the text without terminator.
//   Ref        a NameBlock (first byte nonzero), or 0 and a u16 label; label
//              0 means no reference at all, so "nothing" is three zero bytes.
//   TypeDesc   the type byte (TD_...), with bit 7 set when a u16 attribute
//              word follows; then u16 pointee attributes for a pointer, u8
//              bit offset and u8 bit width for a bit-field, u32 size for a
//              struct or union.
//   Leaf       tag 0, TypeDesc, Ref, u32 value, u8 location, u8 indirect.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

struct Symbol;
struct TypeNode;
struct ExprNode;
struct StmtNode;
struct NameRecord;

// ---------------------------------------------------------------------------
// The five bytes that open every file; the third is the option byte.
constexpr uint8_t HEADER_FIRST = 0xCB;
constexpr uint8_t HEADER_SECOND = 0x0C;
constexpr uint8_t HEADER_FOURTH = 0xFF;
constexpr uint8_t HEADER_FIFTH = 0x12;

// Bits of the option byte.
enum : uint8_t {
    HDR_SINGLE_FLOAT = 0x01,   // -f: double is 4 bytes wide
    HDR_DEBUG = 0x04,          // -x (also forced by -xx, -xd): debug records present
    HDR_DEBUG_DATA = 0x08,     // -xd: debug information for data only
    HDR_FLOAT_REGS = 0x10,     // -fr: float registers enabled
    HDR_UNUSED_BITS = 0xE2,    // never set by this target
};

// ---------------------------------------------------------------------------
// File level.  Source file, line and assembly text also stand among
// statements.
enum : uint8_t {
    REC_SOURCE_FILE = 19,      // NameBlock (label 0, kind 0): file name as opened
    REC_LINE = 20,             // u32 line
    REC_SPACE_NAME = 186,      // NameBlock (label 0, kind 0): an @name space modifier
    REC_SECTION = 204,         // u16 attribute word, u8 length and name, or 0
    REC_ASM_TEXT = 203,        // u8 length (1..255), the bytes
    REC_EXTERN = 144,          // NameBlock, u16 attribute word, u32 size
    REC_PUBLIC = 132,          // NameBlock, u16 attribute word, u32 size
    REC_DATA = 131,            // u8 alignment, NameBlock: opens a data object
    REC_DATA_ATTR = 199,       // u8 alignment, u16 attribute word, NameBlock
    REC_ABSOLUTE = 201,        // byte 0, NameBlock, u32 address
    REC_LITERAL = 184,         // u8 alignment, three zero bytes, u16 label
    REC_DATA_END = 210,        // ends a data object
    REC_FUNCTION = 134,        // NameBlock, u16 attribute word, u32 size
    REC_DEBUG_LABEL = 213,     // two zero bytes, u16 label
    REC_DEBUG_FUNCTION = 214,  // byte 0, NameBlock (label 0, kind 0)
    REC_DEBUG_FILE = 215,      // byte 0, NameBlock (label 0, kind 0)
    REC_DEBUG_NAME = 187,      // u8 length, the characters
};

// Data object: the values in memory order.
enum : uint8_t {
    REC_INT = 137,             // u8 width, u32 value (the low bytes count)
    REC_FLOAT = 133,           // u8 width, 8-byte double
    REC_STRING = 148,          // u8 length, the bytes; an implied 0 follows the value
    REC_ZEROS = 147,           // u32 count
    REC_ADDRESS1 = 197,        // Ref, u32 addend: an address of 1 byte
    REC_ADDRESS2 = 192,        // Ref, u32 addend: 2 bytes
    REC_ADDRESS4 = 200,        // Ref, u32 addend: any other width
};

// The frame of a function, in this order, the body between REC_REGISTERS
// and REC_FUNCTION_END.
enum : uint8_t {
    REC_FUNCTION_LINES = 251,  // u32 line of the declarator, u32 line of the brace
    REC_REG_ARG = 217,         // TypeDesc, u32 offset, u8 location
    REC_ARGS_END = 218,        // u32 size of the argument area
    REC_FRAME_SIZE = 129,      // u32 lowest frame offset, negative
    REC_REGISTERS = 145,       // u32 free integer registers, u32 free float registers
    REC_FUNCTION_END = 211,
};

// Statement sequence.  No nesting: structure is made of labels.
enum : uint8_t {
    REC_POSITION = 188,        // u32 line, u16 column, u32 line, u16 column
    REC_JUMP = 139,            // u16 label
    REC_LABEL = 140,           // u16 label, u32 line, u8 flag only if line != 0
    REC_CASE_LABEL = 130,      // as REC_LABEL: a label that data refers to
    REC_BRANCH_LT = 141,       // u16 label, two expressions
    REC_BRANCH_GE = 135,
    REC_BRANCH_GT = 136,
    REC_BRANCH_LE = 142,
    REC_BRANCH_EQ = 138,
    REC_BRANCH_NE = 143,
    REC_EXPR = 150,            // one expression
    REC_RETURN = 146,
    REC_SWITCH1 = 190,         // u16 table label; selector of 1 byte
    REC_SWITCH2 = 149,         // 2 bytes
    REC_SWITCH4 = 189,         // any other width
    REC_SWITCH_TABLE = 185,    // byte 0, u16 table, u16 default, u16 cases, u16 width
    REC_CASE_TABLE = 205,      // u16 n, u32 first value, n times u16 label
    REC_CASE_RANGE = 207,      // u32 first value, u32 count, u16 label
    REC_CASE_LIST = 206,       // u16 n, n times u32 value and u16 label
    REC_SWITCH_END = 151,
    REC_COUNTED_LOOP = 194,    // u16 label, u8 phase; phase 1 is followed by an expression
};

// Expression: one tree in prefix order.  An operator node is its tag, a
// TypeDesc without attribute word, and its operands.
enum : uint8_t {
    REC_LEAF = 0,
    REC_OP_ADD = 222,
    REC_OP_SUB = 216,
    REC_OP_MUL = 226,
    REC_OP_DIV = 133,
    REC_OP_MOD = 153,
    REC_OP_SHL = 151,
    REC_OP_SHR = 160,
    REC_OP_AND = 193,
    REC_OP_XOR = 163,
    REC_OP_OR = 156,
    REC_OP_LT = 149,
    REC_OP_GE = 144,
    REC_OP_GT = 143,
    REC_OP_LE = 150,
    REC_OP_EQ = 148,
    REC_OP_NE = 155,
    REC_OP_LOGAND = 130,
    REC_OP_LOGOR = 157,
    REC_OP_ASSIGN = 136,
    REC_OP_ADD_ASSIGN = 142,
    REC_OP_SUB_ASSIGN = 139,
    REC_OP_MUL_ASSIGN = 145,
    REC_OP_DIV_ASSIGN = 135,
    REC_OP_MOD_ASSIGN = 140,
    REC_OP_SHL_ASSIGN = 137,
    REC_OP_SHR_ASSIGN = 138,
    REC_OP_AND_ASSIGN = 134,
    REC_OP_XOR_ASSIGN = 146,
    REC_OP_OR_ASSIGN = 141,
    REC_OP_COMMA = 168,
    REC_OP_COND = 159,         // test, middle, third
    REC_OP_POSTINC = 170,      // lvalue, step
    REC_OP_POSTDEC = 167,
    REC_OP_NEG = 108,
    REC_OP_NOT = 90,
    REC_OP_COMPL = 67,
    REC_OP_DEREF = 107,
    REC_OP_ADDR = 100,
    REC_OP_CAST = 102,
    REC_CALL = 105,            // TypeDesc (attribute 0x4000: open arguments), callee
    REC_CALL_ARGS = 169,       // the same, then the arguments
    REC_ARG = 165,             // before each argument but the last, with TypeDesc int
    REC_ASM_CALL = 113,        // TypeDesc, callee, u8 length + 1, text, byte 0
    REC_ASM_CALL_ARGS = 180,   // the same, then further arguments as for a call
    REC_NEG_IN_PLACE = 114,    // TypeDesc, the lvalue
    REC_COMPL_IN_PLACE = 115,
};

// Type bytes of a TypeDesc.
enum : uint8_t {
    TD_CHAR = 1,
    TD_UCHAR = 2,              // also void
    TD_SHORT = 3,
    TD_SHORT_BITS = 4,
    TD_USHORT = 5,
    TD_INT = 6,                // also long, arrays and functions
    TD_INT_BITS = 7,
    TD_UINT = 8,               // also unsigned long
    TD_FLOAT = 9,
    TD_DOUBLE = 10,
    TD_POINTER = 11,
    TD_REAL_OTHER = 12,        // a class of real the front end never makes
    TD_CHAR_BITS = 13,
    TD_STRUCT = 14,            // struct or union
    TD_HAS_ATTR = 0x80,        // an attribute word follows the type byte
};

// Locations of a Leaf: where its value lives.
enum : uint8_t {
    LOC_STATIC = 0,            // static memory, an absolute address or a constant
    LOC_RESULT = 1,            // the function's result place
    LOC_SELECTOR = 2,          // the selector of a switch
    LOC_ARG = 3,               // value is the offset in the argument area
    LOC_LOCAL = 4,             // value is the frame offset
    LOC_REGISTER_BASE = 4,     // a register: its number plus this
};

// The location of a value kept in register `number` (1..36, the number that
// register assignment leaves in Symbol.attr).
constexpr uint32_t register_location(uint32_t number) { return number + LOC_REGISTER_BASE; }

// Kind byte of a Symbol's NameBlock.
enum : uint8_t {
    NK_OBJECT = 0x81,
    NK_FUNCTION = 0x84,
    NK_FUNCTION_DOUBLE = 0x85,
    NK_FUNCTION_STRUCT = 0x86,
    NK_FAR = 8,
    NK_ABSOLUTE = 16,
};

// The largest text of a NameBlock, REC_STRING piece or REC_ASM_TEXT piece.
constexpr unsigned MAX_PIECE = 255;
constexpr unsigned MAX_NAME_TEXT = 254;

// ---------------------------------------------------------------------------
// Raw fields, for the writers of statements, expressions and debug data.
// All go to `output_stream`.
void put_bytes(const void *bytes, size_t length);
// Hands the bytes gathered so far to the output stream; the translation
// loop calls it when the unit ends.
void flush_output();

// The bytes not yet handed to the stream.  Only the field writers below and
// emit.cpp touch them; they stand here so that a field costs a store, not a
// call: the writers put a few bytes per record and millions per large unit.
constexpr size_t OUTPUT_BUFFER_SIZE = 1 << 16;
extern unsigned char output_buffer[OUTPUT_BUFFER_SIZE];
extern size_t output_used;

// Room for `count` more bytes, flushing when the buffer is too full.
inline unsigned char *output_room(size_t count) {
    if (OUTPUT_BUFFER_SIZE - output_used < count)
        flush_output();
    unsigned char *at = output_buffer + output_used;
    output_used += count;
    return at;
}

inline void put_byte(uint32_t value) {
    *output_room(1) = static_cast<unsigned char>(value);
}

inline void put_u16(uint32_t value) {
    unsigned char *at = output_room(2);
    at[0] = static_cast<unsigned char>(value);
    at[1] = static_cast<unsigned char>(value >> 8);
}

inline void put_u32(uint32_t value) {
    unsigned char *at = output_room(4);
    at[0] = static_cast<unsigned char>(value);
    at[1] = static_cast<unsigned char>(value >> 8);
    at[2] = static_cast<unsigned char>(value >> 16);
    at[3] = static_cast<unsigned char>(value >> 24);
}
// The expression tag of an operator code (OP_...), or -1 when the operator
// cannot reach the file.
int expr_tag(int op);

// ---------------------------------------------------------------------------
// Writer operations.

// Starts the intermediate file of a normal run: writes the header and
// installs the handlers of the source layer's events (source.h), so that
// the end of a source file and the macros used reach the debug information.
// -e and -md runs never call it, and their events write nothing.
void start_intermediate_file();
// The five header bytes.  Also starts the writer afresh: no source file
// written yet, no space name announced.
void write_file_header();
// REC_SOURCE_FILE, unless `name` is null or the same pointer as last time.
void write_source_file(const char *name);
void write_line(uint32_t line);
// The current source file, then the line.
void write_position(uint32_t line);
// One REC_SPACE_NAME for each space modifier not yet announced, oldest first.
void write_space_names();
// `name` is the section name, or null for none.
void write_pragma_section(uint32_t line, uint16_t attr, const NameRecord *name);
void write_asm_text(const void *bytes, size_t length);
void write_name_block(const Symbol *sym);
// The name _asm, which stands for assembly text and is no function.
bool is_asm_name(const NameRecord *name);
void write_type(const TypeNode *type, uint16_t attr);
// Mode 0: REC_EXTERN; mode with 0x800: REC_FUNCTION; other modes: REC_PUBLIC.
void write_symbol_decl(const Symbol *sym, int mode);
void write_data_begin(const Symbol *sym);
void write_data_end();
void write_int_value(uint32_t value, int width);
// `bytes` are the 8 bytes of a double in the host's order.
void write_float_value(const void *bytes, int width);
void write_string_value(const void *bytes, size_t length);
void write_space(uint32_t count);
void write_address_value(ExprNode *node, int width);
void write_literal_label(uint16_t label, int alignment);
void write_literals();
void write_label_ops(uint16_t jump_label, uint16_t define_label, uint32_t line, int flag);

// Debug information of source files.  debug_note adds `symbol` to the list
// of symbols declared in the current file, once; an inline function, and a
// symbol whose dbg_next is in use, stay off every list.  debug_file_mark
// opens the current file's debug block if none is open, at its first
// function (`file` is the file name of the function's root block) or, when
// symbols were noted, at its end (`file` and `function` null), and closes
// the block at the end.
void debug_note(Symbol *symbol);
void debug_file_mark(const char *file, Symbol *function);

// Debug information of source files, functions and macros.
void write_debug_source_file(const char *name, uint16_t label, uint16_t end_label);
uint16_t write_debug_function(const char *file, Symbol *function, uint16_t label,
                              uint16_t end_label);
void write_debug_file_end(Symbol *symbols, uint16_t label, uint16_t end_label, uint32_t lines);
void write_debug_macro_name(NameRecord *name);
// The function whose record the next write_debug_function writes: its root
// block and the line of its declarator.
void note_debug_function(StmtNode *root, uint32_t line);
// Notes a name that the function being parsed calls or uses, the moment it
// gets SYM_DBG_CALLED or SYM_DBG_USED, so that the function's record finds
// the file-scope ones without walking every name of the unit.
void note_debug_name_use(Symbol *sym);
// The rest of a function's record: its locals, statement labels and the
// names it calls and uses.
void write_debug_locals(StmtNode *root);

// ---------------------------------------------------------------------------
// Functions.  A function is written once its body has been parsed without
// errors, rewritten and given its registers; writing walks the statement
// and expression trees once and lowers all control flow to labels and
// branches.  Writing consumes the tree: comparisons whose value is unused
// become commas, switch case lists are used up, and the text of #asm
// pieces is freed, so a tree is written once only.  After the first error
// reported anywhere no statement is written any more; the frame of the
// function is still closed, so the file stays well formed.

// The whole function: its debug record, REC_FUNCTION and its frame, the
// body, REC_FUNCTION_END.  `arg_size` is the size of the argument area.
void write_function(Symbol *sym, StmtNode *root, uint32_t line, uint32_t brace_line,
                    int32_t arg_size);
// The static frame of the current @nostack function: its name followed by
// ".L", the label of its NameBlock (the function's label if it is static)
// and the function's attribute word.  The name is null in other functions.
extern NameRecord *nostack_name;
extern uint16_t nostack_label;
extern uint16_t nostack_attr;

// One statement and what it holds.  `continue_label` and `break_label` are
// where continue and break jump, 0 where there is none.
void write_stmt(StmtNode *stmt, uint16_t continue_label, uint16_t break_label);
// REC_POSITION of a part of `stmt` (-l): 0 its head, 1 the test of a do
// loop, 2 the initial expression of a loop, 3 its update, 4 the test of a
// for loop or the count of a counted loop.
void write_stmt_position(const StmtNode *stmt, int mode);
// The statements that must run before an expression: those hanging on
// the OP_PRELUDE node `prelude`.
void write_prelude(const ExprNode *prelude);
// An expression statement: its prelude, then REC_EXPR, unless nothing is
// left behind the prelude.
void write_expr_stmt(ExprNode *expr);
// Stores the value of `expr` in a place without a Symbol: LOC_RESULT,
// LOC_SELECTOR, or a register's location.
void write_value_to(ExprNode *expr, uint32_t location);
// Branches to `label` when the test is false (sense 1) or true (sense 0);
// && and || become chains of branches, a constant test a jump or nothing.
void write_branch(ExprNode *expr, uint16_t label, int sense);
// The table records of a switch behind its body.  Gives 0 when the case
// list holds a default, else `default_label`, which the caller must then
// define.
uint16_t write_switch_table(uint16_t table_label, uint16_t default_label, Symbol *cases,
                            uint32_t width);

// One expression in prefix form.  With `discard` set its value is not used.
void write_expr(ExprNode *node, int discard);
// The callee of a call, read through: a named function is a leaf with its
// NameBlock.
void write_call_target(ExprNode *callee);
// Recognises a call of _asm("text", ...).  With `check` set only tells
// whether `call` is one.  Otherwise writes the call up to its further
// arguments, which it leaves in `*rest`, and gives 1; a call whose first
// argument is missing or no string literal is reported and gives 0.
int write_asm_call(ExprNode *call, int check, ExprNode **rest);
