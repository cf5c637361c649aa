// Memory spaces: the table of `@name` modifiers and the default attribute
// words that declarations take when they name no space of their own.
//
// A modifier stands for bits of the attribute word.  @tiny, @near and @far
// fill the two-bit space field, which decides the size of a pointer (1, 2
// or 4 bytes) and the memory area of an object; @nostack, @inline and
// @packed are properties; any other name is given one of the eight bits of
// ATTR_USER on first use and is only passed on to the code generator.
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "lexer/token.h"

#include <cstring>

Symbol *space_list;
uint16_t func_defaults[4];
uint16_t data_defaults[4];
// Const data go where code goes until #pragma space const says otherwise.
uint16_t *const_defaults = func_defaults;

namespace {

// The pseudo storage class of pointer nodes: the token code of `*`.
constexpr int32_t POINTER_CLASS = 99;

struct BuiltinSpace {
    const char *name;
    uint16_t attr;
};

// In this order: the newest, @packed, gives the first made-up name its bit
// by a shift to the right.
constexpr BuiltinSpace builtin_spaces[] = {
    {"tiny", ATTR_TINY},       {"near", ATTR_NEAR},     {"far", ATTR_FAR},
    {"nostack", ATTR_NOSTACK}, {"inline", ATTR_INLINE}, {"packed", ATTR_PACKED},
};

int default_slot(int32_t sclass) {
    switch (sclass) {
    case SC_STATIC:
        return 1;
    case SC_AUTO:
    case SC_REGISTER:
    case SC_ARG:
    case SC_REG_ARG:
        return 2;
    case POINTER_CLASS:
        return 3;
    default:
        return 0;
    }
}

} // namespace

void init_spaces() {
    // A second start gives the old table back.
    space_list = release_symbols(space_list, nullptr);
    for (const BuiltinSpace &space : builtin_spaces) {
        Symbol *sym = new_symbol(&space_list, intern_name(space.name, unsigned(std::strlen(space.name))),
                                 SC_NONE, nullptr);
        sym->attr = space.attr;
        // The code generator knows these names: nothing to announce.
        sym->flags |= SYM_DECLARED;
    }
    if (opt_f)
        type_double.code = TY_FLOAT;
}

void set_model(int32_t number) {
    uint32_t bits = uint32_t(number);
    uint16_t functions = uint16_t((bits & 0xFF) << 8);
    uint16_t data = uint16_t(bits & 0xFF00);
    for (int slot = 0; slot < 4; slot++) {
        if (functions != 0)
            func_defaults[slot] = functions;
        if (data != 0)
            data_defaults[slot] = data;
    }
}

void parse_space_modifier(uint16_t *attr) {
    Token *token = next_token();
    if (token->code != TOK_IDENT) {
        // Keywords are no modifiers.
        unget_token();
        report("bad space modifier");
        return;
    }
    NameRecord *name = token->value.name;
    Symbol *space = find_symbol(name, space_list, nullptr);
    if (space != nullptr) {
        if ((space->attr & ATTR_SPACE) != 0 && (*attr & ATTR_SPACE) != 0)
            report("ambiguous space modifier");
        else
            *attr |= space->attr;
        return;
    }
    // A new name takes the bit below the newest one; after eight names the
    // bits are used up and every further name gets 0 and reports.
    uint16_t bit = space_list != nullptr ? uint16_t(space_list->attr >> 1) : uint16_t(0);
    space = new_symbol(&space_list, name, SC_NONE, nullptr);
    space->attr = bit;
    if (bit != 0)
        *attr |= bit;
    else
        report("too many space modifiers");
}

void apply_default_attrs(uint16_t *attr, int32_t sclass, int32_t type_code) {
    const uint16_t *table;
    if (type_code == TY_FUNCTION)
        table = func_defaults;
    else if ((*attr & ATTR_CONST) != 0 && sclass != SC_AUTO && sclass != SC_ARG)
        table = const_defaults;
    else
        table = data_defaults;
    uint16_t word = table[default_slot(sclass)];
    if ((*attr & ATTR_SPACE) == 0)
        *attr |= word & ATTR_SPACE;
    // A declaration with a modifier of its own keeps it alone.
    if ((*attr & (ATTR_USER | ATTR_NOSTACK | ATTR_PACKED)) == 0)
        *attr |= word & ~ATTR_SPACE;
}
