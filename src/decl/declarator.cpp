// Declarators: the stars with their qualifiers, the name or a nested
// declarator in parentheses, and the array and function suffixes, built
// onto the type chain of a work record.
//
// A chain is read from the outermost derivation to the base type, so the
// stars, read first, are pushed onto the specifier type, and the suffixes
// are inserted between the stars and the name: in `int *a[3]` the array is
// the head and the pointer below it.  A nested declarator is parsed into a
// fresh record and its chain is put on top at the end: `int (*fp)(void)` is
// pointer, function, int.  The attributes gathered in front of a star
// describe what the pointer reaches, so they go onto the pointer node, and
// what stands behind the last star belongs to the declared object.
#include "decl/decl_parser.h"
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "driver/stack_room.h"
#include "expr/expr_node.h"
#include "lexer/token.h"

TypeNode *new_pointer(TypeNode *next, uint16_t attr) {
    TypeNode *pointer = new_type(TY_POINTER, next);
    pointer->args = nullptr;   // clears the whole variant word
    pointer->attr = attr;
    return pointer;
}

namespace {

// The lowest node that the last completed parse_declarator built: the one
// whose `next` is the type the record had on entry.  For a nested
// declarator, whose record starts without a type, it is the last node of
// its chain, which the join needs; keeping it spares a walk down the chain
// at each level of nesting.
TypeNode *built_bottom;

// Qualifiers and space modifiers behind a star, for the object the star
// makes.  Returns the first other token, read and not given back.
Token *read_pointer_qualifiers(Symbol *record) {
    for (;;) {
        Token *t = next_token();
        uint16_t bit;
        if (t->code == TOK_AT) {
            parse_space_modifier(&record->attr);
            continue;
        }
        if (t->code == TOK_CONST)
            bit = ATTR_CONST;
        else if (t->code == TOK_VOLATILE)
            bit = ATTR_VOLATILE;
        else
            return t;
        if ((record->attr & bit) && !opt_c99)
            report("repeated qualifier specification");
        record->attr |= bit;
    }
}

// The array and function suffixes.  `position` is the link a new node goes
// into; after each suffix it moves to the new node's `next`, so that
// `a[2][3]` reads array(2) then array(3).  `outer` is the node the next
// suffix is checked against: the type in front of the first suffix, then
// the suffix just read, which catches `f()()`, `f[]()` and `f()[3]`.
// Returns the last suffix node, null when there was none.
TypeNode *parse_suffixes(Symbol *record) {
    TypeNode **position = &record->type;
    TypeNode *outer = record->type;
    TypeNode *node = nullptr;
    for (;;) {
        Token *t = next_token();
        if (t->code == TOK_LPAREN) {
            if (is_function_type(outer) || is_array_type(outer))
                report("invalid function return type");
            node = new_type(TY_FUNCTION, *position);
            node->args = nullptr;
            node->proto_symbols = nullptr;
            node->proto_tags = nullptr;
            *position = node;
            record->attr |= ATTR_FUNCTION;
            parse_arguments(node);
            expect_token(TOK_RPAREN);
        } else if (t->code == TOK_LBRACKET) {
            if (is_function_type(outer))
                report("invalid array type");
            node = new_type(TY_ARRAY, *position);
            node->args = nullptr;
            *position = node;
            int32_t dim = 0;
            if (parse_const_expr(&dim, 0) && dim < 1) {
                report("invalid array dimension");
                dim = 0;
            }
            node->dim = dim;
            expect_token(TOK_RBRACKET);
        } else {
            unget_token();
            return node;
        }
        position = &node->next;
        outer = node;
    }
}

// Every pointer of the chain that reaches something takes the defaults of
// the pointer slot for what it reaches.
void default_pointer_attrs(TypeNode *type) {
    for (; type != nullptr; type = type->next)
        if (type->code == TY_POINTER && type->next != nullptr)
            apply_default_attrs(&type->attr, TOK_STAR, type->next->code);
}

// Puts the chain of a nested declarator on top of the record's chain.  The
// innermost pointer of the nested chain had nothing to reach until now: it
// takes the attributes gathered outside the parentheses, which describe
// what it reaches, and the object takes the nested record's.  `last` is
// the last node of the nested chain.
void join_nested(Symbol *record, Symbol *nested, TypeNode *last) {
    if (last->code == TY_POINTER) {
        int32_t reached = record->type != nullptr ? int32_t(record->type->code) : int32_t(TY_INT);
        last->attr = record->attr;
        apply_default_attrs(&last->attr, TOK_STAR, reached);
        record->attr = nested->attr;
    } else if (last->code == TY_FUNCTION) {
        record->attr = nested->attr;
    }
    last->next = record->type;
    record->type = nested->type;
}

int parse_declarator_here(Symbol *record) {
    TypeNode *first_star = nullptr;
    Token *t = next_token();
    while (t->code == TOK_STAR) {
        record->type = new_pointer(record->type, record->attr);
        record->attr = 0;
        if (first_star == nullptr)
            first_star = record->type;
        t = read_pointer_qualifiers(record);
    }

    Symbol nested{};
    bool have_nested = false;
    TypeNode *nested_last = nullptr;
    if (t->code == TOK_LPAREN) {
        if (parse_declarator(&nested)) {
            have_nested = true;
            nested_last = built_bottom;
            record->name = nested.name;
            expect_token(TOK_RPAREN);
        } else {
            // Read again as the function suffix of an abstract declarator.
            unget_token();
        }
    } else if (t->code == TOK_IDENT) {
        record->name = t->value.name;
    } else {
        unget_token();
        if (first_star == nullptr || (t->code != TOK_RPAREN && t->code != TOK_LBRACKET))
            return 0;
    }

    // Suffixes go in above the stars, each below the one before.
    TypeNode *last_suffix = parse_suffixes(record);
    TypeNode *bottom = first_star != nullptr ? first_star : last_suffix;
    default_pointer_attrs(record->type);
    if (have_nested && nested.type != nullptr) {
        join_nested(record, &nested, nested_last);
        if (bottom == nullptr)
            bottom = nested_last;
    }
    built_bottom = bottom;
    return 1;
}

}  // namespace

// Recursive for a parenthesised declarator, also through argument lists;
// when the stack runs low the parse goes on on a fresh one.
int parse_declarator(Symbol *record) {
    if (stack_is_low()) {
        int result = 0;
        auto call = [&] { result = parse_declarator_here(record); };
        on_fresh_stack(call);
        return result;
    }
    return parse_declarator_here(record);
}
