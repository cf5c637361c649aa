// Prints decoded records as text, one record a line, for people and tests.
#include "zir/zir_dump.h"

#include <cmath>
#include <cstdarg>
#include <cstdlib>
#include <string>
#include <vector>

#include "zir/debug_words.h"
#include "zir/zir_reader.h"

namespace {

const char *operator_name(int tag) {
    switch (tag) {
    case REC_OP_ADD: return "+";
    case REC_OP_SUB: return "-";
    case REC_OP_MUL: return "*";
    case REC_OP_DIV: return "/";
    case REC_OP_MOD: return "%";
    case REC_OP_SHL: return "<<";
    case REC_OP_SHR: return ">>";
    case REC_OP_AND: return "&";
    case REC_OP_XOR: return "^";
    case REC_OP_OR: return "|";
    case REC_OP_LT: return "<";
    case REC_OP_GE: return ">=";
    case REC_OP_GT: return ">";
    case REC_OP_LE: return "<=";
    case REC_OP_EQ: return "==";
    case REC_OP_NE: return "!=";
    case REC_OP_LOGAND: return "&&";
    case REC_OP_LOGOR: return "||";
    case REC_OP_ASSIGN: return "=";
    case REC_OP_ADD_ASSIGN: return "+=";
    case REC_OP_SUB_ASSIGN: return "-=";
    case REC_OP_MUL_ASSIGN: return "*=";
    case REC_OP_DIV_ASSIGN: return "/=";
    case REC_OP_MOD_ASSIGN: return "%=";
    case REC_OP_SHL_ASSIGN: return "<<=";
    case REC_OP_SHR_ASSIGN: return ">>=";
    case REC_OP_AND_ASSIGN: return "&=";
    case REC_OP_XOR_ASSIGN: return "^=";
    case REC_OP_OR_ASSIGN: return "|=";
    case REC_OP_COMMA: return "comma";
    case REC_OP_COND: return "cond";
    case REC_OP_POSTINC: return "postinc";
    case REC_OP_POSTDEC: return "postdec";
    case REC_OP_NEG: return "neg";
    case REC_OP_NOT: return "not";
    case REC_OP_COMPL: return "compl";
    case REC_OP_DEREF: return "deref";
    case REC_OP_ADDR: return "addr";
    case REC_OP_CAST: return "cast";
    case REC_CALL: case REC_CALL_ARGS: return "call";
    case REC_ARG: return "arg";
    case REC_ASM_CALL: case REC_ASM_CALL_ARGS: return "asm";
    case REC_NEG_IN_PLACE: return "neg-in-place";
    case REC_COMPL_IN_PLACE: return "compl-in-place";
    default: return "?";
    }
}

const char *record_name(const ZirRecord &r) {
    switch (r.tag) {
    case REC_BRANCH_LT: return "BRANCH_LT";
    case REC_BRANCH_GE: return "BRANCH_GE";
    case REC_BRANCH_GT: return "BRANCH_GT";
    case REC_BRANCH_LE: return "BRANCH_LE";
    case REC_BRANCH_EQ: return "BRANCH_EQ";
    case REC_BRANCH_NE: return "BRANCH_NE";
    case REC_SWITCH1: return "SWITCH1";
    case REC_SWITCH2: return "SWITCH2";
    case REC_SWITCH4: return "SWITCH4";
    case REC_EXTERN: return "EXTERN";
    case REC_PUBLIC: return "PUBLIC";
    case REC_FUNCTION: return "FUNCTION";
    case REC_DATA: return "DATA";
    case REC_DATA_ATTR: return "DATA_ATTR";
    case REC_ADDRESS1: return "ADDRESS1";
    case REC_ADDRESS2: return "ADDRESS2";
    case REC_ADDRESS4: return "ADDRESS4";
    case REC_DEBUG_FILE: return "DEBUG_FILE";
    case REC_DEBUG_FUNCTION: return "DEBUG_FUNCTION";
    default: return "?";
    }
}

// Builds one line of text at a time.
class Line {
public:
    std::string text;

