@inline int g1(int a);
@inline int g2(int a) { if (a) return g1(a - 1) + 1; return 0; }
int early(int x) { return g2(x); }
@inline int g1(int a) { return g2(a) + 1; }
int late(int x) { return g1(x); }
