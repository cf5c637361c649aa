// `#pragma space`, `#pragma section` and `#pragma attribute`: the three
// directives that reach into the declaration layer.
//
//   #pragma space [class] [[] or ()] {@modifier | volatile}
//       changes the default attribute words that declarations take when
//       they name no space of their own;
//   #pragma section {const | @modifier} (name) or {name} or [name]
//       tells the code generator that code, initialised data or
//       uninitialised data go to another section from here on, after the
//       objects and literals that belong to the old one were written;
//   #pragma attribute declaration
//       gives attributes to a name ahead of its declaration.
//
// The directive layer hands over the tokens behind the word.  Their line
// end becomes a `;`, and the ordinary token stream and declaration parser
// read them.
#include <unordered_map>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "output/records.h"
#include "preproc/directives.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"
#include "stmt/stmt_node.h"

NameRecord *literal_section = nullptr;

namespace {

// Slots of the default tables, and `const` of #pragma space, which chooses
// the table of const data instead of a slot.
constexpr int ALL_SLOTS = -1;
constexpr int CONST_TABLE = 4;

// What #pragma space changes: bit 1 data, bit 2 functions.
constexpr int MODE_DATA = 1;
constexpr int MODE_FUNCTIONS = 2;

// The table of const data once #pragma space const gave it words of its own.
uint16_t const_table[4];

// The class keyword in front of #pragma space, as a slot.
int space_slot(int code) {
    switch (code) {
    case TOK_EXTERN: return 0;
    case TOK_STATIC: return 1;
    case TOK_AUTO: return 2;
    case TOK_STAR: return 3;
    case TOK_CONST: return CONST_TABLE;
    default: return ALL_SLOTS;
    }
}

void store_word(uint16_t *table, int slot, uint16_t word) {
    if (slot == ALL_SLOTS) {
        for (int i = 0; i < 4; i++)
            table[i] = word;
    } else {
        table[slot] = word;
    }
}

// ---------------------------------------------------------------------------
// The names given by #pragma attribute.  pragma_attr_list is the truth; a
// map beside it answers a lookup without a walk, since every declaration
// of the unit asks it.  The list only grows at its head, by one entry per
// new name, so the map is in step while the list's head is the one it saw
// last; otherwise it is rebuilt from the list.
std::unordered_map<NameRecord *, Symbol *> pragma_names;
Symbol *pragma_names_head;

Symbol *find_pragma_attribute(NameRecord *name) {
    if (pragma_names_head != pragma_attr_list) {
        pragma_names.clear();
        // Newest first: the first entry of a name stays, as a walk finds it.
        for (Symbol *sym = pragma_attr_list; sym != nullptr; sym = sym->next)
            pragma_names.try_emplace(sym->name, sym);
        pragma_names_head = pragma_attr_list;
    }
    auto found = pragma_names.find(name);
    return found != pragma_names.end() ? found->second : nullptr;
}

Symbol *add_pragma_attribute(const Symbol *record) {
    find_pragma_attribute(record->name);   // brings the map in step
    Symbol *sym = new_symbol(&pragma_attr_list, record->name, record->sclass, record->type);
    sym->attr = record->attr;
    sym->flags = record->flags;
    sym->value = record->value;
    sym->column = record->column;
    pragma_names[sym->name] = sym;
    pragma_names_head = pragma_attr_list;
    return sym;
}

// ---------------------------------------------------------------------------
// How a declaration's type fails to agree with its #pragma attribute.
enum class Mismatch {
    NONE,
    TYPE,             // the chains differ in shape
    POINTER_SPACE,    // two pointers reach different spaces
    NO_PROTOTYPE,     // the pragma has a prototype, the declaration none
    ARGUMENTS,        // the argument lists differ in length or in a type
};

bool is_void(const TypeNode *type) { return type != nullptr && type->code == TY_VOID; }
bool has_prototype(const TypeNode *function) {
    return function->args != nullptr && function->args->type != nullptr;
}

Mismatch match_pragma_type(TypeNode *p, TypeNode *q);

// The argument lists of two functions whose pragma side has a prototype.
Mismatch match_arguments(Symbol *p, Symbol *q) {
    for (; q != nullptr; p = p->next, q = q->next) {
        if (is_void(q->type))
            return p != nullptr && is_void(p->type) ? Mismatch::NONE : Mismatch::ARGUMENTS;
        if (p == nullptr)
            return Mismatch::ARGUMENTS;
        Mismatch inner = match_pragma_type(p->type, q->type);
        if (inner != Mismatch::NONE)
            return inner;
    }
    return p != nullptr ? Mismatch::ARGUMENTS : Mismatch::NONE;
}

// Walks the pragma's chain `p` and the declaration's `q` in step.  Shapes
// must agree down to the base types, which are not compared; on the way the
// attributes of each pragma pointer reach the declaration's pointer.
Mismatch match_pragma_type(TypeNode *p, TypeNode *q) {
    for (; p != nullptr && q != nullptr; p = p->next, q = q->next) {
        if (p->code == TY_ARRAY || q->code == TY_ARRAY) {
            if (p->code != q->code)
                return Mismatch::TYPE;
        } else if (p->code == TY_POINTER || q->code == TY_POINTER) {
            if (p->code != q->code)
                return Mismatch::TYPE;
            uint16_t p_space = p->attr & ATTR_SPACE;
            uint16_t q_space = q->attr & ATTR_SPACE;
            if (p_space != 0 && q_space != 0 && p_space != q_space)
                return Mismatch::POINTER_SPACE;
            q->attr |= p->attr;
        } else if (p->code == TY_FUNCTION || q->code == TY_FUNCTION) {
            if (p->code != q->code)
                return Mismatch::TYPE;
            if (has_prototype(p)) {
                if (!has_prototype(q))
                    return Mismatch::NO_PROTOTYPE;
                Mismatch arguments = match_arguments(p->args, q->args);
                if (arguments != Mismatch::NONE)
                    return arguments;
            }
        } else {
            break;
        }
    }
    return Mismatch::NONE;
}

void report_mismatch(Mismatch mismatch, const NameRecord *name) {
    switch (mismatch) {
    case Mismatch::NONE:
        break;
    case Mismatch::TYPE:
        report("type mismatch with #pragma attribute for %.*s", name->length, name->text);
        break;
    case Mismatch::POINTER_SPACE:
        report("pointer space conflict with #pragma attribute for %.*s", name->length, name->text);
        break;
    case Mismatch::NO_PROTOTYPE:
        report("missing prototype for #pragma attribute usage");
        break;
    case Mismatch::ARGUMENTS:
        report("argument mismatch in #pragma attribute for %.*s", name->length, name->text);
        break;
    }
}

} // namespace