    void put(const char *s) { text += s; }
    void putf(const char *format, ...) __attribute__((format(printf, 2, 3))) {
        char buffer[96];
        va_list args;
        va_start(args, format);
        int n = std::vsnprintf(buffer, sizeof buffer, format, args);
        va_end(args);
        if (n > 0) text.append(buffer, size_t(n) < sizeof buffer ? size_t(n) : sizeof buffer - 1);
    }
    // Quoted, with the bytes that are not printable escaped.
    void put_text(ZirText t) {
        text += '"';
        for (uint32_t i = 0; i < t.length; i++) {
            uint8_t c = t.bytes[i];
            if (c == '"' || c == '\\') { text += '\\'; text += char(c); }
            else if (c == '\n') text += "\\n";
            else if (c == '\t') text += "\\t";
            else if (c >= 0x20 && c < 0x7F) text += char(c);
            else putf("\\x%02x", c);
        }
        text += '"';
    }
    void put_label(uint32_t label) {
        if (label == 0) put("none");
        else putf("L%u", label);
    }
    // Small numbers read best in decimal, bit patterns in hexadecimal.
    void put_number(uint32_t v) {
        int32_t s = int32_t(v);
        if (s > -65536 && s < 65536) putf("%d", s);
        else putf("0x%08x", v);
    }
    void put_double(uint64_t bits) {
        double d = zir_double(bits);
        if (std::isnan(d)) { putf("nan(0x%016llx)", (unsigned long long)bits); return; }
        if (std::isinf(d)) { put(d < 0 ? "-inf" : "inf"); return; }
        // The shortest text that reads back as the same double.
        char buffer[40];
        for (int precision = 1; precision <= 17; precision++) {
            std::snprintf(buffer, sizeof buffer, "%.*g", precision, d);
            if (std::strtod(buffer, nullptr) == d) break;
        }
        put(buffer);
    }
    void put_location(uint32_t location) {
        switch (location) {
        case LOC_STATIC: put("static"); break;
        case LOC_RESULT: put("result"); break;
        case LOC_SELECTOR: put("selector"); break;
        case LOC_ARG: put("arg"); break;
        case LOC_LOCAL: put("local"); break;
        default: putf("reg%u", location - LOC_REGISTER_BASE); break;
        }
    }
    void put_name(const ZirName &name) {
        put("name=");
        put_text(name.text);
        put(" label=");
        put_label(name.label);
        putf(" kind=0x%02x", name.kind);
    }
    void put_ref(const ZirRef &ref) {
        put(" ref=");
        if (!ref.named) {
            put_label(ref.label);
            return;
        }
        put("{");
        put_name(ref.name);
        put("}");
    }
    void put_type(const ZirType &type);
    void put_node_head(const ZirNode &node, bool nested);
    void put_tree(const ZirNode *root);
    void put_record(const ZirRecord &r);
};

void Line::put_type(const ZirType &type) {
    switch (type.code) {
    case TD_CHAR: put("char"); break;
    case TD_UCHAR: put("uchar"); break;
    case TD_SHORT: put("short"); break;
    case TD_USHORT: put("ushort"); break;
    case TD_INT: put("int"); break;
    case TD_UINT: put("uint"); break;
    case TD_FLOAT: put("float"); break;
    case TD_DOUBLE: put("double"); break;
    case TD_REAL_OTHER: put("real12"); break;
    case TD_POINTER: putf("ptr(attr=0x%04x)", type.pointee_attr); break;
    case TD_SHORT_BITS: case TD_INT_BITS: case TD_CHAR_BITS:
        putf("%s(offset=%u,width=%u)",
             type.code == TD_SHORT_BITS ? "shortbits" : type.code == TD_INT_BITS ? "intbits"
                                                                                  : "charbits",
             type.bits.offset, type.bits.width);
        break;
    default: putf("struct(size=%u)", type.size); break;
    }
    if (type.has_attr) putf(" attr=0x%04x", type.attr);
}

// A leaf whole, or an operator up to its operands.
void Line::put_node_head(const ZirNode &node, bool nested) {
    put(nested ? " (" : "(");
    if (node.tag == REC_LEAF) {
        put("leaf ");
        put_type(node.type);
        put_ref(node.leaf.base);
        put(" value=");
        put_number(node.leaf.value);
        put(" loc=");
        put_location(node.leaf.location);
        putf(" indirect=%u)", node.leaf.indirect);
        return;
    }
    put(operator_name(node.tag));
    if (node.tag == REC_ARG) return;
    put(" ");
    put_type(node.type);
}

// One tree in prefix form.  The walk keeps its path on the heap: a tree may
// be as deep as the file is long.
void Line::put_tree(const ZirNode *root) {
    struct Step {
        const ZirNode *node;
        uint8_t next;          // the operand to print next
    };
    std::vector<Step> path;
    put_node_head(*root, false);
    if (root->operand_count) path.push_back(Step{root, 0});
    while (!path.empty()) {
        Step &step = path.back();
        const ZirNode &node = *step.node;
        // The text of an _asm call stands behind its callee.
        if (step.next == 1 && (node.tag == REC_ASM_CALL || node.tag == REC_ASM_CALL_ARGS)) {
            put(" text=");
            put_text(node.op.text);
        }
        if (step.next == node.operand_count) {
            put(")");
            path.pop_back();
            continue;
        }
        const ZirNode *operand = node.op.operand[step.next++];
        put_node_head(*operand, true);
        if (operand->operand_count) path.push_back(Step{operand, 0});
    }
}

void Line::put_record(const ZirRecord &r) {
    switch (r.tag) {
    case REC_SOURCE_FILE:
        put("SOURCE_FILE name=");
        put_text(r.source.name);
        if (r.source.dir.bytes) {
            put(" dir=");
            put_text(r.source.dir);
        }
        return;
    case REC_LINE:
        putf("LINE line=%u", r.line);
        return;
    case REC_ASM_TEXT:
        putf("ASM_TEXT length=%u text=", r.text.length);
        put_text(r.text);
        return;
    default:
        break;
    }
    if (r.context == ZIR_FILE || r.context == ZIR_DATA) {
        switch (r.tag) {
        case REC_SPACE_NAME:
            put("SPACE_NAME name=");
            put_text(r.text);
            return;
        case REC_SECTION:
            putf("SECTION attr=0x%04x name=", r.section.attr);
            if (r.section.name.bytes) put_text(r.section.name);
            else put("none");
            return;
        case REC_EXTERN: case REC_PUBLIC: case REC_FUNCTION:
            put(record_name(r));
            put(" ");
            put_name(r.decl.name);
            putf(" attr=0x%04x size=%u", r.decl.attr, r.decl.size);
            return;
        case REC_DATA: case REC_DATA_ATTR:
            putf("%s align=%u ", record_name(r), r.data.alignment);
            if (r.tag == REC_DATA_ATTR) putf("attr=0x%04x ", r.data.attr);
            put_name(r.data.name);
            return;
        case REC_ABSOLUTE:
            put("ABSOLUTE ");
            put_name(r.absolute.name);
            putf(" address=0x%08x", r.absolute.address);
            return;
        case REC_LITERAL:
            putf("LITERAL align=%u label=", r.literal.alignment);
            put_label(r.literal.label);
            return;
        case REC_DATA_END:
            put("DATA_END");
            return;
        case REC_DEBUG_LABEL:
            put("DEBUG_LABEL label=");
            put_label(r.label);
            return;
        case REC_DEBUG_NAME:
            put("DEBUG_NAME name=");
            put_text(r.text);
            return;
        case REC_DEBUG_FILE: case REC_DEBUG_FUNCTION:
            putf("%s name=", record_name(r));
            put_text(r.text);
            return;
        case REC_INT:
            putf("INT width=%u value=", r.int_value.width);
            put_number(r.int_value.value);
            return;
        case REC_FLOAT:
            putf("FLOAT width=%u value=", r.float_value.width);
            put_double(r.float_value.bits);
            return;
        case REC_STRING:
            putf("STRING length=%u bytes=", r.text.length);
            put_text(r.text);
            return;
        case REC_ZEROS:
            putf("ZEROS count=%u", r.count);
            return;
        default:   // REC_ADDRESS1, REC_ADDRESS2, REC_ADDRESS4
            put(record_name(r));
            put_ref(r.address.ref);
            put(" addend=");
            put_number(r.address.addend);
            return;
        }
    }
    switch (r.tag) {
    case REC_FUNCTION_LINES:
        putf("FUNCTION_LINES declarator=%u brace=%u", r.function_lines.declarator,
             r.function_lines.brace);
        return;
    case REC_REG_ARG:
        put("REG_ARG type=");
        put_type(r.reg_arg.type);
        putf(" offset=%d location=", int32_t(r.reg_arg.offset));
        if (r.reg_arg.location == 0) put("memory");
        else put_location(r.reg_arg.location);
        return;
    case REC_ARGS_END:
        putf("ARGS_END bytes=%u", r.args_bytes);
        return;
    case REC_FRAME_SIZE:
        putf("FRAME_SIZE offset=%d", r.frame_offset);
        return;
    case REC_REGISTERS:
        putf("REGISTERS int=0x%05x float=0x%05x", r.registers.int_mask, r.registers.float_mask);
        return;
    case REC_POSITION:
        putf("POSITION first=%u:%u last=%u:%u", r.position.first_line, r.position.first_column,
             r.position.last_line, r.position.last_column);
        return;
    case REC_JUMP:
        put("JUMP ");
        put_label(r.label);
        return;
    case REC_LABEL: case REC_CASE_LABEL:
        // The name of the label opens the line (see dump_intermediate).
        if (r.tag == REC_CASE_LABEL) put(" CASE_LABEL");
        if (r.code_label.line != 0) putf(" line=%u flag=%u", r.code_label.line, r.code_label.flag);
        return;
    case REC_BRANCH_LT: case REC_BRANCH_GE: case REC_BRANCH_GT:
    case REC_BRANCH_LE: case REC_BRANCH_EQ: case REC_BRANCH_NE:
        putf("%s ", record_name(r));
        put_label(r.branch.label);
        put(" left=");
        put_tree(r.branch.left);
        put(" right=");
        put_tree(r.branch.right);
        return;
    case REC_EXPR:
        put("EXPR ");
        put_tree(r.expr);
        return;
    case REC_RETURN:
        put("RETURN");
        return;
    case REC_SWITCH1: case REC_SWITCH2: case REC_SWITCH4:
        putf("%s table=", record_name(r));
        put_label(r.label);
        return;
    case REC_SWITCH_TABLE:
        put("SWITCH_TABLE table=");
        put_label(r.switch_table.table);
        put(" default=");
        put_label(r.switch_table.default_label);
        putf(" cases=%u width=%u", r.switch_table.cases, r.switch_table.width);
        return;
    case REC_CASE_TABLE:
        putf("CASE_TABLE entries=%u first=", r.case_table.entries);
        put_number(r.case_table.first);
        put(" labels=[");
        for (uint32_t i = 0; i < r.case_table.entries; i++) {
            if (i) put(" ");
            put_label(zir_case_table_label(r, i));
        }
        put("]");
        return;
    case REC_CASE_RANGE:
        put("CASE_RANGE first=");
        put_number(r.case_range.first);
        putf(" count=%u label=", r.case_range.count);
        put_label(r.case_range.label);
        return;
    case REC_CASE_LIST:
        putf("CASE_LIST count=%u cases=[", r.case_list.count);
        for (uint32_t i = 0; i < r.case_list.count; i++) {
            if (i) put(" ");
            put_number(zir_case_value(r, i));
            put(":");
            put_label(zir_case_label(r, i));
        }
        put("]");
        return;
    case REC_SWITCH_END:
        put("SWITCH_END");
        return;
    case REC_COUNTED_LOOP:
        put("COUNTED_LOOP label=");
        put_label(r.counted_loop.label);
        putf(" phase=%u", r.counted_loop.phase);
        if (r.counted_loop.count) {
            put(" count=");
            put_tree(r.counted_loop.count);
        }
        return;
    default:   // REC_FUNCTION_END
        put("FUNCTION_END");
        return;
    }
}

// Debug data at file level is value records; they stand one step in, under
// the debug label that names them.
uint32_t indent_of(const ZirRecord &r) {
    if (r.context != ZIR_FILE) return r.depth;
    switch (r.tag) {
    case REC_INT: case REC_FLOAT: case REC_STRING: case REC_ZEROS:
    case REC_ADDRESS1: case REC_ADDRESS2: case REC_ADDRESS4:
        return 1;
    default:
        return 0;
    }
}

// A file with debug data shows it as the linked structure it is: each item
// under the label that names it (`L9:`), a link as `-> L11`, strings, ints
// and addresses decoded, and a type word as its derivations and base.
// False for records that are no debug data.
bool put_debug_item(Line &line, const ZirRecord &r, bool type_word) {
    if (r.context != ZIR_FILE) return false;
    switch (r.tag) {
    case REC_DEBUG_LABEL:
        line.put_label(r.label);
        line.put(":");
        return true;
    case REC_INT:
        if (type_word && r.int_value.width == 4) {
            uint32_t v = r.int_value.value;
            uint32_t word = (v >> 24) | ((v >> 8) & 0xFF00) | ((v << 8) & 0xFF0000) | (v << 24);
            char text[160];
            describe_type_word(word, text, sizeof text);
            line.putf("  type 0x%08x ", word);
            line.put(text);
            return true;
        }
        line.putf("  int%u ", r.int_value.width);
        line.put_number(r.int_value.value);
        return true;
    case REC_STRING:
        line.put("  string ");
        line.put_text(r.text);
        if (r.text.length >= 255) line.put(" ...");
        return true;
    case REC_ADDRESS4:
        if (!r.address.ref.named && r.address.addend == 0) {
            line.put("  -> ");
            line.put(r.address.ref.label ? "" : "null");
            if (r.address.ref.label) line.put_label(r.address.ref.label);
            return true;
        }
        line.put("  address");
        line.put_ref(r.address.ref);
        line.put(" addend=");
        line.put_number(r.address.addend);
        return true;
    case REC_DEBUG_NAME:
        line.put("  name ");
        line.put_text(r.text);
        return true;
    default:
        return false;
    }
}

}  // namespace

