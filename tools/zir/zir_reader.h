// The reader of the intermediate file: one decoder of its records for every
// tool that reads the file.  zirdump prints the records; a program that runs
// the file loads its data objects and runs its functions from the same
// records.  The compiler itself never links this library: it only writes.
//
// The file is five header bytes and a stream of records, each a one-byte tag
// and its fields (the tags and encodings are in output/records.h).  The
// reader hands out one record per call of next(): the byte offset of its
// tag, the context it was read in, how deep it is nested, and its fields
// decoded.  It checks the file as it goes: the first truncated field,
// unknown tag or record out of its context stops it with the byte offset and
// what was expected there.
//
// How records nest.  At file level stand the records that stand alone and
// the openers of data objects and functions.  A data object (REC_DATA,
// REC_DATA_ATTR, REC_LITERAL at file level, and REC_ABSOLUTE when values
// follow it) holds value records up to its REC_DATA_END.  A function
// (REC_FUNCTION) holds its fixed frame (REC_FUNCTION_LINES, any REC_REG_ARG,
// REC_ARGS_END, perhaps REC_FRAME_SIZE, REC_REGISTERS) and then statements
// up to REC_FUNCTION_END.  Among the statements, a switch table
// (REC_SWITCH_TABLE) holds its case records up to REC_SWITCH_END, and a
// counted loop (REC_COUNTED_LOOP phase 1) holds statements up to the
// REC_COUNTED_LOOP phase 0 of the same label.  Debug information is value
// records and labels at file level.  An expression is one tree in prefix
// order, read into ZirNodes.
//
// Nothing here recurses on the input, and every read is checked against the
// end of the buffer: a hostile file can neither exhaust the C stack nor make
// the reader step outside the buffer.  What the reader keeps is the nodes of
// the current record and the labels of the open counted loops, both bounded
// by the size of the file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "output/records.h"

// A stretch of the file's bytes: a name, a string piece, assembly text, or
// the raw entries of a case table or list.  It points into the buffer given
// to the reader, which must outlive the records.
struct ZirText {
    const uint8_t *bytes;      // null where the field is absent
    uint32_t length;
};

// NameBlock.  A block that names a Symbol has a kind NK_OBJECT or one of
// the NK_FUNCTION kinds, plus NK_FAR and NK_ABSOLUTE; a block that only
// carries a text (a file, a space, a debug name) has label 0 and kind 0.
struct ZirName {
    uint16_t label;            // label of a static object or function, else 0
    uint8_t kind;
    ZirText text;              // the name, without terminator
};

// Ref: a name, or a label, or nothing (not named, label 0).
struct ZirRef {
    bool named;
    union {
        ZirName name;          // named
        uint16_t label;        // not named
    };
};

// TypeDesc.  `code` is the type byte TD_CHAR..TD_STRUCT, TD_HAS_ATTR taken
// away; the further field is the one of that code.
struct ZirType {
    uint8_t code;
    bool has_attr;             // an attribute word was written
    uint16_t attr;             // the attribute word, 0 when none was written
    union {
        uint16_t pointee_attr; // TD_POINTER: attribute word of what it reaches
        struct {
            uint8_t offset, width;
        } bits;                // TD_CHAR_BITS, TD_SHORT_BITS, TD_INT_BITS
        uint32_t size;         // TD_STRUCT: size in bytes
    };
};

// One node of an expression tree.  A leaf (tag REC_LEAF) has no operands;
// an operator node has 1 to 3, by its tag:
//   binary operators, compound assignments, REC_OP_COMMA: left, right
//   REC_OP_ASSIGN: lvalue, value; REC_OP_POSTINC, REC_OP_POSTDEC: lvalue, step
//   REC_OP_COND: test, middle, third
//   unary operators and casts, REC_NEG_IN_PLACE, REC_COMPL_IN_PLACE: one
//   REC_CALL, REC_ASM_CALL: the callee
//   REC_CALL_ARGS, REC_ASM_CALL_ARGS: the callee, the arguments
//   REC_ARG: one argument, the rest of the arguments
// The arguments are a REC_ARG node, or the last argument itself.  The type
// of a REC_ARG node is int; only a call's type may carry an attribute word
// (0x4000: more arguments than the prototype names), and only a leaf's.
struct ZirNode {
    uint8_t tag;
    uint8_t operand_count;
    ZirType type;
    union {
        struct {
            ZirRef base;       // name or label of the object, or nothing
            uint32_t value;    // offset or constant
            uint8_t location;  // LOC_...; a register is LOC_REGISTER_BASE + number
            uint8_t indirect;  // 1: the value in that place; 0: its address or the number
        } leaf;
        struct {
            const ZirNode *operand[3];
            ZirText text;      // REC_ASM_CALL, REC_ASM_CALL_ARGS: the assembly text
        } op;
    };
};