// ---------------------------------------------------------------------------

void pragma_space() {
    Token *t = next_token();
    int slot = space_slot(t->code);
    if (slot == ALL_SLOTS)
        unget_token();

    int mode = MODE_DATA | MODE_FUNCTIONS;
    t = next_token();
    if (t->code == TOK_LBRACKET || t->code == TOK_LPAREN) {
        int close = t->code == TOK_LBRACKET ? TOK_RBRACKET : TOK_RPAREN;
        mode = t->code == TOK_LBRACKET ? MODE_DATA : MODE_FUNCTIONS;
        // Without its closing bracket the rest of the line is not read, and
        // the directive is reported as bad.
        if (next_token()->code != close)
            unget_token();
    } else {
        unget_token();
    }

    uint16_t word = 0;
    for (;;) {
        t = next_token();
        if (t->code == TOK_AT) {
            parse_space_modifier(&word);
        } else if (t->code == TOK_VOLATILE) {
            word |= ATTR_VOLATILE;
        } else {
            unget_token();
            break;
        }
    }

    if (slot != CONST_TABLE) {
        if (mode & MODE_DATA)
            store_word(data_defaults, slot, word);
        if (mode & MODE_FUNCTIONS)
            store_word(func_defaults, slot, word);
    } else if (mode == MODE_DATA) {
        const_defaults = data_defaults;
    } else if (mode == MODE_FUNCTIONS) {
        const_defaults = func_defaults;
    } else {
        const_defaults = const_table;
        store_word(const_table, ALL_SLOTS, word);
    }
}

