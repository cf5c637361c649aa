// The placing of one block's locals, as rewriting enters the block: the
// order in which they compete for registers, the registers that keep the
// addresses of much-used globals, and then a register, a frame slot or
// nothing for each of them.
#include <algorithm>
#include <vector>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "opt/registers.h"
#include "output/records.h"
#include "stmt/stmt_node.h"

namespace {

std::vector<Symbol *> list_of(Symbol *head) {
    std::vector<Symbol *> all;
    for (Symbol *sym = head; sym != nullptr; sym = sym->next)
        all.push_back(sym);
    return all;
}

void relink(Symbol **head, const std::vector<Symbol *> &order) {
    for (Symbol *sym : order) {
        *head = sym;
        head = &sym->next;
    }
    *head = nullptr;
}

// Sorts order[from..] by `key`, greatest first; equal keys keep their
// order.
template <typename Key>
void sort_by(std::vector<Symbol *> &order, size_t from, Key key) {
    std::stable_sort(order.begin() + std::ptrdiff_t(from), order.end(),
                     [&key](const Symbol *a, const Symbol *b) { return key(a) > key(b); });
}

bool is_argument(const Symbol *sym) { return sym->sclass == SC_ARG || sym->sclass == SC_REG_ARG; }

bool is_asm_name(const Symbol *sym) {
    return sym->name != nullptr && sym->name->length == 4 && sym->name->text[0] == '_' &&
           sym->name->text[1] == 'a' && sym->name->text[2] == 's' && sym->name->text[3] == 'm';
}

bool has_code(const Symbol *sym, std::initializer_list<int> codes) {
    if (sym->type == nullptr)
        return true;
    for (int code : codes)
        if (sym->type->code == code)
            return true;
    return false;
}

// The most used global that a block can reach, or null.  The block's own
// list holds its extern and static declarations; symbol_list the file.
Symbol *best_global(StmtNode *block) {
    Symbol *best = nullptr;
    auto offer = [&best](Symbol *sym) {
        if (!is_asm_name(sym) && (best == nullptr || sym->use_count > best->use_count))
            best = sym;
    };
    for (Symbol *sym = block->locals; sym != nullptr; sym = sym->next)
        if ((sym->sclass == SC_EXTERN || sym->sclass == SC_STATIC) && (sym->flags & SYM_IMPLICIT_FN) == 0 &&
            !has_code(sym, {TY_FUNCTION}))
            offer(sym);
    // Of the unit's names only those this function counted can win: they
    // are noted as they are counted, so no walk of the whole list is
    // needed.  Among equal counts the list's walk would find the newest
    // first.
    Symbol *global = nullptr;
    for (Symbol *sym : counted_globals_list())
        if (sym->use_count != 0 && sym->sclass != SC_TYPEDEF && sym->sclass != SC_ENUM_MEMBER &&
            (sym->attr & ATTR_INLINE) == 0 && !is_asm_name(sym) &&
            !has_code(sym, {TY_FUNCTION, TY_ARRAY, TY_STRUCT, TY_UNION}) &&
            (global == nullptr || sym->use_count > global->use_count ||
             (sym->use_count == global->use_count && sym->made > global->made)))
            global = sym;
    if (global != nullptr)
        offer(global);
    return best;
}


// The register holding a global's address: on success the move of the
// address into it starts the block; else the global is used directly.
void place_reg_copy(StmtNode *block, Symbol *sym) {
    if ((free_regs & 0xFF) != 0 && assign_register(sym)) {
        sym->sclass = SC_REGISTER;
        ExprNode *leaf = new_expr(OP_LEAF);
        leaf->lflags = LEAF_ADDRESS;
        leaf->sym = sym->partner;
        leaf->value = 0;
        leaf->type = sym->type;
        insert_reg_move(block, &block->body, leaf);
    } else if (sym->partner != nullptr) {
        sym->partner->partner = nullptr;
    }
}

void report_undefined(Symbol *sym) {
    Token first_use{};
    first_use.code = TOK_IDENT;
    first_use.line = sym->value;
    first_use.column = sym->column;
    first_use.length = sym->name->length;
    first_use.value.name = sym->name;
    Token *saved = last_token;
    last_token = &first_use;
    report("%.*s undefined", sym->name->length, sym->name->text);
    last_token = saved;
}

// One local that is declared and used.  A failed register assignment may
// have changed the class, and the rows below then see the new one.
void place_one(StmtNode *block, Symbol *sym) {
    bool may_take = (opt_a & 2) == 0 && (sym->flags & SYM_ADDR_TAKEN) == 0;
    if (sym->sclass == SC_MERGED)
        return;
    if (sym->sclass == SC_REGISTER && assign_register(sym))
        return;
    if (sym->sclass == SC_AUTO && may_take && assign_register(sym)) {
        sym->sclass = SC_REGISTER;
        return;
    }
    if (sym->sclass == SC_ARG && may_take && promote_arg_register(block, sym)) {
        sym->sclass = SC_REG_ARG;
        return;
    }
    switch (sym->sclass) {
    case SC_REG_COPY:
        place_reg_copy(block, sym);
        break;
    case SC_AUTO:
        if (sym->type == nullptr)
            break;
        func_state.frame_offset = align_up(func_state.frame_offset - type_size(sym->type), sym->type);
        sym->value = uint32_t(func_state.frame_offset);
        break;
    case SC_EXTERN:
        if (error_count == 0)
            write_symbol_decl(sym, 0);
        break;
    case SC_STATIC:
        // A static local without an initial value gets its space here.
        if (!has_code(sym, {TY_FUNCTION}) && (sym->flags & SYM_DEFINED) == 0 && error_count == 0) {
            write_space_names();
            write_data_begin(sym);
            write_space(uint32_t(type_size(sym->type)));
            write_data_end();
        }
        break;
    default:
        break;
    }
}

// A local that shares another's slot lives where that one lives; an
// argument's register is a plain register variable for it.
void settle_merged(Symbol *sym) {
    Symbol *home = sym->merged_with;
    if (home == nullptr)
        return;
    sym->attr = home->attr;
    sym->sclass = home->sclass;
    sym->value = home->value;
    if (home->sclass == SC_REG_ARG) {
        sym->sclass = SC_REGISTER;
        sym->value = 0;
    }
}

// The order in which debug information lists the locals: all that are no
// arguments in their order, then the arguments by offset, greatest first.
void order_for_debug(StmtNode *block) {
    std::vector<Symbol *> order = list_of(block->locals);
    std::vector<Symbol *> args;
    size_t kept = 0;
    for (Symbol *sym : order) {
        if (is_argument(sym))
            args.push_back(sym);
        else
            order[kept++] = sym;
    }
    for (size_t i = 0; i < args.size(); i++)
        order[kept + i] = args[i];
    sort_by(order, kept, [](const Symbol *s) { return int32_t(s->value); });
    relink(&block->locals, order);
}

}  // namespace

