// The expression subsystem's chief header: the tree node of every
// expression, its operator codes and flags, and the routines that build,
// type, fold and rewrite expression trees.
//
// Typing runs the moment a node is complete and folds as it goes, so a leaf
// is not only a name or a number but a small addressing form (see `lflags`),
// and much of the work is the movement of nodes between those forms.
#pragma once

#include <cstdint>

struct TypeNode;
struct Symbol;
struct StringConst;
struct Token;
struct StmtNode;

// ---------------------------------------------------------------------------
// Operator codes.  Binary operators are the token codes of their spelling:
// bit 0x40 set and bit 0x80 clear, so `op & 0x40` on a non-leaf says that
// `right` is an operand.  The unary form of a token has bit 0x40 cleared.
enum : uint8_t {
    OP_LEAF = 0,
    OP_COMMA = 1,
    OP_COND = 9,          // left test, `middle` the second operand, right the third
    OP_POSTINC = 14,      // x++, right the step
    OP_POSTDEC = 15,      // x--, right the step
    OP_ARG = 25,          // argument list link: left an argument, right the rest
    OP_CAST = 26,         // cast or implicit conversion to `type`
    OP_CALL = 27,         // left the function, right the arguments
    OP_NEG = 34,          // unary -
    OP_DEREF = 35,        // unary *, and [] and -> through it
    OP_ADDR = 40,         // unary &
    OP_NOT = 61,
    OP_COMPL = 62,
    OP_DIV = 68,
    OP_MOD = 69,
    OP_SHL = 70,
    OP_SHR = 71,
    OP_XOR = 73,
    OP_OR = 74,
    OP_LT = 75,
    OP_GE = 76,
    OP_GT = 77,
    OP_LE = 78,
    OP_EQ = 79,
    OP_NE = 80,
    OP_ADD_ASSIGN = 81,   // also prefix ++ with the constant 1
    OP_SUB_ASSIGN = 82,   // also prefix -- with the constant 1
    OP_MUL_ASSIGN = 83,
    OP_DIV_ASSIGN = 84,
    OP_MOD_ASSIGN = 85,
    OP_SHL_ASSIGN = 86,
    OP_SHR_ASSIGN = 87,
    OP_AND_ASSIGN = 88,
    OP_XOR_ASSIGN = 89,
    OP_OR_ASSIGN = 90,
    OP_LOGAND = 91,
    OP_LOGOR = 92,
    OP_ASSIGN = 95,
    OP_ADD = 97,
    OP_SUB = 98,
    OP_MUL = 99,
    OP_AND = 104,
    OP_PRELUDE = 254,     // left statements to run first, right the expression
};

// A binary operator's compound assignment: `+` (97) gives `+=` (81).
constexpr int compound_op(int op) { return (op & 0xDF) | 0x10; }
// Comparisons and the logical operators stand in pairs that negate each
// other: < and >=, > and <=, == and !=, && and ||.
constexpr int negated_op(int op) { return ((op - 1) ^ 1) + 1; }

// A binary operator of the source: bit 0x40 set, bit 0x80 clear.
constexpr bool is_binary_op(int op) { return (op & 0xC0) == 0x40; }
// The comparisons < >= > <= == !=, whose value is 0 or 1 of type int.
constexpr bool is_comparison(int op) { return op >= OP_LT && op <= OP_NE; }
// && and ||.
constexpr bool is_logical(int op) { return op == OP_LOGAND || op == OP_LOGOR; }
// += to |=, the compound assignments (prefix ++ and -- among them).
constexpr bool is_compound_assign(int op) { return op >= OP_ADD_ASSIGN && op <= OP_OR_ASSIGN; }
// Every operator that stores to its left operand.
constexpr bool is_assignment_op(int op) {
    return op == OP_ASSIGN || is_compound_assign(op) || op == OP_POSTINC || op == OP_POSTDEC;
}

// ---------------------------------------------------------------------------
// `eflags`: marks on a node.
enum : uint8_t {
    EF_RETYPED = 1,       // typed by a cast without a conversion node; no lvalue
    EF_NOT_LVALUE = 4,    // result of ?:, comma, -(-a), !!a: looks like an lvalue, is none
    EF_UNION_PATH = 8,    // reached through a union member
    EF_OPEN_ARGS = 16,    // on OP_CALL: arguments ran past a prototype ending in ...
    EF_ANON_ALIAS = 32,   // reached through a member copied from an anonymous union
};

