int a[20], s, t;
#pragma unroll 40
void f1(void) { int i; for (i = 0; i < 10; i++) s = s + t * i - 1; }
void f2(void) { int i; for (i = 0; i < 11; i++) s = s + t * i - 1; }
void f3(void) { int i; for (i = 0; i < 3; i++) a[i] = i; }
void f4(int x) { int i; for (i = 0; i < 3; i++) switch (x) { case 1: a[i] = 1; } }
void f5(void) { int i; for (i = 0; i < 3; i++) _asm("nop"); }
void f6(void) { int i; for (i = 0; i < 3; i++) {
#asm
 nop
#endasm
} }
void f7(int x) { int i; if (x) goto l; for (i = 0; i < 3; i++) { l: a[0]++; } }
int f8(void) { int i, j; for (i = 0; i < 2; i++) for (j = 0; j < 2; j++) a[i] += j; return i + j; }
#pragma unroll
void f9(void) { int i; for (i = 0; i < 3; i++) a[i] = i; }
