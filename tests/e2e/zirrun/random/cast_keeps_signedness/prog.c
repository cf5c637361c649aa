/* A cast to unsigned of a negative char, or of a comparison, changes no
   bits, but the comparison around it is then made as unsigned: 0 is
   below (unsigned)-2. */
#include <stdio.h>

unsigned g = 0;

static int f(char c, int q) {
    int a = ((unsigned)(g > 128u)) < ((unsigned)c);
    int b = (unsigned)q < (unsigned)c;
    int d = (unsigned)c / 2u > 100u;
    return a * 100 + b * 10 + d;
}

int main(void) {
    printf("%d %d\n", f(-2, 0), f(3, 0));
    return 0;
}
