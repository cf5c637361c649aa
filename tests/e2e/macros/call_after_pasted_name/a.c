/* A function-like name that an expansion ends in is called by the text
 * behind the expansion, with the outer macro free again; a name kept from
 * expansion inside its own body stays kept. */
#define CAT2(a, b) a##b
#define CAT(a, b) CAT2(a, b)
#define AB(x) CAT(x, y)
CAT(A, B)(x)
#define F(x) x
F(F)(2)
#define G F
G(3)
