struct later;
int f(int, int b) { return b; }
int g(void) { return 1; }
int g(void) { return 2; }
struct later h(void) { }
int r(register int a, char c, float x) { return a + c + (x > 0); }
int e() { }
int v(int a, ...) { return a; }
