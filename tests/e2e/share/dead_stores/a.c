int g(void);
void h(int);
int twice(int p) { int a; a = g(); a = g(); return a + p; }
void write_only(void) { int a; int w; a = g(); h(a); w = g(); }
int in_condition(int p) { int a; a = 1; if (p && (a = g())) h(a); return p; }
int chained(int p) { int a, b; a = b = g(); h(b); return p; }