// Where a record was read: a tag has a meaning only in its context.
enum ZirContext : uint8_t {
    ZIR_FILE,                  // file level, debug information included
    ZIR_DATA,                  // the values of a data object, and REC_DATA_END
    ZIR_FRAME,                 // a function's frame, REC_FUNCTION_LINES to REC_REGISTERS
    ZIR_BODY,                  // statements, and REC_FUNCTION_END
    ZIR_CASES,                 // the records of a switch table, and REC_SWITCH_END
};

// One record.  The member of the union that holds its fields is named
// beside each tag; a record of no fields (REC_DATA_END, REC_RETURN,
// REC_SWITCH_END, REC_FUNCTION_END) uses none.
struct ZirRecord {
    size_t offset;             // of the tag in the file
    uint8_t tag;
    ZirContext context;
    // The number of constructs that enclose the record: a data object or a
    // function counts one, each open counted loop and a switch table one
    // more.  An opening record and its closing record stand at the same depth.
    uint32_t depth;
    union {
        // REC_SPACE_NAME, REC_ASM_TEXT (1..255 bytes), REC_DEBUG_FILE,
        // REC_DEBUG_FUNCTION ("file~function"), REC_DEBUG_NAME, REC_STRING
        // (a piece: a value goes on while its pieces are 255 bytes long).
        ZirText text;
        // REC_SOURCE_FILE: the file part, and the directory part that a
        // name written without its path keeps behind a 0 byte (absent: null).
        struct {
            ZirText name, dir;
        } source;
        uint32_t line;         // REC_LINE
        struct {
            uint16_t attr;
            ZirText name;      // null for a section without a name
        } section;             // REC_SECTION
        struct {
            ZirName name;      // a function kind for REC_FUNCTION
            uint16_t attr;
            uint32_t size;     // object size, or a struct or union result's
        } decl;                // REC_EXTERN, REC_PUBLIC, REC_FUNCTION
        struct {
            uint8_t alignment; // shift count 0..3
            uint16_t attr;     // nonzero for REC_DATA_ATTR, 0 for REC_DATA
            ZirName name;      // an object kind
        } data;                // REC_DATA, REC_DATA_ATTR
        struct {
            ZirName name;
            uint32_t address;
            bool opens_data;   // values follow: an object with an initial value
        } absolute;            // REC_ABSOLUTE
        struct {
            uint8_t alignment; // shift count 0..3
            uint16_t label;
        } literal;             // REC_LITERAL: opens an object, or sets a label in one
        uint16_t label;        // REC_DEBUG_LABEL, REC_JUMP; the table of REC_SWITCH1/2/4
        struct {
            uint8_t width;
            uint32_t value;    // the low `width` bytes count
        } int_value;           // REC_INT
        struct {
            uint8_t width;
            uint64_t bits;     // of the double, whatever the width (zir_double)
        } float_value;         // REC_FLOAT
        uint32_t count;        // REC_ZEROS: zero bytes
        struct {
            ZirRef ref;
            uint32_t addend;
        } address;             // REC_ADDRESS1, REC_ADDRESS2, REC_ADDRESS4
        struct {
            uint32_t declarator, brace;
        } function_lines;      // REC_FUNCTION_LINES
        struct {
            ZirType type;
            uint32_t offset;   // in the argument area
            uint8_t location;  // the register that keeps it, or 0: stored at the offset
        } reg_arg;             // REC_REG_ARG
        uint32_t args_bytes;   // REC_ARGS_END: size of the argument area
        int32_t frame_offset;  // REC_FRAME_SIZE: lowest frame offset in use
        struct {
            uint32_t int_mask, float_mask;   // a set bit is a register left free
        } registers;           // REC_REGISTERS
        struct {
            uint32_t first_line;
            uint16_t first_column;
            uint32_t last_line;
            uint16_t last_column;
        } position;            // REC_POSITION
        struct {
            uint16_t label;
            uint32_t line;     // 0: no source position, and then no flag
            uint8_t flag;      // 1 at the bottom test of a loop
        } code_label;          // REC_LABEL, REC_CASE_LABEL
        struct {
            uint16_t label;
            const ZirNode *left, *right;
        } branch;              // REC_BRANCH_LT .. REC_BRANCH_NE
        const ZirNode *expr;   // REC_EXPR
        struct {
            uint16_t table, default_label, cases, width;
        } switch_table;        // REC_SWITCH_TABLE
        struct {
            uint16_t entries;
            uint32_t first;    // case value of the first entry
            ZirText labels;    // `entries` u16 labels (zir_case_table_label)
        } case_table;          // REC_CASE_TABLE
        struct {
            uint32_t first, count;
            uint16_t label;
        } case_range;          // REC_CASE_RANGE
        struct {
            uint16_t count;
            ZirText cases;     // `count` times u32 value, u16 label (zir_case_value, _label)
        } case_list;           // REC_CASE_LIST
        struct {
            uint16_t label;    // where a break inside leads: the close of the loop
            uint8_t phase;     // 1 opens the loop, 0 closes it
            const ZirNode *count;   // phase 1: the trip count; else null
        } counted_loop;        // REC_COUNTED_LOOP
    };
};

