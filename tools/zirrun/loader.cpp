// The loader: reads an intermediate file once through the reader, lays out
// and fills its data objects, and decodes each function into nodes and
// statements that run without looking at the file again.
#include <algorithm>
#include <cstring>
#include <map>

#include "zir/zir_reader.h"
#include "zirrun/machine.h"

Program::~Program() {
    for (Node *n : nodes) delete n;
    for (CallSite *c : calls) delete c;
    for (std::string *s : texts) delete s;
}

namespace {

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

    bool fail(const std::string &message) {
        if (error.empty()) error = message;
        return false;
    }

    // -- symbols ------------------------------------------------------------

    int32_t symbol_for_label(uint16_t label) {
        auto it = program->by_label.find(label);
        if (it != program->by_label.end()) return it->second;
        int32_t index = int32_t(program->symbols.size());
        program->symbols.push_back({});
        program->symbols.back().name = "L" + std::to_string(label);
        program->by_label[label] = index;
        return index;
    }

    int32_t symbol_for_name(const ZirName &name) {
        if (name.label) {
            int32_t index = symbol_for_label(name.label);
            program->symbols[size_t(index)].name.assign(
                reinterpret_cast<const char *>(name.text.bytes), name.text.length);
            if ((name.kind & 7) >= 4) program->symbols[size_t(index)].is_function = true;
            return index;
        }
        std::string text(reinterpret_cast<const char *>(name.text.bytes), name.text.length);
        auto it = program->by_name.find(text);
        int32_t index;
        if (it != program->by_name.end()) {
            index = it->second;
        } else {
            index = int32_t(program->symbols.size());
            program->symbols.push_back({});
            program->symbols.back().name = text;
            program->by_name[text] = index;
        }
        if ((name.kind & 7) >= 4) program->symbols[size_t(index)].is_function = true;
        return index;
    }

    int32_t symbol_for_ref(const ZirRef &ref) {
        if (ref.named) return symbol_for_name(ref.name);
        if (ref.label) return symbol_for_label(ref.label);
        return -1;
    }

    // -- data -----------------------------------------------------------------

    bool open_data(int32_t symbol, uint8_t alignment, uint16_t attr) {
        uint32_t align = 1u << std::min<uint8_t>(alignment, 3);
        uint32_t space = attr & 0x3000;
        uint32_t *next = space == 0x1000 ? &tiny_next : space == 0x3000 ? &far_next : &near_next;
        uint32_t address = (*next + align - 1) & ~(align - 1);
        Symbol &s = program->symbols[size_t(symbol)];
        if (s.defined) return fail("object " + s.name + " defined twice");
        s.defined = true;
        s.address = address;
        in_data = true;
        data_fixed = false;
        data_start = address;
        data_length = 0;
        return true;
    }

    // The host bytes of the next n bytes of the open object.
    uint8_t *data_bytes(uint32_t n) {
        uint32_t at = data_length;
        data_length += n;
        if (data_fixed) {
            if (fixed_bytes.size() < data_length) fixed_bytes.resize(data_length);
            return fixed_bytes.data() + at;
        }
        uint32_t end = data_start + data_length;
        if (data_length > FAR_LIMIT || (data_start < FAR_BASE && end > FAR_BASE) || end > FAR_LIMIT) {
            fail("data too large for its memory space");
            fixed_bytes.resize(n);
            return fixed_bytes.data();
        }
        if (memory->bytes.size() < end) memory->bytes.resize(end);
        return &memory->bytes[data_start + at];
    }

    void put_be(uint32_t value, uint32_t width) {
        uint8_t *p = data_bytes(width);
        for (uint32_t k = width; k-- > 0; value >>= 8) p[k] = uint8_t(value);
    }

    void close_data() {
        in_data = false;
        if (data_fixed) {
            Memory::Block block{fixed_address, fixed_bytes};
            if (block.bytes.size() < 16) block.bytes.resize(16);
            memory->fixed.push_back(std::move(block));
            return;
        }
        uint32_t end = data_start + data_length;
        if (data_start < NEAR_BASE) tiny_next = end;
        else if (data_start < FAR_BASE) near_next = end;
        else far_next = end;
    }

