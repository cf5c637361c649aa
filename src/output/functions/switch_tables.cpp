// The table of a switch: dense jump tables where the case values lie close
// together, ranges of consecutive values that share a label, and a list of
// the cases that remain.
#include <vector>

#include "decl/symbol.h"
#include "output/records.h"
#include "stmt/stmt_node.h"

namespace {

// Fewer cases than this are never worth a jump table.
constexpr uint32_t MIN_TABLE_CASES = 7;
// Nor is a run of fewer cases than this.
constexpr uint32_t MIN_TABLE_RUN = 6;

// The case list as an array, each entry with a mark that it has been
// placed in a table, a range or the list.  The list itself stays as it is.
struct CaseEntry {
    const Symbol *entry;
    bool consumed;
};

bool is_default(const CaseEntry &c) { return c.entry->sclass == SC_DEFAULT; }
int32_t value_of(const CaseEntry &c) { return int32_t(c.entry->value); }
uint16_t label_of(const CaseEntry &c) {
    return c.entry->stmt != nullptr ? c.entry->stmt->label : 0;
}

// The number of cases of the dense run that starts at `start`, and the
// index behind its last case.  A run goes on while each further value lies
// within twice the number of cases so far from the first: the table then
// has at least every other slot filled.  The default is passed over.
uint32_t dense_run(const std::vector<CaseEntry> &cases, size_t start, size_t *end) {
    uint32_t count = 1;
    *end = start + 1;
    for (size_t i = start + 1; i < cases.size(); i++) {
        if (is_default(cases[i])) continue;
        uint32_t distance = uint32_t(value_of(cases[i])) - uint32_t(value_of(cases[start]));
        if (distance / 2 > count) break;
        count++;
        *end = i + 1;
    }
    return count;
}

// The jump table of the run from `first` to `end`: one label for each
// value from the first case to the last, the default label in the holes.
void write_case_table(std::vector<CaseEntry> &cases, size_t first, size_t end,
                      uint16_t default_label) {
    size_t last = end - 1;
    while (is_default(cases[last])) last--;
    uint32_t low = uint32_t(value_of(cases[first]));
    uint32_t entries = uint32_t(value_of(cases[last])) - low + 1;
    put_byte(REC_CASE_TABLE);
    put_u16(entries);
    put_u32(low);
    size_t i = first;
    for (uint32_t k = 0; k < entries; k++) {
        while (i < end && (is_default(cases[i]) || uint32_t(value_of(cases[i])) - low < k)) i++;
        if (i < end && uint32_t(value_of(cases[i])) - low == k) {
            put_u16(label_of(cases[i]));
            cases[i].consumed = true;
        } else {
            put_u16(default_label);
        }
    }
}

// Dense tables while enough cases are left: each time the longest run from
// the current place on, the first of equal length.
void write_dense_tables(std::vector<CaseEntry> &cases, uint32_t *remaining,
                        uint16_t default_label) {
    size_t place = 0;
    while (*remaining >= MIN_TABLE_CASES) {
        uint32_t best = 0;
        size_t best_start = 0, best_end = 0;
        for (size_t i = place; i < cases.size(); i++) {
            if (is_default(cases[i])) continue;
            // No run from here on can be longer than what is left.
            if (cases.size() - i <= best) break;
            size_t end;
            uint32_t count = dense_run(cases, i, &end);
            if (count > best) {
                best = count;
                best_start = i;
                best_end = end;
            }
        }
        if (best < MIN_TABLE_RUN) return;
        write_case_table(cases, best_start, best_end, default_label);
        *remaining -= best;
        place = best_end;
    }
}

// Runs of consecutive values with one label, as ranges.
void write_ranges(std::vector<CaseEntry> &cases, uint32_t *remaining) {
    for (size_t i = 0; i < cases.size(); i++) {
        if (cases[i].consumed || is_default(cases[i])) continue;
        size_t end = i + 1;
        while (end < cases.size() && !cases[end].consumed && !is_default(cases[end]) &&
               uint32_t(value_of(cases[end])) == uint32_t(value_of(cases[end - 1])) + 1 &&
               label_of(cases[end]) == label_of(cases[i]))
            end++;
        uint32_t count = uint32_t(end - i);
        if (count < 2) continue;
        put_byte(REC_CASE_RANGE);
        put_u32(uint32_t(value_of(cases[i])));
        put_u32(count);
        put_u16(label_of(cases[i]));
        for (size_t k = i; k < end; k++) cases[k].consumed = true;
        *remaining -= count;
        i = end - 1;
    }
}

}  // namespace

uint16_t write_switch_table(uint16_t table_label, uint16_t default_label, Symbol *list,
                            uint32_t width) {
    std::vector<CaseEntry> cases;
    uint32_t remaining = 0;
    uint16_t result = default_label;
    for (Symbol *entry = list; entry != nullptr; entry = entry->next) {
        cases.push_back(CaseEntry{entry, false});
        if (entry->sclass == SC_DEFAULT) {
            default_label = entry->stmt != nullptr ? entry->stmt->label : 0;
            result = 0;
        } else {
            remaining++;
        }
    }
    put_byte(REC_SWITCH_TABLE);
    put_byte(0);
    put_u16(table_label);
    put_u16(default_label);
    put_u16(remaining);
    put_u16(width);

    write_dense_tables(cases, &remaining, default_label);
    write_ranges(cases, &remaining);

    put_byte(REC_CASE_LIST);
    put_u16(remaining);
    for (const CaseEntry &c : cases) {
        if (c.consumed || is_default(c)) continue;
        put_u32(uint32_t(value_of(c)));
        put_u16(label_of(c));
    }
    put_byte(REC_SWITCH_END);
    return result;
}
