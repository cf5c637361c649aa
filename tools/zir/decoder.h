// Inside the reader: the cursor over the file, the first failure, and what
// the reader remembers between records.  Only the files of the reader
// include this.
#pragma once

#include <deque>
#include <vector>

#include "zir/zir_reader.h"

// Where the reader stands between records.  The frame of a function has a
// fixed order, so it takes four states; a switch table two.
enum class ZirState {
    file,
    data,
    function_lines,   // behind REC_FUNCTION
    reg_args,         // REC_REG_ARG records or REC_ARGS_END
    frame,            // REC_FRAME_SIZE or REC_REGISTERS
    registers,        // REC_REGISTERS after REC_FRAME_SIZE
    body,
    case_records,     // behind REC_SWITCH_TABLE
    switch_end,       // behind REC_CASE_LIST
};

// What may stand in an operand place of an expression.
enum class ZirSlot {
    expr,             // any node but an argument link
    args,             // an argument link, or the last argument
};

struct ZirReader::Decoder {
    const uint8_t *data;
    size_t size;
    size_t pos = 0;

    bool failed = false;
    ZirError error{};

    uint8_t options = 0;
    ZirState state = ZirState::file;
    size_t record_start = 0;
    bool string_continues = false;   // the last REC_STRING piece was full
    std::vector<uint16_t> loops;     // labels of the open counted loops

    // The nodes of the current record.  A deque keeps the nodes in place as
    // it grows, so operands can point at them while the tree is read.
    std::deque<ZirNode> nodes;
    // The operator nodes whose operands are being read.
    struct OpenNode {
        ZirNode *node;
        uint8_t done;                 // operands read so far
        bool text_read;               // _asm call: the text behind the callee
    };
    std::vector<OpenNode> open;

    Decoder(const uint8_t *bytes, size_t length) : data(bytes), size(length) {}

    // -- failure: each returns false, and only the first is kept ------------
    bool fail_at(size_t offset, const char *expected, const char *found);
    bool fail_byte(size_t offset, const char *expected);   // found: the byte there
    bool fail_tag(const char *expected);                   // found: the record's tag

    // -- fields: `what` names the field in the message of a short file ------
    bool need(size_t count, const char *what) {
        if (size - pos < count) return fail_at(pos, what, "end of file");
        return true;
    }
    bool u8(uint32_t *v, const char *what) {
        if (!need(1, what)) return false;
        *v = data[pos++];
        return true;
    }
    bool u16(uint32_t *v, const char *what) {
        if (!need(2, what)) return false;
        *v = zir_u16(data + pos);
        pos += 2;
        return true;
    }
    bool u32(uint32_t *v, const char *what) {
        if (!need(4, what)) return false;
        *v = zir_u32(data + pos);
        pos += 4;
        return true;
    }
    bool bytes(uint32_t count, ZirText *text, const char *what) {
        if (!need(count, what)) return false;
        *text = ZirText{data + pos, count};
        pos += count;
        return true;
    }
    bool zeros(size_t count, const char *what);
    // A u8 that must not exceed `max`; `expected` is the message if it does.
    bool small(uint32_t *v, uint32_t max, const char *what, const char *expected);

    // -- encodings ------------------------------------------------------------
    bool symbol_name(ZirName *name, uint32_t want);
    bool text_block(ZirText *text);
    bool ref(ZirRef *ref);
    bool type_desc(ZirType *type, bool attr_allowed);
    bool expression(const ZirNode **root);

    // -- records --------------------------------------------------------------
    bool header();
    bool record(ZirRecord *r);
    // The end of the file: valid at file level only.
    bool at_end();

private:
    bool read_name_block(ZirName *name, size_t *kind_offset);
    bool open_node(ZirSlot slot, ZirNode **node);
    bool asm_text(ZirText *text);

    bool file_record(ZirRecord *r);
    bool debug_record(ZirRecord *r);
    bool data_record(ZirRecord *r);
    bool frame_record(ZirRecord *r);
    bool statement_record(ZirRecord *r);
    bool case_record(ZirRecord *r);
    bool shared_record(ZirRecord *r, bool *known);
    bool value_record(ZirRecord *r);
    bool literal_record(ZirRecord *r);
    bool symbol_decl(ZirRecord *r, uint32_t want);
    bool label_record(ZirRecord *r);
    bool counted_loop(ZirRecord *r);
    uint32_t depth_of(uint32_t tag) const;
    ZirContext context() const;
};