    void data_value(const ZirRecord &r) {
        switch (r.tag) {
        case REC_INT: {
            uint32_t w = r.int_value.width;
            if (w > 4) { put_be(0, w - 4); w = 4; }
            put_be(r.int_value.value, w);
            break;
        }
        case REC_FLOAT: {
            double d = zir_double(r.float_value.bits);
            if (r.float_value.width >= 8) {
                uint64_t bits;
                std::memcpy(&bits, &d, 8);
                put_be(uint32_t(bits >> 32), 4);
                put_be(uint32_t(bits), 4);
            } else {
                float f = float(d);
                uint32_t bits;
                std::memcpy(&bits, &f, 4);
                put_be(bits, 4);
            }
            break;
        }
        case REC_STRING: {
            uint8_t *p = data_bytes(r.text.length);
            if (r.text.length) std::memcpy(p, r.text.bytes, r.text.length);
            if (r.text.length < MAX_PIECE) *data_bytes(1) = 0;
            break;
        }
        case REC_ZEROS:
            if (r.count > FAR_LIMIT) { fail("data too large for its memory space"); break; }
            std::memset(data_bytes(r.count), 0, r.count);
            break;
        case REC_ADDRESS1: case REC_ADDRESS2: case REC_ADDRESS4: {
            uint32_t width = r.tag == REC_ADDRESS1 ? 1 : r.tag == REC_ADDRESS2 ? 2 : 4;
            uint32_t at = data_fixed ? fixed_address + data_length : data_start + data_length;
            put_be(0, width);
            fixups.push_back({at, width, symbol_for_ref(r.address.ref), r.address.addend});
            if (data_fixed) fail("address inside an object at a fixed address");
            break;
        }
        case REC_LITERAL: {
            Symbol &s = program->symbols[size_t(symbol_for_label(r.literal.label))];
            s.defined = true;
            s.address = (data_fixed ? fixed_address : data_start) + data_length;
            break;
        }
        default:
            break;
        }
    }

    // -- expressions ------------------------------------------------------------

    Cls class_of(const ZirType &t) {
        switch (t.code) {
        case TD_CHAR: return C_I8;
        case TD_UCHAR: return C_U8;
        case TD_SHORT: return C_I16;
        case TD_USHORT: return C_U16;
        case TD_INT: return C_I32;
        case TD_UINT: return C_U32;
        case TD_FLOAT: return C_F32;
        case TD_DOUBLE: case TD_REAL_OTHER:
            return (program->options & HDR_SINGLE_FLOAT) ? C_F32 : C_F64;
        case TD_POINTER: {
            uint32_t space = t.pointee_attr & 0x3000;
            return space == 0x1000 ? C_P1 : space == 0x3000 ? C_P4 : C_P2;
        }
        case TD_CHAR_BITS: case TD_SHORT_BITS: case TD_INT_BITS: return C_BITS;
        case TD_STRUCT: return C_STRUCT;
        default: return C_I32;
        }
    }

    Node *new_node(Op op, Cls cls) {
        Node *n = new Node{};
        n->op = op;
        n->cls = cls;
        n->symbol = -1;
        program->nodes.push_back(n);
        return n;
    }

    void set_type(Node *n, const ZirType &t) {
        n->cls = class_of(t);
        if (n->cls == C_STRUCT) n->size = t.size;
        if (n->cls == C_BITS) {
            n->unit = t.code == TD_CHAR_BITS ? 1 : t.code == TD_SHORT_BITS ? 2 : 4;
            n->bit_offset = t.bits.offset;
            n->bit_width = t.bits.width;
            if (n->bit_width == 0 || n->bit_width > 32 || n->bit_offset + n->bit_width > n->unit * 8) {
                fail("bit-field outside its unit");
                n->bit_offset = 0;
                n->bit_width = 1;
            }
        }
    }

    // A node that gives the value of `n` in class `to`.
    Node *converted(Node *n, Cls to) {
        Cls from = n->cls == C_BITS ? C_U32 : n->cls;
        if (from == to || to == C_STRUCT || to == C_VOID || from == C_STRUCT || from == C_VOID) return n;
        if (!is_real(to) && !is_real(from) && (to == C_I32 || to == C_U32 || to == C_P4)) return n;
        if (to == C_F64 && from == C_F32) return n;
        Node *c = new_node(N_CONVERT, to);
        c->sub = from;
        c->a = n;
        return c;
    }

