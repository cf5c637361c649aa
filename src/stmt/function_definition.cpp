// Function definitions: the argument scope and the place of each argument,
// the body, the label check, and the passes over the finished body in their
// fixed order.  When define_function returns, every node of the function
// has been given back.
#include "decl/type.h"
#include "driver/options.h"
#include "output/records.h"
#include "stmt/statements.h"

namespace {

void report_name(const char *format, const NameRecord *name) {
    report(format, name->length, name->text);
}

// A prototype: an argument list whose first element has a type.
bool has_prototype(const TypeNode *fn) { return fn->args != nullptr && fn->args->type != nullptr; }

bool is_void_element(const Symbol *element) {
    return element->type != nullptr && element->type->code == TY_VOID && element->name == nullptr;
}

// The argument area, filled in declaration order.
struct ArgumentArea {
    int32_t offset = 0;
    bool all_in_registers = true;
};

// The place of one argument: its slot of the promoted size, and whether it
// arrives in a register.
void place_argument(Symbol *s, ArgumentArea &area) {
    uint16_t space = s->attr & (ATTR_SPACE | ATTR_USER);
    if (space != 0 && space != (data_defaults[2] & (ATTR_SPACE | ATTR_USER)))
        report_name("invalid space for argument %.*s", s->name);
    TypeNode *t = promote_type(s->type, 1);
    if (assign_arg_register(t, 0, s) == 0)
        area.all_in_registers = false;
    area.offset = align_up(area.offset, t);
    s->value = uint32_t(area.offset);
    area.offset += type_size(t);
    s->flags |= SYM_DECLARED;
    if (t != s->type)
        s->flags |= SYM_ARG_WIDENED;
    if (area.all_in_registers)
        s->flags |= SYM_REG_PASSED;
}

Symbol *new_argument(NameRecord *name, int32_t sclass, TypeNode *type, uint16_t attr) {
    if (sclass == SC_NONE)
        sclass = SC_ARG;
    else if (sclass == SC_REGISTER)
        sclass = SC_REG_ARG;
    Symbol *s = new_symbol(&symbol_list, name, sclass, type);
    s->attr = attr;
    return s;
}

// The names that the argument list declared: enum constants and tags.
void enter_prototype_names(const TypeNode *fn) {
    for (Symbol *p = fn->proto_symbols; p != nullptr; p = p->next) {
        Symbol *s = new_symbol(&symbol_list, p->name, p->sclass, p->type);
        s->flags = p->flags;
        s->value = p->value;
        s->column = p->column;
    }
    for (Symbol *p = fn->proto_tags; p != nullptr; p = p->next) {
        Symbol *s = new_symbol(&tag_list, p->name, p->sclass, p->type);
        s->value = p->value;
        s->column = p->column;
    }
}

bool in_name_list(const Symbol *args, const NameRecord *name) {
    for (; args != nullptr; args = args->next)
        if (args->name == name)
            return true;
    return false;
}

// The declarations between the `)` of an old-style head and its body.
// Gives whether any argument was declared.
bool parse_argument_declarations(Symbol *args) {
    bool any = false;
    Symbol specs{};
    while (parse_decl_specifiers(&specs, argument_classes)) {
        bool first = true;
        for (;;) {
            Symbol record = specs;
            if (!parse_declarator(&record))
                break;
            if (first && implicit_int && opt_ck != 0)
                report("W1implicit int type in argument declaration");
            first = false;
            adjust_argument(&record);
            if (record.name == nullptr) {
                report("missing argument name");
            } else if (!in_name_list(args, record.name)) {
                report_name("%.*s not an argument", record.name);
            } else {
                Symbol *s = new_argument(record.name, record.sclass, record.type, record.attr);
                apply_default_attrs(&s->attr, s->sclass, s->type->code);
                any = true;
            }
            if (next_token()->code != TOK_COMMA) {
                unget_token();
                break;
            }
        }
        Token *t = next_token();
        if (t->code != TOK_SEMI) {
            unget_token();
            report("missing ; in argument declaration");
        }
        specs = Symbol{};
    }
    return any;
}

// No body follows the head: the scope of the arguments closes again.
int declaration_only(Symbol *sym, Symbol *saved_mark, Symbol *saved_tag_mark) {
    release_symbols(symbol_list, scope_mark);
    symbol_list = scope_mark;
    tag_list = tag_scope_mark;
    scope_mark = saved_mark;
    tag_scope_mark = saved_tag_mark;
    unget_token();
    if (sym->sclass == SC_NONE && (sym->flags & SYM_DEFINED) == 0)
        sym->sclass = SC_EXTERN;
    return 0;
}

// The end of an inline definition: its body stays as tokens, and the
// prototype learns how the body treats each argument.
void finish_inline(Symbol *sym, StmtNode *root) {
    TypeNode *fn = sym->type;
    Symbol *element = fn->args;
    if (element == nullptr || element->type == nullptr) {
        report_name("missing prototype for inline function %.*s", sym->name);
        fn->args = nullptr;
    } else {
        for (; element != nullptr && !is_void_element(element); element = element->next) {
            Symbol *arg = element->name != nullptr ? find_symbol(element->name, root->locals, nullptr) : nullptr;
            if (arg != nullptr)
                element->flags |= arg->flags & (SYM_USED | SYM_ADDR_TAKEN | SYM_ASSIGNED);
        }
        if (element == nullptr)
            report_name("invalid prototype for inline function %.*s", sym->name);
    }
    if (sym->sclass == SC_STATIC)
        sym->sclass = SC_NONE;
    if (sym->flags & SYM_USED)
        report_name("usage conflict for inline function %.*s", sym->name);
}

// Gives back every record of the function.
void release_function(StmtNode *root) {
    release_symbols(label_list, nullptr);
    label_list = nullptr;
    release_symbols(func_state.expansion_labels, nullptr);
    func_state.expansion_labels = nullptr;
    // The blocks are walked before their nodes go back to the pool.
    for (StmtNode *block = root; block != nullptr; block = block->next_block)
        release_symbols(block->locals, nullptr);
    release_stmts();
    release_exprs();
    release_types();
}

} // namespace

