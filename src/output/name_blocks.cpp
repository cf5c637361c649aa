// NameBlocks of Symbols and the declaration records that carry them.
#include "output/records.h"

#include <cstring>

#include "decl/symbol.h"
#include "decl/type.h"
#include "lexer/token.h"

namespace {

// The kind byte tells the code generator what the name stands for: an
// object, or a function and how it returns its result; then far and
// absolute.
uint32_t name_kind(const Symbol *sym) {
    uint32_t kind = NK_OBJECT;
    const TypeNode *type = sym->type;
    if (type && type->code == TY_FUNCTION) {
        const TypeNode *result = type->next;
        uint8_t code = result ? result->code : 0;
        if (code == TY_DOUBLE) kind = NK_FUNCTION_DOUBLE;
        else if (is_struct_code(code)) kind = NK_FUNCTION_STRUCT;
        else kind = NK_FUNCTION;
    }
    if ((sym->attr & ATTR_SPACE) == ATTR_FAR) kind += NK_FAR;
    if (sym->sclass == SC_ABSOLUTE) kind += NK_ABSOLUTE;
    return kind;
}

}  // namespace

bool is_asm_name(const NameRecord *name) {
    return name && name->length == 4 && std::memcmp(name->text, "_asm", 4) == 0;
}

// A static object or function is known by its label, the others by their
// name alone.  Names longer than a block can hold are cut.
void write_name_block(const Symbol *sym) {
    unsigned length = sym->name ? sym->name->length : 0;
    if (length > MAX_NAME_TEXT) length = MAX_NAME_TEXT;
    put_byte(length + 1);
    put_u16(sym->sclass == SC_STATIC ? sym->value & 0xFFFF : 0);
    put_byte(name_kind(sym));
    if (length) put_bytes(sym->name->text, length);
}

void write_symbol_decl(const Symbol *sym, int mode) {
    if (mode == 0 && is_asm_name(sym->name)) return;
    // An inline function that was expanded in place has no code of its own.
    if ((sym->attr & (ATTR_FUNCTION | ATTR_INLINE)) == (ATTR_FUNCTION | ATTR_INLINE) &&
        sym->value != 0)
        return;
    put_byte(mode == 0 ? REC_EXTERN : (mode & 0x800) ? REC_FUNCTION : REC_PUBLIC);
    write_name_block(sym);
    put_u16(sym->attr);
    // A function's size is that of a struct or union result, which the
    // caller must make room for; an object's is its own, when defined here.
    uint32_t size = 0;
    TypeNode *type = sym->type;
    if (type && type->code == TY_FUNCTION) {
        TypeNode *result = type->next;
        if (result && is_struct_code(result->code))
            size = uint32_t(type_size(result));
    } else if (mode != 0 && type && type->code != TY_VOID) {
        size = uint32_t(type_size(type));
    }
    put_u32(size);
}
