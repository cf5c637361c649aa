/* Structs passed by value, each at its own alignment in the argument
   area: a double member makes 8, int members 4, chars 1. */
#include <stdio.h>

struct D { double d; };
struct I { int a, b; };
struct C { char c[3]; };

static void all(int k, struct D d, struct I i, struct C c, int z) {
    printf("%d %g %d %d %c%c%c %d\n", k, d.d, i.a, i.b, c.c[0], c.c[1], c.c[2], z);
}

static int pair(int k, struct I i, int last) { return k + i.a * 10 + i.b * 100 + last; }

static struct C shifted(struct C c, int by) {
    int k;
    for (k = 0; k < 3; k++) c.c[k] += by;
    return c;
}

int main(void) {
    struct D d;
    struct I i;
    struct C c;
    d.d = 2.5;
    i.a = 3;
    i.b = 4;
    c.c[0] = 'x';
    c.c[1] = 'y';
    c.c[2] = 'z';
    all(1, d, i, c, 9);
    printf("%d\n", pair(1, i, 5));
    c = shifted(c, -23);
    printf("%c%c%c\n", c.c[0], c.c[1], c.c[2]);
    return 0;
}
