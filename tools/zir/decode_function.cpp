// Records of a function: its fixed frame, its statements and the tables of
// its switches.
#include <cstdio>

#include "zir/decoder.h"

// The fixed head of a function, up to REC_REGISTERS.
bool ZirReader::Decoder::frame_record(ZirRecord *r) {
    uint32_t v;
    switch (state) {
    case ZirState::function_lines:
        if (r->tag != REC_FUNCTION_LINES) return fail_tag("REC_FUNCTION_LINES");
        if (!u32(&r->function_lines.declarator, "line of the declarator") ||
            !u32(&r->function_lines.brace, "line of the opening brace"))
            return false;
        state = ZirState::reg_args;
        return true;
    case ZirState::reg_args:
        if (r->tag == REC_REG_ARG) {
            if (!type_desc(&r->reg_arg.type, true) ||
                !u32(&r->reg_arg.offset, "argument offset") || !u8(&v, "argument location"))
                return false;
            r->reg_arg.location = uint8_t(v);
            return true;
        }
        if (r->tag != REC_ARGS_END) return fail_tag("REC_REG_ARG or REC_ARGS_END");
        if (!u32(&r->args_bytes, "size of the argument area")) return false;
        state = ZirState::frame;
        return true;
    case ZirState::frame:
        if (r->tag == REC_FRAME_SIZE) {
            if (!u32(&v, "lowest frame offset")) return false;
            r->frame_offset = int32_t(v);
            state = ZirState::registers;
            return true;
        }
        [[fallthrough]];
    default:
        if (r->tag != REC_REGISTERS)
            return fail_tag(state == ZirState::frame ? "REC_FRAME_SIZE or REC_REGISTERS"
                                                     : "REC_REGISTERS");
        if (!u32(&r->registers.int_mask, "integer register mask") ||
            !u32(&r->registers.float_mask, "float register mask"))
            return false;
        state = ZirState::body;
        return true;
    }
}

// REC_LABEL and REC_CASE_LABEL: label, line, and a flag only with a line.
bool ZirReader::Decoder::label_record(ZirRecord *r) {
    uint32_t label, flag = 0;
    if (!u16(&label, "label") || !u32(&r->code_label.line, "line")) return false;
    if (r->code_label.line != 0 && !small(&flag, 1, "loop test flag", "loop test flag 0 or 1"))
        return false;
    r->code_label.label = uint16_t(label);
    r->code_label.flag = uint8_t(flag);
    return true;
}

// Phase 1 opens a counted loop and carries its trip count; phase 0 closes
// the innermost open loop, which must have the same label.
bool ZirReader::Decoder::counted_loop(ZirRecord *r) {
    uint32_t label, phase;
    if (!u16(&label, "loop label") || !small(&phase, 1, "loop phase", "loop phase 0 or 1"))
        return false;
    r->counted_loop.label = uint16_t(label);
    r->counted_loop.phase = uint8_t(phase);
    r->counted_loop.count = nullptr;
    if (phase == 1) {
        if (!expression(&r->counted_loop.count)) return false;
        loops.push_back(uint16_t(label));
        return true;
    }
    if (loops.empty())
        return fail_at(record_start, "a statement record or REC_FUNCTION_END",
                       "the close of a counted loop that is not open");
    if (loops.back() != label) {
        char expected[64], found[64];
        std::snprintf(expected, sizeof expected, "the close of the counted loop L%u",
                      unsigned(loops.back()));
        std::snprintf(found, sizeof found, "the close of L%u", label);
        return fail_at(record_start, expected, found);
    }
    loops.pop_back();
    r->depth = 1 + uint32_t(loops.size());
    return true;
}

bool ZirReader::Decoder::statement_record(ZirRecord *r) {
    uint32_t a, b, c, d;
    bool known;
    if (!shared_record(r, &known)) return false;
    if (known) return true;
    switch (r->tag) {
    case REC_POSITION:
        if (!u32(&a, "first line") || !u16(&b, "first column") || !u32(&c, "last line") ||
            !u16(&d, "last column"))
            return false;
        r->position = {a, uint16_t(b), c, uint16_t(d)};
        return true;
    case REC_JUMP:
    case REC_SWITCH1: case REC_SWITCH2: case REC_SWITCH4:
        if (!u16(&a, r->tag == REC_JUMP ? "jump label" : "switch table label")) return false;
        r->label = uint16_t(a);
        return true;
    case REC_LABEL:
    case REC_CASE_LABEL:
        return label_record(r);
    case REC_BRANCH_LT: case REC_BRANCH_GE: case REC_BRANCH_GT:
    case REC_BRANCH_LE: case REC_BRANCH_EQ: case REC_BRANCH_NE:
        if (!u16(&a, "branch label")) return false;
        r->branch.label = uint16_t(a);
        return expression(&r->branch.left) && expression(&r->branch.right);
    case REC_EXPR:
        return expression(&r->expr);
    case REC_RETURN:
        return true;
    case REC_SWITCH_TABLE:
        if (!zeros(1, "byte 0 of REC_SWITCH_TABLE") || !u16(&a, "table label") ||
            !u16(&b, "default label") || !u16(&c, "number of cases") ||
            !u16(&d, "selector width"))
            return false;
        r->switch_table = {uint16_t(a), uint16_t(b), uint16_t(c), uint16_t(d)};
        state = ZirState::case_records;
        return true;
    case REC_COUNTED_LOOP:
        return counted_loop(r);
    case REC_FUNCTION_END:
        if (!loops.empty()) {
            char expected[64];
            std::snprintf(expected, sizeof expected, "the close of the counted loop L%u",
                          unsigned(loops.back()));
            return fail_tag(expected);
        }
        state = ZirState::file;
        return true;
    default:
        return fail_tag("a statement record or REC_FUNCTION_END");
    }
}

// The records of a switch table: dense tables and ranges, then the list.
bool ZirReader::Decoder::case_record(ZirRecord *r) {
    uint32_t a, b, c;
    if (state == ZirState::switch_end) {
        if (r->tag != REC_SWITCH_END) return fail_tag("REC_SWITCH_END");
        state = ZirState::body;
        return true;
    }
    switch (r->tag) {
    case REC_CASE_TABLE:
        if (!u16(&a, "number of table entries") || !u32(&b, "first case value")) return false;
        r->case_table.entries = uint16_t(a);
        r->case_table.first = b;
        // Each label read on its own, so that a short table names the entry
        // where the file ends.
        r->case_table.labels = ZirText{data + pos, 2 * a};
        for (uint32_t i = 0; i < a; i++)
            if (!u16(&c, "label of a table entry")) return false;
        return true;
    case REC_CASE_RANGE:
        if (!u32(&r->case_range.first, "first case value") ||
            !u32(&r->case_range.count, "number of values") || !u16(&c, "label of the range"))
            return false;
        r->case_range.label = uint16_t(c);
        return true;
    case REC_CASE_LIST:
        if (!u16(&a, "number of listed cases")) return false;
        r->case_list.count = uint16_t(a);
        r->case_list.cases = ZirText{data + pos, 6 * a};
        for (uint32_t i = 0; i < a; i++)
            if (!u32(&b, "case value") || !u16(&c, "case label")) return false;
        state = ZirState::switch_end;
        return true;
    default:
        return fail_tag("REC_CASE_TABLE, REC_CASE_RANGE or REC_CASE_LIST");
    }
}

