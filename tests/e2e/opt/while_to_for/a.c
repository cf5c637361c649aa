int a[10]; int g(void);
void f1(void) { int i; i = 0; while (i < 10) { a[i] = 1; i++; } }
void f2(void) { int i; i = 20; while (i < 10) { a[i] = 1; i++; } }
void f3(void) { int i; i = g(); while (i < 10) { a[i] = 1; i++; } }
void f4(void) { int i; i = 0; l: while (i < 10) { a[i] = 1; i++; } if (a[0]) goto l; }
