typedef int F(void);
F declared;
F body { }
int names(a, b);
int old(a, b) int a, b; { return a + b; }
int proto(int a);
int proto(int a) { return a; }
