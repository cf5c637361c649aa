// Symbols and pools: making Symbols, scoped lookup by interned name (checked
// against a plain walk of the list over random scope histories), giving
// records back, the type pool with its mark and keep bit, the statement and
// expression pools, and label numbers.
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
#include "message_capture.h"
#include "stmt/stmt_node.h"

// Records live to the end of the run, as in the whole program; a sanitizer
// build is not to count them as leaks.
extern "C" const char *__asan_default_options() {
    return "detect_leaks=0";
}

namespace {

NameRecord *name_of(const std::string &text) {
    return intern_name(text.data(), unsigned(text.size()));
}

uint8_t flag_byte(NameRecord *name) { return uint8_t(name->text[name->length]); }

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
    void SetUp() override {
        symbol_list = tag_list = label_list = nullptr;
        scope_mark = tag_scope_mark = nullptr;
    }
    void TearDown() override {
        symbol_list = tag_list = label_list = nullptr;
        scope_mark = tag_scope_mark = nullptr;
    }
};

// ---------------------------------------------------------------------------
TEST_F(Symbols, NewSymbolInsertsInFrontAndClearsTheRecord) {
    NameRecord *a = name_of("sym_new_a");
    NameRecord *b = name_of("sym_new_b");
    EXPECT_EQ(flag_byte(a), 0);
    Symbol *first = new_symbol(&symbol_list, a, SC_STATIC, &type_int);
    EXPECT_EQ(flag_byte(a), 1);
    EXPECT_EQ(symbol_list, first);
    EXPECT_EQ(first->next, nullptr);
    Symbol *second = new_symbol(&symbol_list, b, SC_EXTERN, &type_char);
    EXPECT_EQ(symbol_list, second);
    EXPECT_EQ(second->next, first);
    EXPECT_EQ(second->name, b);
    EXPECT_EQ(second->sclass, SC_EXTERN);
    EXPECT_EQ(second->type, &type_char);

    // Appending through the next field of the last element keeps
    // declaration order, as member and argument lists need.
    Symbol *members = nullptr;
    Symbol **tail = &members;
    std::vector<Symbol *> made;
    for (int i = 0; i < 3; i++) {
        made.push_back(new_symbol(tail, nullptr, SC_MEMBER, &type_int));
        tail = &made.back()->next;
    }
    EXPECT_EQ(elements(members), made);

    // A record given back and made again is cleared, except its column.
    second->dbg_next = second;
    second->init = reinterpret_cast<ExprNode *>(second);
    second->partner = first;
    second->value = 77;
    second->column = 12;
    second->flags = SYM_USED | SYM_HIDDEN;
    second->reg_mask = 8;
    second->dbg_label = 3;
    second->dbg_type_label = 5;
    second->attr = ATTR_FAR;
    second->use_count = 9;
    symbol_list = release_symbols(symbol_list, first);
    Symbol *again = new_symbol(&symbol_list, a, SC_AUTO, &type_long);
    ASSERT_EQ(again, second) << "a record given back is used first";
    EXPECT_EQ(again->dbg_next, nullptr);
    EXPECT_EQ(again->init, nullptr);
    EXPECT_EQ(again->partner, nullptr);
    EXPECT_EQ(again->value, 0u);
    EXPECT_EQ(again->column, 12);
    EXPECT_EQ(again->flags, 0u);
    EXPECT_EQ(again->reg_mask, 0u);
    EXPECT_EQ(again->dbg_label, 0);
    EXPECT_EQ(again->dbg_type_label, 0);
    EXPECT_EQ(again->attr, 0);
    EXPECT_EQ(again->use_count, 0);
    EXPECT_EQ(again->sclass, SC_AUTO);
    EXPECT_EQ(again->type, &type_long);
    EXPECT_EQ(again->name, a);
}