    Node *leaf(const ZirNode &z) {
        const auto &l = z.leaf;
        Node *n = new_node(N_CONST, C_I32);
        set_type(n, z.type);
        n->value.d = 0;
        n->value.u = l.value;
        switch (l.location) {
        case LOC_STATIC: {
            int32_t symbol = symbol_for_ref(l.base);
            n->symbol = symbol;
            if (symbol >= 0) {
                n->op = l.indirect ? N_LOAD_STATIC : N_ADDR_STATIC;
            } else if (l.indirect) {
                n->op = N_LOAD_STATIC;
            } else if (is_real(n->cls)) {
                n->value.d = double(int32_t(l.value));
            } else if (n->cls != C_STRUCT && n->cls != C_BITS) {
                n->value.u = normalise(n->cls, l.value);
            }
            break;
        }
        case LOC_RESULT:
            if (n->cls == C_STRUCT) n->op = N_RESULT_STRUCT;
            else { n->op = N_SLOT; n->slot = 1; }
            break;
        case LOC_SELECTOR:
            n->op = N_SLOT;
            n->slot = 2;
            break;
        case LOC_ARG:
            n->op = l.indirect ? N_LOAD_ARG : N_ADDR_ARG;
            break;
        case LOC_LOCAL:
            n->op = l.indirect ? N_LOAD_LOCAL : N_ADDR_LOCAL;
            break;
        default:
            if (l.location > LOC_REGISTER_BASE + 36) {
                fail("register location " + std::to_string(l.location) + " out of range");
                break;
            }
            n->op = N_SLOT;
            n->slot = l.location;
            if (n->cls == C_STRUCT || n->cls == C_BITS) fail("struct or bit-field in a register");
            break;
        }
        return n;
    }

    static Op binary_op(uint8_t tag) {
        switch (tag) {
        case REC_OP_ADD: case REC_OP_ADD_ASSIGN: return N_ADD;
        case REC_OP_SUB: case REC_OP_SUB_ASSIGN: return N_SUB;
        case REC_OP_MUL: case REC_OP_MUL_ASSIGN: return N_MUL;
        case REC_OP_DIV: case REC_OP_DIV_ASSIGN: return N_DIV;
        case REC_OP_MOD: case REC_OP_MOD_ASSIGN: return N_MOD;
        case REC_OP_SHL: case REC_OP_SHL_ASSIGN: return N_SHL;
        case REC_OP_SHR: case REC_OP_SHR_ASSIGN: return N_SHR;
        case REC_OP_AND: case REC_OP_AND_ASSIGN: return N_AND;
        case REC_OP_XOR: case REC_OP_XOR_ASSIGN: return N_XOR;
        case REC_OP_OR: case REC_OP_OR_ASSIGN: return N_OR;
        case REC_OP_LT: return N_LT;
        case REC_OP_GE: return N_GE;
        case REC_OP_GT: return N_GT;
        case REC_OP_LE: return N_LE;
        case REC_OP_EQ: return N_EQ;
        case REC_OP_NE: return N_NE;
        default: return N_CONST;
        }
    }

    static Arith arith_of(Cls a, Cls b) {
        if (is_real(a) || is_real(b)) return A_REAL;
        if (is_unsigned32(a) || is_unsigned32(b)) return A_UNSIGNED;
        return A_SIGNED;
    }

    // The two operands of a comparison, brought to the class they compare in.
    void comparison(Node *left, Node *right, Arith *arith, Node **a, Node **b) {
        *arith = arith_of(left->cls, right->cls);
        *a = *arith == A_REAL ? converted(left, C_F64) : left;
        *b = *arith == A_REAL ? converted(right, C_F64) : right;
    }

    // The callee of a call: a node that gives the function's code address.
    Node *callee_address(Node *n) {
        if (n->op == N_LOAD_STATIC && n->symbol >= 0) { n->op = N_ADDR_STATIC; return n; }
        if (n->op == N_DEREF) return n->a;
        return n;   // a pointer value already
    }

    CallSite *call_site(Node *callee, const ZirNode *args) {
        CallSite *site = new CallSite{};
        program->calls.push_back(site);
        site->callee = callee_address(callee);
        while (args) {
            const ZirNode *arg = args;
            if (args->tag == REC_ARG) {
                arg = args->op.operand[0];
                args = args->op.operand[1];
            } else {
                args = nullptr;
            }
            Node *e = expr(*arg);
            if (!e) return site;
            CallArg a{e, C_I32, e->cls == C_BITS ? C_U32 : e->cls, 0, 4, 4};
            uint32_t align = 4;
            switch (e->cls) {
            case C_F32:
                if (program->options & HDR_SINGLE_FLOAT) a.cls = C_F32;
                else { a.cls = C_F64; a.size = 8; align = 8; }
                break;
            case C_F64: a.cls = C_F64; a.size = 8; align = 8; break;
            case C_P1: case C_P2: case C_P4: case C_U32: case C_BITS: a.cls = C_U32; break;
            case C_STRUCT:
                a.cls = C_STRUCT;
                a.size = e->size;
                // The file gives a struct's size, not its alignment: take
                // the widest that its size allows, up to 4, until the
                // callee is known (align_struct_args).
                align = e->size % 4 == 0 ? 4 : e->size % 2 == 0 ? 2 : 1;
                break;
            default: a.cls = C_I32; break;
            }
            if (a.cls != C_STRUCT) a.expr = converted(e, a.cls);
            a.align = align;
            site->args.push_back(a);
        }
        lay_out(site);
        return site;
    }