void pragma_section() {
    uint16_t word = 0;
    Token *t;
    for (;;) {
        t = next_token();
        if (t->code == TOK_CONST)
            word |= ATTR_CONST;
        else if (t->code == TOK_AT)
            parse_space_modifier(&word);
        else
            break;
    }
    word &= uint16_t(~ATTR_VOLATILE);

    int close;
    switch (t->code) {
    case TOK_LPAREN:
        apply_default_attrs(&word, SC_EXTERN, TY_FUNCTION);
        word |= ATTR_FUNCTION;
        close = TOK_RPAREN;
        break;
    case TOK_LBRACKET:
        apply_default_attrs(&word, SC_EXTERN, 0);
        // In a section word volatile means uninitialised data.
        word |= ATTR_VOLATILE;
        close = TOK_RBRACKET;
        break;
    case TOK_LBRACE:
        apply_default_attrs(&word, SC_EXTERN, 0);
        close = TOK_RBRACE;
        break;
    default:
        // Without a bracket the directive does nothing.
        unget_token();
        return;
    }

    NameRecord *name = nullptr;
    t = next_token();
    if (t->code == TOK_IDENT)
        name = t->value.name;
    else
        unget_token();
    expect_token(close);
    uint32_t line = last_token != nullptr ? last_token->line : current_line();

    write_space_names();
    if ((word & ATTR_VOLATILE) && !(word & ATTR_CONST)) {
        // The tentative objects seen so far go to the old section.
        flush_symbols(0);
    } else if (word & ATTR_CONST) {
        // So do the literals; equal literals after this point are new ones.
        write_literals();
        literal_section = name;
    }
    write_pragma_section(line, word, name);
}

void pragma_attribute() {
    Symbol record{};
    parse_decl_specifiers(&record, block_classes);
    Symbol declarator = record;
    if (!parse_declarator(&declarator)) {
        report("invalid #pragma attribute syntax");
        return;
    }
    NameRecord *name = declarator.name;
    if (name == nullptr) {
        report("missing #pragma attribute name");
        return;
    }
    if (find_pragma_attribute(name) != nullptr) {
        report("duplicate #pragma attribute name %.*s", name->length, name->text);
        return;
    }
    // The pragma must come before the declaration it is for.
    if (find_symbol(name, symbol_list, nullptr) != nullptr) {
        report("redeclared #pragma attribute name %.*s", name->length, name->text);
        return;
    }
    add_pragma_attribute(&declarator);
}

void check_pragma_attribute(Symbol *sym) {
    Symbol *pragma = find_pragma_attribute(sym->name);
    if (pragma == nullptr)
        return;
    // A static object of the same name is quietly left alone.
    bool quiet = sym->sclass == SC_STATIC;
    uint16_t pragma_space = pragma->attr & ATTR_SPACE;
    uint16_t own_space = sym->attr & ATTR_SPACE;
    if (pragma_space != 0 && own_space != 0 && pragma_space != own_space) {
        if (!quiet)
            report("space conflict with #pragma attribute for %.*s", sym->name->length, sym->name->text);
        return;
    }
    Mismatch mismatch = match_pragma_type(pragma->type, sym->type);
    if (mismatch == Mismatch::NONE)
        sym->attr |= pragma->attr;
    else if (!quiet)
        report_mismatch(mismatch, sym->name);
}

// ---------------------------------------------------------------------------
// The hand-over from the directive layer.  The parse is no code: what it
// does to the state of a function around the directive is undone, as for
// the expression of an #if.

void declaration_pragma(int word, PpToken **link) {
    static const char *const bad[] = {"bad #pragma space directive", "bad #pragma section directive",
                                      "bad #pragma attribute directive"};
    PpToken *list = *link;
    for (PpToken *t = list; t != nullptr; t = t->next)
        if (t->kind == PP_EOL) {
            t->kind = TOK_SEMI;
            break;
        }
    if (list == nullptr) {
        report("%s", bad[word]);
        return;
    }

    token_source_switch(list);
    switch (word) {
    case PRAGMA_SPACE:
        pragma_space();
        break;
    case PRAGMA_SECTION:
        pragma_section();
        break;
    default:
        pragma_attribute();
        break;
    }
    int end = token_source_switch(nullptr);

    if (end != TOK_SEMI)
        report("%s", bad[word]);
    else if (word == PRAGMA_SECTION && func_state.in_function)
        report("misplaced #pragma section directive");
}