TEST_F(Symbols, ReleaseGivesBackAStretchInOneStep) {
    Symbol *list = nullptr;
    Symbol *c = new_symbol(&list, nullptr, SC_AUTO, &type_int);
    Symbol *b = new_symbol(&list, nullptr, SC_AUTO, &type_int);
    Symbol *a = new_symbol(&list, nullptr, SC_AUTO, &type_int);
    EXPECT_EQ(release_symbols(list, list), list) << "an empty stretch";
    EXPECT_EQ(release_symbols(nullptr, nullptr), nullptr);
    EXPECT_EQ(release_symbols(a, c), c);
    // a and b come back in list order; c stayed where it was.
    Symbol *other = nullptr;
    EXPECT_EQ(new_symbol(&other, nullptr, SC_AUTO, &type_int), a);
    EXPECT_EQ(new_symbol(&other, nullptr, SC_AUTO, &type_int), b);
    EXPECT_NE(new_symbol(&other, nullptr, SC_AUTO, &type_int), c);
}

// ---------------------------------------------------------------------------
TEST_F(Symbols, LookupFollowsTheScopeRules) {
    NameRecord *x = name_of("scope_x");
    NameRecord *y = name_of("scope_y");
    NameRecord *member = name_of("scope_member");
    NameRecord *never = name_of("scope_never_declared");

    Symbol *global_y = new_symbol(&symbol_list, y, SC_NONE, &type_int);
    Symbol *global_x = new_symbol(&symbol_list, x, SC_NONE, &type_int);
    TypeNode *s = new_type(TY_STRUCT, nullptr);
    s->members = nullptr;
    Symbol *m = new_symbol(&s->members, member, SC_MEMBER, &type_int);

    EXPECT_EQ(find_symbol(never, symbol_list, nullptr), nullptr);
    EXPECT_EQ(flag_byte(never), 0);
    EXPECT_EQ(find_symbol(member, symbol_list, nullptr), nullptr)
        << "a member's name is not an ordinary identifier";
    EXPECT_EQ(find_symbol(member, s->members, nullptr), m);
    EXPECT_EQ(find_symbol(x, symbol_list, nullptr), global_x);
    EXPECT_EQ(find_symbol(x, symbol_list, scope_mark), global_x) << "file level: the whole list";

    // A function body: the local x hides the global one.
    Symbol *saved_mark = scope_mark;
    scope_mark = symbol_list;
    Symbol *local_x = new_symbol(&symbol_list, x, SC_AUTO, &type_char);
    EXPECT_EQ(find_symbol(x, symbol_list, nullptr), local_x);
    EXPECT_EQ(find_symbol(x, symbol_list, scope_mark), local_x);
    EXPECT_EQ(find_symbol(y, symbol_list, scope_mark), nullptr) << "redeclaration test: this block only";
    EXPECT_EQ(find_symbol(y, symbol_list, nullptr), global_y);
    EXPECT_EQ(find_symbol(x, scope_mark, nullptr), global_x) << "outside the block";
    EXPECT_EQ(find_symbol(x, symbol_list, symbol_list), nullptr) << "from equal to stop";
    EXPECT_EQ(find_symbol(y, global_x, local_x), global_y)
        << "a stop that is not behind from is never met";
    EXPECT_EQ(find_symbol(x, global_y, nullptr), nullptr);

    // A scalar local is hidden during its own initialiser.
    local_x->flags |= SYM_HIDDEN;
    EXPECT_EQ(find_symbol(x, symbol_list, nullptr), global_x);
    EXPECT_EQ(find_symbol(x, symbol_list, scope_mark), nullptr);
    local_x->flags &= ~SYM_HIDDEN;

    // An inner block with an enum constant of the name.
    Symbol *outer_mark = scope_mark;
    scope_mark = symbol_list;
    Symbol *inner_x = new_symbol(&symbol_list, x, SC_ENUM_MEMBER, &type_int);
    EXPECT_EQ(find_symbol(x, symbol_list, nullptr), inner_x);
    EXPECT_EQ(find_symbol(x, scope_mark, nullptr), local_x);

    // Leaving the inner block detaches its stretch.
    Symbol *inner_stretch = symbol_list;
    inner_x->next = nullptr;
    symbol_list = scope_mark;
    scope_mark = outer_mark;
    EXPECT_EQ(find_symbol(x, symbol_list, nullptr), local_x);
    EXPECT_EQ(find_symbol(x, inner_stretch, nullptr), inner_x) << "a detached block list is still searchable";

    // A block extern that resolves to a file-scope static takes the empty
    // name, so that lookups pass through to the static.
    local_x->name = name_of("");
    EXPECT_EQ(find_symbol(x, symbol_list, nullptr), global_x);

    // Leaving the function.
    local_x->next = nullptr;
    symbol_list = scope_mark;
    scope_mark = saved_mark;
    EXPECT_EQ(find_symbol(x, symbol_list, nullptr), global_x);
    release_symbols(inner_stretch, nullptr);
}

