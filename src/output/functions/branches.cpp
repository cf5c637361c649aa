// The pieces that statements are written with: conditional branches,
// values stored in places without a Symbol, expression statements with
// their preludes, and source positions.
#include "output/records.h"

#include "decl/type.h"
#include "driver/options.h"
#include "driver/stack_room.h"
#include "expr/expr_node.h"
#include "stmt/stmt_node.h"

namespace {

// The branch record of each comparison, in the order of the operator codes
// OP_LT .. OP_NE.
constexpr uint8_t branch_tags[] = {REC_BRANCH_LT, REC_BRANCH_GE, REC_BRANCH_GT,
                                   REC_BRANCH_LE, REC_BRANCH_EQ, REC_BRANCH_NE};

void define_label(uint16_t label) { write_label_ops(0, label, 0, 0); }

// A comparison of `left` and `right` by `op`, branching to `label` when it
// holds.
void write_compare(int op, uint16_t label, ExprNode *left, ExprNode *right) {
    put_byte(branch_tags[op - OP_LT]);
    put_u16(label);
    write_expr(left, 0);
    write_expr(right, 0);
}

void write_branch_here(ExprNode *expr, uint16_t label, int sense) {
    if (expr->op == OP_PRELUDE) {
        write_prelude(expr);
        expr = expr->right;
    }
    while (expr->op == OP_COMMA) {
        put_byte(REC_EXPR);
        write_expr(expr->left, 1);
        expr = expr->right;
    }
    // && and || branch on each operand: a test that decides the whole goes
    // to the label, one that does not falls through to the next test.
    if (expr->op == OP_LOGAND || expr->op == OP_LOGOR) {
        bool fall_through_on_first = (expr->op == OP_LOGAND) != (sense == 1);
        if (!fall_through_on_first) {
            write_branch(expr->left, label, sense);
            write_branch(expr->right, label, sense);
            return;
        }
        uint16_t skip = uint16_t(new_label());
        write_branch(expr->left, skip, !sense);
        write_branch(expr->right, label, sense);
        define_label(skip);
        return;
    }
    if (is_comparison(expr->op)) {
        write_compare(sense ? negated_op(expr->op) : expr->op, label, expr->left, expr->right);
        return;
    }
    if (expr->op == OP_LEAF && (expr->lflags & 7) == LEAF_CONST) {
        // A decided test: a jump, or nothing.
        if ((expr->value == 0) == (sense == 1)) write_label_ops(label, 0, 0, 0);
        return;
    }
    // Any other test is a value compared with 0.
    ExprNode *zero = make_int_const(nullptr, 0);
    if (!is_real_code(expr->type->code)) zero->type = expr->type;
    write_compare(sense ? OP_EQ : OP_NE, label, expr, zero);
}

}  // namespace

void write_branch(ExprNode *expr, uint16_t label, int sense) {
    if (expr == nullptr) return;
    if (stack_is_low()) {
        auto call = [&] { write_branch_here(expr, label, sense); };
        on_fresh_stack(call);
        return;
    }
    write_branch_here(expr, label, sense);
}

// The value goes to the place through an assignment to a leaf of that
// location.  The result and the selector are held at least as wide as an
// int.
void write_value_to(ExprNode *expr, uint32_t location) {
    if (expr->op == OP_PRELUDE) {
        write_prelude(expr);
        expr = expr->right;
        if (expr == nullptr) return;
    }
    TypeNode *type = location == LOC_RESULT ? func_state.return_type : expr->type;
    if (location == LOC_RESULT || location == LOC_SELECTOR) type = promote_type(type, 0);
    put_byte(REC_EXPR);
    put_byte(REC_OP_ASSIGN);
    write_type(type, 0);
    put_byte(REC_LEAF);
    write_type(type, 0);
    put_byte(0);   // no Ref
    put_u16(0);
    put_u32(0);    // value
    put_byte(location);
    put_byte(0);   // indirect
    write_expr(expr, 0);
}

// The statements of a prelude run with no loop around them: a break or
// continue inside belongs to a loop of their own.
void write_prelude(const ExprNode *prelude) {
    std::vector<StmtNode *> statements;
    prelude_statements(prelude, statements);
    for (StmtNode *s : statements) write_stmt(s, 0, 0);
}

void write_expr_stmt(ExprNode *expr) {
    if (expr != nullptr && expr->op == OP_PRELUDE) {
        write_prelude(expr);
        expr = expr->right;
    }
    if (expr == nullptr) return;
    put_byte(REC_EXPR);
    write_expr(expr, 0);
}

void write_stmt_position(const StmtNode *stmt, int mode) {
    uint32_t first_line, last_line;
    uint32_t first_col, last_col;
    switch (mode) {
    case 1:
        first_line = stmt->mid_line, first_col = stmt->mid_col;
        last_line = stmt->end_line, last_col = stmt->end_col;
        break;
    case 2:
        first_line = stmt->line, first_col = stmt->col;
        last_line = stmt->mid_line, last_col = stmt->mid_col;
        break;
    case 3:
        first_line = stmt->last_line, first_col = stmt->last_col + 1u;
        last_line = stmt->end_line, last_col = stmt->end_col;
        break;
    case 4:
        first_line = stmt->mid_line, first_col = stmt->mid_col + 1u;
        last_line = stmt->last_line, last_col = stmt->last_col;
        break;
    default:
        first_line = stmt->line, first_col = stmt->col;
        last_line = stmt->end_line, last_col = stmt->end_col;
        break;
    }
    put_byte(REC_POSITION);
    put_u32(first_line);
    put_u16(first_col);
    put_u32(last_line);
    put_u16(last_col);
}
