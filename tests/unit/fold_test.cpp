// The last fold of a finished tree: deferred zero divisions, narrowing to
// the width of use, byte loads for shifts of words in memory on this
// big-endian target, strlen of a literal through an @inline declaration,
// and uses of an object through the register holding its address.  Cases
// are lines of the engine in expr_engine.h.
#include "expr_engine.h"

TEST(Fold, Cases) {
    engine::check(R"cases(
[fold] (char)(x >> 8) => (cast x+2:c):c
[fold] (char)(x >> 24) => (cast x:c):c
[fold] (unsigned char)(u >> 24) => (cast u:uc):uc
[fold] (short)(x >> 16) => (cast x:s):s
[fold] (char)(x >> 16) => (cast x+1:c):c
[fold] (short)(x >> 8) => (cast (>> x:i 8:i):i):s
[fold] (char)(x >> 20) => (cast (>> x:s 4:i):c):c
[fold=s] x << 8 => (<< x+2:us 8:i):s
[fold] (char)(s >> 8) => (cast s:c):c
[fold] (char)(r >> 8) => (cast (>> r:i 8:i):i):c
[fold=c] 300 => 300:c
[fold=c] (int)uc => (cast uc:c):c
[fold=uc] uc == 1 => (== uc:uc 1:i):uc
[fold=uc] a < b => (< a:i b:i):c
[fold=uc] (char)(a < b) => (< a:i b:i):c{R}
[fold=c] (unsigned)a => (cast a:i):uc
[fold=us] (long)a => (cast a:i):s
[fold=s] (unsigned long)a => (cast a:i):us
[fold] x / 0 => (/ x:i 0!div@4:i):i # zero divide
[fold] x %= 0 => (%= x:i 0!mod@5:i):i # zero modulus
[fold] &(x / 0) => (addr (/ x:i 0!div@6:i):i):i* # invalid address expression
[fold] fil(1, x / 0) => (call &fil:i()* (arg 1:i{R} (cast (/ x:i 0!div@11:i):i):l{R}):i):i # zero divide
[fold] strlen("ab\0cd") => 2:ui
[fold] strlen("abc") => 3:ui
[fold] fast("ab") => (call &fast:ui()* "ab":c*c{R}):ui
[fold] inlb() => (call &inlb:i()*):i # invalid inline function usage
[fold] pg => (deref preg:i*):i
[fold] &pg => preg:i*
[fold] (unsigned short)(short)(s + x) => (cast (+ s:s x:i):us{R}):us
[fold] (short)(long)(x + 1) => (cast (cast (+ x:i 1:i):i):s):s
[fold] (unsigned short)(x / 2) => (cast (/ x:i 2:i):i):us
)cases");
}

// Only an @inline declaration of strlen makes its call a constant.
TEST(Fold, StrlenOfALiteralNeedsAnInlineDeclaration) {
    Messages messages;
    auto plain = [] { engine::symbol("strlen")->attr &= ~ATTR_INLINE; };
    EXPECT_EQ(engine::run("[fold] strlen(\"ab\")", messages, plain), "(call &strlen:ui()* \"ab\":c*c{R}):ui");
}

// The widths that the fold itself never asks for: the type of the code's
// width with the node's own signedness, pointers unsigned.
TEST(Fold, NarrowTypeKeepsTheSignOfTheNode) {
    TypeNode *pointer = engine::derive(TY_POINTER, &type_int);
    for (auto [type, code, expected] : {std::tuple{&type_char, TY_LONG, "l"}, {&type_uchar, TY_INT, "ui"},
                                        {&type_int, TY_FLOAT, "i"}, {pointer, TY_SHORT, "us"}}) {
        ExprNode *e = make_int_const(nullptr, 0);
        e->type = type;
        narrow_type(e, code);
        EXPECT_EQ(type_text(e->type), expected) << type_text(type) << " to " << code;
    }
}