    // Places the arguments in order, each at the next multiple of its
    // alignment; the area is rounded up to 8 bytes.  Returns the exact size.
    static uint32_t lay_out(CallSite *site) {
        uint32_t offset = 0;
        for (CallArg &a : site->args) {
            offset = (offset + a.align - 1) & ~(a.align - 1);
            a.offset = offset;
            offset += a.size;
        }
        site->area_size = (offset + 7) & ~7u;
        return offset;
    }

    // A struct passed by value lies in the callee's argument area at its
    // own alignment, which the file does not tell.  For a call of a
    // function of this file the alignments are chosen, widest first, so
    // that the area has the size the callee gives it.
    void align_struct_args(CallSite *site) {
        if (site->callee->op != N_ADDR_STATIC || site->callee->symbol < 0) return;
        int32_t index = program->symbols[size_t(site->callee->symbol)].function;
        if (index < 0) return;
        uint32_t wanted = program->functions[size_t(index)].args_bytes;
        std::vector<CallArg *> structs;
        for (CallArg &a : site->args)
            if (a.cls == C_STRUCT) structs.push_back(&a);
        if (structs.empty() || structs.size() > 8) return;
        std::vector<uint32_t> best;
        for (CallArg *a : structs) best.push_back(a->align);
        if (choose_alignments(site, structs, 0, wanted)) return;
        for (size_t k = 0; k < structs.size(); k++) structs[k]->align = best[k];
        lay_out(site);
    }

    bool choose_alignments(CallSite *site, std::vector<CallArg *> &structs, size_t k, uint32_t wanted) {
        if (k == structs.size()) return lay_out(site) == wanted;
        for (uint32_t align = 8; align >= 1; align /= 2) {
            if (structs[k]->size % align != 0) continue;
            structs[k]->align = align;
            if (choose_alignments(site, structs, k + 1, wanted)) return true;
        }
        return false;
    }

    Node *expr(const ZirNode &z) {
        if (++depth > MAX_EXPR_DEPTH) {
            fail("expression nested too deeply");
            --depth;
            return nullptr;
        }
        Node *n = operator_node(z);
        --depth;
        return n;
    }

    Node *operand(const ZirNode &z, int k) { return expr(*z.op.operand[k]); }