// ---------------------------------------------------------------------------
// Leaf forms, the low three bits of `lflags`.  Bit 1 means "contents of":
// forms 1 and 3 are lvalues; bit 2 means "based on `sym`".
enum : uint8_t {
    LEAF_CONST = 0,       // integer `value`, or a pointer constant
    LEAF_ABSOLUTE = 1,    // contents of the absolute address `value`
    LEAF_ADDRESS = 2,     // address of `sym` plus `value`
    LEAF_VARIABLE = 3,    // contents of `sym` plus `value`
    LEAF_LITERAL = 4,     // pooled literal in `literal`: 8-byte real, or string
};
// Further `lflags` bits.
enum : uint8_t {
    LF_CONTENTS = 1,      // the leaf stands for the contents of its address
    LF_SYMBOL = 2,        // `sym` is a Symbol
    LF_LITERAL = 4,       // `literal` is a pooled constant
    LF_INIT_TARGET = 8,   // target of a local's own initialisation; same_expr ignores it
    LF_ZERO_DIVIDE = 32,  // constant 0 used as divisor: `position` says where
    LF_ZERO_MODULUS = 64, // constant 0 used as modulus: `position` says where
};
// A marked 0 is always an integer leaf: its `left` holds the position, so it
// cannot also hold a pooled real.  A cast of it to a real type keeps the
// conversion node above it (see cast_expr).

// ---------------------------------------------------------------------------
// Stored initial values: the records of a const object's value in
// Symbol.init, and of an initialiser's image.  A scalar is a leaf copy with
// the declared type; the others are nodes with one of these codes as `op`,
// `size` their size in bytes, siblings chained through `link`.
enum : uint8_t {
    INIT_STRING = 4,      // `literal` the pooled string
    INIT_STRUCT = 96,     // `left` the first member's record
    INIT_UNION = 100,     // `left` the record of the member given
    INIT_GAP = 112,       // `value` bytes of padding
    INIT_ARRAY = 132,     // `left` the first element's record
};

// ---------------------------------------------------------------------------
// The node.  Allocated by `new_expr`, which sets only `op` and clears
// `eflags` and `right` (so a new leaf has `lflags` 0); the creator sets the
// rest.  A leaf has `op` 0.
struct ExprNode {
    ExprNode *link;       // pool link; in stored initial values the next sibling
    TypeNode *type;       // type of the value
    uint32_t flow_uses;   // local-slot candidates read by this tree
    uint32_t flow_defs;   // local-slot candidates stored to by this tree
    union {
        ExprNode *left;        // operator: first operand; known-value record: the lvalue
        Symbol *sym;           // leaf with LF_SYMBOL
        StringConst *literal;  // leaf with LF_LITERAL; stored string record
        Token *position;       // constant leaf with LF_ZERO_DIVIDE or LF_ZERO_MODULUS
        StmtNode *statements;  // OP_PRELUDE: statements that run first
    };
    union {
        int32_t value;         // leaf: integer value, or offset from `sym`
        ExprNode *middle;      // OP_COND: the second operand
        ExprNode *next_known;  // known-value record: the next older record
    };
    union {
        ExprNode *right;       // operator: second operand; known-value record: the value
        uintptr_t lflags;      // leaf: addressing form and marks, low byte only
        StmtNode *then_stmt;   // OP_PRELUDE nested in a prelude: the statement after it
    };
    uint32_t size;        // stored initial values: size of the aggregate or string
    uint8_t eflags;
    uint8_t op;
};

// ---------------------------------------------------------------------------
// The pool (expr_pool.cpp).  new_expr sets `op`, clears `eflags` and
// `right`, nothing else.  release_exprs gives back every node ever taken
// from the heap; a scalar initialiser and token_source_switch instead save
// expr_free_list and restore it, to give back the nodes of one expression.
ExprNode *new_expr(int32_t op);
void release_exprs();
extern ExprNode *expr_free_list;

// ---------------------------------------------------------------------------
// Nodes, lvalues and casts.