int dump_intermediate(const uint8_t *data, size_t size, const char *name, bool show_offsets,
                      FILE *out, FILE *err) {
    ZirReader reader(data, size);
    Line line;
    ZirStatus status = ZIR_ERROR;
    if (reader.read_header()) {
        if (show_offsets) line.putf("%08x: ", 0u);
        uint8_t options = reader.options();
        line.putf("HEADER options=0x%02x", options);
        if (options & HDR_SINGLE_FLOAT) line.put(" -f");
        if (options & HDR_DEBUG) line.put(" -x");
        if (options & HDR_DEBUG_DATA) line.put(" -xd");
        if (options & HDR_FLOAT_REGS) line.put(" -fr");
        line.text += '\n';
        std::fwrite(line.text.data(), 1, line.text.size(), out);
        bool debug = (options & HDR_DEBUG) != 0;
        std::unordered_set<size_t> type_words;
        if (debug) type_words = find_debug_type_words(data, size);
        ZirRecord record;
        while ((status = reader.next(&record)) == ZIR_RECORD) {
            line.text.clear();
            if (show_offsets) line.putf("%08zx: ", record.offset);
            if (debug && put_debug_item(line, record, type_words.count(record.offset) != 0)) {
                line.text += '\n';
                std::fwrite(line.text.data(), 1, line.text.size(), out);
                continue;
            }
            // A code label stands at the start of its line, as in an
            // assembly listing, so that the eye finds the targets of jumps.
            if (record.context == ZIR_BODY &&
                (record.tag == REC_LABEL || record.tag == REC_CASE_LABEL)) {
                line.put_label(record.code_label.label);
                line.put(":");
            } else {
                line.text.append(size_t(indent_of(record)) * 2, ' ');
            }
            line.put_record(record);
            line.text += '\n';
            std::fwrite(line.text.data(), 1, line.text.size(), out);
        }
    }
    if (status == ZIR_END) return 0;
    const ZirError &e = reader.error();
    std::fprintf(err, "zirdump: %s: offset %zu (0x%zx): expected %s, found %s\n", name,
                 e.offset, e.offset, e.expected.c_str(), e.found.c_str());
    return 1;
}