    Node *operator_node(const ZirNode &z) {
        if (z.tag == REC_LEAF) return leaf(z);
        Node *n = new_node(N_CONST, C_I32);
        set_type(n, z.type);
        Cls cls = n->cls == C_BITS ? C_U32 : n->cls;
        Op bin = binary_op(z.tag);
        switch (z.tag) {
        case REC_OP_ADD: case REC_OP_SUB: case REC_OP_MUL: case REC_OP_DIV: case REC_OP_MOD:
        case REC_OP_AND: case REC_OP_XOR: case REC_OP_OR: case REC_OP_SHL: case REC_OP_SHR: {
            Node *a = operand(z, 0), *b = operand(z, 1);
            if (!a || !b) return nullptr;
            n->op = bin;
            n->cls = cls;
            n->arith = is_real(cls) ? A_REAL : is_unsigned32(cls) ? A_UNSIGNED : A_SIGNED;
            n->a = converted(a, cls);
            n->b = bin == N_SHL || bin == N_SHR ? converted(b, C_I32) : converted(b, cls);
            if (n->arith == A_REAL && (bin == N_MOD || bin == N_SHL || bin == N_SHR || bin == N_AND ||
                                       bin == N_XOR || bin == N_OR))
                return fail("integer operator on a real") ? nullptr : nullptr;
            if (cls == C_I32 || cls == C_U32 || cls == C_P4) {
                switch (bin) {
                case N_ADD: n->op = N_ADD_W; break;
                case N_SUB: n->op = N_SUB_W; break;
                case N_MUL: n->op = N_MUL_W; break;
                case N_AND: n->op = N_AND_W; break;
                case N_XOR: n->op = N_XOR_W; break;
                case N_OR: n->op = N_OR_W; break;
                default: break;
                }
            }
            return n;
        }
        case REC_OP_LT: case REC_OP_GE: case REC_OP_GT: case REC_OP_LE: case REC_OP_EQ:
        case REC_OP_NE: {
            Node *a = operand(z, 0), *b = operand(z, 1);
            if (!a || !b) return nullptr;
            n->op = bin;
            n->cls = C_I32;
            comparison(a, b, &n->arith, &n->a, &n->b);
            return n;
        }
        case REC_OP_LOGAND: case REC_OP_LOGOR: case REC_OP_COMMA: {
            n->op = z.tag == REC_OP_LOGAND ? N_LOGAND : z.tag == REC_OP_LOGOR ? N_LOGOR : N_COMMA;
            n->a = operand(z, 0);
            n->b = operand(z, 1);
            if (!n->a || !n->b) return nullptr;
            if (n->op == N_COMMA) n->b = converted(n->b, cls);
            else n->cls = C_I32;
            return n;
        }
        case REC_OP_COND: {
            n->op = N_COND;
            n->cls = cls;
            n->a = operand(z, 0);
            n->b = operand(z, 1);
            n->c = operand(z, 2);
            if (!n->a || !n->b || !n->c) return nullptr;
            n->b = converted(n->b, cls);
            n->c = converted(n->c, cls);
            return n;
        }
        case REC_OP_ASSIGN: {
            n->op = N_ASSIGN;
            n->a = operand(z, 0);
            n->b = operand(z, 1);
            if (!n->a || !n->b) return nullptr;
            set_lvalue_type(n);
            n->b = converted(n->b, n->a->cls == C_BITS ? C_U32 : n->a->cls);
            return n;
        }
        case REC_OP_ADD_ASSIGN: case REC_OP_SUB_ASSIGN: case REC_OP_MUL_ASSIGN:
        case REC_OP_DIV_ASSIGN: case REC_OP_MOD_ASSIGN: case REC_OP_SHL_ASSIGN:
        case REC_OP_SHR_ASSIGN: case REC_OP_AND_ASSIGN: case REC_OP_XOR_ASSIGN:
        case REC_OP_OR_ASSIGN: case REC_OP_POSTINC: case REC_OP_POSTDEC: {
            n->op = z.tag == REC_OP_POSTINC ? N_POSTINC : z.tag == REC_OP_POSTDEC ? N_POSTDEC : N_OP_ASSIGN;
            n->sub = z.tag == REC_OP_POSTINC ? N_ADD : z.tag == REC_OP_POSTDEC ? N_SUB : bin;
            n->a = operand(z, 0);
            n->b = operand(z, 1);
            if (!n->a || !n->b) return nullptr;
            set_lvalue_type(n);
            Cls lv = n->a->cls == C_BITS ? C_U32 : n->a->cls;
            if (lv == C_STRUCT) return fail("arithmetic on a struct") ? nullptr : nullptr;
            if (n->sub == N_SHL || n->sub == N_SHR) {
                n->arith = is_real(lv) ? A_REAL : is_unsigned32(lv) ? A_UNSIGNED : A_SIGNED;
                n->b = converted(n->b, C_I32);
            } else {
                n->arith = arith_of(lv, n->b->cls);
                if (n->arith == A_REAL) n->b = converted(n->b, C_F64);
                else if (is_real(n->b->cls)) n->b = converted(n->b, C_I32);
            }
            if (n->arith == A_REAL && (n->sub == N_MOD || n->sub == N_SHL || n->sub == N_SHR ||
                                       n->sub == N_AND || n->sub == N_XOR || n->sub == N_OR))
                return fail("integer operator on a real") ? nullptr : nullptr;
            return n;
        }
        case REC_NEG_IN_PLACE: case REC_COMPL_IN_PLACE: {
            n->op = z.tag == REC_NEG_IN_PLACE ? N_NEG_IN_PLACE : N_COMPL_IN_PLACE;
            n->a = operand(z, 0);
            if (!n->a) return nullptr;
            set_lvalue_type(n);
            if (n->a->cls == C_STRUCT || (n->op == N_COMPL_IN_PLACE && is_real(n->a->cls)))
                return fail("bad operand of an in-place operator") ? nullptr : nullptr;
            return n;
        }
        case REC_OP_NEG: case REC_OP_COMPL: case REC_OP_NOT: {
            n->op = z.tag == REC_OP_NEG ? N_NEG : z.tag == REC_OP_COMPL ? N_COMPL : N_NOT;
            n->a = operand(z, 0);
            if (!n->a) return nullptr;
            if (n->op == N_NOT) { n->cls = C_I32; return n; }
            n->cls = cls;
            n->a = converted(n->a, cls);
            if (cls == C_STRUCT || (n->op == N_COMPL && is_real(cls)))
                return fail("bad operand of a unary operator") ? nullptr : nullptr;
            return n;
        }
        case REC_OP_DEREF:
            n->op = N_DEREF;
            n->a = operand(z, 0);
            return n->a ? n : nullptr;
        case REC_OP_ADDR:
            n->op = N_ADDR;
            n->a = operand(z, 0);
            return n->a ? n : nullptr;
        case REC_OP_CAST: {
            Node *a = operand(z, 0);
            if (!a) return nullptr;
            if (cls == C_STRUCT) return a;
            return converted(a, cls);
        }
        case REC_CALL: case REC_CALL_ARGS: {
            n->op = N_CALL;
            Node *callee = operand(z, 0);
            if (!callee) return nullptr;
            n->call = call_site(callee, z.tag == REC_CALL_ARGS ? z.op.operand[1] : nullptr);
            return error.empty() ? n : nullptr;
        }
        case REC_ASM_CALL: case REC_ASM_CALL_ARGS: {
            n->op = N_ASM;
            std::string *text = new std::string(reinterpret_cast<const char *>(z.op.text.bytes),
                                                z.op.text.length);
            program->texts.push_back(text);
            n->text = text->c_str();
            Node *callee = operand(z, 0);
            if (!callee) return nullptr;
            n->call = call_site(callee, z.tag == REC_ASM_CALL_ARGS ? z.op.operand[1] : nullptr);
            return error.empty() ? n : nullptr;
        }
        default:
            fail("expression tag " + std::to_string(z.tag) + " cannot be run");
            return nullptr;
        }
    }

