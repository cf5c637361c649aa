void use(int *);
void f1(void) { { int a[2]; use(a); } { int b[3]; use(b); } { char c; use((int *)&c); } }
int f2(void) {
    int r1 = 1, r2 = 2, r3 = 3, r4 = 4, r5 = 5, r6 = 6, r7 = 7, r8 = 8;
    int r9 = 9, r10 = 10, r11 = 11, r12 = 12, r13 = 13, r14 = 14, r15 = 15, r16 = 16;
    int t = r1 + r2 + r3 + r4 + r5 + r6 + r7 + r8 + r9 + r10 + r11 + r12 + r13 + r14 + r15 + r16;
    { int a = t; use(&t); t = a + a; }
    { int b = t; t = b + b; }
    return t;
}
