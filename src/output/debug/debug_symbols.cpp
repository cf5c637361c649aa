// Names in the debug data: the name node of a Symbol with its type data,
// and its entry in a list, which tells where the object lives.
#include "output/debug/debug_writer.h"

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "driver/stack_room.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "stmt/stmt_node.h"

namespace {

constexpr uint32_t KIND_STATEMENT_LABEL = 18;
// The type word of a statement label (base code 88), as the target reads it.
constexpr uint32_t STATEMENT_LABEL_WORD = 0x58000000;

bool in_nostack_function() { return nostack_name != nullptr; }

bool is_function_type(const Symbol *sym) {
    return sym->type != nullptr && sym->type->code == TY_FUNCTION;
}

// The Symbols that have no entry: names the debugger cannot look at
// (externs, hidden names, the compiler's own names that begin with a dot,
// functions), the register that holds a global's address, and what -xx and
// -xu leave out.
bool is_left_out(const Symbol *sym) {
    switch (sym->sclass) {
    case SC_EXTERN: case SC_REG_COPY: return true;
    case SC_TYPEDEF: if (!opt_xx) return true; break;
    case SC_ABSOLUTE: if (opt_xu && !(sym->flags & SYM_USED)) return true; break;
    case SC_REGISTER: if (sym->partner != nullptr) return true; break;
    default: break;
    }
    if (sym->sclass != SC_ENUM_MEMBER && (sym->type == nullptr || is_function_type(sym)))
        return true;
    if (sym->flags & SYM_HIDDEN) return true;
    return sym->name != nullptr && sym->name->length != 0 && sym->name->text[0] == '.';
}

uint32_t made_positive(uint32_t value) {
    int32_t signed_value = int32_t(value);
    return signed_value < 0 ? uint32_t(0) - value : value;
}

// The address of a static object, a fixed-address object or a file-scope
// name, as a data address of 4 bytes.
void write_symbol_address(Symbol *sym) {
    ExprNode leaf{};
    leaf.sym = sym;
    leaf.value = 0;
    leaf.lflags = LF_SYMBOL;
    leaf.type = sym->type;
    write_address_value(&leaf, 4);
}

void write_place(Symbol *sym) {
    switch (sym->sclass) {
    case SC_ENUM_MEMBER: case SC_MEMBER:
        write_debug_int4(sym->value);
        break;
    case SC_TYPEDEF:
        write_debug_int4(0);
        break;
    case SC_ARG: case SC_AUTO:
        if (in_nostack_function()) write_debug_frame_address(sym->value);
        else write_debug_int4(made_positive(sym->value));
        break;
    case SC_REGISTER: case SC_REG_ARG:
        write_debug_int4(register_location(sym->attr));
        break;
    default:
        write_symbol_address(sym);
        break;
    }
}

}  // namespace

uint32_t debug_kind(const Symbol *sym) {
    bool passed = (sym->flags & SYM_REG_PASSED) != 0;
    switch (sym->sclass) {
    case SC_STATIC: return 1;
    case SC_ARG:
        if (in_nostack_function()) return passed ? 15 : 14;
        return passed ? 7 : 2;
    case SC_AUTO: return in_nostack_function() ? 16 : 3;
    case SC_REGISTER: return 4;
    case SC_REG_ARG: return passed ? 22 : 5;
    case SC_NONE: case SC_EXTERN: return 6;
    case SC_ABSOLUTE: return 8;
    case SC_MEMBER: return 9;
    case SC_ENUM_MEMBER: return 12;
    case SC_TYPEDEF: return 17;
    default: return 0;
    }
}

Symbol *last_enum_member(Symbol *member) {
    while (!(member->flags & SYM_LAST_ENUM) && member->enum_link != nullptr)
        member = member->enum_link;
    return member;
}

void write_debug_symbol(Symbol *sym, int pass) {
    // Layouts hold the layouts of nested structs: the walk follows the
    // nesting of the source.
    if (stack_is_low()) {
        auto call = [&] { write_debug_symbol(sym, pass); };
        on_fresh_stack(call);
        return;
    }
    if (is_left_out(sym)) return;
    if (pass == 0) {
        sym->dbg_label = new_debug_label();
        write_debug_label(sym->dbg_label);
        write_debug_string(sym->name ? sym->name->text : "", sym->name ? sym->name->length : 0);
        write_debug_int1(debug_kind(sym));
        if (sym->sclass == SC_ENUM_MEMBER) return;
        if (sym->sclass == SC_REG_ARG) write_debug_int4(made_positive(sym->value));
        write_debug_type(sym->type, 0, sym);
        return;
    }
    write_debug_link(sym->dbg_label);
    write_place(sym);
    if (sym->sclass == SC_ENUM_MEMBER) {
        // The word of the integer type that holds the enum's values, which
        // its last constant keeps; the constant has no type data.
        Symbol *last = last_enum_member(sym);
        write_debug_type((last->flags & SYM_LAST_ENUM) ? last->type : nullptr, 1, nullptr);
        return;
    }
    write_debug_type(sym->type, 1, sym);
}

void write_debug_statement_label(Symbol *label, int pass) {
    if (pass == 0) {
        label->dbg_label = new_debug_label();
        write_debug_label(label->dbg_label);
        write_debug_string(label->name ? label->name->text : "",
                           label->name ? label->name->length : 0);
        write_debug_int1(KIND_STATEMENT_LABEL);
        return;
    }
    write_debug_link(label->dbg_label);
    StmtNode *statement = label->stmt;
    put_byte(REC_ADDRESS4);
    put_byte(0);
    put_u16(statement ? statement->label : 0);
    put_u32(0);
    if (statement) statement->flags |= SF_CASE_TARGET;
    write_debug_int4(STATEMENT_LABEL_WORD);
    write_debug_int4(0);
}
