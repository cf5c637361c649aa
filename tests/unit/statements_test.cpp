// The statement parser from inside: function bodies are fed through the
// token stream's switch to parse_block, and the statement tree comes back
// in a compact text form with its flags, code labels and case lists.
//
//   kinds   expr ; (empty) { } if while do for switch break continue goto
//           return
//   flags   behind the kind in brackets: B break, C continue, G goto,
//           N no fall-through, D dead, K case target, L labelled, R control
//           variable read, W control variable changed; # a code label
//   case list of a switch: `cases=d,1,2` (d for default), in list order
#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <string>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"
#include "stmt/stmt_node.h"
#include "message_capture.h"
#include "type_text.h"

extern "C" const char *__asan_default_options() {
    return "detect_leaks=0";
}

namespace {

// An expression in prefix form, as the cases read it: a constant is its
// value, a variable its name, an assignment `(= left right)`, any other
// operator its code; with types, each node gets `:` and its type.
std::string expression_text(const ExprNode *e, bool with_types) {
    if (e == nullptr)
        return "null";
    std::string text;
    if (e->op == OP_LEAF) {
        unsigned form = unsigned(e->lflags & 7);
        text = form == LEAF_VARIABLE && e->sym != nullptr && e->sym->name != nullptr
                   ? std::string(e->sym->name->text, e->sym->name->length)
                   : std::to_string(e->value);
    } else {
        text = "(" + (e->op == OP_ASSIGN ? std::string("=") : "op" + std::to_string(e->op)) + " " +
               expression_text(e->left, with_types) + " " + expression_text(e->right, with_types) + ")";
    }
    return with_types ? text + ":" + type_text(e->type) : text;
}

std::string tree(const ExprNode *e) { return expression_text(e, false); }
std::string typed(const ExprNode *e) { return expression_text(e, true); }

}  // namespace

namespace {

std::string stmt_text(const StmtNode *s);

std::string list_text(const StmtNode *s) {
    std::string text;
    for (; s != nullptr; s = s->next)
        text += (text.empty() ? "" : " ") + stmt_text(s);
    return text;
}

std::string kind_name(const StmtNode *s) {
    switch (s->kind) {
    case ST_EXPR: return s->expr == nullptr ? ";" : "expr";
    case ST_BLOCK: return "{";
    case ST_IF: return "if";
    case ST_WHILE: return "while";
    case ST_DO: return "do";
    case ST_FOR: return "for";
    case ST_COUNTED: return "counted";
    case ST_SWITCH: return "switch";
    case ST_BREAK: return "break";
    case ST_CONTINUE: return "continue";
    case ST_GOTO: return "goto";
    case ST_RETURN: return "return";
    case ST_ASM: return "asm";
    default: return "?";
    }
}

std::string stmt_text(const StmtNode *s) {
    std::string text = kind_name(s);
    static const struct { uint16_t bit; char letter; } marks[] = {
        {SF_BREAK, 'B'}, {SF_CONTINUE, 'C'}, {SF_GOTO, 'G'}, {SF_NO_FALLTHROUGH, 'N'},
        {SF_DEAD, 'D'}, {SF_CASE_TARGET, 'K'}, {SF_LABELLED, 'L'}, {SF_VAR_READ, 'R'},
        {SF_VAR_CHANGED, 'W'},
    };
    std::string flags;
    for (const auto &mark : marks)
        if (s->flags & mark.bit)
            flags += mark.letter;
    if (s->label != 0)
        flags += '#';
    if (!flags.empty())
        text += "[" + flags + "]";
    switch (s->kind) {
    case ST_BLOCK:
        text += " " + list_text(s->body) + (s->body ? " }" : "}");
        break;
    case ST_IF:
        text += "(" + stmt_text(s->body) + (s->alt ? " else " + stmt_text(s->alt) : "") + ")";
        break;
    case ST_WHILE:
    case ST_DO:
    case ST_FOR:
    case ST_COUNTED:
        text += "(" + stmt_text(s->body) + ")";
        break;
    case ST_SWITCH: {
        std::string cases;
        for (const Symbol *c = s->cases; c != nullptr; c = c->next) {
            cases += cases.empty() ? "" : ",";
            cases += c->sclass == SC_DEFAULT ? std::string("d") : std::to_string(int32_t(c->value));
        }
        text += "(cases=" + cases + " " + stmt_text(s->body) + ")";
        break;
    }
    default:
        break;
    }
    return text;
}

class Statements : public ::testing::Test {
protected:
    void SetUp() override {
        opt_ck = 0;
        error_count = 0;
        saved_list = symbol_list;
        for (const char *name : {"a", "i", "x"}) {
            Symbol *sym = new_symbol(&symbol_list, intern_name(name, unsigned(std::strlen(name))),
                                     SC_STATIC, &type_int);
            sym->flags = SYM_DECLARED;
        }
        Symbol *fn = new_symbol(&symbol_list, intern_name("g", 1), SC_EXTERN,
                                new_type(TY_FUNCTION | TY_KEEP, &type_int));
        fn->type->args = nullptr;
        fn->flags = SYM_DECLARED;
    }
    void TearDown() override {
        symbol_list = release_symbols(symbol_list, saved_list);
        label_list = nullptr;
        opt_ck = 0;
        error_count = 0;
    }

