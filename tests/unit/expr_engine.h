// A test engine for the expression subsystem.  A case is one line,
//
//   [options] C expression => expected tree # message; message
//
// read through the token stream's switch over the names of `environment`.
// Trees print in prefix form, `(op operand ...)`, leaves by addressing
// form: `5` constant, `@256` contents of an absolute address, `&x+4`
// address of x plus 4, `x` contents of x, `"ab"` pooled string, `1.5r`
// pooled real, `0!div@7` a 0 noted as divisor (`!mod` as modulus) with the
// column of its report.  Each node has `:type` and its marks: N not an
// lvalue, R retyped, O open arguments.  Types: `c uc s us i ui l ul f d v
// struct enum`, `bits3@5`, `T[4]`, `T()`, `T*` with the space t, n or f and
// c, v for const and volatile.  `+longdiv`: a long division was typed;
// `+unread`: tokens were left.
//
// Options: sa np cc cp nc p f set that flag; ck0 turns warnings off (else
// level 1); error counts one error; defaults makes data pointers far and
// function pointers tiny; discard parses for no value; counts adds the
// calls and inline calls.  Modes: test, const and if (the value of a
// constant expression or an #if line); fold, fold=c, uc, s or us runs the
// last fold for that width of use.  No type names are read yet, so leading
// casts (`(char)x`, `*(char @far *)256`) are applied by the engine.
#pragma once

#include <cstring>
#include <deque>
#include <map>
#include <sstream>
#include <vector>

#include "decl/type.h"
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "message_capture.h"
#include "preproc/directives.h"
#include "preproc/pptoken.h"
#include "stmt/stmt_node.h"
#include "type_text.h"

// Records live to the end of the run, as in the whole program; a sanitizer
// build is not to count them as leaks.
extern "C" const char *__asan_default_options() { return "detect_leaks=0"; }

