int g(void);
void h(int);
void sizes(void) { int i; char c; i = g(); h(i); c = g(); h(c); }
void same(void) { int i; int j; i = g(); h(i); j = g(); h(j); }
void args(int p, int q) { h(p); q = g(); h(q); }
int arg_and_local(int p) { int t; h(p); t = g(); return t; }
int local_then_arg(int p) { int t; t = g(); h(t); p = g(); return p; }
