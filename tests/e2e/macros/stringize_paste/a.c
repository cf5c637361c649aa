#define STR(a) #a
#define XSTR(a) STR(a)
#define CAT(a, b) a##b
#define V 4
STR(  x  +  /* c */ y  ) STR("a\n" '"' '\\')
XSTR(V) STR(V) CAT(V, 1) CAT(1, 2) CAT(+, 3) CAT(x y, z w)
CAT(CAT, (1, 2)) CAT(a, CAT(b, c))
#define COMMENT / ## /
int x; COMMENT this is gone for the compiler
#define HASHCAT(a) #a ## _x
HASHCAT(q)
#define THREE(a) a ## a ## a
THREE(7) THREE(.)
