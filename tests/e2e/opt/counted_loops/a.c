int a[100];
int f1(void) { int i; for (i = 0; i < 100; i++) a[0]++; return i; }
int f2(void) { int i; for (i = 0; i < 100; i++) a[i] = 0; return i; }
int f3(void) { int i; for (i = 0; i <= 9; i++) a[0]++; return i; }
int f4(void) { int i; for (i = 9; i >= 0; i--) a[0]++; return i; }
int f5(void) { int i; for (i = 5; i < 3; i++) a[0]++; return i; }
int f6(int n) { int i; for (i = 0; i < n; i++) a[0]++; return i; }
int f7(int n) { int i; for (i = n; i != 0; i--) a[0]++; return i; }
int f8(void) { int i; for (i = 5; i != 3; i++) a[0]++; return i; }
int f9(int x) { int i; if (x) for (i = 0; i < 4; i++) a[0]++; return i; }
int f10(void) { int i, j; for (i = 0; i < 3; i++) for (j = 0; j < 3; j++) a[0]++; return i + j; }
int f11(void) { int i; for (i = 0; i < 8; i++) { if (a[i]) break; } return i; }
int f12(void) { unsigned char c; for (c = 0; c < 255; c++) a[0]++; return c; }
int f13(void) { unsigned char c; for (c = 0; c <= 255; c++) a[0]++; return c; }
