// The interpreter: runs decoded functions.  Each call has a frame on the
// target's stack (locals below the frame pointer, the caller's argument
// area above) and, on the host, its registers, result place and switch
// selector, which a program cannot take the address of.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "zirrun/machine.h"

namespace {

// The host slots of a call: index 1 the result place, 2 the switch
// selector, 5 and above the registers (location codes).
constexpr int SLOTS = LOC_REGISTER_BASE + 37;

struct Frame {
    const Function *function;
    uint32_t fp, args, result;
    Value slots[SLOTS];
    int32_t *counters;
};

struct Place {
    Value *slot;               // a register or the result place, else null
    uint32_t address;          // in memory
};

Value eval(const Node *n, Frame &f);

bool truth(Value v, Cls c) { return is_real(c) ? v.d != 0 : v.u != 0; }

uint32_t bit_mask(const Node *n) {
    return n->bit_width >= 32 ? 0xFFFFFFFFu : (1u << n->bit_width) - 1;
}

uint32_t load_unit(uint32_t address, uint32_t unit) {
    const uint8_t *p = machine->memory.at(address, unit, false);
    uint32_t v = 0;
    for (uint32_t k = 0; k < unit; k++) v = v << 8 | p[k];
    return v;
}

void store_unit(uint32_t address, uint32_t unit, uint32_t v) {
    uint8_t *p = machine->memory.at(address, unit, true);
    for (uint32_t k = unit; k-- > 0; v >>= 8) p[k] = uint8_t(v);
}

Value load_at(const Node *n, uint32_t address) {
    if (n->cls == C_BITS) {
        Value v;
        v.d = 0;
        v.u = load_unit(address, n->unit) >> n->bit_offset & bit_mask(n);
        return v;
    }
    return machine->memory.load(address, n->cls);
}

Place place(const Node *n, Frame &f) {
    switch (n->op) {
    case N_LOAD_STATIC: return {nullptr, n->value.u};
    case N_LOAD_LOCAL: return {nullptr, f.fp + n->value.u};
    case N_LOAD_ARG: return {nullptr, f.args + n->value.u};
    case N_SLOT: return {&f.slots[n->slot], 0};
    case N_RESULT_STRUCT: return {nullptr, f.result};
    case N_DEREF: return {nullptr, eval(n->a, f).u};
    default:
        if (n->cls == C_STRUCT) return {nullptr, eval(n, f).u};
        fault(F_MEMORY, "a value that has no place is assigned to");
    }
}

Value load(const Node *lv, Place p) {
    if (p.slot) return *p.slot;
    return load_at(lv, p.address);
}

// Stores v, already in the lvalue's class; returns the value stored.
Value store(const Node *lv, Place p, Value v) {
    if (p.slot) {
        *p.slot = v;
        return v;
    }
    if (lv->cls == C_BITS) {
        uint32_t mask = bit_mask(lv);
        uint32_t unit = load_unit(p.address, lv->unit);
        unit = (unit & ~(mask << lv->bit_offset)) | (v.u & mask) << lv->bit_offset;
        store_unit(p.address, lv->unit, unit);
        v.u &= mask;
        return v;
    }
    machine->memory.store(p.address, lv->cls, v);
    return v;
}

void copy_bytes(uint32_t to, uint32_t from, uint32_t size) {
    if (size == 0 || to == from) return;
    uint8_t *src = machine->memory.at(from, size, false);
    uint8_t *dst = machine->memory.at(to, size, true);
    std::memmove(dst, src, size);
}

// Integer arithmetic on 32-bit patterns.
uint32_t int_op(Op op, Arith arith, uint32_t a, uint32_t b) {
    switch (op) {
    case N_ADD: return a + b;
    case N_SUB: return a - b;
    case N_MUL: return a * b;
    case N_DIV: case N_MOD:
        if (b == 0) fault(F_DIVIDE_BY_ZERO, "division by zero");
        if (arith == A_UNSIGNED) return op == N_DIV ? a / b : a % b;
        if (a == 0x80000000u && b == 0xFFFFFFFFu) return op == N_DIV ? a : 0;
        return op == N_DIV ? uint32_t(int32_t(a) / int32_t(b)) : uint32_t(int32_t(a) % int32_t(b));
    case N_SHL: return (b & 63) >= 32 ? 0 : a << (b & 63);
    case N_SHR:
        if (arith == A_UNSIGNED) return (b & 63) >= 32 ? 0 : a >> (b & 63);
        return (b & 63) >= 32 ? (int32_t(a) < 0 ? 0xFFFFFFFFu : 0) : uint32_t(int32_t(a) >> (b & 63));
    case N_AND: return a & b;
    case N_XOR: return a ^ b;
    case N_OR: return a | b;
    default: return 0;
    }
}

double real_op(Op op, double a, double b) {
    switch (op) {
    case N_ADD: return a + b;
    case N_SUB: return a - b;
    case N_MUL: return a * b;
    case N_DIV: return a / b;
    default: return 0;
    }
}

Value arith_result(Cls cls, Op op, Arith arith, Value a, Value b) {
    Value r;
    r.d = 0;
    if (arith == A_REAL) {
        r.d = real_op(op, a.d, b.d);
        if (cls == C_F32) r.d = float(r.d);
        return r;
    }
    r.u = normalise(cls, int_op(op, arith, a.u, b.u));
    return r;
}

bool compare(Op op, Arith arith, Value a, Value b) {
    switch (arith) {
    case A_REAL:
        switch (op) {
        case N_LT: return a.d < b.d;
        case N_GE: return a.d >= b.d;
        case N_GT: return a.d > b.d;
        case N_LE: return a.d <= b.d;
        case N_EQ: return a.d == b.d;
        default: return a.d != b.d;
        }
    case A_UNSIGNED:
        switch (op) {
        case N_LT: return a.u < b.u;
        case N_GE: return a.u >= b.u;
        case N_GT: return a.u > b.u;
        case N_LE: return a.u <= b.u;
        case N_EQ: return a.u == b.u;
        default: return a.u != b.u;
        }
    default:
        switch (op) {
        case N_LT: return a.i < b.i;
        case N_GE: return a.i >= b.i;
        case N_GT: return a.i > b.i;
        case N_LE: return a.i <= b.i;
        case N_EQ: return a.i == b.i;
        default: return a.i != b.i;
        }
    }
}

// A compound assignment or increment: the lvalue's value combined with the
// operand, then brought back to the lvalue's class.
Value combine(const Node *n, Value old, Value operand) {
    Cls lv = n->cls;
    if (n->arith == A_REAL) {
        Value a = convert(old, lv, C_F64);
        Value r = real_value(real_op(Op(n->sub), a.d, operand.d));
        return convert(r, C_F64, lv);
    }
    Value r;
    r.d = 0;
    r.u = normalise(lv, int_op(Op(n->sub), n->arith, old.u, operand.u));
    return r;
}

Value run(const Function &fn, uint32_t args, uint32_t result);

// Takes `size` bytes of the stack, on an 8-byte boundary.
void reserve(uint32_t size) {
    Machine &m = *machine;
    if (size > m.sp - m.stack_low || ((m.sp - size) & ~7u) < m.stack_low) fault(F_STACK, "stack overflow");
    m.sp = (m.sp - size) & ~7u;
}

const Symbol &code_symbol(uint32_t address) {
    Program &p = *machine->program;
    uint32_t index = address - p.code_base;
    if (address < p.code_base || index >= p.code_symbols.size())
        fault(F_UNDEFINED_FUNCTION, "call of address 0x%x, where no function is", address);
    return p.symbols[size_t(p.code_symbols[index])];
}

Value call_native(const Symbol &s, const Value *args, const Cls *classes, int count, Cls result) {
    if (s.native < 0) fault(F_UNDEFINED_FUNCTION, "call of undefined function %s", s.name.c_str());
    return native_function(s.native)(args, classes, count, result);
}

[[gnu::noinline]] Value call(const Node *n, Frame &f) {
    const CallSite &site = *n->call;
    uint32_t target = eval(site.callee, f).u;
    const Symbol &s = code_symbol(target);
    if (s.function < 0) {
        Value small[16];
        Cls small_classes[16];
        std::vector<Value> big;
        std::vector<Cls> big_classes;
        Value *values = small;
        Cls *classes = small_classes;
        size_t count = site.args.size();
        if (count > 16) {
            big.resize(count);
            big_classes.resize(count);
            values = big.data();
            classes = big_classes.data();
        }
        for (size_t k = 0; k < count; k++) {
            values[k] = eval(site.args[k].expr, f);
            classes[k] = site.args[k].declared;
        }
        return call_native(s, values, classes, int(count), n->cls);
    }
    const Function &fn = machine->program->functions[size_t(s.function)];
    uint32_t result = 0;
    if (n->cls == C_STRUCT || fn.result_size) {
        uint32_t size = std::max(n->cls == C_STRUCT ? n->size : 0, fn.result_size);
        reserve(size);
        result = machine->sp;
    }
    uint32_t saved = machine->sp;
    reserve(site.area_size);
    uint32_t area = machine->sp;
    for (const CallArg &a : site.args) {
        Value v = eval(a.expr, f);
        if (a.cls == C_STRUCT) copy_bytes(area + a.offset, v.u, a.size);
        else machine->memory.store(area + a.offset, a.cls, v);
    }
    Value r = run(fn, area, result);
    machine->sp = saved;
    if (n->cls == C_STRUCT) r.u = result;
    return r;
}

// The operations that store, call or take addresses: kept out of eval so
// that the frame of eval, entered once for every node, stays small.
[[gnu::noinline]] Value eval_effect(const Node *n, Frame &f) {
    Value v;
    switch (n->op) {
    case N_ASSIGN: {
        Place p = place(n->a, f);
        Value r = eval(n->b, f);
        if (n->cls == C_STRUCT) {
            copy_bytes(p.address, r.u, n->a->size);
            v.d = 0;
            v.u = p.address;
            return v;
        }
        return store(n->a, p, r);
    }
    case N_OP_ASSIGN: {
        Place p = place(n->a, f);
        Value old = load(n->a, p);
        return store(n->a, p, combine(n, old, eval(n->b, f)));
    }
    case N_POSTINC: case N_POSTDEC: {
        Place p = place(n->a, f);
        Value old = load(n->a, p);
        store(n->a, p, combine(n, old, eval(n->b, f)));
        return old;
    }
    case N_NEG_IN_PLACE: case N_COMPL_IN_PLACE: {
        Place p = place(n->a, f);
        Value old = load(n->a, p);
        Cls c = n->cls;
        if (is_real(c)) v = real_value(-old.d);
        else { v.d = 0; v.u = normalise(c, n->op == N_NEG_IN_PLACE ? 0u - old.u : ~old.u); }
        return store(n->a, p, v);
    }
    case N_ADDR: {
        Place p = place(n->a, f);
        if (p.slot) fault(F_MEMORY, "address of a register taken");
        v.d = 0;
        v.u = normalise(n->cls, p.address);
        return v;
    }
    case N_CALL: {
        // The result is read in the type of the call: a cast to unsigned
        // char around a call of a function that returns signed char gives
        // the call that type, and takes the low byte of the result.
        Value v = call(n, f);
        if (!is_real(n->cls) && n->cls != C_STRUCT && n->cls != C_VOID && n->cls != C_BITS)
            v.u = normalise(n->cls, v.u);
        return v;
    }
    case N_ASM:
        if (n->text[0]) fault(F_ASM, "_asm(\"%s\") cannot run", n->text);
        for (const CallArg &a : n->call->args) eval(a.expr, f);
        return int_value(0);
    default:
        return int_value(0);
    }
}

Value eval(const Node *n, Frame &f) {
    Value v;
    switch (n->op) {
    case N_CONST:
        return n->value;
    case N_LOAD_STATIC:
        return load_at(n, n->value.u);
    case N_ADDR_STATIC:
        v.d = 0;
        v.u = normalise(n->cls, n->value.u);
        return v;
    case N_LOAD_LOCAL:
        return load_at(n, f.fp + n->value.u);
    case N_ADDR_LOCAL:
        v.d = 0;
        v.u = normalise(n->cls, f.fp + n->value.u);
        return v;
    case N_LOAD_ARG:
        return load_at(n, f.args + n->value.u);
    case N_ADDR_ARG:
        v.d = 0;
        v.u = normalise(n->cls, f.args + n->value.u);
        return v;
    case N_SLOT:
        v = f.slots[n->slot];
        if (is_real(n->cls)) return v;
        // A register is read in the type of the leaf: a signed char
        // variable read as unsigned char gives its low byte.  A register
        // that holds the address of a much-used object may be read with an
        // offset: the address of a member or element of it.
        v.u = normalise(n->cls, v.u + n->value.u);
        return v;
    case N_RESULT_STRUCT:
        v.d = 0;
        v.u = f.result;
        return v;
    case N_ADD: case N_SUB: case N_MUL: case N_DIV: case N_MOD: case N_SHL: case N_SHR:
    case N_AND: case N_XOR: case N_OR: {
        Value a = eval(n->a, f);
        Value b = eval(n->b, f);
        return arith_result(n->cls, n->op, n->arith, a, b);
    }
    case N_ADD_W: v.u = eval(n->a, f).u; v.u += eval(n->b, f).u; return v;
    case N_SUB_W: v.u = eval(n->a, f).u; v.u -= eval(n->b, f).u; return v;
    case N_MUL_W: v.u = eval(n->a, f).u; v.u *= eval(n->b, f).u; return v;
    case N_AND_W: v.u = eval(n->a, f).u; v.u &= eval(n->b, f).u; return v;
    case N_XOR_W: v.u = eval(n->a, f).u; v.u ^= eval(n->b, f).u; return v;
    case N_OR_W: v.u = eval(n->a, f).u; v.u |= eval(n->b, f).u; return v;
    case N_LT: case N_GE: case N_GT: case N_LE: case N_EQ: case N_NE: {
        Value a = eval(n->a, f);
        Value b = eval(n->b, f);
        return int_value(compare(n->op, n->arith, a, b));
    }
    case N_LOGAND:
        return int_value(truth(eval(n->a, f), n->a->cls) && truth(eval(n->b, f), n->b->cls));
    case N_LOGOR:
        return int_value(truth(eval(n->a, f), n->a->cls) || truth(eval(n->b, f), n->b->cls));
    case N_NOT:
        return int_value(!truth(eval(n->a, f), n->a->cls));
    case N_NEG:
        v = eval(n->a, f);
        if (is_real(n->cls)) return real_value(-v.d);
        v.u = normalise(n->cls, 0u - v.u);
        return v;
    case N_COMPL:
        v = eval(n->a, f);
        v.u = normalise(n->cls, ~v.u);
        return v;
    case N_COMMA:
        eval(n->a, f);
        return eval(n->b, f);
    case N_COND:
        return truth(eval(n->a, f), n->a->cls) ? eval(n->b, f) : eval(n->c, f);
    case N_DEREF: {
        uint32_t address = eval(n->a, f).u;
        if (n->cls == C_STRUCT) {
            v.d = 0;
            v.u = address;
            return v;
        }
        return load_at(n, address);
    }
    case N_CONVERT:
        return convert(eval(n->a, f), Cls(n->sub), n->cls);
    default:
        return eval_effect(n, f);
    }
    return int_value(0);
}

int32_t switch_target(const SwitchTable &t, uint32_t selector) {
    uint32_t s = selector & t.mask;
    for (const SwitchTable::Dense &d : t.dense) {
        uint32_t k = (s - d.first) & t.mask;
        if (k < d.targets.size()) return d.targets[k];
    }
    for (const SwitchTable::Range &r : t.ranges)
        if (((s - r.first) & t.mask) < r.count) return r.target;
    auto it = std::lower_bound(t.list.begin(), t.list.end(), s,
                               [](const auto &e, uint32_t value) { return e.first < value; });
    if (it != t.list.end() && it->first == s) return it->second;
    return t.default_target;
}

[[noreturn]] void undefined_label(int32_t target) {
    fault(F_UNDEFINED_LABEL, "jump to undefined label L%d", -1 - target);
}

Value run(const Function &fn, uint32_t args, uint32_t result) {
    Machine &m = *machine;
    char probe;
    if (size_t(m.host_stack_base - &probe) > m.host_stack_room || m.depth >= MAX_CALL_DEPTH)
        fault(F_STACK, "stack overflow");
    Frame f;
    f.function = &fn;
    f.args = args;
    f.result = result;
    f.fp = m.sp & ~7u;
    uint32_t bottom = uint32_t(int64_t(f.fp) + fn.frame_low) & ~7u;
    if (int64_t(f.fp) + fn.frame_low < int64_t(m.stack_low) || bottom < m.stack_low)
        fault(F_STACK, "stack overflow");
    std::memset(f.slots, 0, sizeof f.slots);
    std::vector<int32_t> counters(fn.loops);
    f.counters = counters.data();
    const Function *caller = m.current;
    uint32_t caller_line = m.current_line;
    m.current = &fn;
    m.depth++;
    // An argument that came in a register is stored by the callee at its
    // offset in its own type: a char then lies in the first byte of its slot.
    for (const RegArg &r : fn.reg_args) {
        if (r.cls != C_I8 && r.cls != C_U8 && r.cls != C_I16 && r.cls != C_U16 && r.cls != C_P1 &&
            r.cls != C_P2)
            continue;
        Value v = m.memory.load(args + r.offset, C_U32);
        v.u = normalise(r.cls, v.u);
        m.memory.store(args + r.offset, r.cls, v);
    }
    const Insn *code = fn.code.data();
    size_t pc = 0;
    for (;;) {
        const Insn &in = code[pc];
        if (++m.steps > m.step_limit) fault(F_STEPS, "step budget of %llu exhausted",
                                            static_cast<unsigned long long>(m.step_limit));
        m.current_line = in.line;
        m.sp = bottom;
        switch (in.kind) {
        case I_EXPR:
            eval(in.a, f);
            pc++;
            break;
        case I_JUMP:
            if (in.target < 0) undefined_label(in.target);
            pc = size_t(in.target);
            break;
        case I_BRANCH: {
            Value a = eval(in.a, f);
            Value b = eval(in.b, f);
            if (compare(in.compare, in.arith, a, b)) {
                if (in.target < 0) undefined_label(in.target);
                pc = size_t(in.target);
            } else {
                pc++;
            }
            break;
        }
        case I_SWITCH: {
            if (in.target < 0) fault(F_UNDEFINED_LABEL, "switch table L%d missing", -1 - in.target);
            int32_t t = switch_target(fn.tables[in.table], f.slots[2].u);
            if (t < 0) undefined_label(t);
            pc = size_t(t);
            break;
        }
        case I_LOOP_OPEN: {
            int32_t count = eval(in.a, f).i;
            if (count <= 0) {
                if (in.target < 0) undefined_label(in.target);
                pc = size_t(in.target);
            } else {
                f.counters[in.loop] = count;
                pc++;
            }
            break;
        }
        case I_LOOP_CLOSE:
            if (--f.counters[in.loop] > 0) pc = size_t(in.target);
            else pc++;
            break;
        case I_ASM:
            fault(F_ASM, "assembly text cannot run");
        case I_RETURN:
        case I_END: {
            m.current = caller;
            m.current_line = caller_line;
            m.depth--;
            if (fn.result_size) return int_value(int32_t(result));
            return f.slots[1];
        }
        }
    }
}

}  // namespace

