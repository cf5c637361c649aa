void a(void); void b(void); void c(void);
void f1(void) { switch (3) { case 1: a(); case 3: b(); break; case 4: c(); } }
void f2(void) { switch (7) { case 1: a(); } }
void f3(void) { switch (9) { case 1: a(); break; default: b(); } }
int f4(char ch) { switch (ch) { case 300: return 1; } return 0; }
void f5(int x) { switch (x) { case 1: break; } }
int f6(int x) { switch (x++) { case 1: break; } return x; }
void f7(int x) { switch (x) { default: a(); } }
void f8(int x) { switch (x) { case 2: a(); break; default: b(); } }
void f9(unsigned x) { switch (x) { case 2: a(); break; case 3: break; } }
void f10(int x) { switch (x) { case 1: a(); break; case 2: b(); break; case 3: break; default: break; } }
