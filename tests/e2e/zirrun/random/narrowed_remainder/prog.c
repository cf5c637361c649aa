/* A remainder cast to char takes the char type itself; it still divides
   the whole operands: 44288 has a low byte of 0, and 1000 % 300 is 100. */
#include <stdio.h>

static int t(int a) { return a - 5; }

int g = 3;

int main(void) {
    int m = 7, big = 1000;
    signed char r;
    unsigned char u;
    r = (signed char)(((g > m) >= t(m)) % 44288);
    u = (unsigned char)(big % 300);
    m *= (signed char)(((g > m) >= t(m)) % 44288);
    printf("%d %d %d\n", r, u, m);
    return 0;
}
