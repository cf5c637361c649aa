/* The address of a static array much used in main is kept in a register;
   an element at a constant index is then that register read with an
   offset, and must not be the first element. */
#include <stdio.h>

int main(void) {
    static unsigned a[3];
    unsigned s = 0;
    int k;
    a[1] = 9;
    a[2] = 4;
    for (k = 0; k < 3; k++)
        s = s * 10 + a[k];
    printf("%u %u %u %u\n", s, a[0], a[1], a[2]);
    return 0;
}
