@inline int sq(int a) { return a * a; }
int use(void) { return sq(2); }
