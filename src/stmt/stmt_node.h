// Statements: the StmtNode tree that the statement parser builds and that
// tree rewriting, register assignment and emission walk; the statement
// kinds and flags; the records of counted-loop candidates.
#pragma once

#include <cstdint>
#include <vector>

#include "decl/symbol.h"

struct ExprNode;

// ---------------------------------------------------------------------------
// Statement kinds: the token code of the statement's keyword, 0 for an
// expression statement, and a few kinds made by later passes.
enum : uint8_t {
    ST_EXPR = 0,        // expression statement; empty when expr is null
    ST_SEQUENCE = 1,    // made by tree rewriting: run expr, then body
    ST_BLOCK = 16,      // { }: body first statement, alt next block, locals
    ST_REG_MOVE = 28,   // made by register assignment
    ST_ASM = 31,        // #asm block, body its pieces; a piece is ST_ASM with text
    ST_BREAK = 129,
    ST_CONTINUE = 133,
    ST_DO = 135,
    ST_ELSE = 137,      // a stray else, after its error only
    ST_FOR = 141,
    ST_GOTO = 142,      // also return inside an inline expansion
    ST_IF = 143,
    ST_RETURN = 147,
    ST_SWITCH = 153,
    ST_WHILE = 159,
    ST_COUNTED = 176,   // a for loop turned into a counted loop
};

// Statement flags.
enum : uint16_t {
    SF_BREAK = 0x1,            // a break that leaves this loop or switch was parsed
    SF_CONTINUE = 0x2,         // a continue that targets this loop was parsed
    SF_GOTO = 0x4,             // a goto stands in the body; this is the innermost loop
    SF_NO_FALLTHROUGH = 0x8,   // control never passes the end
    SF_DEAD = 0x10,            // unreachable: neither rewritten nor emitted
    SF_CASE_TARGET = 0x20,     // carries a case or default label of a case list
    SF_LABELLED = 0x40,        // carries a name label or holds a jump target
    SF_HAS_CALLS = 0x80,       // root block: the function makes calls
    SF_VAR_READ = 0x100,       // ST_FOR: the control variable is read in the loop
    SF_VAR_CHANGED = 0x200,    // ST_FOR: control variable assigned, or bound not invariant
    SF_UNROLLED = 0x400,       // ST_COUNTED: emitted unrolled
    SF_HOLDER = 0x800,         // ST_BLOCK made by rewriting around a lone body and
                               // what goes behind it; no scope, no locals
};

// Mark on the test of an ST_FOR (ExprNode.eflags): the test is known to
// hold when the loop is entered, so the loop need not branch to it first.
constexpr uint8_t EF_TEST_HOLDS_FIRST = 2;

// Mark on an OP_PRELUDE node (ExprNode.eflags): its `statements` is no
// StmtNode but a further OP_PRELUDE node, whose own `statements` run first
// and whose `then_stmt` follows them.  Without the mark `statements` is the
// one statement, or null.
constexpr uint8_t EF_NESTED_PRELUDE = 64;

// One statement.  What expr, body, alt and extra hold depends on kind; a
// field a kind does not use keeps an old value and is never read.
struct StmtNode {
    StmtNode *link;              // pool chain and free list
    StmtNode *next;              // next statement of the list holding this one
    union {
        ExprNode *expr;          // expression or test
        char *text;              // piece of ST_ASM: the bytes of one line
    };
    union {
        StmtNode *body;          // first nested statement, loop body, then-branch
        StmtNode *target;        // ST_BREAK, ST_CONTINUE: the statement left or continued
        Symbol *goto_label;      // ST_GOTO: the label Symbol
    };
    union {
        StmtNode *alt;           // ST_IF: the else-statement or null
        StmtNode *next_block;    // ST_BLOCK: next block of the function, in order of opening
        Symbol *cases;           // ST_SWITCH: case list sorted by value
        ExprNode *init;          // ST_FOR, ST_COUNTED: init expression or null
    };
    union {
        Symbol *locals;          // ST_BLOCK: the block's local Symbols or null
        ExprNode *update;        // ST_FOR, ST_COUNTED: update expression or null
    };
    const char *file;            // source file of the first token
    uint32_t line;               // line of the first token, labels included
    uint32_t end_line;           // line of the last token of the head
    union {
        uint32_t mid_line;       // ST_DO: the ( after while; ST_FOR: the first ;
        uint32_t text_length;    // piece of ST_ASM: length of the text
    };
    uint32_t last_line;          // ST_FOR: the second ;
    uint16_t col;
    uint16_t end_col;
    uint16_t mid_col;
    uint16_t last_col;
    uint16_t flags;
    uint16_t label;              // code label, 0 if nobody jumps here by name or case
    uint8_t kind;
};