TEST_F(Symbols, TagsHaveTheirOwnList) {
    NameRecord *t = name_of("tag_t");
    Symbol *object_t = new_symbol(&symbol_list, t, SC_NONE, &type_int);
    Symbol *tag = new_symbol(&tag_list, t, SC_NONE, nullptr);
    EXPECT_EQ(find_symbol(t, tag_list, nullptr), tag);
    EXPECT_EQ(find_symbol(t, symbol_list, nullptr), object_t);
    Symbol *saved = tag_scope_mark;
    tag_scope_mark = tag_list;
    Symbol *inner = new_symbol(&tag_list, t, SC_NONE, nullptr);
    EXPECT_EQ(find_symbol(t, tag_list, tag_scope_mark), inner);
    EXPECT_EQ(find_symbol(t, tag_scope_mark, nullptr), tag);
    tag_list = tag_scope_mark;
    tag_scope_mark = saved;
    EXPECT_EQ(find_symbol(t, tag_list, nullptr), tag);
}

// The flush of tentative objects moves a one-byte object forward, behind
// the object it is writing, so that what follows stays on even offsets.
TEST_F(Symbols, LookupAfterAnObjectWasMovedForward) {
    std::vector<NameRecord *> names;
    for (int i = 0; i < 6; i++)
        names.push_back(name_of("moved_" + std::to_string(i)));
    for (NameRecord *name : names)
        new_symbol(&symbol_list, name, SC_NONE, &type_int);
    // Move the oldest behind the head.
    Symbol *head = symbol_list;
    Symbol *before = head;
    while (before->next->next != nullptr)
        before = before->next;
    Symbol *oldest = before->next;
    before->next = nullptr;
    oldest->next = head->next;
    head->next = oldest;
    for (NameRecord *name : names)
        EXPECT_EQ(find_symbol(name, symbol_list, nullptr), walk(name, symbol_list, nullptr));
    scope_mark = symbol_list;
    Symbol *local = new_symbol(&symbol_list, names[0], SC_AUTO, &type_int);
    for (NameRecord *name : names) {
        EXPECT_EQ(find_symbol(name, symbol_list, nullptr), walk(name, symbol_list, nullptr));
        EXPECT_EQ(find_symbol(name, symbol_list, scope_mark), walk(name, symbol_list, scope_mark));
        EXPECT_EQ(find_symbol(name, scope_mark, nullptr), walk(name, scope_mark, nullptr));
    }
    EXPECT_EQ(find_symbol(names[0], symbol_list, nullptr), local);
}

// Random histories of declarations, blocks, hidden names, lists cut and
// rebuilt by hand, records given back and made again: every lookup must
// give what the walk of the list gives.
struct ScopedList {
    Symbol **head;
    Symbol **mark;
    std::vector<Symbol *> saved_marks;
    std::vector<Symbol *> detached;   // block lists waiting for release
};

