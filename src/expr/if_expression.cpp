// The expressions of #if and #elif.  Their lines are macro-expanded, their
// identifiers turned into numbers, and the token list is then read by the
// expression parser in place of the normal token source, so that a
// preprocessor expression is a C constant expression with the same folding
// and the same messages.  An enumeration constant declared before the
// directive keeps its value.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "decl/symbol.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"

namespace {

// Spellings of the numbers that replace enumeration constants.  A token
// does not own its text, so the digits live here until the next directive
// replaces them; the store only grows, and is sized before any spelling is
// handed out, so that no pointer into it moves.
constexpr unsigned NUMBER_SPELLING = 12;   // "-2147483648" and its null
char *spelling_store;
size_t spelling_capacity;   // in spellings

char zero_spelling[] = "0";
char minus_spelling[] = "-";

bool is_sizeof(const PpToken *t) {
    return t->length == 6 && std::memcmp(t->text, "sizeof", 6) == 0;
}

void make_number(PpToken *t, char *text, unsigned length) {
    t->kind = PP_NUMBER;
    t->text = text;
    t->length = static_cast<uint16_t>(length);
}

// Skips from the `(` behind `sizeof` to its matching `)`; returns that token,
// or the end of the line when none matches, with the end turned into `;`.
PpToken *skip_sizeof_operand(PpToken *open) {
    int depth = 0;
    for (PpToken *t = open; t != nullptr; t = t->next) {
        if (t->kind == PP_EOL) {
            t->kind = TOK_SEMI;
            return t;
        }
        if (t->kind == TOK_LPAREN)
            depth++;
        else if (t->kind == TOK_RPAREN && --depth == 0)
            return t;
    }
    return nullptr;
}

}  // namespace

void prepare_if_tokens(PpToken **link) {
    size_t identifiers = 0;
    for (PpToken *t = *link; t != nullptr; t = t->next)
        if (t->kind == TOK_IDENT)
            identifiers++;
    if (identifiers > spelling_capacity) {
        std::free(spelling_store);
        spelling_capacity = identifiers < 64 ? 64 : identifiers;
        spelling_store = static_cast<char *>(checked_alloc(unsigned(spelling_capacity * NUMBER_SPELLING), nullptr));
    }
    size_t used = 0;

    for (PpToken *t = *link; t != nullptr; t = t->next) {
        if (t->kind == PP_EOL) {
            t->kind = TOK_SEMI;   // what ends the expression
            continue;
        }
        if (t->kind != TOK_IDENT)
            continue;
        if (!opt_sa && is_sizeof(t) && t->next != nullptr && t->next->kind == TOK_LPAREN) {
            // Left for the parser to evaluate, with its operand.
            PpToken *close = skip_sizeof_operand(t->next);
            if (close == nullptr)
                break;
            t = close;
            continue;
        }
        if (!opt_sa) {
            NameRecord *name = intern_name(t->text, t->length);
            Symbol *sym = find_symbol(name, symbol_list, nullptr);
            if (sym != nullptr && sym->sclass == SC_ENUM_MEMBER) {
                int32_t value = int32_t(sym->value);
                char *text = spelling_store + used++ * NUMBER_SPELLING;
                if (value >= 0) {
                    int length = std::snprintf(text, NUMBER_SPELLING, "%lu", static_cast<unsigned long>(value));
                    make_number(t, text, unsigned(length));
                    continue;
                }
                // A number has no sign: a negative value is a minus sign in
                // front of its magnitude, which binds as tightly.
                unsigned long magnitude = 0ul - static_cast<unsigned long>(uint32_t(value));
                magnitude &= 0xFFFFFFFFul;
                int length = std::snprintf(text, NUMBER_SPELLING, "%lu", magnitude);
                PpToken *number = pptoken_new();
                *number = *t;
                number->space = t->text;
                number->space_length = 0;
                make_number(number, text, unsigned(length));
                t->kind = TOK_MINUS;
                t->text = minus_spelling;
                t->length = 1;
                t->next = number;
                t = number;
                continue;
            }
        }
        make_number(t, zero_spelling, 1);
    }
}

int eval_if_expression(PpToken **link, int is_elif) {
    expand_macros(link, 0);
    prepare_if_tokens(link);
    int32_t value = 0;
    int code = TOK_EOF;
    int found = 0;
    if (*link != nullptr) {
        // The switch back undoes what the parse did to the state of the
        // function around the directive, and gives back its nodes.
        token_source_switch(*link);
        found = parse_const_expr(&value, 1);
        code = token_source_switch(nullptr);
    } else {
        report("missing expression");
    }
    if (!found) {
        report(is_elif ? "bad #elif expression" : "bad #if expression");
        value = 0;
    }
    if (code != TOK_SEMI)
        report(is_elif ? "incomplete #elif expression" : "incomplete #if expression");
    return value != 0;
}
