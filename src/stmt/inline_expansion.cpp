// Inline function expansion.  An @inline function keeps the tokens of its
// body; each call of it is a new parse of those tokens in the place of the
// call, as a block whose locals are the parameters, and the call becomes
// the variable that receives the result.  The block runs in front of the
// statement's expression, hung on an OP_PRELUDE node, so an expansion sees
// the arguments of its own call and folds with them.
#include <algorithm>
#include <cstdio>
#include <vector>

#include "decl/type.h"
#include "driver/options.h"
#include "driver/stack_room.h"
#include "preproc/source.h"
#include "stmt/statements.h"

namespace {

// Number of `.temp_%d.` names made, over the whole run.
int32_t temp_counter;
// Nesting of the expansions that statements start.
int32_t expand_depth;

// The `.temp_%d.` Symbols that stand on symbol_list now, oldest first.  A
// temporary is made at the head of symbol_list, in the innermost open
// block, and leaves the list when that block closes; blocks nest, so the
// temporaries of the block that closes are the newest ones here.  Looking
// from the back therefore meets them in list order, as a walk of
// symbol_list would, without passing every other name of the scope.
std::vector<Symbol *> temps;

// Mode bits of the walk.
constexpr int VALUE_READ = 1;   // the value of the expression is read
constexpr int DRY_RUN = 2;      // the expression need not run: change nothing

bool is_inline_call(const ExprNode *call) {
    const ExprNode *callee = call->left;
    return callee != nullptr && callee->op == OP_LEAF && (callee->lflags & LF_SYMBOL) != 0 &&
           callee->sym != nullptr && (callee->sym->attr & ATTR_INLINE) != 0 &&
           callee->sym->inline_body != nullptr && callee->sym->type != nullptr &&
           callee->sym->type->code == TY_FUNCTION;
}

// Hangs `statement` on the prelude whose left field is `*prelude`: the
// first one directly, later ones through a further OP_PRELUDE node that
// keeps what came before on its left.
void append_to_prelude(ExprNode **prelude_holder, StmtNode *statement) {
    ExprNode *holder = *prelude_holder;
    if (holder->statements == nullptr) {
        holder->statements = statement;
        return;
    }
    ExprNode *nested = new_expr(OP_PRELUDE);
    nested->type = nullptr;
    nested->statements = holder->statements;
    nested->eflags = holder->eflags & EF_NESTED_PRELUDE;
    nested->then_stmt = statement;
    holder->statements = reinterpret_cast<StmtNode *>(nested);
    holder->eflags |= EF_NESTED_PRELUDE;
}

// An ST_IF at the current position.
StmtNode *new_if(ExprNode *test, StmtNode *body, StmtNode *alt) {
    StmtNode *s = new_stmt(ST_IF);
    s->line = s->end_line = current_line();
    s->col = s->end_col = 0;
    s->file = current_file_name();
    s->expr = test;
    s->body = body;
    s->alt = alt;
    return s;
}

int expand_calls_in(ExprNode **slot, ExprNode **prelude, int mode);

// The arguments of a call, first to last.  The last one is not wrapped in
// an OP_ARG link.
int expand_arguments(ExprNode *call, ExprNode **prelude, int mode) {
    ExprNode **slot = &call->right;
    while (*slot != nullptr) {
        ExprNode **value = *slot != nullptr && (*slot)->op == OP_ARG ? &(*slot)->left : slot;
        if (expand_calls_in(value, prelude, mode | VALUE_READ) == 0)
            return 0;
        if (value == slot)
            break;
        slot = &(*slot)->right;
    }
    return 1;
}

// `*slot` is a call of an inline function with a stored body, or an
// assignment of such a call: its body is parsed again here, as a block in
// the prelude, and the call gives way to the variable holding its result.
int expand_call(ExprNode **slot, ExprNode **prelude, int mode, ExprNode *call, ExprNode *target) {
    Symbol *fn = call->left->sym;
    if (fn->flags & SYM_INLINE_OPEN) {
        report("invalid recursive inline function");
        return 1;
    }
    if (mode & DRY_RUN)
        return 0;
    if (expand_arguments(call, prelude, mode) == 0)
        return 0;
    // A definition without a prototype was refused; its calls stay calls.
    TypeNode *type = fn->type;
    if (type->args == nullptr)
        return 1;

    int32_t saved_mode = token_mode;
    ExprNode *saved_result = func_state.inline_result;
    TypeNode *saved_return_type = func_state.return_type;
    Symbol *saved_labels = label_list;
    SavedToken **saved_tail = record_tail;
    NameRecord *saved_label_name = func_state.return_label_name;
    // The tokens read last stay as they were: what the parser reads next
    // and gives back, and the position of a message, are those of the
    // caller's source, not of the replayed body.
    TokenRing saved_ring = token_ring;
    Token *saved_last = last_token;
    label_list = nullptr;

    func_state.return_type = type->next;
    ExprNode *result = nullptr;
    if (target != nullptr)
        result = target;
    else if ((mode & VALUE_READ) != 0 && type->next->code != TY_VOID)
        result = inline_temp(type->next);
    func_state.inline_result = result;
    token_mode = 2;
    record_tail = &fn->inline_body;

    StmtNode *block = new_stmt(ST_BLOCK);
    block->line = block->end_line = current_line();
    block->col = block->end_col = 0;
    block->file = current_file_name();
    fn->flags |= SYM_INLINE_OPEN;
    parse_block(nullptr, nullptr, block, type->args, call->right);
    fn->flags &= ~uint32_t(SYM_INLINE_OPEN);

    append_to_prelude(prelude, block);
    if (result == nullptr && (mode & VALUE_READ) != 0)
        result = make_int_const(nullptr, 0);   // a void call in a value place
    *slot = result != nullptr ? copy_tree(result) : nullptr;

    token_mode = saved_mode;
    record_tail = saved_tail;
    token_ring = saved_ring;
    last_token = saved_last;
    func_state.inline_result = saved_result;
    func_state.return_type = saved_return_type;
    func_state.return_label_name = saved_label_name;
    if (label_list != nullptr) {
        Symbol *last = label_list;
        while (last->next != nullptr)
            last = last->next;
        last->next = func_state.expansion_labels;
        func_state.expansion_labels = label_list;
    }
    label_list = saved_labels;
    return 1;
}

// `a && b`, `a || b`: when `b` holds an inline call it cannot run before
// the whole expression, so the operator becomes an if on a temporary.
int expand_logical(ExprNode **slot, ExprNode **prelude, int mode) {
    ExprNode *e = *slot;
    if (expand_calls_in(&e->left, prelude, mode | VALUE_READ) == 0)
        return 0;
    ExprNode *right = e->right;
    if (expand_calls_in(&right, prelude, mode | VALUE_READ | DRY_RUN) != 0)
        return 1;
    if (mode & DRY_RUN)
        return 0;
    ExprNode *test = e->op == OP_LOGAND ? e->left : negate_test(e->left);
    ExprNode *t = inline_temp(&type_uchar);
    StmtNode *body = make_assign_stmt(t, e->right);
    StmtNode *alt = make_assign_stmt(copy_tree(t), make_int_const(nullptr, e->op == OP_LOGAND ? 0 : 1));
    append_to_prelude(prelude, new_if(test, body, alt));
    *slot = copy_tree(t);
    func_state.known_values = nullptr;
    make_test(slot);
    expand_inline_calls(&body->expr, 0, 0);
    return 1;
}

// `c ? a : b` with an inline call in `a` or `b`: an if that stores the
// branch taken in a temporary; only a branch with such a call is expanded.
int expand_conditional(ExprNode **slot, ExprNode **prelude, int mode) {
    ExprNode *e = *slot;
    if (expand_calls_in(&e->left, prelude, mode | VALUE_READ) == 0)
        return 0;
    ExprNode *middle = e->middle;
    ExprNode *right = e->right;
    int middle_plain = expand_calls_in(&middle, prelude, mode | VALUE_READ | DRY_RUN);
    int right_plain = expand_calls_in(&right, prelude, mode | VALUE_READ | DRY_RUN);
    if (middle_plain != 0 && right_plain != 0)
        return 1;
    if (mode & DRY_RUN)
        return 0;
    TypeNode *type = e->middle->type;
    StmtNode *body;
    StmtNode *alt;
    if (type->code == TY_VOID) {
        // Nothing to keep: each branch is a statement of its own.
        body = make_assign_stmt(nullptr, e->middle);
        alt = make_assign_stmt(nullptr, e->right);
        *slot = make_int_const(nullptr, 0);
    } else {
        ExprNode *t = inline_temp(type);
        body = make_assign_stmt(t, e->middle);
        alt = make_assign_stmt(copy_tree(t), e->right);
        *slot = copy_tree(t);
    }
    append_to_prelude(prelude, new_if(e->left, body, alt));
    func_state.known_values = nullptr;
    if (middle_plain == 0)
        expand_inline_calls(&body->expr, 0, 0);
    if (right_plain == 0)
        expand_inline_calls(&alt->expr, 0, 0);
    return 1;
}

int expand_calls_here(ExprNode **slot, ExprNode **prelude, int mode) {
    ExprNode *e = *slot;
    if (e == nullptr || e->op == OP_LEAF)
        return 1;
    switch (e->op) {
    case OP_LOGAND:
    case OP_LOGOR:
        return expand_logical(slot, prelude, mode);
    case OP_COND:
        return expand_conditional(slot, prelude, mode);
    case OP_PRELUDE:
        return expand_calls_in(&e->right, prelude, mode);
    case OP_ASSIGN:
        if (e->right != nullptr && e->right->op == OP_CALL && is_inline_call(e->right)) {
            if (expand_calls_in(&e->left, prelude, mode) == 0)
                return 0;
            return expand_call(slot, prelude, mode, e->right, e->left);
        }
        break;
    case OP_CALL:
        if (is_inline_call(e))
            return expand_call(slot, prelude, mode, e, nullptr);
        // The function called may itself come from an expression.
        if (e->left != nullptr && e->left->op != OP_LEAF &&
            expand_calls_in(&e->left, prelude, mode | VALUE_READ) == 0)
            return 0;
        return expand_arguments(e, prelude, mode);
    default:
        break;
    }
    if (expand_calls_in(&e->left, prelude, mode | VALUE_READ) == 0)
        return 0;
    if ((e->op & 0x40) != 0 || e->op == OP_COMMA)
        return expand_calls_in(&e->right, prelude, mode | VALUE_READ);
    return 1;
}

// The walk over one expression.  `prelude` is the OP_PRELUDE node that
// takes the statements; in a dry run a 0 means an inline call was met.
// Deep trees go on on a fresh stack.
int expand_calls_in(ExprNode **slot, ExprNode **prelude, int mode) {
    if (stack_is_low()) {
        int result = 1;
        auto call = [&] { result = expand_calls_here(slot, prelude, mode); };
        on_fresh_stack(call);
        return result;
    }
    return expand_calls_here(slot, prelude, mode);
}

} // namespace

