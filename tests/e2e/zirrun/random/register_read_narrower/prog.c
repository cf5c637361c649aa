/* A signed char variable in a register, read as unsigned char: the value
   passed is its low byte, 223, not the sign-extended -33. */
#include <stdio.h>

static unsigned id(unsigned n) { return n; }

signed char g = -33;

int main(void) {
    signed char v = g;
    printf("%u %u\n", id((unsigned char)v), id((unsigned char)g));
    return 0;
}
