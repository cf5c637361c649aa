// zirrun's chief header: the machine that runs an intermediate file on the
// host.  The loader (loader.cpp) reads the file once and lays out its data
// in the target's memory (memory.cpp), decoding every function into the form
// below (decode.cpp); the interpreter (interp.cpp) runs that form; the
// library (library.cpp) is the small C library a program finds behind the
// names it leaves undefined.
//
// The target's model: big-endian memory of 32-bit addresses; char 8 bits,
// short 16, int and long 32, float 32, double 64 (32 when the file says
// single precision); pointers of 1, 2 or 4 bytes by memory space.  Every
// pointer a program makes must fit its width, so the memory is laid out
// so that tiny objects lie below 256, near objects, the stack and the near
// heap below 64 K, and far objects and the far heap above 64 K:
//
//   0x0000 .. 0x000F     never mapped: null and its neighbours fault
//   0x0010 ..            one address per function, never mapped, so that a
//                        function pointer of any width holds it
//          .. 0x00FF     tiny objects
//   0x0100 ..            near objects and literals, then the near heap
//          .. 0xFFFF     the stack, growing down from 64 K (above 64 K
//                        instead when no pointer to a local is narrow)
//   0x10000 .. 64 M      far objects, then the far heap
//
// When the functions and tiny objects do not fit below 256 together, the
// functions take their addresses at the top of the near space instead.
//
// Objects at fixed addresses keep their addresses, in blocks of their own.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <unordered_map>
#include <vector>

#include "output/records.h"

// -- Values -----------------------------------------------------------------

// The class of a value: how it is held, loaded, stored and converted.
enum Cls : uint8_t {
    C_VOID,
    C_I8, C_U8, C_I16, C_U16, C_I32, C_U32,
    C_F32, C_F64,
    C_P1, C_P2, C_P4,          // pointers of 1, 2 and 4 bytes
    C_BITS,                    // a bit-field: its unit, offset and width on the node
    C_STRUCT,                  // a struct or union: the value is its address
};

inline bool is_real(Cls c) { return c == C_F32 || c == C_F64; }
inline bool is_pointer(Cls c) { return c >= C_P1 && c <= C_P4; }
// Integer classes whose values compare and divide as unsigned 32-bit numbers.
inline bool is_unsigned32(Cls c) { return c == C_U32 || is_pointer(c) || c == C_BITS; }

// A value as the machine holds it between operations.  Integers and
// pointers are kept normalised to their class: a char sign-extended to 32
// bits, an unsigned short zero-extended, a near pointer below 64 K.  A
// float is kept as the double of its float value.  A struct is its address.
union Value {
    int32_t i;
    uint32_t u;
    double d;
};

inline Value int_value(int32_t i) { Value v; v.d = 0; v.i = i; return v; }
inline Value real_value(double d) { Value v; v.d = d; return v; }

// Brings a 32-bit pattern to its class (integer and pointer classes).
inline uint32_t normalise(Cls c, uint32_t raw) {
    switch (c) {
    case C_I8: return uint32_t(int32_t(int8_t(raw)));
    case C_U8: case C_P1: return raw & 0xFF;
    case C_I16: return uint32_t(int32_t(int16_t(raw)));
    case C_U16: case C_P2: return raw & 0xFFFF;
    default: return raw;
    }
}

// Size in bytes of a scalar class in memory.
inline uint32_t class_size(Cls c) {
    switch (c) {
    case C_I8: case C_U8: case C_P1: return 1;
    case C_I16: case C_U16: case C_P2: return 2;
    case C_F64: return 8;
    case C_VOID: return 0;
    default: return 4;
    }
}

// -- Faults ------------------------------------------------------------------

// What ends a run early.  Each kind has its own exit status (README.md).
enum Fault {
    F_MEMORY = 101,            // a load or store outside every object, the stack and the heap
    F_UNDEFINED_FUNCTION = 102,
    F_UNDEFINED_LABEL = 103,
    F_DIVIDE_BY_ZERO = 104,
    F_STEPS = 105,             // the step budget ran out
    F_STACK = 106,             // the stack ran out
    F_ASM = 107,               // assembly text was reached
    F_LIBRARY = 108,           // a library function was called with what it cannot take
};
constexpr int STATUS_BAD_FILE = 110;     // malformed or unloadable intermediate file
constexpr int STATUS_NO_COMPILE = 111;   // zirrun FILE.c: zcppc failed
constexpr int STATUS_USAGE = 112;        // bad command line, unreadable file
constexpr int STATUS_ABORT = 134;        // abort(), or a failed assert

// Prints "zirrun: MESSAGE in FUNCTION, line N" and ends the run with the
// fault's status.  Standard output is flushed first.
[[noreturn]] void fault(Fault kind, const char *format, ...)
    __attribute__((format(printf, 2, 3)));

// -- Memory ------------------------------------------------------------------