    // An assignment takes the class of its lvalue; bit-fields keep theirs.
    void set_lvalue_type(Node *n) {
        n->cls = n->a->cls == C_BITS ? C_U32 : n->a->cls;
        n->size = n->a->size;
    }

    // -- statements ---------------------------------------------------------------

    Insn &emit(InsnKind kind) {
        function->code.push_back({});
        Insn &insn = function->code.back();
        insn.kind = kind;
        insn.line = line;
        return insn;
    }

    void define_label(uint16_t label) { labels[label] = int32_t(function->code.size()); }

    int32_t resolve(int32_t label) {
        auto it = labels.find(uint16_t(label));
        return it == labels.end() ? -1 - label : it->second;
    }

    void statement(const ZirRecord &r) {
        switch (r.tag) {
        case REC_LINE:
            line = r.line;
            break;
        case REC_ASM_TEXT:
            emit(I_ASM);
            break;
        case REC_JUMP:
            emit(I_JUMP).target = r.label;
            break;
        case REC_LABEL: case REC_CASE_LABEL:
            define_label(r.code_label.label);
            if (r.code_label.line) line = r.code_label.line;
            break;
        case REC_BRANCH_LT: case REC_BRANCH_GE: case REC_BRANCH_GT: case REC_BRANCH_LE:
        case REC_BRANCH_EQ: case REC_BRANCH_NE: {
            Node *left = expr(*r.branch.left), *right = expr(*r.branch.right);
            if (!left || !right) return;
            Insn &insn = emit(I_BRANCH);
            insn.target = r.branch.label;
            insn.compare = r.tag == REC_BRANCH_LT ? N_LT : r.tag == REC_BRANCH_GE ? N_GE
                         : r.tag == REC_BRANCH_GT ? N_GT : r.tag == REC_BRANCH_LE ? N_LE
                         : r.tag == REC_BRANCH_EQ ? N_EQ : N_NE;
            comparison(left, right, &insn.arith, &insn.a, &insn.b);
            break;
        }
        case REC_EXPR: {
            Node *e = expr(*r.expr);
            if (e) emit(I_EXPR).a = e;
            break;
        }
        case REC_RETURN:
            emit(I_RETURN);
            break;
        case REC_SWITCH1: case REC_SWITCH2: case REC_SWITCH4:
            emit(I_SWITCH).target = r.label;   // the table label, resolved at the end
            break;
        case REC_SWITCH_TABLE: {
            PendingTable t{};
            t.table = r.switch_table.table;
            t.default_label = r.switch_table.default_label;
            uint32_t w = r.switch_table.width;
            t.mask = w >= 4 ? 0xFFFFFFFF : w == 2 ? 0xFFFF : w == 1 ? 0xFF : 0xFFFFFFFF;
            tables.push_back(std::move(t));
            break;
        }
        case REC_CASE_TABLE: {
            PendingTable::Dense d{r.case_table.first, {}};
            for (uint32_t k = 0; k < r.case_table.entries; k++) d.labels.push_back(zir_case_table_label(r, k));
            tables.back().dense.push_back(std::move(d));
            break;
        }
        case REC_CASE_RANGE:
            tables.back().ranges.push_back({r.case_range.first, r.case_range.count, r.case_range.label});
            break;
        case REC_CASE_LIST:
            for (uint32_t k = 0; k < r.case_list.count; k++)
                tables.back().list.push_back({zir_case_value(r, k), zir_case_label(r, k)});
            break;
        case REC_COUNTED_LOOP:
            if (r.counted_loop.phase == 1) {
                Node *count = expr(*r.counted_loop.count);
                if (!count) return;
                Insn &insn = emit(I_LOOP_OPEN);
                insn.a = converted(count, C_I32);
                insn.loop = function->loops++;
                insn.target = r.counted_loop.label;
                open_loops.push_back({r.counted_loop.label, function->code.size() - 1});
            } else {
                if (open_loops.empty()) return;
                size_t open = open_loops.back().second;
                open_loops.pop_back();
                Insn &insn = emit(I_LOOP_CLOSE);
                insn.loop = function->code[open].loop;
                insn.target = int32_t(open + 1);
                define_label(r.counted_loop.label);
            }
            break;
        default:
            break;
        }
    }

