// Inside the loader: the state of one load, shared by the reading of the
// file's records and data (loader.cpp) and the decoding of functions into
// nodes and statements (decode.cpp).  Only these two files include it.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "zir/zir_reader.h"
#include "zirrun/machine.h"

// Expressions deeper than this are refused: running them would recurse as
// deep on the host's stack.
constexpr int MAX_EXPR_DEPTH = 4000;

// An address to write into data once every symbol has its address.
struct Fixup {
    uint32_t address;
    uint32_t width;
    int32_t symbol;            // -1: a plain number
    uint32_t addend;
};

struct Loader {
    Program *program = nullptr;
    Memory *memory = nullptr;
    std::string error;         // the first load error, empty while none

    // Data layout: the next free address of each region.
    uint32_t tiny_next = TINY_BASE, near_next = NEAR_BASE, far_next = FAR_BASE;
    std::vector<Fixup> fixups;
    std::vector<int32_t> tiny_symbols;       // placed below 256

    // The data object being filled: where it starts and how far it reached.
    bool in_data = false;
    bool data_fixed = false;   // an object at a fixed address, filled in a block
    uint32_t data_start = 0, data_length = 0;
    std::vector<uint8_t> fixed_bytes;
    uint32_t fixed_address = 0;

    // The function being decoded.
    Function *function = nullptr;
    uint32_t line = 0;
    std::map<uint16_t, int32_t> labels;      // label -> statement index
    std::map<uint16_t, uint32_t> table_of;   // table label -> index in tables
    struct PendingTable {
        uint16_t table, default_label;
        std::vector<std::pair<uint32_t, uint16_t>> list;
        struct Dense { uint32_t first; std::vector<uint16_t> labels; };
        struct Range { uint32_t first, count; uint16_t label; };
        std::vector<Dense> dense;
        std::vector<Range> ranges;
        uint32_t mask;
    };
    std::vector<PendingTable> tables;
    std::vector<std::pair<uint16_t, size_t>> open_loops;   // label, index of its opening
    int depth = 0;

    // Keeps the first load error; false.
    bool fail(const std::string &message);

    // An expression that cannot run: the load fails, and no node is made.
    Node *refuse(const std::string &message);

    // -- symbols ------------------------------------------------------------

    int32_t symbol_for_label(uint16_t label);
    int32_t symbol_for_name(const ZirName &name);
    int32_t symbol_for_ref(const ZirRef &ref);

    // -- data -----------------------------------------------------------------

    bool open_data(int32_t symbol, uint8_t alignment, uint16_t attr);

    // The host bytes of the next n bytes of the open object.
    uint8_t *data_bytes(uint32_t n);
    void put_be(uint32_t value, uint32_t width);
    void close_data();
    void data_value(const ZirRecord &r);

    // -- expressions ------------------------------------------------------------

    // The class of a TypeDesc: a pointer's width follows its space.
    Cls class_of(const ZirType &t);
    Node *new_node(Op op, Cls cls);
    void set_type(Node *n, const ZirType &t);

    // A node that gives the value of `n` in class `to`.
    Node *converted(Node *n, Cls to);

    // A leaf: by its location a constant, a load or an address of static
    // memory, the frame or the argument area, or one of the host slots.
    Node *leaf(const ZirNode &z);

    static Op binary_op(uint8_t tag);
    static Arith arith_of(Cls a, Cls b);

    // The two operands of a comparison, brought to the class they compare in.
    void comparison(Node *left, Node *right, Arith *arith, Node **a, Node **b);

    // The callee of a call: a node that gives the function's code address.
    Node *callee_address(Node *n);
    CallSite *call_site(Node *callee, const ZirNode *args);

    // Places the arguments in order, each at the next multiple of its
    // alignment; the area is rounded up to 8 bytes.  Returns the exact size.
    static uint32_t lay_out(CallSite *site);

    // A struct passed by value lies in the callee's argument area at its
    // own alignment, which the file does not tell.  For a call of a
    // function of this file the alignments are chosen, widest first, so
    // that the area has the size the callee gives it.
    void align_struct_args(CallSite *site);
    bool choose_alignments(CallSite *site, std::vector<CallArg *> &structs, size_t k, uint32_t wanted);
    Node *expr(const ZirNode &z);
    Node *operand(const ZirNode &z, int k) { return expr(*z.op.operand[k]); }

    Node *operator_node(const ZirNode &z);

    // An assignment takes the class of its lvalue; bit-fields keep theirs.
    void set_lvalue_type(Node *n);

    // -- statements ---------------------------------------------------------------

    Insn &emit(InsnKind kind);
    void define_label(uint16_t label) { labels[label] = int32_t(function->code.size()); }

    int32_t resolve(int32_t label);
    // One record of a function's body, appended to its statements.
    void statement(const ZirRecord &r);
    // Resolves the jumps and switch tables of the function just read.
    void finish_function();

    // -- the file -----------------------------------------------------------------

    // One record of the file, in whatever context; false stops the load.
    bool record(const ZirRecord &r);

    // -- after the last record ------------------------------------------------------

    // Gives each function its code address: below 256 when there is room
    // beside the tiny objects, else at the top of the near space.
    void place_code();

    // Code addresses, the check that every object referred to exists, the
    // addresses written into nodes and data.
    bool finish();
};
