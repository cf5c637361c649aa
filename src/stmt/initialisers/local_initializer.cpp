// Initialisers of block-scope objects.  A static's data go to the output
// at once, like those of a file-scope object.  An automatic scalar, or a
// struct given one value, is set by an assignment that runs where the
// declaration stands.  An automatic array, or a struct or union in braces,
// gets a hidden static image that the assignment copies.
#include "decl/type.h"
#include "driver/options.h"
#include "output/records.h"
#include "stmt/statements.h"

namespace {

// The data of a static local.
void init_static_local(Symbol *sym) {
    sym->flags |= SYM_USED | SYM_DEFINED;
    write_space_names();
    write_data_begin(sym);
    func_state.in_data_init = 1;
    init_any(&sym->type, nullptr, 0, 1);
    func_state.in_data_init = 0;
    write_data_end();
}

// The value of a scalar, or of a struct or union given one expression; a
// scalar's own name is hidden while it is read, so `int x = x;` reads an
// outer x.
ExprNode *init_by_expression(Symbol *sym, ExprNode *assign) {
    bool scalar = !is_struct_code(sym->type->code);
    bool braced = false;
    if (scalar) {
        sym->flags |= SYM_HIDDEN;
        braced = next_token()->code == TOK_LBRACE;
        if (!braced)
            unget_token();
    }
    ExprNode *value = parse_assignment();
    if (braced)
        expect_token(TOK_RBRACE);
    sym->flags &= ~uint32_t(SYM_HIDDEN);
    if (value == nullptr) {
        report("missing initialization expression");
        assign->right = make_int_const(nullptr, 0);
        return assign;
    }
    assign->right = value;
    return assign_expr(assign);
}

// An array, or a braced struct or union: a hidden static holds the image,
// and the assignment copies it as a whole.
ExprNode *init_by_image(Symbol *sym, ExprNode *assign) {
    Symbol *image = new_symbol(&symbol_list, sym->name, SC_STATIC, sym->type);
    image->flags = SYM_USED | SYM_DECLARED | SYM_DEFINED | SYM_HIDDEN;
    image->value = uint32_t(new_label());
    image->attr = opt_sa ? 0 : uint16_t(ATTR_CONST);
    apply_default_attrs(&image->attr, SC_STATIC, sym->type->code);

    write_space_names();
    // An array of unknown or even size is aligned like an int.
    bool int_aligned = sym->type->code == TY_ARRAY &&
                       (sym->type->dim == 0 || type_size(sym->type) % 2 == 0);
    if (int_aligned)
        image->type = &type_int;
    write_data_begin(image);
    image->type = sym->type;
    func_state.in_data_init = 1;
    init_any(&sym->type, nullptr, 0, 1);
    func_state.in_data_init = 0;
    write_data_end();
    image->type = sym->type;

    TypeNode *type = sym->type;
    if (type->code == TY_ARRAY) {
        // The copy of an array is a struct copy of its bytes.
        type = new_type(TY_STRUCT, nullptr);
        type->tag = nullptr;
        type->members = nullptr;
        type->size = uint32_t(type_size(sym->type));
        type->body_shift = 0;
    }
    assign->type = type;
    assign->left->type = type;
    assign->right = variable_leaf(image, type, LEAF_VARIABLE);
    return assign;
}

} // namespace

ExprNode *parse_local_initializer(Symbol *sym) {
    if (next_token()->code != TOK_ASSIGN) {
        unget_token();
        return nullptr;
    }
    if (sym->sclass == SC_ABSOLUTE || sym->sclass == SC_TYPEDEF)
        report("invalid local initialization");
    else if (sym->sclass == SC_EXTERN)
        report("invalid external initialization");
    else if (sym->sclass == SC_STATIC) {
        init_static_local(sym);
        return nullptr;
    }
    sym->flags |= SYM_USED | SYM_DEFINED;
    ExprNode *assign = new_expr(OP_ASSIGN);
    assign->left = variable_leaf(sym, sym->type, uintptr_t(LEAF_VARIABLE) | LF_INIT_TARGET);
    assign->type = sym->type;

    int code = sym->type->code;
    bool braced_aggregate = false;
    if (is_struct_code(code)) {
        braced_aggregate = next_token()->code == TOK_LBRACE;
        unget_token();
    }
    if (code == TY_ARRAY || braced_aggregate)
        return init_by_image(sym, assign);
    return init_by_expression(sym, assign);
}