    void finish_function() {
        emit(I_END);
        for (Insn &insn : function->code) {
            if (insn.kind == I_JUMP || insn.kind == I_BRANCH || insn.kind == I_LOOP_OPEN)
                insn.target = resolve(insn.target);
        }
        for (PendingTable &t : tables) {
            SwitchTable s;
            s.mask = t.mask;
            s.default_target = resolve(t.default_label);
            for (auto &d : t.dense) {
                SwitchTable::Dense dense{d.first & t.mask, {}};
                for (uint16_t label : d.labels) dense.targets.push_back(resolve(label));
                s.dense.push_back(std::move(dense));
            }
            for (auto &range : t.ranges) s.ranges.push_back({range.first & t.mask, range.count, resolve(range.label)});
            for (auto &entry : t.list) s.list.push_back({entry.first & t.mask, resolve(entry.second)});
            std::stable_sort(s.list.begin(), s.list.end(),
                             [](const auto &x, const auto &y) { return x.first < y.first; });
            table_of[t.table] = uint32_t(function->tables.size());
            function->tables.push_back(std::move(s));
        }
        for (Insn &insn : function->code) {
            if (insn.kind != I_SWITCH) continue;
            auto it = table_of.find(uint16_t(insn.target));
            if (it == table_of.end()) {
                insn.target = -1 - insn.target;
            } else {
                insn.table = it->second;
                insn.target = 0;
            }
        }
        labels.clear();
        table_of.clear();
        tables.clear();
        open_loops.clear();
        function = nullptr;
    }

    // -- the file -----------------------------------------------------------------

    bool record(const ZirRecord &r) {
        if (function) {
            switch (r.context) {
            case ZIR_FRAME:
                switch (r.tag) {
                case REC_REG_ARG:
                    function->reg_args.push_back({class_of(r.reg_arg.type), r.reg_arg.offset});
                    break;
                case REC_ARGS_END: function->args_bytes = r.args_bytes; break;
                case REC_FRAME_SIZE: function->frame_low = std::min(r.frame_offset, 0); break;
                default: break;
                }
                return true;
            case ZIR_BODY: case ZIR_CASES:
                if (r.tag == REC_FUNCTION_END) finish_function();
                else statement(r);
                return error.empty();
            default:
                break;
            }
        }
        if (in_data && r.context == ZIR_DATA) {
            if (r.tag == REC_DATA_END) close_data();
            else data_value(r);
            return error.empty();
        }
        switch (r.tag) {
        case REC_DATA: case REC_DATA_ATTR: {
            if (r.context != ZIR_FILE) return true;
            int32_t s = symbol_for_name(r.data.name);
            return open_data(s, r.data.alignment, r.data.attr);
        }
        case REC_LITERAL:
            if (r.context != ZIR_FILE) return true;
            return open_data(symbol_for_label(r.literal.label), r.literal.alignment, 0);
        case REC_ABSOLUTE: {
            Symbol &s = program->symbols[size_t(symbol_for_name(r.absolute.name))];
            s.defined = true;
            s.address = r.absolute.address;
            if (r.absolute.opens_data) {
                in_data = true;
                data_fixed = true;
                fixed_address = r.absolute.address;
                fixed_bytes.clear();
                data_length = 0;
            } else {
                // Without values the object's size is not told here; a block
                // of 16 bytes holds any scalar.
                memory->fixed.push_back({r.absolute.address, std::vector<uint8_t>(16)});
            }
            return true;
        }
        case REC_FUNCTION: {
            int32_t s = symbol_for_name(r.decl.name);
            Symbol &sym = program->symbols[size_t(s)];
            if (sym.defined) return fail("function " + sym.name + " defined twice");
            sym.defined = true;
            sym.is_function = true;
            sym.function = int32_t(program->functions.size());
            program->functions.push_back({});
            function = &program->functions.back();
            function->name = sym.name;
            function->result_size = (r.decl.name.kind & 7) == 6 ? r.decl.size : 0;
            line = 0;
            return true;
        }
        case REC_PUBLIC: case REC_EXTERN: {
            Symbol &sym = program->symbols[size_t(symbol_for_name(r.decl.name))];
            if (r.decl.size > sym.size) sym.size = r.decl.size;
            return true;
        }
        default:
            return true;
        }
    }