constexpr uint32_t TINY_BASE = 0x10;
constexpr uint32_t NEAR_BASE = 0x100;
constexpr uint32_t FAR_BASE = 0x10000;
constexpr uint32_t STACK_SIZE = 0x8000;       // below 64 K
constexpr uint32_t FAR_STACK_SIZE = 0x100000;  // above 64 K
constexpr uint32_t FAR_LIMIT = 0x04000000;   // far data and the far heap stop here
constexpr uint32_t MAX_CALL_DEPTH = 100000;  // deeper recursion is a stack fault

struct Memory {
    // Addresses 0 .. size-1; valid are [low_start, low_end) and
    // [FAR_BASE, size), and the blocks of objects at fixed addresses.
    std::vector<uint8_t> bytes;
    uint32_t low_start = TINY_BASE, low_end = FAR_BASE;
    struct Block {
        uint32_t address;
        std::vector<uint8_t> bytes;
    };
    std::vector<Block> fixed;

    // The host address of n bytes at `address`, or null when any of them
    // lies outside the valid memory.
    uint8_t *find(uint32_t address, uint32_t n) {
        if (fixed.empty() && address >= low_start && address <= low_end && n <= low_end - address)
            return &bytes[address];
        return find_slow(address, n);
    }
    uint8_t *find_slow(uint32_t address, uint32_t n);
    // As find, but a fault when the bytes are not there.
    uint8_t *at(uint32_t address, uint32_t n, bool store);

    Value load(uint32_t address, Cls c);
    void store(uint32_t address, Cls c, Value v);
};

// The heaps: malloc and its kin.  A near block lies below 64 K, a far block
// anywhere; which one a call gets follows the width of the pointer it
// returns.
struct Heap {
    struct Arena {
        uint32_t low = 0, top = 0, limit = 0;     // bump region
        std::vector<std::pair<uint32_t, uint32_t>> free_blocks;  // address, size
    };
    Arena near_arena, far_arena;
    std::unordered_map<uint32_t, uint32_t> sizes;   // live blocks: address -> size

    uint32_t allocate(Memory &memory, uint32_t size, bool far);   // 0 when out of room
    bool release(uint32_t address);                               // false: not a live block
};

// -- Decoded functions ------------------------------------------------------

// Operations of a decoded expression node.
enum Op : uint8_t {
    // leaves
    N_CONST,                   // value
    N_LOAD_STATIC, N_ADDR_STATIC,   // at `address` (resolved after loading)
    N_LOAD_LOCAL, N_ADDR_LOCAL,     // at frame pointer + offset
    N_LOAD_ARG, N_ADDR_ARG,         // at argument area + offset
    N_SLOT,                    // a register, the result place or the selector
    N_RESULT_STRUCT,           // the result place of a struct-returning function
    // operators
    N_ADD, N_SUB, N_MUL, N_DIV, N_MOD, N_SHL, N_SHR, N_AND, N_XOR, N_OR,
    // the same on whole 32-bit words, which need no narrowing afterwards
    N_ADD_W, N_SUB_W, N_MUL_W, N_AND_W, N_XOR_W, N_OR_W,
    N_LT, N_GE, N_GT, N_LE, N_EQ, N_NE,
    N_LOGAND, N_LOGOR, N_NOT, N_NEG, N_COMPL,
    N_ASSIGN, N_OP_ASSIGN, N_POSTINC, N_POSTDEC, N_NEG_IN_PLACE, N_COMPL_IN_PLACE,
    N_COMMA, N_COND, N_DEREF, N_ADDR, N_CONVERT, N_CALL, N_ASM,
};

// How two operands compare or divide: as signed or unsigned integers, or
// as reals.
enum Arith : uint8_t { A_SIGNED, A_UNSIGNED, A_REAL };

struct CallSite;

struct Node {
    Op op;
    Cls cls;                   // class of the result
    Arith arith;               // comparisons, division, shifts, compound assignments
    uint8_t sub;               // N_OP_ASSIGN: the operation (N_ADD ..); N_CONVERT: the class converted from
    // Bit-field of a C_BITS node: unit size in bytes, offset of its lowest
    // bit in the unit, width.
    uint8_t unit, bit_offset, bit_width;
    uint8_t slot;              // N_SLOT: index in the frame's slots
    uint32_t size;             // C_STRUCT: size in bytes
    int32_t symbol;            // N_LOAD_STATIC, N_ADDR_STATIC: symbol, or -1 for a plain address
    Value value;               // N_CONST; the offset of other leaves (address after loading)
    Node *a = nullptr, *b = nullptr, *c = nullptr;
    CallSite *call = nullptr;  // N_CALL
    const char *text = nullptr;   // N_ASM: the assembly text (may be empty)
};