TEST_F(Symbols, IndexedLookupAgreesWithTheWalk) {
    std::vector<NameRecord *> names;
    for (int i = 0; i < 14; i++)
        names.push_back(name_of("fuzz_" + std::to_string(i)));
    for (unsigned seed = 1; seed <= 6; seed++) {
        std::mt19937 random(seed);
        symbol_list = tag_list = scope_mark = tag_scope_mark = nullptr;
        ScopedList lists[2] = {{&symbol_list, &scope_mark, {}, {}}, {&tag_list, &tag_scope_mark, {}, {}}};
        auto pick = [&](size_t n) { return size_t(random() % n); };
        int lookups = 0;
        for (int step = 0; step < 4000; step++) {
            ScopedList &l = lists[pick(4) == 0 ? 1 : 0];
            std::vector<Symbol *> all = elements(*l.head);
            int action = int(pick(100));
            if (action < 30) {
                new_symbol(l.head, names[pick(names.size())], SC_AUTO, &type_int);
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
                // An argument list that no body followed.
                *l.head = release_symbols(*l.head, *l.mark);
            } else if (action < 58 && !all.empty()) {
                all[pick(all.size())]->flags ^= SYM_HIDDEN;
            } else if (action < 60 && !all.empty()) {
                all[pick(all.size())]->name = name_of("");
            } else if (action < 62) {
                // A record linked in front by hand.
                Symbol *side = nullptr;
                Symbol *sym = new_symbol(&side, names[pick(names.size())], SC_AUTO, &type_int);
                sym->next = *l.head;
                *l.head = sym;
            } else if (action < 64 && !all.empty()) {
                // Insertion behind the head through new_symbol.
                Symbol *at = all[pick(all.size())];
                new_symbol(&at->next, names[pick(names.size())], SC_AUTO, &type_int);
            } else {
                all = elements(*l.head);
                std::vector<Symbol *> candidates = all;
                candidates.push_back(nullptr);
                for (Symbol *list : l.detached)
                    candidates.push_back(list);
                for (int k = 0; k < 4; k++) {
                    NameRecord *name = names[pick(names.size())];
                    Symbol *from = k == 0 ? *l.head : candidates[pick(candidates.size())];
                    Symbol *stop = k == 1 ? *l.mark : candidates[pick(candidates.size())];
                    ASSERT_EQ(find_symbol(name, from, stop), walk(name, from, stop))
                        << "seed " << seed << " step " << step;
                    lookups++;
                }
            }
        }
        EXPECT_GT(lookups, 3000);
    }
}

// A unit with a great many file-scope names must not walk them on every
// lookup: this takes seconds with a walk of the list.
TEST_F(Symbols, LookupInALargeUnitDoesNotWalkTheList) {
    const int count = 60000;
    std::vector<NameRecord *> names;
    for (int i = 0; i < count; i++) {
        names.push_back(name_of("large_" + std::to_string(i)));
        new_symbol(&symbol_list, names.back(), SC_NONE, &type_int);
    }
    auto start = std::chrono::steady_clock::now();
    for (int round = 0; round < 3; round++) {
        scope_mark = symbol_list;
        new_symbol(&symbol_list, names[count / 2], SC_AUTO, &type_char);
        for (int i = 0; i < count; i++) {
            Symbol *found = find_symbol(names[i], symbol_list, nullptr);
            ASSERT_NE(found, nullptr);
            ASSERT_EQ(found->name, names[i]);
        }
        Symbol *local = symbol_list;
        local->next = nullptr;
        symbol_list = scope_mark;
        scope_mark = nullptr;
        release_symbols(local, nullptr);
    }
    // Many small blocks: closing one must not cost a pass over the unit.
    for (int block = 0; block < 20000; block++) {
        scope_mark = symbol_list;
        Symbol *local = new_symbol(&symbol_list, names[block], SC_AUTO, &type_char);
        ASSERT_EQ(find_symbol(names[block], symbol_list, nullptr), local);
        local->next = nullptr;
        symbol_list = scope_mark;
        scope_mark = nullptr;
        ASSERT_EQ(find_symbol(names[block], symbol_list, nullptr)->sclass, SC_NONE);
        release_symbols(local, nullptr);
    }
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_LT(seconds, 3.0);
    EXPECT_EQ(find_symbol(names[0], symbol_list, nullptr)->sclass, SC_NONE);
}

