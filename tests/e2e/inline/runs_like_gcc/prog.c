/* Inline functions in every place an expression can stand.  INLINE is
   @inline for zcppc and nothing for gcc. */
#include <stdio.h>
#include <string.h>

static int calls;

INLINE int add1(int a) { return a + 1; }
INLINE int twice(int a) { a = a * 2; return a; }
INLINE int sign(int v) { if (v < 0) return -1; if (v > 0) return 1; return 0; }
INLINE int is_odd(int v) { return v & 1; }
INLINE int counted(int v) { calls++; return v; }
INLINE void bump(int *p, int by) { *p += by; }
INLINE int sum_to(int n) {
    int s = 0, i;
    for (i = 1; i <= n; i++) s += i;
    return s;
}
INLINE int first_div(int n) {
    int d = 2;
    while (d < n) {
        if (n % d == 0) goto found;
        d++;
    }
    return n;
found:
    return d;
}
INLINE int clamp(int v, int lo, int hi) { return v < lo ? lo : v > hi ? hi : v; }
INLINE int quad(int v) { return twice(twice(v)); }
INLINE int dist(int a, int b) { return sign(a - b) * (a - b); }
INLINE unsigned char low(unsigned v) { return (unsigned char)v; }
INLINE long widen(short s) { return s * 100000L; }
INLINE double half(double d) { return d / 2; }

struct pt { int x, y; };
INLINE struct pt mkpt(int x, int y) { struct pt p; p.x = x; p.y = y; return p; }
INLINE int manhattan(struct pt p) { return p.x + p.y; }

static int plain(int a) { return a * 3; }

int main(void) {
    int i, n = 0, x = 5;
    int init = add1(x);               /* initialiser of a local */
    struct pt p;
    char buf[8];

    printf("init %d\n", init);
    printf("fold %d %d\n", add1(1), twice(21));
    printf("args %d %d\n", plain(add1(x)), add1(plain(x)));
    if (is_odd(x))                    /* if test */
        printf("odd %d\n", x);
    for (i = add1(-1); i < sum_to(4); i = add1(i))   /* for clauses */
        n += i;
    printf("for %d\n", n);
    n = 0;
    while (add1(n) < 10)              /* while test */
        n = twice(n) + 1;
    printf("while %d\n", n);
    do n = n - 3; while (sign(n) > 0);   /* do test */
    printf("do %d\n", n);
    for (i = -2; i <= 2; i++)
        switch (sign(i)) {            /* switch selector */
        case -1: printf("neg "); break;
        case 0: printf("zero "); break;
        default: printf("pos "); break;
        }
    printf("\n");
    for (i = 0; i < 4; i++)
        printf("and %d or %d\n", i > 1 && is_odd(i), i > 1 || is_odd(i));
    for (i = 0; i < 3; i++)
        printf("cond %d %d\n", i ? add1(i) : 100, i == 1 ? 7 : twice(i));
    calls = 0;
    n = 0 && counted(1);
    n = 1 || counted(1);
    n = 0 ? counted(1) : 2;
    printf("not run %d %d\n", calls, n);
    n = counted(3) + counted(4);
    printf("run %d %d\n", calls, n);
    printf("nested %d %d\n", quad(3), dist(2, 9));
    printf("first_div %d %d %d\n", first_div(35), first_div(13), first_div(9));
    printf("clamp %d %d %d\n", clamp(-5, 0, 10), clamp(50, 0, 10), clamp(7, 0, 10));
    n = 1;
    bump(&n, 4);
    bump(&n, add1(n));
    printf("bump %d\n", n);
    printf("low %d widen %ld half %g\n", low(0x1234), widen(-3), half(5.0));
    p = mkpt(3, 4);
    printf("pt %d %d %d\n", p.x, p.y, manhattan(mkpt(10, 20)));
    strcpy(buf, "abcdef");
    printf("strlen %d %d\n", (int)strlen("hello"), (int)strlen(buf));
    for (i = 0; i < 3; i++) {
        int k = twice(i);             /* initialiser in an inner block */
        if (add1(k) == 3) continue;
        printf("loop %d %d\n", i, k);
    }
    return sign(-4) + 1;
}