Value convert(Value v, Cls from, Cls to) {
    if (from == to || to == C_VOID || to == C_STRUCT || from == C_STRUCT) return v;
    Value r;
    r.d = 0;
    if (is_real(to)) {
        double d = is_real(from) ? v.d : is_unsigned32(from) ? double(v.u) : double(v.i);
        r.d = to == C_F32 ? double(float(d)) : d;
        return r;
    }
    uint32_t raw = v.u;
    if (is_real(from)) {
        double d = v.d;
        bool unsigned_target = to == C_U32 || is_pointer(to) || to == C_BITS;
        if (std::isnan(d)) raw = 0;
        else if (unsigned_target && d >= 0) raw = d >= 4294967295.0 ? 0xFFFFFFFFu : uint32_t(d);
        else if (d <= -2147483648.0) raw = 0x80000000u;
        else if (d >= 2147483647.0) raw = 0x7FFFFFFFu;
        else raw = uint32_t(int32_t(d));
    }
    r.u = to == C_BITS ? raw : normalise(to, raw);
    return r;
}

Value call_address(uint32_t address, const Value *args, const Cls *classes, int count) {
    const Symbol &s = code_symbol(address);
    if (s.function < 0) return call_native(s, args, classes, count, C_I32);
    const Function &fn = machine->program->functions[size_t(s.function)];
    uint32_t offsets[16];
    uint32_t offset = 0;
    for (int k = 0; k < count && k < 16; k++) {
        uint32_t size = classes[k] == C_F64 ? 8 : 4;
        offset = (offset + size - 1) & ~(size - 1);
        offsets[k] = offset;
        offset += size;
    }
    uint32_t saved = machine->sp;
    uint32_t result = 0;
    if (fn.result_size) {
        reserve(fn.result_size);
        result = machine->sp;
    }
    reserve(offset);
    uint32_t area = machine->sp;
    for (int k = 0; k < count && k < 16; k++) machine->memory.store(area + offsets[k], classes[k], args[k]);
    Value r = run(fn, area, result);
    machine->sp = saved;
    return r;
}