// A for loop with a plain integer control variable, on the stack headed by
// loop_records.  The bound_vars entries have the same shape; only outer, var
// and uses are used in them.
struct LoopRecord {
    LoopRecord *outer;
    LoopRecord *bound_vars;
    Symbol *var;
    uint32_t uses;               // 0x2 read, 0x4000 assigned
    uint16_t nest;               // nesting levels of counted loops it would hold
};

// Gives `to` the source range of `from`: file, first and last line and
// column.  For statements that later passes make in place of others.
inline void copy_position(StmtNode *to, const StmtNode *from) {
    to->file = from->file;
    to->line = from->line;
    to->end_line = from->end_line;
    to->col = from->col;
    to->end_col = from->end_col;
}

// The statement pool (stmt_pool.cpp).  new_stmt sets kind and clears next,
// flags and label only.  No mark is taken: release_stmts gives back every
// node ever taken from the heap, at the end of each function definition.
StmtNode *new_stmt(int32_t kind);
void release_stmts();

// ---------------------------------------------------------------------------
// The state of the function being parsed, in one record.  The expression
// layer counts into it and keeps its known values in it; the statement and
// function layers set it up per function and read it to judge loops.
//
// It is one value on purpose: a directive whose expression the parser reads
// in the middle of a function (#if, #elif, the #pragma forms) is no code of
// that function, so token_source_switch saves the whole record when it
// switches to the directive's tokens and puts it back when it switches
// back, together with the expression nodes the directive took.
struct FuncState {
    // Known values of variables (expr/typing/known_values.cpp): newest-first
    // records, `left` an lvalue, `right` its value or null for "known to be
    // unknown", `next_known` the next older record.  Null means nothing is
    // known; it is cut to null wherever control joins and at every call.
    // The lookup index beside the list follows whatever head stands here.
    ExprNode *known_values;
    Symbol **case_list_slot;     // alt field of the innermost open switch, or null
    StmtNode **block_chain_tail; // where the next ST_BLOCK is linked
    LoopRecord *loop_records;    // innermost for loop with a plain integer control variable
    uint16_t loop_depth;         // open loops; a use weighs 2 * loop_depth more
    uint16_t loop_has_long_div;  // a / or % of long, unsigned long or float was typed
    int32_t op_count;            // operators and #asm blocks so far; differences size a loop body
    int32_t call_count;          // calls so far in this function that stay calls
    int32_t pending_inline;      // inline calls of this expression waiting for expansion
    int32_t in_data_init;        // a static object's initial value is being written
    TypeNode *return_type;       // the function's result; in an expansion the inline function's
    NameRecord *return_label_name; // `.return_%d.` label of the expansion being parsed
    ExprNode *inline_result;     // receives the result of the expansion being parsed, or null

    // Function level.
    uint16_t in_function;        // 1 from the head of the body to the end of the definition
    uint16_t function_attr;      // attr word of the function's Symbol
    int32_t frame_offset;        // running frame offset of the locals
    int32_t frame_low;           // lowest frame offset reached
    Symbol *expansion_labels;    // statement labels of this function's inline expansions
};

extern FuncState func_state;

// ---------------------------------------------------------------------------
// The statement parser.
StmtNode *parse_statement(StmtNode *continue_target, StmtNode *break_target);
void add_case_label(int32_t kind, int32_t value, StmtNode *statement);
uint16_t mark_dead(StmtNode *statement);
void note_var_use(Symbol *symbol, uint32_t bits);
bool loop_invariant(ExprNode *expression);

