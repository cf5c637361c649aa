int f1(void) { int a, b; a = 1; b = 2; a++; b++; b++; return a + b; }
int f2(void) { int a, b; register int r; a = 1; b = 2; r = 3; a++; b++; b++; return a + b + r; }
int f3(void) { int i, *p; p = &i; *p = 1; return i; }
double f4(void) { double d, e; char c; d = 1.5; c = 2; e = d * c; return d + e; }
int f5(void) { char c; short s; long l; int *p; c = 1; s = 2; l = 3; p = 0; return c + s + l + (p != 0); }
