// Tentative objects and the names of the unit.
//
// An object declared without an initialiser takes its space only here, at
// a `#pragma section` that asks for it and at the end of the unit.  The walk
// goes over symbol_list from the head, so objects come out newest first.
// The code generator lays them out in the order it gets them, so when the
// bytes written so far add up to an odd number, a one-byte object further
// down the list is pulled forward to be written next, which puts the
// objects after it on an even offset again: `char a; int b; char c;` comes
// out as c, a, b.
//
// At the end of the unit the walk also writes a public record for every
// object and function defined here that is visible outside, an external
// record for every extern name that was used, and reports the names that
// were used but never declared.
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "lexer/token.h"
#include "output/records.h"

namespace {

bool is_function(const TypeNode *type) { return type != nullptr && type->code == TY_FUNCTION; }

bool is_unsized_array(const TypeNode *type) {
    return type != nullptr && type->code == TY_ARRAY && type->dim == 0;
}

int name_length(const Symbol *sym) { return sym->name != nullptr ? sym->name->length : 0; }
const char *name_text(const Symbol *sym) { return sym->name != nullptr ? sym->name->text : ""; }

// A declared object or function whose storage or code was not written yet.
bool is_tentative(const Symbol *sym) {
    return (sym->flags & (SYM_DECLARED | SYM_DEFINED)) == SYM_DECLARED &&
           (sym->sclass == SC_NONE || sym->sclass == SC_STATIC);
}

// type_size would report nothing for this type: it is complete.
bool sized_quietly(const TypeNode *type) {
    for (;;) {
        if (type == nullptr)
            return false;
        switch (type->code) {
        case TY_ENUM:
            if (type->members == nullptr && !opt_ne)
                return false;
            type = type->next;
            continue;
        case TY_ARRAY:
            if (type->dim == 0)
                return false;
            type = type->next;
            continue;
        case TY_STRUCT:
        case TY_UNION:
            return type->members != nullptr;
        case TY_CHAR: case TY_UCHAR: case TY_CHAR_BITS:
        case TY_SHORT: case TY_USHORT: case TY_SHORT_BITS:
        case TY_INT: case TY_UINT: case TY_INT_BITS: case TY_LONG_BITS:
        case TY_LONG: case TY_ULONG: case TY_FLOAT: case TY_DOUBLE:
        case TY_POINTER:
            return true;
        default:
            return false;
        }
    }
}

// type_size would give 1.  A type it cannot size gives 0 or the size of an
// int, never 1, so leaving those out changes no answer and spares the
// messages that sizing them would repeat before their object's turn.
bool is_one_byte(TypeNode *type) { return sized_quietly(type) && type_size(type) == 1; }

// The pull forward, with an index beside the list.
//
// Walking on from the object just written to the first one-byte object
// that is still to be written would cost a walk of the rest of the list at
// every odd total: quadratic for a long list of odd-sized objects.  The
// index holds the objects that such a walk can find, in list order, and the
// element in front of each, so that a move needs no walk either.
//
// It is built at the first pull of a flush, from the object being written
// on.  The list then changes only through the pulls, each of which moves an
// object that has not been written in front of the rest of those; the
// objects that have not been written stay in their order, so the first of
// them in `bytes` that is not written yet is the one the walk would find.
// One more thing changes during a flush: an array of unknown size gets the
// size 1 when its turn comes.  If its type is shared, through a typedef,
// with objects further down, they may become one-byte objects then; they
// wait in `waiting` under the array node until that happens.
class PullForward {
public:
    void array_sized(TypeNode *array);
    void pull_behind(Symbol *current);

private:
    using Entry = std::pair<uint32_t, Symbol *>;   // list position, object

    void build(Symbol *current);
    void note_candidate(Symbol *sym, uint32_t position);

