#define F(a, b) a
#define ONE(a) <a>
#define E() e
#define H # x
#define P1 ## x
#define P2 x ##
#define P3 / ## *
#define S(x) #x
#define G ONE(
F(1) x
F(1,) x
ONE() x
ONE(1, 2) x
E(1) x
H P1 P2 P3 x
S(\)
defined 1 defined(x y
G
ONE(ONE(1)) after the errors
