#define F(1) x
#define G(a
#define H(a b) x
#define K(a,) x
#define M(a, b, a) a b
F G H K M(1, 2, 3)
