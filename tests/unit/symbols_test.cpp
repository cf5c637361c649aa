// Symbols and pools: records given back and made again, lookup by interned
// name checked against a plain walk of the list over random scope histories
// and timed in a large unit, the type pool with its mark and keep bit, and the
// statement and expression pools.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "stmt/stmt_node.h"

// Records live to the end of the run; a sanitizer build is not to count them.
extern "C" const char *__asan_default_options() { return "detect_leaks=0"; }

namespace {

NameRecord *name_of(const std::string &text) { return intern_name(text.data(), unsigned(text.size())); }

// The lookup rule written as the plain walk it stands for.
Symbol *walk(NameRecord *name, Symbol *from, Symbol *stop) {
    for (Symbol *sym = from; sym != nullptr && sym != stop; sym = sym->next)
        if (sym->name == name && !(sym->flags & SYM_HIDDEN))
            return sym;
    return nullptr;
}

std::vector<Symbol *> elements(Symbol *list) {
    std::vector<Symbol *> all;
    for (Symbol *sym = list; sym != nullptr; sym = sym->next)
        all.push_back(sym);
    return all;
}

class Symbols : public ::testing::Test {
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override { symbol_list = tag_list = scope_mark = tag_scope_mark = nullptr; }
};

TEST_F(Symbols, RecordsGivenBackAreMadeAgainCleared) {
    Symbol *c = new_symbol(&symbol_list, nullptr, SC_AUTO, &type_int);
    Symbol *b = new_symbol(&symbol_list, nullptr, SC_AUTO, &type_int);
    Symbol *a = new_symbol(&symbol_list, nullptr, SC_STATIC, &type_int);
    for (size_t i = 0; i < offsetof(Symbol, index_depth); i++)   // every field but the lookup index's
        reinterpret_cast<unsigned char *>(a)[i] = 0xFF;
    a->next = b;
    EXPECT_EQ(release_symbols(a, a), a) << "an empty stretch";
    symbol_list = release_symbols(a, c);
    // a and b come back in list order, cleared but for the column.
    Symbol *again = new_symbol(&symbol_list, name_of("reused"), SC_EXTERN, &type_long);
    ASSERT_EQ(again, a);
    EXPECT_FALSE(again->dbg_next || again->init || again->partner);
    EXPECT_EQ(again->value | again->flags | again->reg_mask | again->dbg_label | again->dbg_type_label | again->attr |
                  again->use_count, 0u);
    EXPECT_EQ(again->column, 0xFFFF);
    EXPECT_EQ(find_symbol(name_of("reused"), symbol_list, nullptr), again);
    EXPECT_EQ(new_symbol(&symbol_list, nullptr, SC_AUTO, &type_int), b);
    EXPECT_NE(new_symbol(&symbol_list, nullptr, SC_AUTO, &type_int), c);
}

// Random histories of declarations, blocks, hidden names, lists cut and
// rebuilt by hand, records given back and made again: every lookup must
// give what the walk of the list gives.
TEST_F(Symbols, IndexedLookupAgreesWithTheWalk) {
    // A list, the mark of its innermost block, those of the blocks around
    // it, and the lists of closed blocks waiting to be given back.
    struct ScopedList { Symbol **head, **mark; std::vector<Symbol *> saved_marks, detached; };
    for (unsigned seed = 1; seed <= 6; seed++) {
        std::mt19937 random(seed);
        TearDown();
        ScopedList lists[2] = {{&symbol_list, &scope_mark, {}, {}}, {&tag_list, &tag_scope_mark, {}, {}}};
        auto pick = [&](size_t n) { return size_t(random() % n); };
        auto any_name = [&] { return name_of("fuzz_" + std::to_string(pick(14))); };
        int lookups = 0;
        for (int step = 0; step < 4000; step++) {
            ScopedList &l = lists[pick(4) == 0 ? 1 : 0];
            std::vector<Symbol *> all = elements(*l.head);
            int action = int(pick(100));
            if (action < 30) {
                new_symbol(l.head, any_name(), SC_AUTO, &type_int);
            } else if (action < 38) {
                l.saved_marks.push_back(*l.mark);
                *l.mark = *l.head;
            } else if (action < 46 && !l.saved_marks.empty()) {
                // Leave the block: detach its stretch, keep it for release.
                if (*l.head != *l.mark) {
                    Symbol *last = *l.head;
                    while (last->next != *l.mark)
                        last = last->next;
                    last->next = nullptr;
                    l.detached.push_back(*l.head);
                }
                *l.head = *l.mark;
                *l.mark = l.saved_marks.back();
                l.saved_marks.pop_back();
            } else if (action < 50 && l.saved_marks.empty()) {
                // End of a function: its blocks' lists are given back.
                for (Symbol *list : l.detached)
                    release_symbols(list, nullptr);
                l.detached.clear();
            } else if (action < 53 && !l.saved_marks.empty()) {
                *l.head = release_symbols(*l.head, *l.mark);   // arguments that no body followed
            } else if (action < 58 && !all.empty()) {
                all[pick(all.size())]->flags ^= SYM_HIDDEN;
            } else if (action < 60 && !all.empty()) {
                all[pick(all.size())]->name = name_of("");
            } else if (action < 62) {
                Symbol *side = nullptr;   // a record linked in front by hand
                new_symbol(&side, any_name(), SC_AUTO, &type_int)->next = *l.head;
                *l.head = side;
            } else if (action < 64 && !all.empty()) {
                new_symbol(&all[pick(all.size())]->next, any_name(), SC_AUTO, &type_int);
            } else {
                std::vector<Symbol *> candidates = elements(*l.head);
                candidates.push_back(nullptr);
                candidates.insert(candidates.end(), l.detached.begin(), l.detached.end());
                for (int k = 0; k < 4; k++) {
                    NameRecord *name = any_name();
                    Symbol *from = k == 0 ? *l.head : candidates[pick(candidates.size())];
                    Symbol *stop = k == 1 ? *l.mark : candidates[pick(candidates.size())];
                    ASSERT_EQ(find_symbol(name, from, stop), walk(name, from, stop)) << "seed " << seed << " step " << step;
                    lookups++;
                }
            }
        }
        EXPECT_GT(lookups, 3000);
    }
}

// A unit with a great many file-scope names must not walk them on every
// lookup, nor on closing each of many small blocks: a walk of the list
// takes far longer.
TEST_F(Symbols, LookupInALargeUnitDoesNotWalkTheList) {
    std::vector<NameRecord *> names;
    for (int i = 0; i < 60000; i++)
        new_symbol(&symbol_list, names.emplace_back(name_of("large_" + std::to_string(i))), SC_NONE, &type_int);
    auto start = std::chrono::steady_clock::now();
    for (int block = 0; block < 20000; block++) {
        scope_mark = symbol_list;
        Symbol *local = new_symbol(&symbol_list, names[block], SC_AUTO, &type_char);
        ASSERT_EQ(find_symbol(names[block], symbol_list, nullptr), local);
        symbol_list->next = nullptr;
        release_symbols(symbol_list, nullptr);
        symbol_list = scope_mark;
        ASSERT_EQ(find_symbol(names[block], symbol_list, nullptr)->sclass, SC_NONE);
    }
    for (NameRecord *name : names)
        ASSERT_EQ(find_symbol(name, symbol_list, nullptr)->name, name);
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 3.0);
}

