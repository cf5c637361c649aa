\#define A 1
A
#define MK(n) \#define n 2
MK(B)
B
#define ERR \#error made by a macro
ERR
after
