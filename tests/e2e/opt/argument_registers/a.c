int g(int);
int f1(int a, int b) { return g(a) + b + b; }
int f2(int a) { return a; }
int f3(int a, double d, int b) { return a + b + (int)d; }
int f4(int a, ...) { return a + a; }
int f5(int a, int b, int c, int d, int e, int f, int g2, int h, int i, int j) { return a + i + j + j; }
