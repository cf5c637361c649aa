// The function writer on statement trees made by hand, for the forms that
// C input does not bring to it as they stand: a counted loop with a break
// or a count that is not positive, unrolled rounds with labels of their
// own, a register move and the argument it leaves, a sequence with a break,
// preludes, a @nostack frame and an operator the file has no tag for.  Each
// tree is written as a function and read back with zirdump's printer.  What
// C input does bring (counted loops, for loops entered at the top, frames,
// register copies of arguments and globals) is run by tests/e2e/opt and
// tests/e2e/emit.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "message_capture.h"
#include "opt/registers.h"
#include "output/records.h"
#include "stmt/stmt_node.h"
#include "zir/zir_dump.h"

namespace {

NameRecord *name(const char *text) { return intern_name(text, unsigned(std::strlen(text))); }

Symbol make_symbol(const char *text, uint8_t sclass, TypeNode *type, uint32_t value = 0) {
    Symbol s{};
    s.name = name(text);
    s.sclass = sclass;
    s.type = type;
    s.value = value;
    return s;
}

// A statement with every field cleared but its pool link.
StmtNode *stmt(int kind, uint32_t line = 5) {
    StmtNode *s = new_stmt(kind);
    StmtNode *link = s->link;
    std::memset(static_cast<void *>(s), 0, sizeof *s);
    s->link = link;
    s->kind = uint8_t(kind);
    s->file = "t.c";
    s->line = line;
    return s;
}

StmtNode *expr_stmt(ExprNode *e, uint32_t line = 5) {
    StmtNode *s = stmt(ST_EXPR, line);
    s->expr = e;
    return s;
}

StmtNode *block(std::initializer_list<StmtNode *> list) {
    StmtNode *b = stmt(ST_BLOCK);
    StmtNode **tail = &b->body;
    for (StmtNode *s : list) {
        *tail = s;
        tail = &s->next;
    }
    return b;
}

ExprNode *leaf(Symbol *s, uint8_t form = LEAF_VARIABLE) {
    ExprNode *e = new_expr(OP_LEAF);
    e->type = s->type;
    e->sym = s;
    e->value = 0;
    e->lflags = form;
    return e;
}

ExprNode *num(int32_t value) { return make_int_const(nullptr, value); }

ExprNode *node(int op, ExprNode *left, ExprNode *right, TypeNode *type = &type_int) {
    ExprNode *e = new_expr(op);
    e->type = type;
    e->left = left;
    e->right = right;
    return e;
}

class FunctionWriter : public ::testing::Test {
protected:
    void SetUp() override {
        opt_l = opt_x = opt_xd = opt_f = opt_fr = 0;
        error_count = 0;
        reg_arg_count = 0;
        regs_left = 0x3FFFF;
        float_regs_left = 0x1FFFE;
        output_stream = open_memstream(&buffer_, &size_);
        write_file_header();
        fn_ = TypeNode{};
        fn_.code = TY_FUNCTION;
        fn_.next = &type_int;
        f_ = make_symbol("f", SC_NONE, &fn_);
        f_.attr = ATTR_FUNCTION;
        func_state.return_type = &type_int;
        func_state.frame_low = 0;
    }
    void TearDown() override {
        flush_output();
        std::fclose(output_stream);
        output_stream = nullptr;
        std::free(buffer_);
        error_count = 0;
        release_stmts();
        release_exprs();
    }
    // The body of `root` written as a function, as zirdump prints it: the
    // records between REC_REGISTERS and REC_FUNCTION_END, one a line.
    std::string body(StmtNode *root) {
        write_function(&f_, root, 1, 1, 0);
        flush_output();
        std::fflush(output_stream);
        char *text = nullptr;
        size_t length = 0;
        FILE *out = open_memstream(&text, &length);
        FILE *err = std::tmpfile();
        int status = dump_intermediate(reinterpret_cast<const uint8_t *>(buffer_), size_, "t.o",
                                       false, out, err);
        std::fclose(out);
        std::fclose(err);
        EXPECT_EQ(status, 0) << "the file does not read back";
        std::string all(text, length);
        std::free(text);
        size_t start = all.find('\n', all.find("REGISTERS")) + 1;
        size_t end = all.find("FUNCTION_END");
        return renumber(all.substr(start, end - start));
    }
    // Labels come from one counter for the whole run: they are numbered
    // here L1, L2, ... in the order of their first appearance.
    static std::string renumber(const std::string &text) {
        static const std::regex label("L[0-9]+");
        std::map<std::string, int> numbers;
        std::string out;
        auto last = text.cbegin();
        for (std::sregex_iterator m(text.begin(), text.end(), label), e; m != e; ++m) {
            out.append(last, (*m)[0].first);
            auto found = numbers.emplace(m->str(), int(numbers.size()) + 1).first;
            out += "L" + std::to_string(found->second);
            last = (*m)[0].second;
        }
        out.append(last, text.cend());
        return out;
    }
    TypeNode fn_;
    Symbol f_;
    char *buffer_ = nullptr;
    size_t size_ = 0;
};

// for (i = 0; i < n; i++) { g += 1; break; } made a counted loop: the count
// opens the loop, the break leads to its close, the update stands last.
TEST_F(FunctionWriter, CountedLoop) {
    Symbol i = make_symbol("i", SC_AUTO, &type_int, uint32_t(-4));
    Symbol n = make_symbol("n", SC_EXTERN, &type_int);
    Symbol g = make_symbol("g", SC_EXTERN, &type_int);
    StmtNode *loop = stmt(ST_COUNTED, 3);
    loop->init = node(OP_ASSIGN, leaf(&i), num(0));
    loop->expr = leaf(&n);
    loop->update = node(OP_ADD_ASSIGN, leaf(&i), num(1));
    loop->body = block({expr_stmt(node(OP_ADD_ASSIGN, leaf(&g), num(1)), 4), stmt(ST_BREAK, 4)});
    EXPECT_EQ(body(block({loop})),
              "  LINE line=3\n"
              "  EXPR (= int (leaf int ref=none value=-4 loc=local indirect=1)"
              " (leaf int ref=none value=0 loc=static indirect=0))\n"
              "  COUNTED_LOOP label=L1 phase=1 count=(leaf int ref={name=\"n\" label=none "
              "kind=0x81} value=0 loc=static indirect=1)\n"
              "    LINE line=4\n"
              "    EXPR (+= int (leaf int ref={name=\"g\" label=none kind=0x81} value=0 "
              "loc=static indirect=1) (leaf int ref=none value=1 loc=static indirect=0))\n"
              "    LINE line=4\n"
              "    JUMP L1\n"
              "    LINE line=3\n"
              "    EXPR (+= int (leaf int ref=none value=-4 loc=local indirect=1)"
              " (leaf int ref=none value=1 loc=static indirect=0))\n"
              "  COUNTED_LOOP label=L1 phase=0\n");
}

// A constant count that is not positive: the loop never runs, and only the
// initial value is given.
TEST_F(FunctionWriter, CountedLoopThatNeverRuns) {
    Symbol i = make_symbol("i", SC_AUTO, &type_int, uint32_t(-4));
    StmtNode *loop = stmt(ST_COUNTED, 3);
    loop->init = node(OP_ASSIGN, leaf(&i), num(5));
    loop->expr = num(0);
    loop->body = expr_stmt(node(OP_ADD_ASSIGN, leaf(&i), num(1)), 4);
    EXPECT_EQ(body(block({loop})),
              "  LINE line=3\n"
              "  EXPR (= int (leaf int ref=none value=-4 loc=local indirect=1)"
              " (leaf int ref=none value=5 loc=static indirect=0))\n");
}

// for (i = 2; i > -1; i--) { l: g = i; goto l; } unrolled: three rounds,
// each read of i the constant of its round, each round with labels of its
// own, and i no constant after the loop.
TEST_F(FunctionWriter, UnrolledLoop) {
    Symbol i = make_symbol("i", SC_AUTO, &type_int, uint32_t(-4));
    Symbol g = make_symbol("g", SC_EXTERN, &type_int);
    Symbol l = make_symbol("l", SC_NONE, nullptr);
    StmtNode *target = expr_stmt(node(OP_ASSIGN, leaf(&g), leaf(&i)), 4);
    target->label = uint16_t(new_label());
    target->flags = SF_LABELLED;
    l.stmt = target;
    StmtNode *jump = stmt(ST_GOTO, 4);
    jump->goto_label = &l;
    StmtNode *loop = stmt(ST_COUNTED, 3);
    loop->flags = SF_UNROLLED;
    loop->init = node(OP_ASSIGN, leaf(&i), num(2));
    loop->expr = num(3);
    loop->update = node(OP_SUB_ASSIGN, leaf(&i), num(1));
    loop->body = block({target, jump});
    StmtNode *after = expr_stmt(node(OP_ASSIGN, leaf(&g), leaf(&i)), 6);
    std::string text = body(block({loop, after}));
    std::string round = "EXPR (= int (leaf int ref={name=\"g\" label=none kind=0x81} value=0 "
                        "loc=static indirect=1) (leaf int ref=none value=";
    EXPECT_EQ(text,
              "  LINE line=3\n"
              "L1: line=4 flag=0\n  " + round + "2 loc=static indirect=0))\n"
              "  LINE line=4\n  JUMP L1\n"
              "L2: line=4 flag=0\n  " + round + "1 loc=static indirect=0))\n"
              "  LINE line=4\n  JUMP L2\n"
              "L3: line=4 flag=0\n  " + round + "0 loc=static indirect=0))\n"
              "  LINE line=4\n  JUMP L3\n"
              "  LINE line=6\n  " + round + "-4 loc=local indirect=1))\n");
    EXPECT_EQ(i.flags & SYM_UNROLL_VALUE, 0u);
}

// An argument that moves to a register at entry is read from its slot as
// an argument, then is the register: a char passed in an int slot, its
// value naming the last byte of the slot.
TEST_F(FunctionWriter, ArgumentMovesToRegister) {
    Symbol c = make_symbol("c", SC_REGISTER, &type_char, 7);
    c.attr = 3;
    c.flags = SYM_ARG_WIDENED;
    Symbol g = make_symbol("g", SC_EXTERN, &type_int);
    StmtNode *move = stmt(ST_REG_MOVE, 2);
    move->expr = leaf(&c);
    StmtNode *use = expr_stmt(node(OP_ASSIGN, leaf(&g), leaf(&c)), 3);
    EXPECT_EQ(body(block({move, use})),
              "  LINE line=2\n"
              "  EXPR (= char (leaf char ref=none value=0 loc=reg3 indirect=0)"
              " (leaf char ref=none value=7 loc=arg indirect=1))\n"
              "  LINE line=3\n"
              "  EXPR (= int (leaf int ref={name=\"g\" label=none kind=0x81} value=0 loc=static "
              "indirect=1) (leaf char ref=none value=0 loc=reg3 indirect=0))\n");
    EXPECT_EQ(c.sclass, SC_REGISTER);
    EXPECT_EQ(c.attr, 3);
    EXPECT_EQ(c.value, 0u);
}

// A switch that rewriting folded into a sequence keeps its breaks: they
// lead behind the sequence.
TEST_F(FunctionWriter, SequenceWithBreak) {
    Symbol g = make_symbol("g", SC_EXTERN, &type_int);
    StmtNode *seq = stmt(ST_SEQUENCE, 2);
    seq->flags = SF_BREAK;
    seq->expr = node(OP_ADD_ASSIGN, leaf(&g), num(1));
    seq->body = block({stmt(ST_BREAK, 3), expr_stmt(num(0), 4)});
    EXPECT_EQ(body(block({seq})),
              "  LINE line=2\n"
              "  EXPR (+= int (leaf int ref={name=\"g\" label=none kind=0x81} value=0 "
              "loc=static indirect=1) (leaf int ref=none value=1 loc=static indirect=0))\n"
              "  LINE line=3\n"
              "  JUMP L1\n"
              "  LINE line=4\n"
              "  EXPR (leaf int ref=none value=0 loc=static indirect=0)\n"
              "L1:\n");
}

// The statements of a prelude come before the expression, in a test and
// in a statement; with nothing behind the prelude no REC_EXPR is written.
TEST_F(FunctionWriter, Preludes) {
    Symbol g = make_symbol("g", SC_EXTERN, &type_int);
    ExprNode *test = node(OP_PRELUDE, nullptr, node(OP_NE, leaf(&g), num(0)));
    test->statements = expr_stmt(node(OP_ASSIGN, leaf(&g), num(7)), 2);
    StmtNode *branch = stmt(ST_IF, 2);
    branch->expr = test;
    branch->body = stmt(ST_RETURN, 3);
    ExprNode *alone = node(OP_PRELUDE, nullptr, nullptr);
    alone->statements = expr_stmt(num(8), 4);
    EXPECT_EQ(body(block({branch, expr_stmt(alone, 4)})),
              "  LINE line=2\n"
              "  LINE line=2\n"
              "  EXPR (= int (leaf int ref={name=\"g\" label=none kind=0x81} value=0 "
              "loc=static indirect=1) (leaf int ref=none value=7 loc=static indirect=0))\n"
              "  BRANCH_EQ L1 left=(leaf int ref={name=\"g\" label=none kind=0x81} value=0 "
              "loc=static indirect=1) right=(leaf int ref=none value=0 loc=static indirect=0)\n"
              "  LINE line=3\n"
              "  RETURN\n"
              "L1:\n"
              "  LINE line=4\n"
              "  LINE line=4\n"
              "  EXPR (leaf int ref=none value=8 loc=static indirect=0)\n");
}

// A @nostack function has a static frame, named after it.
TEST_F(FunctionWriter, NostackName) {
    f_.attr |= ATTR_NOSTACK;
    f_.sclass = SC_STATIC;
    f_.value = 0x10009;
    body(block({}));
    ASSERT_NE(nostack_name, nullptr);
    EXPECT_EQ(std::string(nostack_name->text, nostack_name->length), "f.L");
    EXPECT_EQ(nostack_label, 9);
    EXPECT_EQ(nostack_attr, f_.attr);
    f_.attr &= uint16_t(~ATTR_NOSTACK);
    body(block({}));
    EXPECT_EQ(nostack_name, nullptr);
}

// An operator that the file has no tag for is reported and left out.
TEST_F(FunctionWriter, UnknownOperator) {
    Messages messages;
    flush_output();
    std::fflush(output_stream);
    size_t before = size_;
    write_expr(node(OP_ARG, num(1), num(2)), 0);
    flush_output();
    std::fflush(output_stream);
    EXPECT_EQ(size_, before);
    EXPECT_NE(messages.take().find("PANIC! unknown op 31"), std::string::npos);
}

}  // namespace
