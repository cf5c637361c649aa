// Stand-ins for what the memory spaces and the expression nodes call in
// layers that are not written yet; each real definition overrides its weak
// one here.
#include "decl/symbol.h"
#include "decl/type.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"

#define PENDING __attribute__((weak))

PENDING Token *last_token = nullptr;

// Token stream: reads a switched-to PpToken list, with one token of
// give-back, and end of input when no list is set.
namespace {
PpToken *pending_cursor;
Token pending_token;
bool pending_ungot;
} // namespace

PENDING int token_source_switch(PpToken *list) {
    int code = pending_ungot ? pending_token.code & 0xFF
               : pending_cursor != nullptr ? pending_cursor->kind & 0xFF
                                           : TOK_EOF & 0xFF;
    pending_cursor = list;
    pending_ungot = false;
    return code;
}

PENDING Token *next_token() {
    if (pending_ungot) {
        pending_ungot = false;
        return &pending_token;
    }
    pending_token = Token{};
    if (pending_cursor == nullptr) {
        pending_token.code = TOK_EOF;
    } else {
        PpToken *pp = pending_cursor;
        pending_cursor = pp->next;
        pending_token.code = pp->kind;
        pending_token.line = pp->line;
        pending_token.column = pp->column;
        pending_token.length = pp->length;
        if (pp->kind == PP_NUMBER) {
            convert_number(&pending_token, pp);
        } else if (pp->kind == TOK_IDENT) {
            uint16_t keyword = keyword_code(pp->text, pp->length);
            if (keyword != 0)
                pending_token.code = keyword;
            else
                pending_token.value.name = intern_name(pp->text, pp->length);
        }
    }
    last_token = &pending_token;
    return &pending_token;
}

PENDING void unget_token() { pending_ungot = true; }

// Known values: nothing is known yet.
PENDING ExprNode *known_values = nullptr;
PENDING ExprNode *replace_known_value(ExprNode **slot) { return *slot; }

// Expression parser state.
PENDING int32_t cond_depth = 0;
PENDING int32_t cond_expr_depth = 0;
PENDING int32_t in_member_access = 0;

// Tests: a comparison or logical operator is its own test; another scalar
// is compared with 0.
PENDING ExprNode *make_test(ExprNode **slot) {
    ExprNode *e = *slot;
    int code = e->type->code;
    if (code > 92 && code != TY_POINTER && code != TY_ARRAY && code != TY_FUNCTION)
        return nullptr;
    if ((e->op >= OP_LT && e->op <= OP_NE) || e->op == OP_LOGAND || e->op == OP_LOGOR)
        return e;
    ExprNode *test = new_expr(OP_NE);
    test->left = e;
    test->right = make_int_const(nullptr, 0);
    test->type = &type_int;
    *slot = test;
    return test;
}
