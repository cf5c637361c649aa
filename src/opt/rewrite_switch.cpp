// The simplification of a switch once its selector is folded: code before
// the first case label is dead, a constant selector becomes a jump to its
// case, cases that only break are dropped, and a switch left with one case
// becomes an if.
#include "decl/type.h"
#include "expr/expr_node.h"
#include "opt/rewrite.h"
#include "stmt/stmt_node.h"

namespace {

// What the case list says about the selector.
struct CaseScan {
    int32_t case_count = 0;
    Symbol *match = nullptr;        // the entry that a constant selector selects
    Symbol *default_entry = nullptr;
    bool constant = false;
    bool widen = false;             // a case value that the selector's type cannot hold
};

CaseScan scan_cases(Symbol *cases, ExprNode *test, TypeNode *type) {
    CaseScan scan;
    scan.constant = is_int_const(test);
    bool is_unsigned = type->code == TY_POINTER || is_unsigned_code(type->code);
    for (Symbol *entry = cases; entry != nullptr; entry = entry->next) {
        if (entry->sclass == SC_DEFAULT) {
            scan.default_entry = entry;
            continue;
        }
        if (entry->sclass != SC_CASE)
            continue;
        scan.case_count++;
        int32_t v = int32_t(entry->value);
        if (scan.constant) {
            if (v < 0 && is_unsigned)
                scan.constant = false;
            else if (v == test->value)
                scan.match = entry;
        }
        if ((type->code == TY_CHAR && (v < -128 || v > 127)) || (type->code == TY_UCHAR && (v < 0 || v > 255)))
            scan.widen = true;
    }
    return scan;
}

bool is_block(const StmtNode *s) { return s != nullptr && s->kind == ST_BLOCK; }

// A jump to a case entry, put first in the block of the switch `s`, at the
// position of the switch.
void jump_first(StmtNode *s, StmtNode *block, Symbol *entry) {
    StmtNode *jump = make_goto(s);
    jump->goto_label = entry;
    jump->next = block->body;
    block->body = jump;
}

// Marks dead the statements of the block that the jump to `target` passes
// over: up to a label, and from each break of the switch on up to the next.
void mark_passed_over(StmtNode *block, StmtNode *target) {
    bool passing = true;
    for (StmtNode *t = block->body->next; t != nullptr; t = t->next) {
        if ((t->flags & SF_LABELLED) || (t == target && (t->flags & SF_CASE_TARGET)))
            passing = false;
        if (passing)
            t->flags |= SF_DEAD;
        else if (t->kind == ST_BREAK)
            passing = true;
    }
}

bool is_break_of(const StmtNode *s, const StmtNode *sw) {
    return s != nullptr && s->kind == ST_BREAK && s->target == sw;
}

// Cases that only leave the switch go where no match goes.
void drop_break_cases(StmtNode *s, CaseScan &scan) {
    for (Symbol **slot = &s->cases; *slot != nullptr;) {
        Symbol *entry = *slot;
        if (is_break_of(entry->stmt, s)) {
            *slot = entry->next;
            if (entry->sclass == SC_CASE)
                scan.case_count--;
            else if (entry == scan.default_entry)
                scan.default_entry = nullptr;
            release_symbols(entry, entry->next);
        } else {
            slot = &entry->next;
        }
    }
}

void become_test_only(StmtNode *s, ExprNode *test) {
    s->kind = ST_EXPR;
    if (same_expr(test, test, 1))
        s->expr = nullptr;
}

// `switch (x) { case c: ... }` is `if (x == c) { goto case c; ... }`, with
// the default, if any, reached by the else.  The selector is compared as
// the switch would compare it, widened to int when a char cannot hold c.
void become_if(StmtNode *s, CaseScan &scan) {
    ExprNode *test = s->expr;
    TypeNode *type = test->type;
    Symbol *only = nullptr;
    for (Symbol *entry = s->cases; entry != nullptr; entry = entry->next)
        if (entry->sclass == SC_CASE)
            only = entry;
    ExprNode *value = make_int_const(nullptr, int32_t(only->value));
    if (type->code == TY_POINTER || is_unsigned_code(type->code))
        value->type = &type_uint;
    ExprNode *compare = new_expr(OP_EQ);
    compare->left = test;
    compare->right = value;
    compare->type = &type_int;
    s->kind = ST_IF;
    s->expr = binary_expr(compare);
    s->alt = nullptr;
    if (scan.default_entry != nullptr) {
        s->alt = make_goto(s);
        s->alt->goto_label = scan.default_entry;
    }
    if (is_block(s->body))
        jump_first(s, s->body, only);
}

}  // namespace

void rewrite_switch(StmtNode *s, ExprNode *test) {
    TypeNode *type = test->type;
    if (test->op == OP_PRELUDE && test->right != nullptr)
        type = test->right->type;
    CaseScan scan = scan_cases(s->cases, test, type);
    // A char selector is compared as an int, so that a case value beyond
    // its range can still be matched.
    if (scan.widen)
        s->expr = convert_to(test, &type_int);
    // Nothing reaches the statements in front of the first label.
    if (is_block(s->body)) {
        for (StmtNode *t = s->body->body; t != nullptr && (t->flags & (SF_CASE_TARGET | SF_LABELLED)) == 0;
             t = t->next)
            t->flags |= SF_DEAD;
    }
    if (scan.case_count == 0) {
        s->kind = ST_SEQUENCE;
        if (same_expr(test, test, 1))
            s->expr = nullptr;
        return;
    }
    if (scan.constant) {
        Symbol *target = scan.match != nullptr ? scan.match : scan.default_entry;
        if (target == nullptr) {
            s->kind = ST_EXPR;
            s->expr = nullptr;
            return;
        }
        s->kind = ST_SEQUENCE;
        if (is_block(s->body)) {
            jump_first(s, s->body, target);
            mark_passed_over(s->body, target->stmt);
        }
        s->expr = nullptr;
        return;
    }
    if (scan.default_entry == nullptr || is_break_of(scan.default_entry->stmt, s))
        drop_break_cases(s, scan);
    if (scan.case_count == 0) {
        become_test_only(s, test);
        return;
    }
    // A selector of another type was refused when it was parsed.
    if (scan.case_count == 1 && test->op != OP_PRELUDE && is_integer_code(type->code))
        become_if(s, scan);
}