int define_function(Symbol *sym, uint32_t line) {
    Symbol *saved_mark = scope_mark;
    Symbol *saved_tag_mark = tag_scope_mark;
    scope_mark = symbol_list;
    tag_scope_mark = tag_list;
    mark_types();
    ArgumentArea area;

    TypeNode *fn = sym->type;
    sym->attr &= uint16_t(~ATTR_VOLATILE);
    if (has_prototype(fn)) {
        Symbol *element = fn->args;
        while (element != nullptr && !is_void_element(element))
            element = element->next;
        if (element == nullptr)
            sym->attr |= ATTR_VOLATILE;
    }
    clear_global_counts();
    enter_prototype_names(fn);

    uint32_t brace_line;
    if (fn->args != nullptr && fn->args->type == nullptr) {
        if (opt_p)
            report("old style argument declaration");
        bool declared = parse_argument_declarations(fn->args);
        Token *t = next_token();
        if (t->code != TOK_LBRACE) {
            if (declared)
                report("bad function declaration");
            return declaration_only(sym, saved_mark, saved_tag_mark);
        }
        brace_line = t->line;
        assign_arg_register(nullptr, sym->attr, nullptr);
        for (Symbol *a = fn->args; a != nullptr; a = a->next) {
            Symbol *s = find_symbol(a->name, symbol_list, scope_mark);
            if (s == nullptr)
                s = new_argument(a->name, SC_ARG, &type_int, 0);
            place_argument(s, area);
        }
    } else {
        Token *t = next_token();
        if (t->code != TOK_LBRACE) {
            if (sym->attr & ATTR_INLINE)
                sym->value = 0;
            return declaration_only(sym, saved_mark, saved_tag_mark);
        }
        brace_line = t->line;
        assign_arg_register(nullptr, sym->attr, nullptr);
        Symbol *a = fn->args;
        bool any = a != nullptr;
        for (; a != nullptr && !is_void_element(a); a = a->next) {
            if (a->name == nullptr) {
                report("missing argument name");
                continue;
            }
            int32_t sclass = a->sclass;
            if ((sym->attr & ATTR_INLINE) && sclass == SC_NONE)
                sclass = SC_AUTO;
            place_argument(new_argument(a->name, sclass, a->type, a->attr), area);
        }
        if (any && a == nullptr && (sym->attr & ATTR_NOSTACK))
            report("variable arguments not allowed in nostack mode");
    }
    if (sym->flags & SYM_DEFINED)
        report_name("redeclared function %.*s", sym->name);

    func_state.in_function = 1;
    StmtNode *scratch = nullptr;
    func_state.block_chain_tail = &scratch;
    func_state.return_type = fn->next;
    if (is_struct_code(fn->next->code) && fn->next->members == nullptr)
        report("incomplete return type");
    func_state.function_attr = sym->attr;
    func_state.known_values = nullptr;
    func_state.loop_records = nullptr;
    func_state.call_count = 0;
    bool is_inline = (sym->attr & ATTR_INLINE) != 0;
    if (is_inline) {
        sym->inline_body = nullptr;
        sym->flags |= SYM_INLINE_OPEN;
        record_tail = &sym->inline_body;
        token_mode = 1;
    }

    StmtNode *root = parse_block(nullptr, nullptr, nullptr, nullptr, nullptr);
    *func_state.block_chain_tail = nullptr;
    scope_mark = saved_mark;
    tag_scope_mark = saved_tag_mark;

    for (Symbol *label = label_list; label != nullptr; label = label->next)
        if ((label->flags & SYM_DECLARED) == 0)
            report_name("undefined label %.*s", label->name);
    func_state.frame_offset = 0;
    func_state.frame_low = 0;
    if (func_state.call_count != 0)
        root->flags |= SF_HAS_CALLS;
    token_mode = 0;
    sym->flags &= ~uint32_t(SYM_INLINE_OPEN);

    if (error_count != 0) {
        sym->attr &= uint16_t(~ATTR_INLINE);
        rewrite_stmt(root);
    } else if (is_inline) {
        finish_inline(sym, root);
    } else {
        if (!opt_ns)
            share_locals(root);
        start_register_assignment(root);
        write_space_names();
        opt_cp++;
        rewrite_stmt(root);
        opt_cp--;
        write_function(sym, root, line, brace_line, area.offset);
    }
    release_function(root);
    sym->flags |= SYM_DEFINED | SYM_DECLARED;
    func_state.in_function = 0;
    return 1;
}
