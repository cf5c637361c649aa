@inline int f(int a) { return a ? f(a - 1) : 0; }
int use(int x) { return f(x); }
