void x(void); void y(void);
void f1(void) { if (1) x(); else y(); }
void f2(void) { if (0) x(); else y(); }
void f3(void) { if (0) { a: x(); } else y(); goto a; }
void f4(void) { if (1) x(); else { b: y(); } goto b; }
void f5(void) { while (0) x(); for (;0;) y(); }
void f6(void) { while (0) { c: x(); } goto c; }
void f7(int k) { if (k) if (0) x(); else y(); }