    bool built_ = false;
    std::set<Entry> bytes_;
    std::unordered_map<TypeNode *, std::vector<Entry>> waiting_;
    std::unordered_map<Symbol *, Symbol *> before_;
};

// An object a pull may move: not written yet, and declared at file scope,
// so that a move never carries it into the stretch of an open block.
bool may_be_pulled(const Symbol *sym) {
    return is_tentative(sym) && !is_function(sym->type) && (sym->flags & SYM_FILE_SCOPE) != 0;
}

void PullForward::note_candidate(Symbol *sym, uint32_t position) {
    if (is_one_byte(sym->type)) {
        bytes_.insert({position, sym});
        return;
    }
    for (TypeNode *type = sym->type; type != nullptr && type->code == TY_ARRAY; type = type->next)
        if (type->dim == 0)
            waiting_[type].push_back({position, sym});
}

void PullForward::build(Symbol *current) {
    built_ = true;
    uint32_t position = 0;
    Symbol *before = current;
    for (Symbol *sym = current->next; sym != nullptr; before = sym, sym = sym->next) {
        before_[sym] = before;
        if (may_be_pulled(sym))
            note_candidate(sym, position);
        position++;
    }
}

void PullForward::array_sized(TypeNode *array) {
    if (!built_)
        return;
    auto found = waiting_.find(array);
    if (found == waiting_.end())
        return;
    for (const Entry &entry : found->second)
        if (may_be_pulled(entry.second) && is_one_byte(entry.second->type))
            bytes_.insert(entry);
    waiting_.erase(found);
}

void PullForward::pull_behind(Symbol *current) {
    if ((current->flags & SYM_FILE_SCOPE) == 0)
        return;
    if (!built_)
        build(current);
    while (!bytes_.empty() && (bytes_.begin()->second == current ||
                               (bytes_.begin()->second->flags & SYM_DEFINED) != 0))
        bytes_.erase(bytes_.begin());
    if (bytes_.empty())
        return;
    Symbol *pulled = bytes_.begin()->second;
    bytes_.erase(bytes_.begin());
    if (current->next == pulled)
        return;

    Symbol *before = before_[pulled];
    Symbol *after = pulled->next;
    before->next = after;
    if (after != nullptr)
        before_[after] = before;
    pulled->next = current->next;
    if (current->next != nullptr)
        before_[current->next] = pulled;
    current->next = pulled;
    before_[pulled] = current;
}

// A name used but declared nowhere, at the place of its first use.
void report_undefined(Symbol *sym) {
    Token first_use{};
    first_use.code = TOK_IDENT;
    first_use.line = sym->value;
    first_use.column = sym->column;
    first_use.length = uint16_t(name_length(sym));
    first_use.value.name = sym->name;
    last_token = &first_use;
    report("%.*s undefined", name_length(sym), name_text(sym));
    last_token = nullptr;
}

// Reserves the space of a tentative object, or reports why it has none.
void write_tentative(Symbol *sym, uint32_t *total, PullForward *pull) {
    TypeNode *type = sym->type;
    if (is_unsized_array(type)) {
        report("array size unknown %.*s", name_length(sym), name_text(sym));
        type->dim = 1;
        pull->array_sized(type);
        return;
    }
    uint32_t size = type->code == TY_VOID ? 0 : uint32_t(type_size(type));
    *total += size;
    write_data_begin(sym);
    write_space(size);
    write_data_end();
    if ((*total & 1) != 0 && size != 0)
        pull->pull_behind(sym);
}

// The record that tells the code generator about a name at the end of the
// unit: public for what is defined here, external for what is used here
// and defined elsewhere.
void write_name(Symbol *sym) {
    switch (sym->sclass) {
    case SC_NONE:
        if (is_unsized_array(sym->type))
            report("array %.*s size unknown", name_length(sym), name_text(sym));
        else
            write_symbol_decl(sym, 1);
        break;
    case SC_EXTERN:
        if (is_function(sym->type) && (sym->flags & SYM_DEFINED) != 0)
            write_symbol_decl(sym, 1);
        else if ((sym->flags & SYM_USED) != 0)
            write_symbol_decl(sym, 0);
        break;
    default:
        break;
    }
}

} // namespace

void flush_symbols(int final) {
    if (final)
        last_token = nullptr;
    uint32_t total = 0;
    PullForward pull;
    for (Symbol *sym = symbol_list; sym != nullptr; sym = sym->next) {
        if ((sym->flags & SYM_DECLARED) == 0) {
            if (!final)
                continue;
            report_undefined(sym);
        } else if (is_tentative(sym)) {
            if (is_function(sym->type)) {
                if (!final || (sym->flags & SYM_USED) == 0)
                    continue;
                report("static function %.*s undefined", name_length(sym), name_text(sym));
            } else {
                write_tentative(sym, &total, &pull);
            }
            sym->flags |= SYM_DEFINED;
        }
        if (final)
            write_name(sym);
    }
}