// Statement rewriting, for the statements that run in front of an
// expression, and for a whole function body once it is parsed.
void rewrite_stmt(StmtNode *statement);

// ---------------------------------------------------------------------------
// Blocks and function bodies (block.cpp).  `{` has been read.  With `block`
// null the node is made here and the block is a function body, in the scope
// that define_function opened; with `block` given a new scope opens.
// `params` and `args` come from an inline expansion only: the parameter
// list of the inline function and the OP_ARG list of the call.
StmtNode *parse_block(StmtNode *continue_target, StmtNode *break_target, StmtNode *block,
                      Symbol *params, ExprNode *args);
// The initialiser of a block-scope object: the assignment that sets it at
// run time, or null (none given, or a static whose data went out at once).
ExprNode *parse_local_initializer(Symbol *sym);
// Number of `.return_%d.` labels made so far, over the whole run.
extern int32_t return_label_counter;

// ---------------------------------------------------------------------------
// The passes that follow the parse of a function, and inline expansion, in
// the order a body meets them.

// Inline expansion (inline_expansion.cpp).  expand_inline_calls wraps the
// expression at `slot` in an OP_PRELUDE and expands the inline calls in
// it; `counted` is 1 for the expression of a statement, 0 for one that an
// expansion makes.  bind_inline_argument gives the parameter local found
// in `locals` the value of `argument`: a statement that assigns it, or null
// when the value takes the parameter's place or is not needed at all.
void expand_inline_calls(ExprNode **slot, int counted, int value_used);
StmtNode *bind_inline_argument(Symbol *param, Symbol *locals, ExprNode *argument, StmtNode *block);
// A leaf of a `.temp_%d.` local of `type` that no part of this statement
// holds yet, made in the innermost block when none is free.
ExprNode *inline_temp(TypeNode *type);
// An expression statement at the current position that assigns `value` to
// `target`; with `target` null just `value`.
StmtNode *make_assign_stmt(ExprNode *target, ExprNode *value);
// The temporaries made since inline_temp_mark() leave with their block.
size_t inline_temp_mark();
void inline_temp_leave(size_t mark);
// The statements hanging on the OP_PRELUDE node `prelude`, in the order
// they run, appended to `out`.
void prelude_statements(const ExprNode *prelude, std::vector<StmtNode *> &out);

void make_counted_loop(StmtNode *statement, int32_t nest, int32_t body_ops);
// With `type` null: starts the arguments of a function with attribute word
// `attr`.  Otherwise gives the argument `sym` of promoted type `type` a
// register if one is left; 0 when it is passed in memory.
int assign_arg_register(TypeNode *type, uint16_t attr, Symbol *sym);
void share_locals(StmtNode *root);
void start_register_assignment(StmtNode *root);
void write_function(Symbol *sym, StmtNode *root, uint32_t line, uint32_t brace_line,
                    int32_t arg_size);

// ---------------------------------------------------------------------------
// File-scope definitions, called by the external declaration parser.

// The initialiser of a file-scope object, if any: gives non-zero when the
// declaration defines the object or may do so (a tentative definition).
// Its data go to the output value by value while the tokens are read; a
// const, non-volatile object also keeps them in `init`, for reads of it
// that later expressions replace by the value.
int parse_global_initializer(Symbol *sym);

// Initialisers (stmt/initializer.cpp).  The value of one object or element
// of type `*slot`, written in storage order between write_data_begin and
// write_data_end.  `slot` is the field that holds the type, since an array
// of unknown size gets a new type node of the size found.  `keep` is where
// the stored value record goes, or null for none; `attr` is the object's
// attribute word; `top` is 1 at the outermost level of the object, where an
// aggregate requires its brace.  func_state.in_data_init must be set.
void init_any(TypeNode **slot, ExprNode **keep, uint16_t attr, int top);
// A function declarator's body, if one follows: gives 1 when a body was
// parsed, 0 for a declaration only, with the token behind the declarator
// next.  `line` is the line where the declarator began.
int define_function(Symbol *sym, uint32_t line);
