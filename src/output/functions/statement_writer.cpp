// Statements as records: all control flow becomes labels, jumps and
// conditional branches; loops, switches and register moves have their own
// forms.
#include <cstdlib>
#include <vector>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "driver/stack_room.h"
#include "expr/expr_node.h"
#include "opt/registers.h"
#include "output/records.h"
#include "stmt/stmt_node.h"

namespace {

// Unrolled loops write their body more than once.  The text of an #asm
// piece is freed once it is written, but not before the last round of
// every unrolled loop around it.
int rounds_to_come;

uint16_t make_label() { return uint16_t(new_label()); }
void define_label(uint16_t label) { write_label_ops(0, label, 0, 0); }
void jump_to(uint16_t label) { write_label_ops(label, 0, 0, 0); }

void position(const StmtNode *s, int mode) {
    if (opt_l) write_stmt_position(s, mode);
}

uint32_t line_of(const StmtNode *s) { return s != nullptr ? s->line : 0; }

// The label of a statement reached by goto, or by a jump that rewriting
// made to a case: both hold the statement in the Symbol's `stmt`.
uint16_t label_of(const Symbol *target) {
    return target != nullptr && target->stmt != nullptr ? target->stmt->label : 0;
}

void write_asm(StmtNode *s) {
    for (StmtNode *piece = s->body; piece != nullptr; piece = piece->next) {
        position(piece, 0);
        write_line(piece->line);
        if (piece->text == nullptr) continue;
        write_asm_text(piece->text, piece->text_length);
        if (rounds_to_come == 0) {
            std::free(piece->text);
            piece->text = nullptr;
        }
    }
}

void write_if(StmtNode *s, uint16_t continue_label, uint16_t break_label) {
    uint16_t skip = make_label();
    position(s, 0);
    write_branch(s->expr, skip, 1);
    uint16_t own_break = 0;
    if (s->flags & SF_BREAK) break_label = own_break = make_label();
    write_stmt(s->body, continue_label, break_label);
    if (s->alt != nullptr) {
        uint16_t end = make_label();
        write_label_ops(end, skip, line_of(s->alt), 0);
        write_stmt(s->alt, continue_label, break_label);
        skip = end;
    }
    define_label(skip);
    if (own_break) define_label(own_break);
}

void write_sequence(StmtNode *s, uint16_t continue_label, uint16_t break_label) {
    if (s->expr != nullptr) write_expr_stmt(s->expr);
    if (s->body == nullptr) return;
    uint16_t own_break = 0;
    if (s->flags & SF_BREAK) break_label = own_break = make_label();
    write_stmt(s->body, continue_label, break_label);
    if (own_break) define_label(own_break);
}

void write_do(StmtNode *s) {
    uint16_t top = make_label(), end = make_label();
    write_label_ops(0, top, line_of(s->body), 0);
    if (is_int_const(s->expr)) {
        if (s->expr->value != 0) {
            write_stmt(s->body, top, end);
            write_label_ops(top, (s->flags & SF_BREAK) ? end : 0, 0, 0);
        } else {
            write_stmt(s->body, end, end);
            if (s->flags & (SF_BREAK | SF_CONTINUE)) define_label(end);
        }
        return;
    }
    uint16_t out = make_label();
    write_stmt(s->body, end, out);
    write_label_ops(0, end, s->line, 0);
    position(s, 1);
    write_source_file(s->file);
    write_branch(s->expr, top, 0);
    if (s->flags & SF_BREAK) define_label(out);
}

void write_while(StmtNode *s) {
    uint16_t top = make_label(), test = make_label();
    if (is_int_const(s->expr)) {
        write_label_ops(0, top, line_of(s->body), 0);
        write_stmt(s->body, top, test);
        write_label_ops(top, (s->flags & SF_BREAK) ? test : 0, 0, 0);
        return;
    }
    uint16_t out = make_label();
    write_label_ops(test, top, line_of(s->body), 0);
    write_stmt(s->body, test, out);
    write_label_ops(0, test, s->line, 1);
    position(s, 0);
    write_source_file(s->file);
    write_branch(s->expr, top, 0);
    if (s->flags & SF_BREAK) define_label(out);
}

// The mark may stand on the test or, behind a prelude, on the test proper.
bool holds_on_entry(const ExprNode *test) {
    if (test->eflags & EF_TEST_HOLDS_FIRST) return true;
    return test->op == OP_PRELUDE && test->right != nullptr &&
           (test->right->eflags & EF_TEST_HOLDS_FIRST);
}

// The initial expression of a for or counted loop, positioned only when it
// stands apart from the head's first token.
void write_loop_init(StmtNode *s) {
    if (s->init == nullptr) return;
    if (s->col < s->mid_col) position(s, 2);
    write_expr_stmt(s->init);
}

void write_for(StmtNode *s) {
    write_loop_init(s);
    uint16_t top = make_label(), next = make_label();
    if (s->expr != nullptr && !is_int_const(s->expr)) {
        // The test stands at the bottom; the loop is entered with a jump to
        // it unless the test is known to hold the first time.
        uint16_t test = holds_on_entry(s->expr) ? 0 : make_label();
        uint16_t out = make_label();
        write_label_ops(test, top, line_of(s->body), 0);
        write_stmt(s->body, next, out);
        write_source_file(s->file);
        if (s->flags & SF_CONTINUE) write_label_ops(0, next, s->line, 0);
        else write_line(s->line);
        if (s->update != nullptr) {
            position(s, 3);
            write_expr_stmt(s->update);
        }
        write_label_ops(0, test, s->line, 1);
        position(s, 4);
        write_branch(s->expr, top, 0);
        if (s->flags & SF_BREAK) define_label(out);
        return;
    }
    if (s->expr != nullptr && s->expr->value == 0) return;
    // No test, or one that always holds.
    write_label_ops(0, top, line_of(s->body), 0);
    uint16_t update = s->update != nullptr ? make_label() : top;
    write_stmt(s->body, update, next);
    if (s->update != nullptr) {
        position(s, 3);
        if (s->flags & SF_CONTINUE) write_label_ops(0, update, s->line, 0);
        else write_line(s->line);
        write_expr_stmt(s->update);
    }
    write_label_ops(top, (s->flags & SF_BREAK) ? next : 0, 0, 0);
}

// A loop whose trip count the code generator keeps: the count is the
// expression, and a break inside leads to the close of the loop.
void write_counted(StmtNode *s) {
    write_loop_init(s);
    // A constant count that is not positive is a loop that never runs.
    if (is_int_const(s->expr) && s->expr->value <= 0) return;
    uint16_t close = make_label();
    position(s, 4);
    put_byte(REC_COUNTED_LOOP);
    put_u16(close);
    put_byte(1);
    write_expr(s->expr, 0);
    write_stmt(s->body, 0, close);
    write_source_file(s->file);
    write_line(s->line);
    if (s->update != nullptr) {
        position(s, 3);
        write_expr_stmt(s->update);
    }
    position(s, 4);
    put_byte(REC_COUNTED_LOOP);
    put_u16(close);
    put_byte(0);
}

// Gives every statement in `body` that carries a code label a new one, so
// that a body written once more defines each of its labels once.  A switch
// inside finds the new labels through its case list, a goto through its
// label Symbol.  The walk keeps its path on the heap, as the body may nest
// deep.
void relabel(StmtNode *body) {
    std::vector<StmtNode *> pending{body};
    while (!pending.empty()) {
        StmtNode *s = pending.back();
        pending.pop_back();
        if (s == nullptr) continue;
        if (s->label != 0) s->label = make_label();
        switch (s->kind) {
        case ST_BLOCK:
            for (StmtNode *c = s->body; c != nullptr; c = c->next) pending.push_back(c);
            break;
        case ST_IF:
            pending.push_back(s->body);
            pending.push_back(s->alt);
            break;
        case ST_SEQUENCE: case ST_SWITCH: case ST_DO: case ST_WHILE: case ST_FOR: case ST_COUNTED:
            pending.push_back(s->body);
            break;
        default:
            break;
        }
    }
}

// The body written once for each round.  The control variable is no
// variable while this runs: each of its reads is the constant of the round.
void write_unrolled(StmtNode *s) {
    int32_t rounds = s->expr != nullptr ? s->expr->value : 0;
    Symbol *var = nullptr;
    if (s->init != nullptr && s->init->left != nullptr && (s->init->left->lflags & LF_SYMBOL) &&
        s->init->right != nullptr) {
        var = s->init->left->sym;
        ExprNode *round = make_int_const(nullptr, s->init->right->value);
        round->type = var->type;
        var->init = round;
        var->flags |= SYM_UNROLL_VALUE;
    }
    int32_t step = s->update != nullptr && s->update->op == OP_ADD_ASSIGN ? 1 : -1;
    for (int32_t i = 0; i < rounds; i++) {
        bool more = i + 1 < rounds;
        if (more) rounds_to_come++;
        if (i > 0) relabel(s->body);
        write_stmt(s->body, 0, 0);
        if (more) rounds_to_come--;
        if (var != nullptr) var->init->value += step;
    }
    if (var != nullptr) var->flags &= ~uint32_t(SYM_UNROLL_VALUE);
}

void write_switch(StmtNode *s, uint16_t continue_label) {
    position(s, 0);
    write_value_to(s->expr, LOC_SELECTOR);
    const ExprNode *selector = s->expr->op == OP_PRELUDE ? s->expr->right : s->expr;
    uint32_t width = uint32_t(type_size(selector->type));
    uint16_t table = make_label();
    put_byte(width == 1 ? REC_SWITCH1 : width == 2 ? REC_SWITCH2 : REC_SWITCH4);
    put_u16(table);
    uint16_t end = make_label();
    write_stmt(s->body, continue_label, end);
    uint16_t undefined = write_switch_table(table, end, s->cases, width);
    if (undefined != 0 || (s->flags & SF_BREAK)) {
        put_byte(REC_CASE_LABEL);
        put_u16(end);
        put_u32(0);
    }
}

// An argument or the address of a much-used global goes to its register
// at the entry of the function.
void write_reg_move(StmtNode *s) {
    ExprNode *leaf = s->expr;
    Symbol *sym = leaf->sym;
    if (sym->partner != nullptr) {
        write_value_to(leaf, register_location(sym->partner->attr));
        return;
    }
    // The argument is read from its slot as an argument in memory, and is
    // the register from then on.
    uint16_t number = sym->attr;
    sym->sclass = SC_ARG;
    sym->attr = 0;
    apply_default_attrs(&sym->attr, SC_ARG, sym->type->code);
    if ((sym->flags & SYM_ARG_WIDENED) && reg_arg_count != 0)
        sym->value -= uint32_t(type_size(&type_int) - type_size(sym->type));
    write_value_to(leaf, register_location(number));
    sym->attr = number;
    sym->value = 0;
    sym->sclass = SC_REGISTER;
}

void write_stmt_here(StmtNode *s, uint16_t continue_label, uint16_t break_label) {
    write_source_file(s->file);
    if (s->label != 0) {
        put_byte((s->flags & SF_CASE_TARGET) ? REC_CASE_LABEL : REC_LABEL);
        put_u16(s->label);
        put_u32(s->line);
        if (s->line != 0) put_byte(0);
    } else if (s->kind != ST_BLOCK) {
        write_line(s->line);
    }
    switch (s->kind) {
    case ST_EXPR:
        position(s, 0);
        if (s->expr != nullptr) write_expr_stmt(s->expr);
        break;
    case ST_SEQUENCE:
        write_sequence(s, continue_label, break_label);
        break;
    case ST_BLOCK:
        for (StmtNode *c = s->body; c != nullptr; c = c->next)
            if (!(c->flags & SF_DEAD)) write_stmt(c, continue_label, break_label);
        break;
    case ST_REG_MOVE:
        write_reg_move(s);
        break;
    case ST_ASM:
        write_asm(s);
        break;
    case ST_BREAK:
        position(s, 0);
        jump_to(break_label);
        break;
    case ST_CONTINUE:
        position(s, 0);
        jump_to(continue_label);
        break;
    case ST_GOTO:
        position(s, 0);
        if (s->expr != nullptr) write_expr_stmt(s->expr);
        jump_to(label_of(s->goto_label));
        break;
    case ST_RETURN:
        position(s, 0);
        if (s->expr != nullptr) write_value_to(s->expr, LOC_RESULT);
        put_byte(REC_RETURN);
        break;
    case ST_IF:
        write_if(s, continue_label, break_label);
        break;
    case ST_SWITCH:
        write_switch(s, continue_label);
        break;
    case ST_DO:
        write_do(s);
        break;
    case ST_WHILE:
        write_while(s);
        break;
    case ST_FOR:
        write_for(s);
        break;
    case ST_COUNTED:
        if (s->flags & SF_UNROLLED) write_unrolled(s);
        else write_counted(s);
        break;
    default:
        break;
    }
}

}  // namespace

void write_stmt(StmtNode *stmt, uint16_t continue_label, uint16_t break_label) {
    if (stmt == nullptr || error_count != 0) return;
    // Statements nest as deep as the source does; near the end of the stack
    // the walk goes on in a thread with a large stack of its own.
    if (stack_is_low()) {
        auto call = [&] { write_stmt_here(stmt, continue_label, break_label); };
        on_fresh_stack(call);
        return;
    }
    write_stmt_here(stmt, continue_label, break_label);
}