// Makes `node` (or a new leaf when null) the integer constant `value` of
// type int.  Returns the node.
ExprNode *make_int_const(ExprNode *node, int32_t value);
// A copy of the whole tree `e`, for a place that needs it a second time;
// a prelude in it is shared, not copied.
ExprNode *copy_tree(const ExprNode *e);
// Integer constant leaf whose type fits a constant (code below 66).
bool is_int_const(const ExprNode *e);
// The same, but the type may also be a pointer.
bool is_int_or_pointer_const(const ExprNode *e);
// Leaf holding a pooled real constant.
bool is_real_const(const ExprNode *e);
// Function designator leaf, or a non-lvalue leaf of pointer type.
bool is_address_const(const ExprNode *e);
// Leaf based on a Symbol: a variable or the address of one.
bool is_symbol_leaf(const ExprNode *e);
// A private copy of the current diagnostic position, for a later report;
// null when there is no current token.
Token *save_position();
// The value of a real constant leaf (0.0 for anything else).
double real_value(const ExprNode *e);
// A pooled literal that a fold consumes loses one of its further uses.
void drop_literal_use(StringConst *literal);
// Makes `node` a leaf holding the pooled 8-byte `value`; its type is left
// to the caller.
void make_real_const(ExprNode *node, double value);
// Turns a test into its negation, in place; returns the test.
ExprNode *negate_test(ExprNode *e);
// True if both trees compute the same value with no side effect between
// them.  With `strict` volatile objects never compare equal.
bool same_expr(const ExprNode *a, const ExprNode *b, int strict);
// `e` converted to `type`: `e` itself when the types agree, else a cast.
ExprNode *convert_to(ExprNode *e, TypeNode *type);
// Array or function `e` becomes a pointer in place; returns the new type.
TypeNode *decay_to_pointer(ExprNode *e);
// Types OP_NEG, OP_DEREF, OP_ADDR, OP_NOT, OP_COMPL; returns the node that
// stands for the expression, which may be another one.
ExprNode *unary_expr(ExprNode *e);
// Types OP_CAST with `type` the target; returns the node of the result.
ExprNode *cast_expr(ExprNode *e);
// Reduces the constant `e` to the width of `type`; with `warn`, a change
// is reported.
void truncate_const(ExprNode *e, TypeNode *type, int warn);
// The value of an integer constant of type `code` as a double: unsigned
// types read as unsigned.
double integer_as_double(int32_t value, int code);
// A real value truncated toward zero to 32 bits, as a conversion of a
// real constant to an integer type computes it.
int32_t real_to_int32(double value);

// ---------------------------------------------------------------------------
// Assignments (typing/assign.cpp).
ExprNode *assign_expr(ExprNode *e);
// With checks on: reports a constant that does not fit `type`, or a value
// of a wider type that an assignment to `type` truncates.
void check_assign_range(TypeNode *type, ExprNode *expr);

// Known values (typing/known_values.cpp).  The list is func_state.known_values
// (stmt/stmt_node.h); reads of a variable whose value is known there, and
// of a const object with a stored value, are replaced by the value.

// If the value of `*slot` is known, puts a copy in the slot and returns it.
ExprNode *replace_known_value(ExprNode **slot);
ExprNode *find_known_value(ExprNode *e);
void note_assignment(ExprNode *e, ExprNode *value);
void forget_aggregate(ExprNode *lvalue);

// ---------------------------------------------------------------------------
// Binary operators, comparisons and arithmetic folding.
ExprNode *binary_expr(ExprNode *node);

// ---------------------------------------------------------------------------
// Expression parser.  What it counts for the function around it (operators,
// calls, inline calls, the weights of uses) goes to func_state, declared with
// the statement parser in stmt/stmt_node.h.

extern int32_t cond_depth;        // > 0 inside a right operand of && or ||, or a third operand of ?:
extern int32_t cond_expr_depth;   // > 0 from a ? until its conditional is complete
extern int32_t in_member_access;  // set while & is applied for . member access
extern int32_t sizeof_depth;      // > 0 inside the operand of sizeof, which is not evaluated

ExprNode *parse_unary(int prev_op);
ExprNode *next_binary_op();
bool binds_tighter(int outer, int inner);
ExprNode *parse_binary(int outer, ExprNode *left, ExprNode **pending);
ExprNode *parse_assignment();
ExprNode *parse_expression(int discard);
int parse_const_expr(int32_t *result, int required);
ExprNode *make_test(ExprNode **slot);
ExprNode *parse_type_name();
void discard_value(ExprNode *node, int discard);
ExprNode *address_of_base(ExprNode *node);
void fold_bit_test(ExprNode *node);

// ---------------------------------------------------------------------------
// Last folds on a finished tree.

// `want` is 0 when the whole value is used, else the type code whose width
// and signedness the user of the value needs.
void fold_expr(ExprNode *node, int want);
void narrow_type(ExprNode *node, int code);
// The statements hanging on the OP_PRELUDE node `prelude`, in order.
void rewrite_prelude(ExprNode *prelude);
