// The loader: reads an intermediate file once through the reader, lays out
// and fills its data objects, and decodes each function into nodes and
// statements that run without looking at the file again.
#include <algorithm>
#include <cstring>

#include "zirrun/loader.h"

Program::~Program() {
    for (Node *n : nodes) delete n;
    for (CallSite *c : calls) delete c;
    for (std::string *s : texts) delete s;
}

bool Loader::fail(const std::string &message) {
    if (error.empty()) error = message;
    return false;
}

Node *Loader::refuse(const std::string &message) {
    fail(message);
    return nullptr;
}

int32_t Loader::symbol_for_label(uint16_t label) {
    auto it = program->by_label.find(label);
    if (it != program->by_label.end()) return it->second;
    int32_t index = int32_t(program->symbols.size());
    program->symbols.push_back({});
    program->symbols.back().name = "L" + std::to_string(label);
    program->by_label[label] = index;
    return index;
}

int32_t Loader::symbol_for_name(const ZirName &name) {
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

int32_t Loader::symbol_for_ref(const ZirRef &ref) {
    if (ref.named) return symbol_for_name(ref.name);
    if (ref.label) return symbol_for_label(ref.label);
    return -1;
}

bool Loader::open_data(int32_t symbol, uint8_t alignment, uint16_t attr) {
    uint32_t align = 1u << std::min<uint8_t>(alignment, 3);
    uint32_t space = attr & 0x3000;
    uint32_t *next = space == 0x1000 ? &tiny_next : space == 0x3000 ? &far_next : &near_next;
    uint32_t address = (*next + align - 1) & ~(align - 1);
    Symbol &s = program->symbols[size_t(symbol)];
    if (s.defined) return fail("object " + s.name + " defined twice");
    s.defined = true;
    s.address = address;
    if (address < NEAR_BASE) tiny_symbols.push_back(symbol);
    in_data = true;
    data_fixed = false;
    data_start = address;
    data_length = 0;
    return true;
}

uint8_t *Loader::data_bytes(uint32_t n) {
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

void Loader::put_be(uint32_t value, uint32_t width) {
    uint8_t *p = data_bytes(width);
    for (uint32_t k = width; k-- > 0; value >>= 8) p[k] = uint8_t(value);
}

void Loader::close_data() {
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

void Loader::data_value(const ZirRecord &r) {
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
        int32_t symbol = symbol_for_ref(r.address.ref);
        if (symbol >= 0 && width == 1) program->symbols[size_t(symbol)].wants_tiny = true;
        fixups.push_back({at, width, symbol, r.address.addend});
        if (data_fixed) fail("address inside an object at a fixed address");
        break;
    }
    case REC_LITERAL: {
        int32_t label = symbol_for_label(r.literal.label);
        Symbol &s = program->symbols[size_t(label)];
        s.defined = true;
        s.address = (data_fixed ? fixed_address : data_start) + data_length;
        if (!data_fixed && data_start < NEAR_BASE) tiny_symbols.push_back(label);
        break;
    }
    default:
        break;
    }
}

bool Loader::record(const ZirRecord &r) {
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
    case REC_LITERAL: {
        if (r.context != ZIR_FILE) return true;
        int32_t literal = symbol_for_label(r.literal.label);
        bool tiny = program->symbols[size_t(literal)].wants_tiny;
        return open_data(literal, r.literal.alignment, tiny ? 0x1000 : 0);
    }
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

void Loader::place_code() {
    uint32_t count = uint32_t(program->code_symbols.size());
    uint32_t room = (count + 7) & ~7u;
    if (tiny_next + room <= NEAR_BASE) {
        // Below 256: the tiny objects move up to make room.
        program->code_base = TINY_BASE;
        std::memmove(&memory->bytes[TINY_BASE + room], &memory->bytes[TINY_BASE], tiny_next - TINY_BASE);
        std::memset(&memory->bytes[TINY_BASE], 0, room);
        for (int32_t k : tiny_symbols) program->symbols[size_t(k)].address += room;
        for (Fixup &f : fixups)
            if (f.address >= TINY_BASE && f.address < tiny_next) f.address += room;
        tiny_next += room;
        program->low_start = TINY_BASE + room;
        program->low_end = FAR_BASE;
    } else {
        program->code_base = (FAR_BASE - count) & ~15u;
        program->low_start = TINY_BASE;
        program->low_end = program->code_base;
    }
    for (uint32_t k = 0; k < count; k++)
        program->symbols[size_t(program->code_symbols[k])].address = program->code_base + k;
}

bool Loader::finish() {
    if (function) return fail("the file ends inside function " + function->name);
    if (in_data) return fail("the file ends inside a data object");
    // Code addresses: one per function symbol, defined or not.
    for (size_t k = 0; k < program->symbols.size(); k++) {
        Symbol &s = program->symbols[k];
        if (!s.is_function) continue;
        if (s.function < 0) s.native = find_native(s.name);
        program->code_symbols.push_back(int32_t(k));
    }
    if (tiny_next > NEAR_BASE) return fail("tiny data does not fit below 256");
    place_code();
    program->near_end = near_next;
    program->far_stack = true;
    for (const Node *n : program->nodes) {
        bool stack_address = n->op == N_ADDR_LOCAL || n->op == N_ADDR_ARG ||
                             (n->op == N_ADDR && n->a->op != N_LOAD_STATIC);
        if (stack_address && class_size(n->cls) < 4) program->far_stack = false;
    }
    program->far_end = far_next;
    if (near_next + 0x2000 > program->low_end)
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