    // -- after the last record ------------------------------------------------------

    bool finish() {
        if (function) return fail("the file ends inside function " + function->name);
        if (in_data) return fail("the file ends inside a data object");
        // Code addresses: one per function symbol, defined or not.
        for (size_t k = 0; k < program->symbols.size(); k++) {
            Symbol &s = program->symbols[k];
            if (!s.is_function) continue;
            if (s.function < 0) s.native = find_native(s.name);
            program->code_symbols.push_back(int32_t(k));
        }
        uint32_t code_bytes = uint32_t(program->code_symbols.size()) * 4;
        program->code_base = (FAR_BASE - code_bytes) & ~15u;
        for (size_t k = 0; k < program->code_symbols.size(); k++)
            program->symbols[size_t(program->code_symbols[k])].address =
                program->code_base + uint32_t(k) * 4;
        if (tiny_next > NEAR_BASE) return fail("tiny data does not fit below 256");
        program->near_end = near_next;
        program->far_stack = true;
        for (const Node *n : program->nodes) {
            bool stack_address = n->op == N_ADDR_LOCAL || n->op == N_ADDR_ARG ||
                                 (n->op == N_ADDR && n->a->op != N_LOAD_STATIC);
            if (stack_address && class_size(n->cls) < 4) program->far_stack = false;
        }
        program->far_end = far_next;
        if (near_next + 0x2000 > program->code_base)
            return fail("near data does not fit below 64 K");
        for (CallSite *site : program->calls) align_struct_args(site);
        // Every object a node or an address refers to must exist.
        for (Node *n : program->nodes) {
            if ((n->op != N_LOAD_STATIC && n->op != N_ADDR_STATIC) || n->symbol < 0) continue;
            const Symbol &s = program->symbols[size_t(n->symbol)];
            if (!s.defined && !s.is_function) return fail("undefined object " + s.name);
            n->value.u += s.address;
        }
        for (const Fixup &f : fixups) {
            uint32_t value = f.addend;
            if (f.symbol >= 0) {
                const Symbol &s = program->symbols[size_t(f.symbol)];
                if (!s.defined && !s.is_function) return fail("undefined object " + s.name);
                value += s.address;
            }
            uint8_t *p = memory->find(f.address, f.width);
            if (!p) return fail("address outside memory");
            for (uint32_t k = f.width; k-- > 0; value >>= 8) p[k] = uint8_t(value);
        }
        return true;
    }
};

}  // namespace

bool load_program(const uint8_t *data, size_t size, const char *name, Program *program,
                  Memory *memory) {
    memory->bytes.assign(FAR_BASE, 0);
    Loader loader;
    loader.program = program;
    loader.memory = memory;
    ZirReader reader(data, size);
    ZirStatus status = ZIR_ERROR;
    if (reader.read_header()) {
        program->options = reader.options();
        ZirRecord record;
        while ((status = reader.next(&record)) == ZIR_RECORD)
            if (!loader.record(record)) break;
    }
    if (loader.error.empty() && status != ZIR_END) {
        std::fprintf(stderr, "zirrun: %s\n", zir_error_text(name, reader.error()).c_str());
        return false;
    }
    if (loader.error.empty()) loader.finish();
    if (!loader.error.empty()) {
        std::fprintf(stderr, "zirrun: %s: %s\n", name, loader.error.c_str());
        return false;
    }
    return true;
}