// Where reading stopped in a malformed file: the offset, what the format
// wants there, and what stands there instead ("end of file", "tag 0x42",
// "0x02").
struct ZirError {
    size_t offset;
    std::string expected, found;
};

enum ZirStatus {
    ZIR_RECORD,                // a record was read
    ZIR_END,                   // the file ended where it may end
    ZIR_ERROR,                 // malformed: see error()
};

class ZirReader {
public:
    // Reads `size` bytes at `data`, which must outlive the reader and its
    // records.
    ZirReader(const uint8_t *data, size_t size);
    ~ZirReader();
    ZirReader(const ZirReader &) = delete;
    ZirReader &operator=(const ZirReader &) = delete;

    // Checks the five header bytes; false for a file that is not an
    // intermediate file.  Must come before next().
    bool read_header();
    // The option byte of the header: HDR_... bits.
    uint8_t options() const;
    // The next record.  Its expression nodes stay valid until the next call.
    // After ZIR_ERROR every call gives ZIR_ERROR again.
    ZirStatus next(ZirRecord *record);
    const ZirError &error() const;

    // The reader's state, known to the files of the library only.
    struct Decoder;

private:
    std::unique_ptr<Decoder> decoder_;
};

// Little-endian fields inside a ZirText.
inline uint16_t zir_u16(const uint8_t *p) { return uint16_t(p[0] | p[1] << 8); }
inline uint32_t zir_u32(const uint8_t *p) {
    return p[0] | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

inline uint16_t zir_case_table_label(const ZirRecord &r, uint32_t i) {
    return zir_u16(r.case_table.labels.bytes + 2 * i);
}
inline uint32_t zir_case_value(const ZirRecord &r, uint32_t i) {
    return zir_u32(r.case_list.cases.bytes + 6 * i);
}
inline uint16_t zir_case_label(const ZirRecord &r, uint32_t i) {
    return zir_u16(r.case_list.cases.bytes + 6 * i + 4);
}

inline double zir_double(uint64_t bits) {
    double d;
    std::memcpy(&d, &bits, sizeof d);
    return d;
}

// The text that tells where a malformed file went wrong, as every tool
// prints it behind its own name: "NAME: offset 16 (0x10): expected
// NameBlock text, found end of file".
std::string zir_error_text(const char *name, const ZirError &error);
