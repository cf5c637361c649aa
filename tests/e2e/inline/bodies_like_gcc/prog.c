/* Void inline functions in a for clause and in both branches of ?:, an
   inline body with a switch, a goto and a return in a loop, inline calls
   nested in their own arguments and in the index of a called pointer.
   INLINE is @inline for zcppc and nothing for gcc. */
#include <stdio.h>
static int n;
INLINE void inc(void) { n++; }
INLINE void add(int k) { n += k; }
INLINE int pick(int i) { int r = 0; switch (i) { case 0: r = 10; break; case 1: r = 20; break; default: r = 30; } return r; }
INLINE int findz(const char *s) { int i = 0; for (;;) { if (s[i] == 'z') goto out; if (!s[i]) return -1; i++; } out: return i; }
INLINE int sq(int v) { return v * v; }
static int dbl(int v) { return v * 2; }
static int (*fp[2])(int);
INLINE int which(int i) { return i & 1; }
int main(void) {
    int i, k = 0;
    for (i = 0; i < 3; inc(), i++) add(i);
    printf("n %d\n", n);
    for (i = 0; i < 4; i++) i & 1 ? inc() : add(10);
    printf("n %d\n", n);
    printf("pick %d %d %d\n", pick(0), pick(1), pick(7));
    printf("findz %d %d\n", findz("abzc"), findz("abc"));
    printf("sq %d\n", sq(sq(sq(2))));
    fp[0] = dbl; fp[1] = dbl;
    printf("fp %d\n", fp[which(3)](sq(3)));
    k = sq(k + 2) + sq(k + 3);
    printf("k %d\n", k);
    printf("n %d\n", n);
    return 0;
}
