// Finds the type words in a file's debug data by walking it as the linked
// structure it is.
#include "zir/debug_words.h"

#include <cstdio>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "zir/zir_reader.h"

namespace {

// Kinds of name nodes, by the place their entry holds.
bool kind_has_address_place(uint32_t kind) {
    return kind == 1 || kind == 6 || kind == 8 || kind == 14 || kind == 15 || kind == 16;
}
constexpr uint32_t KIND_ENUM_MEMBER = 12;
constexpr uint32_t KIND_STATEMENT_LABEL = 18;

struct Item {
    size_t offset;
    uint8_t tag;
    uint8_t width;        // REC_INT
    uint32_t value;       // REC_INT; REC_ADDRESS4: the label of a link, else 0
    bool link;            // REC_ADDRESS4 of a label with addend 0
    bool last_piece;      // REC_STRING: a piece shorter than 255 bytes
};

class Walker {
public:
    explicit Walker(std::vector<Item> items) : items_(std::move(items)) {
        for (size_t i = 0; i < items_.size(); i++)
            if (items_[i].tag == REC_DEBUG_LABEL) at_[uint16_t(items_[i].value)] = i + 1;
    }

    std::unordered_set<size_t> words;

    void walk() {
        for (size_t i = 0; i < items_.size(); i++) {
            if (items_[i].tag != REC_DEBUG_FILE) continue;
            size_t c = i + 1;
            if (c >= items_.size() || items_[c].tag != REC_DEBUG_LABEL) continue;
            c++;
            uint32_t name, record;
            if (!link(c, &name) || !link(c, &record)) continue;
            chain(record);
        }
    }

private:
    std::vector<Item> items_;
    std::unordered_map<uint16_t, size_t> at_;
    std::unordered_set<uint32_t> visited_;

    // The next item behind `c` that is no label mark.
    const Item *next(size_t &c) {
        while (c < items_.size() && items_[c].tag == REC_DEBUG_LABEL) c++;
        if (c >= items_.size()) return nullptr;
        return &items_[c++];
    }

    bool link(size_t &c, uint32_t *label) {
        const Item *item = next(c);
        if (!item || !item->link) return false;
        *label = item->value;
        return true;
    }

    bool int_of(size_t &c, uint8_t width, uint32_t *value, size_t *offset = nullptr) {
        const Item *item = next(c);
        if (!item || item->tag != REC_INT || item->width != width) return false;
        *value = item->value;
        if (offset) *offset = item->offset;
        return true;
    }

    bool string(size_t &c) {
        for (;;) {
            const Item *item = next(c);
            if (!item || item->tag != REC_STRING) return false;
            if (item->last_piece) return true;
        }
    }

    // The place where `label` is set, once per label: a structure that
    // links back to itself is walked once.
    bool enter(uint32_t label, size_t *c) {
        auto found = at_.find(uint16_t(label));
        if (label == 0 || found == at_.end() || !visited_.insert(label).second) return false;
        *c = found->second;
        return true;
    }

    bool word(size_t &c, uint32_t *value) {
        size_t offset;
        if (!int_of(c, 4, value, &offset)) return false;
        words.insert(offset);
        *value = (*value >> 24) | ((*value >> 8) & 0xFF00) | ((*value << 8) & 0xFF0000) |
                 (*value << 24);
        return true;
    }

    void chain(uint32_t record) {
        size_t c;
        while (enter(record, &c)) {
            uint32_t following, file, name, first, last, type_word, data, list, names;
            if (!link(c, &following) || !link(c, &file) || !link(c, &name)) return;
            if (!int_of(c, 4, &first) || !int_of(c, 4, &last)) return;
            if (name == 0 && following == 0) {
                uint32_t zero;
                if (!int_of(c, 4, &zero) || !link(c, &data) || !link(c, &list)) return;
                entries(list);
                return;
            }
            if (!word(c, &type_word) || !link(c, &data)) return;
            type_data(type_word, data);
            if (!link(c, &list) || !link(c, &names)) return;
            entries(list);
            record = following;
        }
    }

    void entries(uint32_t list) {
        size_t c;
        if (!enter(list, &c)) return;
        while (entry(c)) {
        }
    }

