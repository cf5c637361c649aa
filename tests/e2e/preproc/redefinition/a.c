#define X 1
#define X 1
#define X  1
#define X 2
X
#define F(a) a+1
#define F(b) b+1
#define F(b) b + 1
F(3)
#define G(a,b) a
#define G(a) a
#undef __FILE__
#define defined 1
#define __LINE__ 2
#undef X
#undef X
X