namespace engine {

inline std::string leaf_text(const ExprNode *e) {
    unsigned flags = unsigned(e->lflags & 0xFF);
    std::string text = e->value > 0 ? "+" + std::to_string(e->value) : e->value < 0 ? std::to_string(e->value) : "";
    if ((flags & LF_LITERAL) && is_real_code(e->type->code)) {
        std::ostringstream real;
        real << real_value(e) << "r";
        text = real.str();
    } else if (flags & LF_LITERAL) {
        text = "\"" + std::string(reinterpret_cast<const char *>(e->literal->bytes), e->literal->length) + "\"" + text;
    } else if (flags & LF_SYMBOL) {
        text = (flags & LF_CONTENTS ? "" : "&") + std::string(e->sym->name->text, e->sym->name->length) + text;
    } else {
        text = (flags & LF_CONTENTS ? "@" : "") + std::to_string(e->value);
    }
    if (flags & (LF_ZERO_DIVIDE | LF_ZERO_MODULUS))
        text += std::string(flags & LF_ZERO_DIVIDE ? "!div@" : "!mod@") +
                (e->position ? std::to_string(e->position->column) : "?");
    return text;
}

inline std::string typed(const ExprNode *e, int depth = 0) {
    static const std::map<int, const char *> ops = {
        {OP_COMMA, ","}, {OP_COND, "?:"}, {OP_POSTINC, "post++"}, {OP_POSTDEC, "post--"}, {OP_ARG, "arg"},
        {OP_CAST, "cast"}, {OP_CALL, "call"}, {OP_NEG, "neg"}, {OP_DEREF, "deref"}, {OP_ADDR, "addr"}, {OP_NOT, "!"},
        {OP_COMPL, "~"}, {OP_DIV, "/"}, {OP_MOD, "%"}, {OP_SHL, "<<"}, {OP_SHR, ">>"}, {OP_XOR, "^"}, {OP_OR, "|"},
        {OP_LT, "<"}, {OP_GE, ">="}, {OP_GT, ">"}, {OP_LE, "<="}, {OP_EQ, "=="}, {OP_NE, "!="}, {OP_ADD_ASSIGN, "+="},
        {OP_SUB_ASSIGN, "-="}, {OP_MUL_ASSIGN, "*="}, {OP_DIV_ASSIGN, "/="}, {OP_MOD_ASSIGN, "%="},
        {OP_SHL_ASSIGN, "<<="}, {OP_SHR_ASSIGN, ">>="}, {OP_AND_ASSIGN, "&="}, {OP_XOR_ASSIGN, "^="},
        {OP_OR_ASSIGN, "|="}, {OP_LOGAND, "&&"}, {OP_LOGOR, "||"}, {OP_ASSIGN, "="}, {OP_ADD, "+"}, {OP_SUB, "-"},
        {OP_MUL, "*"}, {OP_AND, "&"}};
    if (e == nullptr || depth++ > 200)
        return e == nullptr ? "null" : "...";
    std::string text = e->op == OP_LEAF ? leaf_text(e) : "(" + std::string(ops.at(e->op)) + " " + typed(e->left, depth);
    if (e->op == OP_COND)
        text += " " + typed(e->middle, depth);
    if (is_binary_op(e->op) || e->op == OP_COMMA || e->op == OP_ARG || e->op == OP_COND || e->op == OP_POSTINC ||
        e->op == OP_POSTDEC || (e->op == OP_CALL && e->right != nullptr))
        text += " " + typed(e->right, depth);
    std::string marks = std::string(e->eflags & EF_NOT_LVALUE ? "N" : "") + (e->eflags & EF_RETYPED ? "R" : "") +
                        (e->eflags & EF_OPEN_ARGS ? "O" : "");
    return text + (e->op == OP_LEAF ? ":" : "):") + type_text(e->type) + (marks.empty() ? "" : "{" + marks + "}");
}

// ---------------------------------------------------------------------------
// The declared names.

// A derived type: `word` is a pointer's attributes or an array's length.
inline TypeNode *derive(uint8_t code, TypeNode *next, int32_t word = 0) {
    TypeNode *type = new_type(code, next);
    type->args = nullptr;
    type->dim = word;
    if (code == TY_POINTER)
        type->attr = uint16_t(word);
    return type;
}

// A function type; a prototype lists its argument types, closed by void,
// and no list at all is the form `()`.
inline TypeNode *function(TypeNode *result, std::initializer_list<TypeNode *> params) {
    TypeNode *type = derive(TY_FUNCTION, result);
    type->proto_symbols = nullptr;
    type->proto_tags = nullptr;
    Symbol **tail = &type->args;
    for (TypeNode *param : params)
        tail = &new_symbol(tail, nullptr, SC_ARG, param)->next;
    return type;
}

inline TypeNode *bit_field(uint8_t code, uint8_t offset, uint8_t width) {
    TypeNode *type = new_type(code, nullptr);
    type->bit_offset = offset;
    type->bit_width = width;
    return type;
}

inline Symbol *declare(Symbol **list, const char *name, TypeNode *type, int sclass = SC_STATIC, uint16_t attr = 0) {
    Symbol *sym = new_symbol(list, intern_name(name, unsigned(std::strlen(name))), sclass, type);
    sym->attr = attr;
    sym->flags = SYM_DECLARED;
    return sym;
}

inline Symbol *symbol(const char *name) {
    return find_symbol(intern_name(name, unsigned(std::strlen(name))), symbol_list, nullptr);
}

struct Environment {
    Symbol *head;                                     // symbol_list behind the declarations
    std::vector<std::pair<Symbol *, Symbol>> saved;   // the declared Symbols as made
    std::map<std::string, TypeNode *> casts;          // the type names of leading casts
};

// int a, b, i, j, n, x, y and the names below.  struct S { int m0, m4;
// char m8; unsigned bit:1 at bit 3, w2:2 at 5, f5:5 at 8, f4:4 at 0 of the
// word at 12; short sb:7 at 16; char cb:3 at bit 1 of 18; }.  Const k = 5,
// str[] = "ab", struct S cs = { 1 }; enum E held in an unsigned char; RED
// is -3, LOW 0x80000000.  `inlb` has its body stored, `inlr` is being
// expanded; `pg` is reached through the register `preg`.
inline Environment &environment() {
    static Environment env = [] {
        Symbol *members = nullptr, **tail = &members;
        for (auto [name, type, offset] : std::initializer_list<std::tuple<const char *, TypeNode *, uint32_t>>{
                 {"m0", &type_int, 0}, {"m4", &type_int, 4}, {"m8", &type_char, 8},
                 {"bit", bit_field(TY_INT_BITS, 3, 1), 12}, {"w2", bit_field(TY_INT_BITS, 5, 2), 12},
                 {"f5", bit_field(TY_INT_BITS, 8, 5), 12}, {"f4", bit_field(TY_INT_BITS, 0, 4), 12},
                 {"sb", bit_field(TY_SHORT_BITS, 0, 7), 16}, {"cb", bit_field(TY_CHAR_BITS, 1, 3), 18}}) {
            Symbol *sym = declare(tail, name, type, SC_MEMBER);
            sym->value = offset;
            tail = &sym->next;
        }
        TypeNode *record = derive(TY_STRUCT, nullptr), *enumeration = derive(TY_ENUM, &type_uchar);
        record->members = members;
        record->size = 20;
        enumeration->members = nullptr;
        TypeNode *fv = function(&type_int, {&type_void}), *pc = derive(TY_POINTER, &type_char);
        for (const char *name : {"a", "b", "i", "j", "n", "x", "y"})
            declare(&symbol_list, name, &type_int);
        const int S = SC_STATIC, E = SC_EXTERN, F = ATTR_FUNCTION;
        struct Name {
            const char *name;
            TypeNode *type;
            int sclass = SC_STATIC;
            uint16_t attr = 0;
        } names[] = {
            {"u", &type_uint}, {"c", &type_char}, {"c2", &type_char}, {"uc", &type_uchar}, {"s", &type_short},
            {"us", &type_ushort}, {"l", &type_long}, {"ul", &type_ulong}, {"f", &type_float}, {"f2", &type_float},
            {"d", &type_double}, {"v", &type_int, S, ATTR_VOLATILE}, {"r", &type_int, SC_REGISTER},
            {"ra", &type_int, SC_REG_ARG}, {"arg", &type_int, SC_ARG}, {"g", &type_int, S, ATTR_FAR},
            {"t", &type_char, S, ATTR_TINY}, {"nc", &type_char, S, ATTR_NEAR | ATTR_CONST},
            {"p", derive(TY_POINTER, &type_int)}, {"q", derive(TY_POINTER, &type_int)}, {"cp", pc}, {"cq", pc},
            {"vp", derive(TY_POINTER, &type_void)}, {"np", derive(TY_POINTER, &type_char, ATTR_NEAR)},
            {"fp", derive(TY_POINTER, &type_char, ATTR_FAR)}, {"tp", derive(TY_POINTER, &type_char, ATTR_TINY)},
            {"fq", derive(TY_POINTER, &type_int, ATTR_FAR)}, {"pc", derive(TY_POINTER, &type_int, ATTR_CONST)},
            {"pv", derive(TY_POINTER, &type_int, ATTR_VOLATILE)}, {"ep", derive(TY_POINTER, enumeration)},
            {"sp", derive(TY_POINTER, record)}, {"pfv", derive(TY_POINTER, fv)},
            {"pa", derive(TY_POINTER, derive(TY_ARRAY, &type_char, 3), ATTR_CONST | ATTR_NEAR)},
            {"arr", derive(TY_ARRAY, &type_int, 10)}, {"ca", derive(TY_ARRAY, &type_char, 10)},
            {"m", derive(TY_ARRAY, derive(TY_ARRAY, &type_int, 3), 10)},
            {"sa", derive(TY_ARRAY, &type_short, 3), S, ATTR_NEAR},
            {"farr", derive(TY_ARRAY, &type_int, 10), S, ATTR_FAR},
            {"big", derive(TY_ARRAY, &type_char, 100000)}, {"st", record}, {"st2", record}, {"sarg", record, SC_ARG},
            {"fv", fv, E, F}, {"fil", function(&type_int, {&type_int, &type_long, &type_void}), E, F},
            {"fdots", function(&type_int, {&type_int}), E, F}, {"fold", function(&type_int, {}), E, F},
            {"fc", function(&type_int, {&type_char, &type_void}), E, F},
            {"fpi", function(&type_int, {derive(TY_POINTER, &type_int), &type_void}), E, F},
            {"fl", function(&type_long, {&type_long, &type_void}), E, F}, {"fs", function(record, {&type_void}), E, F},
            {"fvoid", function(&type_void, {&type_void}), E, F}, {"fchar", function(&type_char, {&type_void}), E, F},
            {"ns", function(&type_int, {&type_int}), E, F | ATTR_NOSTACK}, {"inl", fv, E, F | ATTR_INLINE},
            {"inlb", fv, E, F | ATTR_INLINE}, {"inlr", fv, E, F | ATTR_INLINE},
            {"strlen", function(&type_uint, {pc, &type_void}), E, F | ATTR_INLINE},
            {"fast", function(&type_uint, {pc, &type_void}), E, F | ATTR_INLINE}, {"k", &type_int, S, ATTR_CONST},
            {"str", derive(TY_ARRAY, &type_char, 3), S, ATTR_CONST}, {"cs", record, S, ATTR_CONST},
            {"RED", &type_int, SC_ENUM_MEMBER}, {"LOW", &type_int, SC_ENUM_MEMBER}, {"pg", &type_int},
            {"preg", derive(TY_POINTER, &type_int), SC_REG_COPY}};
        for (const Name &d : names)
            declare(&symbol_list, d.name, d.type, d.sclass, d.attr);
        symbol("pg")->partner = symbol("preg");
        symbol("inlb")->value = symbol("inlr")->value = 1;
        symbol("inlr")->flags |= SYM_INLINE_OPEN;
        symbol("RED")->value = uint32_t(-3);
        symbol("LOW")->value = 0x80000000u;
        symbol("RED")->flags = symbol("LOW")->flags = SYM_DECLARED | SYM_LAST_ENUM;
        symbol("k")->init = make_int_const(nullptr, 5);
        ExprNode *text = symbol("str")->init = new_expr(INIT_STRING);
        ExprNode *whole = symbol("cs")->init = new_expr(INIT_STRUCT);
        text->literal = pool_string("ab", 2);
        text->size = 3;
        whole->size = 20;
        whole->left = make_int_const(nullptr, 1);
        text->link = whole->link = whole->left->link = nullptr;

        Environment made{symbol_list, {}, {}};
        for (Symbol *sym = symbol_list; sym != nullptr; sym = sym->next)
            made.saved.emplace_back(sym, *sym);
        made.casts = {
            {"char", &type_char}, {"unsigned char", &type_uchar}, {"short", &type_short}, {"int", &type_int},
            {"unsigned short", &type_ushort}, {"unsigned", &type_uint}, {"long", &type_long}, {"void", &type_void},
            {"unsigned long", &type_ulong}, {"float", &type_float}, {"double", &type_double}, {"enum E", enumeration},
            {"struct S", record}, {"int[2]", derive(TY_ARRAY, &type_int, 2)}, {"char *", pc},
            {"char @tiny *", derive(TY_POINTER, &type_char, ATTR_TINY)},
            {"char @near *", derive(TY_POINTER, &type_char, ATTR_NEAR)},
            {"char @far *", derive(TY_POINTER, &type_char, ATTR_FAR)},
            {"int @far *", derive(TY_POINTER, &type_int, ATTR_FAR)},
            {"const char *", derive(TY_POINTER, &type_char, ATTR_CONST)},
            {"volatile char *", derive(TY_POINTER, &type_char, ATTR_VOLATILE)},
            {"char @page *", derive(TY_POINTER, &type_char, 0x04)},   // a space named by the source
            {"int (@far *)(void)", derive(TY_POINTER, fv, ATTR_FUNCTION | ATTR_FAR)}};
        return made;
    }();
    return env;
}

// The options and the state of the expression layer as a run starts, and
// the declared names as they were made.
inline void reset() {
    Environment &env = environment();
    symbol_list = release_symbols(symbol_list, env.head);
    for (auto &[sym, copy] : env.saved)
        *sym = copy;
    opt_sa = opt_np = opt_cc = opt_cp = opt_nc = opt_p = opt_f = error_count = 0;
    opt_ck = 1;
    type_double.code = TY_DOUBLE;
    func_state.known_values = nullptr;
    func_state.loop_has_long_div = func_state.call_count = func_state.pending_inline = 0;
    cond_depth = cond_expr_depth = in_member_access = sizeof_depth = 0;
    std::memset(func_defaults, 0, sizeof func_defaults);
    std::memset(data_defaults, 0, sizeof data_defaults);
    const_defaults = func_defaults;
}

// Runs `body` with the tokens of `text` as the input and returns what it
// returns; the code of the first token left unread goes to `rest`.  The
// switch back gives the state of the function and the nodes back.
template <typename Body>
std::string with_text(const std::string &text, Body body, int *rest = nullptr) {
    static std::deque<std::string> texts;   // kept as long as their tokens
    PpToken *list = scan_line(texts.emplace_back(text + " ;\n").data());
    token_source_switch(list);
    std::string result = body();
    int next = token_source_switch(nullptr);
    pptoken_free_list(list);
    if (rest != nullptr)
        *rest = next;
    return result;
}

inline std::string trim(const std::string &text) {
    size_t begin = text.find_first_not_of(' '), end = text.find_last_not_of(' ');
    return begin == std::string::npos ? "" : text.substr(begin, end - begin + 1);
}

// Takes the prefix up to the last leading cast off `source` and gives its
// items: a cast's type, or null and the unary operator.
inline std::vector<std::pair<TypeNode *, int>> leading_casts(std::string &source) {
    static const std::map<char, int> unary = {
        {'*', OP_DEREF}, {'&', OP_ADDR}, {'-', OP_NEG}, {'!', OP_NOT}, {'~', OP_COMPL}};
    std::vector<std::pair<TypeNode *, int>> prefix;
    size_t kept = 0, close = 0;
    for (std::string rest = source;; rest = trim(rest), close = 0) {
        for (int depth = 0; close < rest.size() && (depth += rest[close] == '(' ? 1 : rest[close] == ')' ? -1 : 0) > 0;)
            close++;
        auto cast = rest[0] == '(' ? environment().casts.find(rest.substr(1, close - 1)) : environment().casts.end();
        if (cast != environment().casts.end()) {
            prefix.emplace_back(cast->second, OP_CAST);
            source = rest = rest.substr(close + 1);
            kept = prefix.size();
        } else if (unary.count(rest[0]) && rest[1] != rest[0] && rest[1] != '=') {
            prefix.emplace_back(nullptr, unary.at(rest[0]));
            rest = rest.substr(1);
        } else {
            prefix.resize(kept);
            return prefix;
        }
    }
}

// Runs one case and gives `tree # messages` as a table writes it; `setup`
// runs once the options are set.
inline std::string run(std::string source, Messages &messages, void (*setup)() = nullptr) {
    static const std::map<std::string, int32_t *> flags = {{"sa", &opt_sa}, {"np", &opt_np}, {"cc", &opt_cc},
        {"cp", &opt_cp}, {"nc", &opt_nc}, {"p", &opt_p}, {"f", &opt_f}, {"error", &error_count}};
    static const std::map<std::string, int> widths = {
        {"fold", 0}, {"fold=c", TY_CHAR}, {"fold=uc", TY_UCHAR}, {"fold=s", TY_SHORT}, {"fold=us", TY_USHORT}};
    reset();
    std::string mode, options = source[0] == '[' ? source.substr(1, source.find(']') - 1) : "";
    source = trim(source.substr(source[0] == '[' ? options.size() + 2 : 0));
    int want = 0;
    std::istringstream words(options);
    for (std::string word; words >> word;) {
        if (flags.count(word))
            *flags.at(word) = 1;
        else if (widths.count(word))
            want = widths.at(word), mode = "fold";
        else if (word == "ck0")
            opt_ck = 0;
        else if (word == "defaults")
            data_defaults[3] = ATTR_FAR, func_defaults[3] = ATTR_TINY;
        else
            mode = word;
    }
    if (opt_f)
        type_double.code = TY_FLOAT;
    if (setup != nullptr)
        setup();
    auto prefix = leading_casts(source);
    auto body = [&]() -> std::string {
        int32_t value = 0;
        if (mode == "const")
            return parse_const_expr(&value, 1) ? std::to_string(value) : "none";
        ExprNode *e = prefix.empty() ? parse_expression(mode == "discard") : parse_unary(0);
        for (size_t n = prefix.size(); n-- > 0;) {
            ExprNode *node = new_expr(prefix[n].second);
            node->left = e;
            node->type = prefix[n].first;
            e = prefix[n].first ? cast_expr(node) : unary_expr(node);
        }
        if (ExprNode *op = prefix.empty() ? nullptr : next_binary_op())
            e = parse_binary(0, e, &op);
        if (mode == "test")
            return e != nullptr && make_test(&e) != nullptr ? typed(e) : "no test";
        if (mode == "fold")
            fold_expr(e, want);
        return typed(e) + (func_state.loop_has_long_div ? " +longdiv" : "") +
               (mode == "counts" ? " calls=" + std::to_string(func_state.call_count) +
                                       " inline=" + std::to_string(func_state.pending_inline) : "");
    };
    int rest = TOK_SEMI;
    PpToken *list = mode == "if" ? scan_line(&(source += "\n")[0]) : nullptr;   // read by #if on its own
    std::string result = list ? std::to_string(eval_if_expression(&list, 0)) : with_text(source, body, &rest);
    pptoken_free_list(list);
    std::string text = messages.take();
    for (size_t at; (at = text.find('\n')) != std::string::npos;)
        text.replace(at, 1, at + 1 == text.size() ? "" : "; ");
    return result + (rest != TOK_SEMI ? " +unread" : "") + (text.empty() ? "" : " # " + text);
}

// Runs every case of `table`, one per line; blank lines and lines that
// start with `//` are skipped.
inline void check(const char *table) {
    Messages messages;
    std::istringstream lines(table);
    for (std::string line; std::getline(lines, line);) {
        size_t arrow = (line = trim(line)).find(" => ");
        if (line.empty() || line.compare(0, 2, "//") == 0)
            continue;
        std::string actual = run(line.substr(0, arrow), messages);
        EXPECT_EQ(actual, line.substr(arrow + 4)) << "  got: " << line.substr(0, arrow) << " => " << actual;
    }
    reset();
}

}  // namespace engine