    // One entry of a list; false at its end.
    bool entry(size_t &c) {
        uint32_t name;
        if (!link(c, &name) || name == 0) return false;
        auto found = at_.find(uint16_t(name));
        if (found == at_.end()) return false;
        size_t n = found->second;
        uint32_t kind, value, type_word, data;
        if (!string(n) || !int_of(n, 1, &kind)) return false;
        if (kind_has_address_place(kind) || kind == KIND_STATEMENT_LABEL) {
            const Item *place = next(c);
            if (!place || place->tag != REC_ADDRESS4) return false;
        } else if (!int_of(c, 4, &value)) {
            return false;
        }
        if (!word(c, &type_word)) return false;
        if (kind == KIND_STATEMENT_LABEL) return int_of(c, 4, &value);
        if (!link(c, &data)) return false;
        if (kind != KIND_ENUM_MEMBER) type_data(type_word, data);
        return true;
    }

    void type_data(uint32_t type_word, uint32_t data) {
        uint32_t base = type_word & 0xFF;
        bool aggregate = base == 72 || base == 73 || (base >= 75 && base <= 78);
        if (!aggregate) return;
        size_t c;
        auto found = at_.find(uint16_t(data));
        if (data == 0 || found == at_.end()) return;
        c = found->second;
        uint32_t value;
        if (!int_of(c, 4, &value)) return;
        for (int shift = 30; shift >= 8 && ((type_word >> shift) & 3) != 0; shift -= 2)
            if (!int_of(c, 4, &value)) return;
        uint32_t layout;
        if (!link(c, &layout) || !enter(layout, &c)) return;
        uint32_t tag;
        if (!link(c, &tag)) return;
        while (entry(c)) {
        }
    }
};

const char *derivation_name(uint32_t code) {
    switch (code) {
    case 1: return "pointer";
    case 2: return "function";
    default: return "array";
    }
}

const char *base_name(uint32_t code) {
    switch (code) {
    case 8: return "char";
    case 10: return "uchar";
    case 11: return "char-bits";
    case 16: return "short";
    case 17: return "ushort";
    case 18: return "short-bits";
    case 24: return "int";
    case 26: return "uint";
    case 32: return "long";
    case 33: return "ulong";
    case 34: return "int-bits";
    case 40: return "float";
    case 41: return "double";
    case 72: return "struct";
    case 73: return "union";
    case 75: return "enum-char";
    case 76: return "enum-short";
    case 77: return "enum-int";
    case 78: return "enum-long";
    case 80: return "void";
    case 88: return "label";
    default: return nullptr;
    }
}

}  // namespace

std::unordered_set<size_t> find_debug_type_words(const uint8_t *data, size_t size) {
    ZirReader reader(data, size);
    if (!reader.read_header() || !(reader.options() & HDR_DEBUG)) return {};
    std::vector<Item> items;
    ZirRecord r;
    while (reader.next(&r) == ZIR_RECORD) {
        if (r.context != ZIR_FILE) continue;
        Item item{r.offset, r.tag, 0, 0, false, false};
        switch (r.tag) {
        case REC_DEBUG_LABEL: item.value = r.label; break;
        case REC_INT: item.width = r.int_value.width; item.value = r.int_value.value; break;
        case REC_STRING: item.last_piece = r.text.length < 255; break;
        case REC_ADDRESS4:
            item.link = !r.address.ref.named && r.address.addend == 0;
            item.value = item.link ? r.address.ref.label : 0;
            break;
        case REC_DEBUG_FILE: case REC_DEBUG_FUNCTION: case REC_DEBUG_NAME: break;
        default: continue;
        }
        items.push_back(item);
    }
    Walker walker(std::move(items));
    walker.walk();
    return std::move(walker.words);
}

void describe_type_word(uint32_t word, char *text, size_t room) {
    std::string out;
    for (int shift = 30; shift >= 8; shift -= 2) {
        uint32_t code = (word >> shift) & 3;
        if (code == 0) break;
        out += derivation_name(code);
        out += ' ';
    }
    const char *base = base_name(word & 0xFF);
    char number[16];
    if (!base) {
        std::snprintf(number, sizeof number, "base%u", unsigned(word & 0xFF));
        base = number;
    }
    out += base;
    std::snprintf(text, room, "%s", out.c_str());
}