void expand_inline_calls(ExprNode **slot, int counted, int value_used) {
    if (counted) {
        if (token_mode == 1 || func_state.pending_inline == 0 || *slot == nullptr)
            return;
        expand_depth++;
    }
    ExprNode *prelude = new_expr(OP_PRELUDE);
    prelude->statements = nullptr;
    prelude->right = *slot;
    prelude->type = *slot != nullptr ? (*slot)->type : nullptr;
    expand_calls_in(&prelude->right, &prelude, value_used ? VALUE_READ : 0);
    if (prelude->right != nullptr)
        prelude->type = prelude->right->type;
    *slot = prelude;
    if (counted) {
        expand_depth--;
        // The temporaries of this statement are free again.
        if (expand_depth == 0)
            for (Symbol *temp : temps)
                temp->flags &= ~uint32_t(SYM_ASSIGNED);
    }
}

StmtNode *bind_inline_argument(Symbol *param, Symbol *locals, ExprNode *argument, StmtNode *block) {
    if (param == nullptr || param->name == nullptr || argument == nullptr)
        return nullptr;
    Symbol *local = find_symbol(param->name, locals, nullptr);
    if (local == nullptr || (local->flags & SYM_USED) == 0)
        return nullptr;   // never read: the argument is not evaluated
    if ((local->flags & (SYM_ADDR_TAKEN | SYM_ASSIGNED)) == 0 && opt_nc == 0) {
        // A value that is known here takes the parameter's place in the body.
        ExprNode *value = nullptr;
        uintptr_t form = argument->op == OP_LEAF ? (argument->lflags & 0xFF) : 0;
        if (is_int_const(argument)) {
            value = argument;
        } else if (argument->op == OP_LEAF && argument->type != nullptr && argument->type->code == TY_POINTER &&
                   (form & (LF_CONTENTS | LF_SYMBOL)) == 0) {
            value = argument;
        } else if (argument->op == OP_LEAF && (form & 3) == 3 && argument->sym != nullptr &&
                   (argument->sym->attr & ATTR_VOLATILE) == 0) {
            Symbol *var = argument->sym;
            if ((var->attr & ATTR_CONST) != 0 && var->init != nullptr && var->init->op == OP_LEAF &&
                argument->value == 0)
                value = var->init;
            else
                value = find_known_value(argument);
        }
        if (value != nullptr) {
            local->attr |= ATTR_CONST;
            local->init = value;
            return nullptr;
        }
    }
    StmtNode *s = new_stmt(ST_EXPR);
    s->file = block->file;
    s->line = block->line;
    s->col = block->col;
    s->end_line = block->end_line;
    s->end_col = block->end_col;
    ExprNode *assign = new_expr(OP_ASSIGN);
    assign->left = variable_leaf(local, param->type, LEAF_VARIABLE);
    assign->right = argument;
    assign->type = param->type;
    uint16_t was_const = local->attr & ATTR_CONST;
    local->attr &= uint16_t(~ATTR_CONST);
    s->expr = assign_expr(assign);
    local->attr |= was_const;
    return s;
}

