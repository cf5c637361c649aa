// The target's memory: big-endian loads and stores checked against what is
// mapped, the heaps, and the fault messages.
#include <cmath>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "zirrun/machine.h"

Machine *machine = nullptr;

void fault(Fault kind, const char *format, ...) {
    std::fflush(stdout);
    std::fputs("zirrun: ", stderr);
    va_list args;
    va_start(args, format);
    std::vfprintf(stderr, format, args);
    va_end(args);
    if (machine && machine->current) {
        std::fprintf(stderr, " in %s", machine->current->name.c_str());
        if (machine->current_line) std::fprintf(stderr, ", line %u", machine->current_line);
    }
    std::fputc('\n', stderr);
    std::fflush(stderr);
    std::_Exit(kind);
}

uint8_t *Memory::find_slow(uint32_t address, uint32_t n) {
    for (Block &block : fixed)
        if (address >= block.address && address - block.address <= block.bytes.size() &&
            n <= block.bytes.size() - (address - block.address))
            return block.bytes.data() + (address - block.address);
    if (address >= low_start && address <= low_end && n <= low_end - address)
        return &bytes[address];
    if (address >= FAR_BASE && address <= bytes.size() && n <= bytes.size() - address)
        return &bytes[address];
    return nullptr;
}

uint8_t *Memory::at(uint32_t address, uint32_t n, bool store) {
    uint8_t *p = find(address, n);
    if (!p)
        fault(F_MEMORY, "%s of %u byte%s at 0x%x outside memory", store ? "store" : "load", n,
              n == 1 ? "" : "s", address);
    return p;
}

namespace {

uint32_t get_be(const uint8_t *p, uint32_t n) {
    uint32_t v = 0;
    for (uint32_t k = 0; k < n; k++) v = v << 8 | p[k];
    return v;
}

void put_be(uint8_t *p, uint32_t n, uint32_t v) {
    for (uint32_t k = n; k-- > 0; v >>= 8) p[k] = uint8_t(v);
}

}  // namespace

Value Memory::load(uint32_t address, Cls c) {
    Value v;
    v.d = 0;
    switch (c) {
    case C_F32: {
        uint32_t bits = get_be(at(address, 4, false), 4);
        float f;
        std::memcpy(&f, &bits, 4);
        v.d = f;
        return v;
    }
    case C_F64: {
        const uint8_t *p = at(address, 8, false);
        uint64_t bits = uint64_t(get_be(p, 4)) << 32 | get_be(p + 4, 4);
        std::memcpy(&v.d, &bits, 8);
        return v;
    }
    case C_STRUCT:
        v.u = address;
        return v;
    default: {
        uint32_t n = class_size(c);
        v.u = normalise(c, get_be(at(address, n, false), n));
        return v;
    }
    }
}

void Memory::store(uint32_t address, Cls c, Value v) {
    switch (c) {
    case C_F32: {
        float f = float(v.d);
        uint32_t bits;
        std::memcpy(&bits, &f, 4);
        put_be(at(address, 4, true), 4, bits);
        return;
    }
    case C_F64: {
        uint64_t bits;
        std::memcpy(&bits, &v.d, 8);
        uint8_t *p = at(address, 8, true);
        put_be(p, 4, uint32_t(bits >> 32));
        put_be(p + 4, 4, uint32_t(bits));
        return;
    }
    default: {
        uint32_t n = class_size(c);
        put_be(at(address, n, true), n, v.u);
        return;
    }
    }
}

// First fit among the freed blocks, else the bump region.  Blocks are
// rounded to 8 bytes so that every block suits a double.
uint32_t Heap::allocate(Memory &memory, uint32_t size, bool far) {
    Arena &arena = far ? far_arena : near_arena;
    uint32_t need = size == 0 ? 8 : (size + 7) & ~7u;
    if (need < size) return 0;
    for (size_t k = 0; k < arena.free_blocks.size(); k++) {
        auto [address, room] = arena.free_blocks[k];
        if (room < need) continue;
        if (room - need >= 16) arena.free_blocks[k] = {address + need, room - need};
        else { need = room; arena.free_blocks.erase(arena.free_blocks.begin() + long(k)); }
        sizes[address] = need;
        std::memset(&memory.bytes[address], 0, need);
        return address;
    }
    // Objects at fixed addresses keep their bytes: the bump region passes
    // over them.
    for (bool moved = true; moved;) {
        moved = false;
        for (const Memory::Block &block : memory.fixed) {
            uint32_t end = block.address + uint32_t(block.bytes.size());
            if (block.address < arena.top + need && end > arena.top && end > block.address) {
                arena.top = (end + 7) & ~7u;
                moved = true;
            }
        }
    }
    if (arena.top > arena.limit || arena.limit - arena.top < need) return 0;
    uint32_t address = arena.top;
    arena.top += need;
    if (far && memory.bytes.size() < arena.top) memory.bytes.resize(arena.top);
    std::memset(&memory.bytes[address], 0, need);
    sizes[address] = need;
    return address;
}

bool Heap::release(uint32_t address) {
    auto it = sizes.find(address);
    if (it == sizes.end()) return false;
    Arena &arena = address >= FAR_BASE ? far_arena : near_arena;
    uint32_t size = it->second;
    sizes.erase(it);
    if (address + size == arena.top) arena.top = address;
    else arena.free_blocks.push_back({address, size});
    return true;
}
