// Decoding of functions: each expression tree of the file becomes a tree of
// nodes whose operands are already brought to the class they are computed
// in, and each statement sequence an array of statements whose jumps are
// indices, so that a function runs without reading the file again.
#include <algorithm>

#include "zirrun/loader.h"

Cls Loader::class_of(const ZirType &t) {
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

Node *Loader::new_node(Op op, Cls cls) {
    Node *n = new Node{};
    n->op = op;
    n->cls = cls;
    n->symbol = -1;
    program->nodes.push_back(n);
    return n;
}

void Loader::set_type(Node *n, const ZirType &t) {
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

Node *Loader::converted(Node *n, Cls to) {
    Cls from = n->cls == C_BITS ? C_U32 : n->cls;
    if (from == to || to == C_STRUCT || to == C_VOID || from == C_STRUCT || from == C_VOID) return n;
    if (!is_real(to) && !is_real(from) && (to == C_I32 || to == C_U32 || to == C_P4)) return n;
    if (to == C_F64 && from == C_F32) return n;
    Node *c = new_node(N_CONVERT, to);
    c->sub = from;
    c->a = n;
    return c;
}

Node *Loader::leaf(const ZirNode &z) {
    const auto &l = z.leaf;
    Node *n = new_node(N_CONST, C_I32);
    set_type(n, z.type);
    n->value.d = 0;
    n->value.u = l.value;
    switch (l.location) {
    case LOC_STATIC: {
        int32_t symbol = symbol_for_ref(l.base);
        n->symbol = symbol;
        if (symbol >= 0 && z.type.has_attr && (z.type.attr & 0x3000) == 0x1000)
            program->symbols[size_t(symbol)].wants_tiny = true;
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

Op Loader::binary_op(uint8_t tag) {
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

Arith Loader::arith_of(Cls a, Cls b) {
    if (is_real(a) || is_real(b)) return A_REAL;
    if (is_unsigned32(a) || is_unsigned32(b)) return A_UNSIGNED;
    return A_SIGNED;
}

void Loader::comparison(Node *left, Node *right, Arith *arith, Node **a, Node **b) {
    *arith = arith_of(left->cls, right->cls);
    *a = *arith == A_REAL ? converted(left, C_F64) : left;
    *b = *arith == A_REAL ? converted(right, C_F64) : right;
}

Node *Loader::callee_address(Node *n) {
    if (n->op == N_LOAD_STATIC && n->symbol >= 0) { n->op = N_ADDR_STATIC; return n; }
    if (n->op == N_DEREF) return n->a;
    return n;   // a pointer value already
}

CallSite *Loader::call_site(Node *callee, const ZirNode *args) {
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

uint32_t Loader::lay_out(CallSite *site) {
    uint32_t offset = 0;
    for (CallArg &a : site->args) {
        offset = (offset + a.align - 1) & ~(a.align - 1);
        a.offset = offset;
        offset += a.size;
    }
    site->area_size = (offset + 7) & ~7u;
    return offset;
}

void Loader::align_struct_args(CallSite *site) {
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

bool Loader::choose_alignments(CallSite *site, std::vector<CallArg *> &structs, size_t k, uint32_t wanted) {
    if (k == structs.size()) return lay_out(site) == wanted;
    for (uint32_t align = 8; align >= 1; align /= 2) {
        if (structs[k]->size % align != 0) continue;
        structs[k]->align = align;
        if (choose_alignments(site, structs, k + 1, wanted)) return true;
    }
    return false;
}

Node *Loader::expr(const ZirNode &z) {
    if (depth >= MAX_EXPR_DEPTH) return refuse("expression nested too deeply");
    ++depth;
    Node *n = operator_node(z);
    --depth;
    return n;
}

Node *Loader::operator_node(const ZirNode &z) {
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
            return refuse("integer operator on a real");
        // A cast around a remainder gives the operator the cast's type and
        // keeps its operands, since the narrowing only changes how much of
        // the result is used: (char)(x % 300), (int)(u % -1) of an unsigned
        // u.  The operands' classes decide the signedness of a division
        // and a remainder, and a narrow one divides the operands' values,
        // not their low bytes.
        if ((bin == N_DIV || bin == N_MOD || bin == N_SHR) && !is_real(cls) && !is_pointer(cls) &&
            !is_real(a->cls) && !is_real(b->cls) && a->cls != C_BITS && b->cls != C_BITS) {
            if (bin == N_SHR) {
                if (class_size(cls) < 4) {
                    n->a = a;
                    n->arith = is_unsigned32(a->cls) ? A_UNSIGNED : A_SIGNED;
                }
            } else {
                n->arith = arith_of(a->cls, b->cls);
                if (class_size(cls) < 4) { n->a = a; n->b = b; }
            }
        }
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
        if (lv == C_STRUCT) return refuse("arithmetic on a struct");
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
            return refuse("integer operator on a real");
        return n;
    }
    case REC_NEG_IN_PLACE: case REC_COMPL_IN_PLACE: {
        n->op = z.tag == REC_NEG_IN_PLACE ? N_NEG_IN_PLACE : N_COMPL_IN_PLACE;
        n->a = operand(z, 0);
        if (!n->a) return nullptr;
        set_lvalue_type(n);
        if (n->a->cls == C_STRUCT || (n->op == N_COMPL_IN_PLACE && is_real(n->a->cls)))
            return refuse("bad operand of an in-place operator");
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
            return refuse("bad operand of a unary operator");
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
        Node *c = converted(a, cls);
        // A cast between integer classes of one width changes no bits, but
        // the class decides how the value compares, divides and shifts:
        // (unsigned)c of a negative char compares as a large number.
        if (c == a && a->cls != cls && cls != C_VOID) {
            c = new_node(N_CONVERT, cls);
            c->sub = a->cls == C_BITS ? C_U32 : a->cls;
            c->a = a;
        }
        return c;
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
        return refuse("expression tag " + std::to_string(z.tag) + " cannot be run");
    }
}

void Loader::set_lvalue_type(Node *n) {
    n->cls = n->a->cls == C_BITS ? C_U32 : n->a->cls;
    n->size = n->a->size;
}

Insn &Loader::emit(InsnKind kind) {
    function->code.push_back({});
    Insn &insn = function->code.back();
    insn.kind = kind;
    insn.line = line;
    return insn;
}

int32_t Loader::resolve(int32_t label) {
    auto it = labels.find(uint16_t(label));
    return it == labels.end() ? -1 - label : it->second;
}

void Loader::statement(const ZirRecord &r) {
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

void Loader::finish_function() {
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