int run_main(int argc, char **argv) {
    Machine &m = *machine;
    Program &p = *m.program;
    auto it = p.by_name.find("main");
    if (it == p.by_name.end() || p.symbols[size_t(it->second)].function < 0) {
        std::fprintf(stderr, "zirrun: no function main\n");
        return STATUS_BAD_FILE;
    }
    const Function &main_fn = p.functions[size_t(p.symbols[size_t(it->second)].function)];
    // The pointers of argv have the width of argv itself.
    Cls element = C_P2;
    if (main_fn.reg_args.size() >= 2 && main_fn.reg_args[1].cls == C_P4) element = C_P4;
    uint32_t width = class_size(element);
    uint32_t vector = m.heap.allocate(m.memory, uint32_t(argc + 1) * width, false);
    if (!vector) fault(F_LIBRARY, "no room for the arguments");
    for (int k = 0; k < argc; k++) {
        uint32_t length = uint32_t(std::strlen(argv[k])) + 1;
        uint32_t s = m.heap.allocate(m.memory, length, false);
        if (!s) fault(F_LIBRARY, "no room for the arguments");
        std::memcpy(m.memory.at(s, length, true), argv[k], length);
        Value v;
        v.d = 0;
        v.u = s;
        m.memory.store(vector + uint32_t(k) * width, element, v);
    }
    Value args[2];
    args[0] = int_value(argc);
    args[1].d = 0;
    args[1].u = vector;
    Cls classes[2] = {C_I32, C_U32};
    return call_address(p.symbols[size_t(it->second)].address, args, classes, 2).i;
}