    // Parses `text`, behind its `{`, as a function body of int result in
    // which the names declared after `outer` are its own, and gives what
    // `read` makes of the tree while its tokens live.
    template <typename Read>
    std::string parse(const std::string &text, Symbol *outer, Read read) {
        PpToken *list = scan_line(texts.emplace_back(text + "\n").data());
        token_source_switch(list);
        StmtNode *scratch = nullptr;
        func_state.block_chain_tail = &scratch;
        func_state.return_type = &type_int;
        func_state.loop_records = nullptr;
        func_state.case_list_slot = nullptr;
        func_state.known_values = nullptr;
        scope_mark = outer;
        tag_scope_mark = tag_list;
        std::string result = read(parse_block(nullptr, nullptr, nullptr, nullptr, nullptr));
        token_source_switch(nullptr);
        pptoken_free_list(list);
        scope_mark = tag_scope_mark = nullptr;
        label_list = nullptr;
        return result;
    }

    // The tree of `text` in its text form.
    std::string body(const char *text) { return parse(text, symbol_list, stmt_text); }

    // The tree of the value read by the statement `x = a;` behind `text`, as
    // the known values left it.
    std::string last_value(const char *text) {
        return parse(std::string(text) + " x = a; }", symbol_list, [](const StmtNode *root) {
            const StmtNode *last = root->body;
            while (last->next != nullptr && last->next->kind != ST_RETURN)
                last = last->next;
            return tree(last->expr->right);
        });
    }

    std::deque<std::string> texts;
    Symbol *saved_list = nullptr;
    Messages messages;
};

struct Case {
    const char *source;
    const char *expected;
};

} // namespace

TEST_F(Statements, FlagsLabelsAndCaseLists) {
    static const Case cases[] = {
        // An endless loop does not fall through, unless a break or a goto
        // leaves it; a goto marks the innermost loop only.
        {"for (;;) { } a = 1; }", "{[N] for[N]({ }) expr[D] }"},
        {"for (;;) { goto out; } out: ; }", "{[L] for[G]({[N] goto[N] }) ;[L#] return }"},
        {"while (1) { while (1) { goto out; } } out: ; }",
         "{[L] while[N]({ while[G]({[N] goto[N] }) }) ;[L#] return }"},
        {"do ; while (1); a = 1; }", "{[N] do[N](;) expr[D] }"},
        {"while (a) { if (a) break; } a = 1; }", "{ while[B]({ if(break[N]) }) expr return }"},
        // continue passes through a switch, break stops at it; a case
        // label makes every statement around it labelled.
        {"while (a) { switch (a) { case 1: continue; case 2: break; } } }",
         "{[L] while[CL]({[L] switch[BL](cases=1,2 {[NL] continue[NK#] break[NK#] }) }) return }"},
        // The case list is sorted, default counting as 0; several labels
        // share one statement and one code label.
        {"switch (a) { case 3: case 1: default: case 2: ; case -1: ; } }",
         "{[L] switch[L](cases=-1,d,1,2,3 {[L] ;[K#] ;[K#] }) return }"},
        // Jumps behind a dead point are not marked; a label ends the run.
        {"return 1; return 2; a = 1; }", "{[N] return[N] return[N] expr[D] }"},
        {"return 1; l: a = 1; }", "{[L] return[N] expr[L#] return }"},
        {"if (a) return 1; else return 2; }", "{[N] if[N](return[N] else return[N]) }"},
        {"if (a) return 1; else { l: a = 2; } }", "{[L] if[L](return[N] else {[L] expr[L#] }) return }"},
        {"return 1; { a = 1; } a = 2; }", "{[N] return[N] {[D] expr[D] } expr[D] }"},
        {"return 1; { a = 1; l: a = 2; } a = 3; }",
         "{[L] return[N] {[L] expr[D] expr[L#] } expr return }"},
        // The control variable of a loop that steps by one: every use
        // reads it, an assignment changes it, and so does a bound that
        // a call computes.
        {"for (i = 0; i < 9; i++) x = i; }", "{ counted[R](expr) return }"},
        {"for (i = 0; i < 9; i++) i = 2; }", "{ for[RW](expr) return }"},
        {"for (i = 0; i < g(); i++) ; }", "{ for[W](;) return }"},
        {"for (i = 0; i < x; i++) x = 1; }", "{ for(expr) return }"},
        {"for (i = 0; i < x + x; i++) x = i; }", "{ for[R](expr) return }"},
        {"for (i = 0; i < x++; i++) ; }", "{ for[W](;) return }"},
        {"for (i = 0; i < (x = 3); i++) ; }", "{ for[W](;) return }"},
        {"for (i = 0; i < 9; i += 2) x = i; }", "{ for(expr) return }"},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(body(c.source), c.expected) << c.source;
        messages.take();
    }
}