void sort_locals(StmtNode *block) {
    std::vector<Symbol *> order = list_of(block->locals);
    size_t front = 0;
    if ((opt_a & 1) == 0) {
        // Register variables go to the head, each in front of those found
        // before it.
        std::vector<Symbol *> registers, rest;
        for (Symbol *sym : order)
            (sym->sclass == SC_REGISTER ? registers : rest).push_back(sym);
        order.clear();
        order.insert(order.end(), registers.rbegin(), registers.rend());
        order.insert(order.end(), rest.begin(), rest.end());
        front = registers.size();
    }
    if (!opt_s)
        sort_by(order, front, [](const Symbol *s) { return int32_t(s->use_count); });
    relink(&block->locals, order);
}

void cache_globals(StmtNode *block) {
    if (opt_a & 4)
        return;
    for (int round = 0; round < 18; round++) {
        Symbol *global = best_global(block);
        if (global == nullptr || global->use_count < 6)
            return;
        TypeNode *pointer = new_type(TY_POINTER, global->type);
        pointer->attr = global->attr;
        Symbol **slot = &block->locals;
        while (*slot != nullptr &&
               ((*slot)->use_count >= global->use_count || ((opt_a & 1) == 0 && (*slot)->sclass == SC_REGISTER)))
            slot = &(*slot)->next;
        static NameRecord *reg_name = intern_name("reg", 3);
        Symbol *copy = new_symbol(slot, reg_name, SC_REG_COPY, pointer);
        copy->flags = global->flags;
        copy->partner = global;
        global->partner = copy;
        copy->use_count = global->use_count;
        global->use_count = 0;
    }
}

void report_unreached_names(StmtNode *root) {
    for (StmtNode *block = root->next_block; block != nullptr; block = block->next_block)
        for (Symbol *sym = block->locals; sym != nullptr; sym = sym->next)
            if ((sym->flags & (SYM_DECLARED | SYM_PLACED)) == 0)
                report_undefined(sym);
}

void place_locals(StmtNode *block) {
    if (block->locals != nullptr)
        sort_locals(block);
    cache_globals(block);
    int32_t entry_offset = func_state.frame_offset;
    for (Symbol *sym = block->locals; sym != nullptr; sym = sym->next) {
        if ((sym->flags & SYM_DECLARED) == 0)
            report_undefined(sym);
        else if ((sym->flags & (SYM_USED | SYM_REG_PASSED)) == 0)
            sym->sclass = SC_EXTERN;   // needs no place
        else
            place_one(block, sym);
    }
    for (Symbol *sym = block->locals; sym != nullptr; sym = sym->next)
        sym->flags |= SYM_PLACED;
    for (Symbol *sym = block->locals; sym != nullptr; sym = sym->next)
        if (sym->sclass == SC_MERGED)
            settle_merged(sym);
    if (func_state.frame_offset != entry_offset && func_state.frame_offset < func_state.frame_low)
        func_state.frame_low = func_state.frame_offset;
    if (!opt_s && block->locals != nullptr)
        order_for_debug(block);
}