// ---------------------------------------------------------------------------
TEST(Pools, TypesOfAFunctionAreGivenBackAtItsEnd) {
    TypeNode *file_scope = new_type(TY_POINTER, &type_int);
    EXPECT_EQ(file_scope->code, TY_POINTER);
    EXPECT_EQ(file_scope->next, &type_int);
    EXPECT_EQ(file_scope->dbg_label, 0);

    mark_types();
    std::set<TypeNode *> first;
    for (int i = 0; i < 5; i++)
        first.insert(new_type(TY_ARRAY, nullptr));
    release_types();

    // The next function reuses all five, and nothing else, before it takes
    // new nodes from the heap.  A kept node comes from the heap even now.
    mark_types();
    TypeNode *kept = new_type(TY_FUNCTION | TY_KEEP, &type_int);
    EXPECT_EQ(kept->code, TY_FUNCTION);
    EXPECT_EQ(first.count(kept), 0u);
    std::set<TypeNode *> second;
    for (int i = 0; i < 5; i++) {
        second.insert(new_type(TY_POINTER, nullptr));
    }
    EXPECT_EQ(first, second);
    std::set<TypeNode *> more;
    for (int i = 0; i < 3; i++) {
        TypeNode *type = new_type(TY_POINTER, nullptr);
        type->dbg_label = 5;
        more.insert(type);
    }
    for (TypeNode *type : more) {
        EXPECT_EQ(first.count(type), 0u);
        EXPECT_NE(type, kept);
        EXPECT_NE(type, file_scope);
    }
    release_types();

    // A node taken at file scope from the free list is gone from it for
    // good; the kept node never enters it.
    TypeNode *taken = new_type(TY_STRUCT, nullptr);
    EXPECT_TRUE(first.count(taken) || more.count(taken));
    taken->dbg_label = 41;
    mark_types();
    for (int i = 0; i < 20; i++) {
        TypeNode *type = new_type(TY_ARRAY, nullptr);
        EXPECT_NE(type, taken);
        EXPECT_NE(type, kept);
        EXPECT_NE(type, file_scope);
        EXPECT_EQ(type->dbg_label, 0);
    }
    release_types();
    EXPECT_EQ(taken->dbg_label, 41);
    EXPECT_EQ(taken->code, TY_STRUCT);
}

TEST(Pools, StatementsAndExpressionsAreAllGivenBack) {
    std::set<StmtNode *> stmts;
    for (int i = 0; i < 4; i++) {
        StmtNode *stmt = new_stmt(ST_IF);
        EXPECT_EQ(stmt->kind, ST_IF);
        stmt->flags = SF_DEAD;
        stmt->label = 9;
        stmt->next = stmt;
        stmts.insert(stmt);
    }
    release_stmts();
    for (int i = 0; i < 4; i++) {
        StmtNode *stmt = new_stmt(ST_WHILE);
        EXPECT_EQ(stmts.count(stmt), 1u);
        EXPECT_EQ(stmt->kind, ST_WHILE);
        EXPECT_EQ(stmt->flags, 0);
        EXPECT_EQ(stmt->label, 0);
        EXPECT_EQ(stmt->next, nullptr);
    }
    release_stmts();

    std::set<ExprNode *> exprs;
    for (int i = 0; i < 4; i++) {
        ExprNode *e = new_expr(OP_ADD);
        e->eflags = EF_NOT_LVALUE;
        e->right = e;
        exprs.insert(e);
    }
    release_exprs();
    // A scalar initialiser saves the free list and restores it to give
    // back the nodes of its expression.
    ExprNode *saved = expr_free_list;
    ExprNode *first = new_expr(OP_LEAF);
    EXPECT_EQ(exprs.count(first), 1u);
    EXPECT_EQ(first->op, OP_LEAF);
    EXPECT_EQ(first->eflags, 0);
    EXPECT_EQ(first->right, nullptr);
    EXPECT_EQ(first->lflags, 0u);
    expr_free_list = saved;
    EXPECT_EQ(new_expr(OP_MUL), first);
    for (int i = 1; i < 4; i++)
        EXPECT_EQ(exprs.count(new_expr(OP_SUB)), 1u);
    EXPECT_EQ(exprs.count(new_expr(OP_SUB)), 0u);
    release_exprs();
}

TEST(Labels, OddNumbersUntilTheSixteenBitLimit) {
    Messages messages;
    int32_t previous = new_label();
    EXPECT_EQ(previous % 2, 1);
    EXPECT_GE(previous, 3);
    while (previous < 0xFFFF) {
        int32_t label = new_label();
        ASSERT_EQ(label, previous + 2);
        previous = label;
    }
    EXPECT_EQ(previous, 0xFFFF);
    EXPECT_EQ(messages.take(), "") << "65535 still fits";
    EXPECT_EQ(new_label(), 0x10001);
    EXPECT_EQ(new_label(), 0x10003);
    EXPECT_EQ(messages.take(), "file too large for label information\n"
                               "file too large for label information\n");
}

} // namespace