// One argument of a call as the caller passes it: in its promoted class, at
// its offset in the argument area.
struct CallArg {
    Node *expr;
    Cls cls;                   // promoted class (C_STRUCT: copied bytes)
    Cls declared;              // class of the argument before promotion
    uint32_t offset, size;
    uint32_t align;            // in bytes
};
struct CallSite {
    Node *callee;
    std::vector<CallArg> args;
    uint32_t area_size;        // rounded up to 8
};

// Statements of a decoded function.
enum InsnKind : uint8_t {
    I_EXPR, I_JUMP, I_BRANCH, I_RETURN, I_SWITCH, I_LOOP_OPEN, I_LOOP_CLOSE, I_ASM,
    I_END,                     // the end of the body: returns
};

struct SwitchTable {
    uint32_t mask;             // the selector's width as a mask
    int32_t default_target;
    struct Dense { uint32_t first; std::vector<int32_t> targets; };
    struct Range { uint32_t first, count; int32_t target; };
    std::vector<Dense> dense;
    std::vector<Range> ranges;
    std::vector<std::pair<uint32_t, int32_t>> list;   // sorted by value
};

struct Insn {
    InsnKind kind;
    Op compare;                // I_BRANCH: N_LT .. N_NE
    Arith arith;               // I_BRANCH
    uint16_t loop;             // I_LOOP_OPEN, I_LOOP_CLOSE: index of the loop counter
    int32_t target;            // jump target, or -1 - label for an undefined label
    uint32_t line;
    Node *a = nullptr, *b = nullptr;
    uint32_t table = 0;        // I_SWITCH: index in the function's tables
};

struct RegArg {                // an argument that arrives in a register
    Cls cls;
    uint32_t offset;
};

struct Function {
    std::string name;
    int32_t frame_low = 0;     // lowest frame offset, 0 or negative
    uint32_t args_bytes = 0;
    uint32_t result_size = 0;  // struct result
    std::vector<RegArg> reg_args;
    std::vector<Insn> code;
    std::vector<SwitchTable> tables;
    uint16_t loops = 0;        // counted loops
};

// A name or label of the file: an object, a function, or both unknown.
struct Symbol {
    std::string name;          // "L7" style for a label
    bool is_function = false;
    bool defined = false;      // storage or code exists
    uint32_t address = 0;
    uint32_t size = 0;
    int32_t function = -1;     // index in Program::functions
    int32_t native = -1;       // index of a library function
    // A literal's record tells no memory space: a use through a tiny
    // pointer (a leaf's attribute word, a 1-byte address) asks for one
    // below 256.
    bool wants_tiny = false;
};

struct Program {
    uint8_t options = 0;       // header option byte
    std::vector<Function> functions;
    std::vector<Symbol> symbols;
    std::unordered_map<std::string, int32_t> by_name;
    std::unordered_map<uint32_t, int32_t> by_label;
    std::vector<int32_t> code_symbols;   // symbol of each code address, in order
    uint32_t code_base = TINY_BASE;      // address of the first function
    uint32_t low_start = TINY_BASE, low_end = FAR_BASE;   // data below 64 K
    uint32_t near_end = NEAR_BASE, far_end = FAR_BASE;   // end of loaded data
    // No address of a local or an argument is ever narrower than 4 bytes
    // (every pointer is far): the stack may then lie above 64 K and be
    // larger.
    bool far_stack = false;
    std::vector<Node *> nodes;           // every decoded node, for release
    std::vector<CallSite *> calls;
    std::vector<std::string *> texts;
    ~Program();
};

// Loads an intermediate file: lays out and fills its data, decodes its
// functions.  On failure prints the message (a malformed file as zirdump
// words it) and returns false.
bool load_program(const uint8_t *data, size_t size, const char *name, Program *program,
                  Memory *memory);

// -- The interpreter ---------------------------------------------------------

struct Machine {
    Program *program;
    Memory memory;
    Heap heap;
    uint32_t sp = 0;           // stack pointer; the stack grows down
    uint32_t stack_low = 0;
    uint64_t steps = 0, step_limit = 0;
    uint32_t depth = 0;        // calls in progress
    bool single_float = false;
    // What a fault message names.
    const Function *current = nullptr;
    uint32_t current_line = 0;
    char *host_stack_base = nullptr;
    size_t host_stack_room = 0;
};

extern Machine *machine;

// Calls the function at a code address with values already evaluated (as a
// library function calling back into the program).  Returns its result.
Value call_address(uint32_t address, const Value *args, const Cls *classes, int count);
// Runs main with the arguments; returns its result.
int run_main(int argc, char **argv);

// -- The library -------------------------------------------------------------

// A library function: the arguments with their classes before promotion,
// and the class of the result the caller expects.
using Native = Value (*)(const Value *args, const Cls *classes, int count, Cls result);
// The index of the library function of that name, or -1.
int find_native(const std::string &name);
Native native_function(int index);
// Converts a value between classes, as a cast does.
Value convert(Value v, Cls from, Cls to);
