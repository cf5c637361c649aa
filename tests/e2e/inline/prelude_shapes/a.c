@inline int f(int a) { return a + 1; }
@inline int h(int a) { a = a * 2; return a; }
@inline int unused(int a) { return 7; }
int g(int);
int side(void);
int y;

void store(int x) { y = f(x); }
void pass(int x) { g(f(x)); }
void constant(void) { y = f(1); }
void assigned(int i) { y = h(i); }
void dropped(void) { y = unused(side()); }
void and_or(int a) { y = a && f(a); y = a || f(a); }
void cond(int c) { y = c ? f(c) : 2; }
void shared(int x) { g(f(x)); g(f(x)); g(f(x) + f(y)); }
void loop(int x) { while (f(x)) x--; }