// After an if with a test that is no constant, what was known stays known
// only when neither way recorded anything; a constant test keeps what its
// way left.  A label, a loop and a switch forget everything.
TEST_F(Statements, KnownValuesAcrossStatements) {
    static const Case cases[] = {
        {"a = 5;", "5"},
        {"if (0) a = 1; else a = 2;", "2"},
        {"if (1) a = 1; else a = 2;", "1"},
        {"if (i) a = 1; else a = 2;", "a"},
        {"a = 3; if (i) ;", "3"},
        {"a = 3; if (i) x = 1;", "a"},
        {"a = 3; if (i) a = 4;", "a"},
        {"a = 3; l: ;", "a"},
        {"a = 3; while (i) i--;", "a"},
        {"a = 3; for (;;) break;", "a"},
        {"a = 3; switch (i) { }", "a"},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(last_value(c.source), c.expected) << c.source;
        messages.take();
    }
}

// Arguments passed wider than declared: the target is big-endian, so a
// narrow one names the last bytes of its slot, and a used float, passed as
// a double, is narrowed into its slot by the first statement of the body.
TEST_F(Statements, WidenedArgumentsAtTheEndOfTheBody) {
    Symbol *outer = symbol_list;
    struct Arg { const char *name; TypeNode *type; uint32_t offset; bool widened; } args[] = {
        {"c", &type_char, 0, true}, {"s", &type_ushort, 4, true}, {"f", &type_float, 8, true},
        {"unused", &type_float, 16, true}, {"n", &type_int, 24, false},
    };
    Symbol *made[5];
    for (int k = 0; k < 5; k++) {
        made[k] = new_symbol(&symbol_list, intern_name(args[k].name, unsigned(std::strlen(args[k].name))),
                             SC_ARG, args[k].type);
        made[k]->value = args[k].offset;
        made[k]->flags = SYM_DECLARED | (args[k].widened ? uint32_t(SYM_ARG_WIDENED) : 0u);
    }
    StmtNode *root = nullptr;
    std::string entry_types = parse("return c + s + f + n; }", outer, [&root](StmtNode *top) {
        root = top;
        return top->body->kind == ST_EXPR ? typed(top->body->expr) : "none";
    });

    EXPECT_EQ(made[0]->value, 3u);
    EXPECT_EQ(made[1]->value, 6u);
    EXPECT_EQ(made[2]->value, 8u);
    EXPECT_EQ(made[3]->value, 16u);
    EXPECT_EQ(made[4]->value, 24u);
    EXPECT_NE(made[2]->flags & SYM_ADDR_TAKEN, 0u);
    EXPECT_EQ(made[3]->flags & SYM_ADDR_TAKEN, 0u);
    EXPECT_EQ(entry_types, "(= f:f f:d):f");
    // The locals left symbol_list with the block.
    EXPECT_EQ(symbol_list, outer);
    EXPECT_EQ(root->locals, made[4]);
}
