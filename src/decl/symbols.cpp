// The lists of symbols and lookup by name.
//
// A scope is a stretch of a singly linked list, and a lookup walks the list
// comparing interned name pointers.  symbol_list holds every file-scope name
// of the unit, so a walk per lookup would make a large unit quadratic.  An
// index beside symbol_list and beside tag_list gives the same answers
// without the walk; the lists stay the truth, and whenever the index cannot
// vouch for a list it is rebuilt from it or the walk is done.
#include <vector>

#include "decl/symbol.h"
#include "driver/options.h"
#include "lexer/token.h"

Symbol *symbol_list;
Symbol *tag_list;
Symbol *label_list;
Symbol *proto_symbol_list;
Symbol *proto_tag_list;
Symbol *pragma_attr_list;
Symbol *scope_mark;
Symbol *tag_scope_mark;
int32_t proto_depth;

namespace {

// Symbols given back, linked through `next`.
Symbol *symbol_free;

// New Symbols are cut from blocks, one allocation per block instead of one
// per record; they are never freed, only given back to symbol_free.
constexpr unsigned SYMBOLS_PER_BLOCK = 256;
Symbol *symbol_block;
unsigned symbols_left;

Symbol *fresh_symbol() {
    if (symbols_left == 0) {
        symbol_block = static_cast<Symbol *>(checked_alloc(sizeof(Symbol) * SYMBOLS_PER_BLOCK, nullptr));
        symbols_left = SYMBOLS_PER_BLOCK;
    }
    symbols_left--;
    return symbol_block++;
}

// The byte behind a name's characters: 1 once a Symbol of the name was made.
uint8_t &name_flag(NameRecord *name) {
    return reinterpret_cast<uint8_t &>(name->text[name->length]);
}

// ---------------------------------------------------------------------------
// The index of one list.
//
// symbol_list and tag_list are used as stacks: new names are put in front
// by new_symbol, and closing a scope cuts the list back to an element it
// held before (`symbol_list = scope_mark`).  The index mirrors that stack:
//
//   stack[0] is the oldest element (the tail) and stack.back() the head;
//   stack[i].sym->index_depth == i;
//   the name's entry holds in newest[which] the position of the newest
//   element pushed with that name (-1 none), and each index entry's `below`
//   the position of the next older one.
//
// So the elements of a list that carry a name are found newest first, which
// is list order, by following `below` from newest[name]; and an element's
// position tells whether it lies between `from` and `stop`.
//
// The invariant holds while the list changes only at its head.  Before each
// use the index compares the list's head with its own top: an element that
// is still in the stack means the list was cut back to it, and the entries
// above are popped; anything else (a list rebuilt by hand, an insertion
// behind the head through new_symbol, a record given back while the list
// still held it) marks the index stale, and it is rebuilt by one walk of the
// list.  The one change of symbol_list away from its head, the move of a
// one-byte object by the flush of tentative objects, happens at file scope,
// where a name has a single Symbol and later scope marks lie above both
// places, so it changes no answer.  A Symbol renamed after it entered the
// list is passed over when its old name is sought, as the walk would.
struct IndexEntry {
    Symbol *sym;
    NameRecord *name;    // name when pushed; key of the `newest` chain
    int32_t below;       // next older entry of the same name, -1 none
};

struct ListIndex {
    Symbol **head;
    int which;           // the slot of NameEntry.newest kept by this index
    std::vector<IndexEntry> stack;
    bool stale;
};

ListIndex symbol_index{&symbol_list, 0, {}, false};
ListIndex tag_index{&tag_list, 1, {}, false};

int32_t &newest(const ListIndex &index, NameRecord *name) {
    return name_entry_of(name)->newest[index.which];
}
std::vector<Symbol *> rebuild_buffer;

Symbol *index_top(const ListIndex &index) {
    return index.stack.empty() ? nullptr : index.stack.back().sym;
}

bool index_holds(const ListIndex &index, const Symbol *sym) {
    int32_t depth = sym->index_depth;
    return depth >= 0 && size_t(depth) < index.stack.size() &&
           index.stack[depth].sym == sym;
}

void index_push(ListIndex &index, Symbol *sym) {
    int32_t depth = int32_t(index.stack.size());
    int32_t below = -1;
    if (sym->name != nullptr) {
        int32_t &top = newest(index, sym->name);
        below = top;
        top = depth;
    }
    index.stack.push_back({sym, sym->name, below});
    sym->index_depth = depth;
}

void index_pop(ListIndex &index) {
    const IndexEntry &entry = index.stack.back();
    if (entry.name != nullptr)
        newest(index, entry.name) = entry.below;
    index.stack.pop_back();
}

void index_rebuild(ListIndex &index) {
    while (!index.stack.empty())
        index_pop(index);
    rebuild_buffer.clear();
    for (Symbol *sym = *index.head; sym != nullptr; sym = sym->next)
        rebuild_buffer.push_back(sym);
    for (size_t i = rebuild_buffer.size(); i-- > 0;)
        index_push(index, rebuild_buffer[i]);
    index.stale = false;
}

// Brings the index in step with its list.
void index_sync(ListIndex &index) {
    if (index.stale) {
        index_rebuild(index);
        return;
    }
    Symbol *head = *index.head;
    if (head == index_top(index))
        return;
    while (!index.stack.empty() && index.stack.back().sym != head)
        index_pop(index);
    if (head != index_top(index))
        index_rebuild(index);
}

// new_symbol is about to put `sym` in front of `*head`.
void index_note_insert(ListIndex &index, Symbol **head, Symbol *sym) {
    if (index.stale)
        return;
    if (head == index.head) {
        if (sym->next == index_top(index))
            index_push(index, sym);
        else
            index.stale = true;
        return;
    }
    // An insertion behind the head of the list: in front of one of its
    // elements, or at its tail.
    Symbol *after = *head;
    bool at_tail = after == nullptr && !index.stack.empty() &&
                   head == &index.stack.front().sym->next;
    if (at_tail || (after != nullptr && index_holds(index, after)))
        index.stale = true;
}

Symbol *walk_list(NameRecord *name, Symbol *from, Symbol *stop) {
    for (Symbol *sym = from; sym != nullptr && sym != stop; sym = sym->next)
        if (sym->name == name && !(sym->flags & SYM_HIDDEN))
            return sym;
    return nullptr;
}

Symbol *indexed_find(ListIndex &index, NameRecord *name, Symbol *from, Symbol *stop) {
    int32_t from_depth = from->index_depth;
    // A stop that is not an element behind `from` is never met: the walk
    // runs to the end of the list.
    int32_t stop_depth = -1;
    if (stop != nullptr && index_holds(index, stop) && stop->index_depth < from_depth)
        stop_depth = stop->index_depth;
    for (int32_t i = newest(index, name); i > stop_depth; i = index.stack[i].below) {
        if (i > from_depth)
            continue;
        Symbol *sym = index.stack[i].sym;
        if (sym->name == name && !(sym->flags & SYM_HIDDEN))
            return sym;
    }
    return nullptr;
}

} // namespace