ExprNode *inline_temp(TypeNode *type) {
    Symbol *sym = nullptr;
    for (size_t i = temps.size(); i-- > 0;) {
        Symbol *temp = temps[i];
        if ((temp->flags & SYM_ASSIGNED) == 0 && same_type(type, temp->type)) {
            sym = temp;
            sym->flags |= SYM_ASSIGNED;
            break;
        }
    }
    if (sym == nullptr) {
        temp_counter++;
        char text[32];
        int length = std::snprintf(text, sizeof text, ".temp_%d.", int(temp_counter));
        sym = new_symbol(&symbol_list, intern_name(text, unsigned(length)), SC_AUTO, type);
        sym->flags |= SYM_USED | SYM_DECLARED | SYM_ASSIGNED;
        temps.push_back(sym);
    }
    sym->use_count++;
    return variable_leaf(sym, type, LEAF_VARIABLE);
}

size_t inline_temp_mark() { return temps.size(); }

void inline_temp_leave(size_t mark) {
    if (temps.size() > mark)
        temps.resize(mark);
}

StmtNode *make_assign_stmt(ExprNode *target, ExprNode *value) {
    StmtNode *s = new_stmt(ST_EXPR);
    s->line = s->end_line = current_line();
    s->col = s->end_col = 0;
    s->file = current_file_name();
    if (target == nullptr) {
        s->expr = value;
        return s;
    }
    ExprNode *assign = new_expr(OP_ASSIGN);
    assign->left = target;
    assign->right = value;
    assign->type = target->type;
    s->expr = assign_expr(assign);
    return s;
}

void prelude_statements(const ExprNode *prelude, std::vector<StmtNode *> &out) {
    size_t first = out.size();
    // The chain is newest first: collect backwards, then turn it round.
    const ExprNode *holder = prelude;
    for (;;) {
        if ((holder->eflags & EF_NESTED_PRELUDE) == 0) {
            if (holder->statements != nullptr)
                out.push_back(holder->statements);
            break;
        }
        const auto *nested = reinterpret_cast<const ExprNode *>(holder->statements);
        out.push_back(nested->then_stmt);
        holder = nested;
    }
    std::reverse(out.begin() + long(first), out.end());
}
