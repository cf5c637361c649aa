// Type names, as in casts and sizeof: a specifier list and an abstract
// declarator, closed by `)`.
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "lexer/token.h"

// Behind a `(`: a type name with its `)` gives a cast node of that type
// without an operand; anything else gives null, with nothing read beyond
// the `(`.
ExprNode *parse_type_name() {
    int32_t saved_implicit = implicit_int;
    Symbol record{};
    if (!parse_decl_specifiers(&record, nullptr)) {
        implicit_int = saved_implicit;
        return nullptr;
    }
    parse_declarator(&record);
    if (record.name != nullptr)
        report("name unexpected in abstract type");
    expect_token(TOK_RPAREN);
    ExprNode *cast = new_expr(OP_CAST);
    cast->type = record.type;
    cast->left = nullptr;
    return cast;
}
