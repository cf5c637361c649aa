// A function in the file: its debug record, the fixed frame of records
// that tell the code generator about its arguments, frame and registers,
// then its body.
#include <cstdlib>
#include <cstring>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "lexer/token.h"
#include "opt/registers.h"
#include "output/records.h"
#include "stmt/stmt_node.h"

NameRecord *nostack_name;
uint16_t nostack_label;
uint16_t nostack_attr;

namespace {

// The suffix that names the static frame of a @nostack function.
constexpr char NOSTACK_SUFFIX[] = ".L";
constexpr unsigned NOSTACK_SUFFIX_LENGTH = sizeof NOSTACK_SUFFIX - 1;

// The name of the static frame of `sym` when it is a @nostack function,
// else none.  The name record is the function's own.
void start_nostack_name(const Symbol *sym) {
    std::free(nostack_name);
    nostack_name = nullptr;
    if (!(sym->attr & ATTR_NOSTACK) || sym->name == nullptr) return;
    unsigned length = sym->name->length + NOSTACK_SUFFIX_LENGTH;
    if (length > 255) length = 255;
    auto *name = static_cast<NameRecord *>(checked_alloc(unsigned(sizeof(NameRecord)) + length + 1,
                                                         nullptr));
    unsigned kept = length - NOSTACK_SUFFIX_LENGTH;
    std::memcpy(name->text, sym->name->text, kept);
    std::memcpy(name->text + kept, NOSTACK_SUFFIX, NOSTACK_SUFFIX_LENGTH);
    name->length = uint8_t(length);
    nostack_name = name;
    nostack_label = sym->sclass == SC_STATIC ? uint16_t(sym->value & 0xFFFF) : 0;
    nostack_attr = sym->attr;
}

const Symbol *find_argument(const Symbol *locals, const NameRecord *name) {
    for (; locals != nullptr; locals = locals->next)
        if (locals->name == name && name != nullptr) return locals;
    return nullptr;
}

// REC_REG_ARG for the arguments that arrive in registers: a leading run of
// the argument list.  The offset is that of the argument's slot, also for
// an argument widened by the call, whose value names the last bytes of
// its slot.
void write_register_arguments(const Symbol *sym, const StmtNode *root) {
    if (sym->type == nullptr || sym->type->code != TY_FUNCTION) return;
    for (const Symbol *arg = sym->type->args; arg != nullptr; arg = arg->next) {
        if (arg->type != nullptr && arg->type->code == TY_VOID) break;
        const Symbol *local = find_argument(root->locals, arg->name);
        if (local == nullptr || !(local->flags & SYM_REG_PASSED)) break;
        uint32_t offset = local->value;
        if ((local->flags & SYM_ARG_WIDENED) && !is_real_code(local->type->code))
            offset += uint32_t(type_size(local->type) - type_size(&type_int));
        put_byte(REC_REG_ARG);
        write_type(local->type, 0);
        put_u32(offset);
        put_byte(local->sclass == SC_REG_ARG ? register_location(local->attr) : 0);
    }
}

}  // namespace

void write_function(Symbol *sym, StmtNode *root, uint32_t line, uint32_t brace_line,
                    int32_t arg_size) {
    start_nostack_name(sym);
    if (opt_x && !opt_xd) {
        note_debug_function(root, line);
        debug_file_mark(root->file, sym);
        write_debug_locals(root);
    }
    write_source_file(root->file);
    write_symbol_decl(sym, 0x800);
    put_byte(REC_FUNCTION_LINES);
    put_u32(line);
    put_u32(brace_line);
    write_register_arguments(sym, root);
    put_byte(REC_ARGS_END);
    put_u32(uint32_t(arg_size));
    if (func_state.frame_low != 0) {
        put_byte(REC_FRAME_SIZE);
        put_u32(uint32_t(func_state.frame_low));
    }
    put_byte(REC_REGISTERS);
    put_u32(regs_left);
    put_u32(float_regs_left);
    write_stmt(root, 0, 0);
    put_byte(REC_FUNCTION_END);
}
