/* A cast to unsigned char around a call of a function that returns signed
   char: the value passed on is the low byte of the result, 137, not -119. */
#include <stdio.h>

static signed char f(int k) { return (signed char)(k - 119); }

static unsigned id(unsigned n) { return n; }

int main(void) {
    printf("%u\n", id((unsigned char)f(0)));
    return 0;
}