Symbol *new_symbol(Symbol **head, NameRecord *name, int32_t sclass, TypeNode *type) {
    index_sync(symbol_index);
    index_sync(tag_index);
    Symbol *sym;
    if (symbol_free != nullptr) {
        sym = symbol_free;
        symbol_free = sym->next;
        // Given back while a list still held it: that list is being cut
        // by hand, and its index must be rebuilt.
        if (index_holds(symbol_index, sym))
            symbol_index.stale = true;
        if (index_holds(tag_index, sym))
            tag_index.stale = true;
        uint16_t column = sym->column;
        *sym = Symbol{};
        sym->column = column;
    } else {
        sym = fresh_symbol();
    }
    sym->name = name;
    sym->sclass = uint8_t(sclass);
    sym->type = type;
    sym->index_depth = -1;
    if (name != nullptr)
        name_flag(name) = 1;
    sym->next = *head;
    index_note_insert(symbol_index, head, sym);
    index_note_insert(tag_index, head, sym);
    *head = sym;
    return sym;
}

Symbol *find_symbol(NameRecord *name, Symbol *from, Symbol *stop) {
    // A name that no Symbol ever carried costs one byte test.
    if (name == nullptr || name_flag(name) == 0 || from == nullptr || from == stop)
        return nullptr;
    index_sync(symbol_index);
    if (index_holds(symbol_index, from))
        return indexed_find(symbol_index, name, from, stop);
    index_sync(tag_index);
    if (index_holds(tag_index, from))
        return indexed_find(tag_index, name, from, stop);
    return walk_list(name, from, stop);
}

Symbol *release_symbols(Symbol *list, Symbol *stop) {
    if (list == nullptr || list == stop)
        return stop;
    Symbol *last = list;
    while (last->next != nullptr && last->next != stop)
        last = last->next;
    last->next = symbol_free;
    symbol_free = list;
    return stop;
}

namespace {
std::vector<Symbol *> counted_globals;
} // namespace

void note_counted_global(Symbol *sym) {
    counted_globals.push_back(sym);
}

void clear_global_counts() {
    for (Symbol *sym : counted_globals) {
        sym->use_count = 0;
        sym->partner = nullptr;
    }
    counted_globals.clear();
}