std::set<TypeNode *> take_types(int count, int32_t code) {
    std::set<TypeNode *> taken;
    for (int i = 0; i < count; i++)
        taken.insert(new_type(code, nullptr));
    return taken;
}

TEST(Pools, TypesOfAFunctionAreGivenBackAtItsEnd) {
    TypeNode *file_scope = new_type(TY_POINTER, &type_int);
    mark_types();
    std::set<TypeNode *> first = take_types(5, TY_ARRAY);
    release_types();
    // The next function reuses all five before it takes new nodes from the
    // heap.  A kept node comes from the heap even now.
    mark_types();
    TypeNode *kept = new_type(TY_FUNCTION | TY_KEEP, &type_int);
    EXPECT_EQ(kept->code, TY_FUNCTION);
    EXPECT_EQ(take_types(5, TY_POINTER), first);
    std::set<TypeNode *> more = take_types(3, TY_POINTER);
    for (TypeNode *type : more)
        type->dbg_label = 5;
    release_types();
    // A node taken at file scope from the free list is gone from it for
    // good; the kept node and the first file-scope node never enter it.
    TypeNode *taken = new_type(TY_STRUCT, nullptr);
    EXPECT_TRUE(first.count(taken) || more.count(taken));
    mark_types();
    for (TypeNode *type : take_types(20, TY_ARRAY)) {
        EXPECT_TRUE(type != taken && type != kept && type != file_scope);
        EXPECT_EQ(type->dbg_label, 0);
    }
    release_types();
}

TEST(Pools, StatementsAndExpressionsAreAllGivenBack) {
    std::set<StmtNode *> stmts;
    std::set<ExprNode *> exprs;
    for (int i = 0; i < 4; i++) {
        StmtNode *stmt = *stmts.insert(new_stmt(ST_IF)).first;
        stmt->flags = SF_DEAD;
        stmt->label = 9;
        stmt->next = stmt;
        ExprNode *e = *exprs.insert(new_expr(OP_ADD)).first;
        e->eflags = EF_NOT_LVALUE;
        e->right = e;
    }
    release_stmts();
    release_exprs();
    for (int i = 0; i < 4; i++) {
        StmtNode *stmt = new_stmt(ST_WHILE);
        EXPECT_EQ(stmts.count(stmt), 1u);
        EXPECT_TRUE(stmt->kind == ST_WHILE && stmt->flags == 0 && stmt->label == 0 && stmt->next == nullptr);
    }
    // A scalar initialiser saves the free list and restores it to give
    // back the nodes of its expression.
    ExprNode *saved = expr_free_list;
    ExprNode *first = new_expr(OP_LEAF);
    EXPECT_EQ(exprs.count(first), 1u);
    EXPECT_TRUE(first->op == OP_LEAF && first->eflags == 0 && first->right == nullptr);
    expr_free_list = saved;
    EXPECT_EQ(new_expr(OP_MUL), first);
    for (int i = 1; i < 4; i++)
        EXPECT_EQ(exprs.count(new_expr(OP_SUB)), 1u);
    EXPECT_EQ(exprs.count(new_expr(OP_SUB)), 0u);
    release_stmts();
    release_exprs();
}

} // namespace
