/* A cast around a remainder gives the remainder the cast's type and keeps
   its operands.  It still divides the whole operands: 44288 has a low byte
   of 0, and 1000 % 300 is 100.  And it divides as its operands say: an
   unsigned by -1, which is the largest unsigned number. */
#include <stdio.h>

static int t(int a) { return a - 5; }

int g = 3;
unsigned u = 5;

int main(void) {
    int m = 7, big = 1000, a = -147;
    signed char r;
    unsigned char c;
    r = (signed char)(((g > m) >= t(m)) % 44288);
    c = (unsigned char)(big % 300);
    m *= (signed char)(((g > m) >= t(m)) % 44288);
    printf("%d %d %d %d\n", r, c, m, (int)((u * a) % -1));
    return 0;
}
