/* Arguments and results of every narrow type, in-place negation and
   complement, one-bit fields flipped, a much-used global reached through a
   register, statics, enums, lists through pointers, mixed conversions. */
#include <stdio.h>
#include <string.h>

enum color { RED, GREEN = 5, BLUE };
struct node { int value; struct node *next; };
struct flags { unsigned on : 1; unsigned level : 4; };

int counter;
const char *greeting = "hello";
static char table[3][6] = { "one", "two", "three" };
static struct node nodes[4];

static unsigned char low(int v) { return v; }
static short half(short a, short b) { return (a + b) / 2; }
static float scale(float x, double y, char c) { return x * y + c; }
static double avg(double a, double b) { return (a + b) / 2; }
static char *pick(int k) { return table[k]; }
static int count_up(void) { static int calls; return ++calls; }

static int use_global(void) {
    int k;
    for (k = 0; k < 10; k++) {
        counter += k;
        counter ^= 1;
        if (counter > 30) counter -= 3;
    }
    return counter + counter * 2 - counter;
}

int main(void) {
    int i = 5, k, *pi = &i, **ppi = &pi;
    struct flags f;
    struct node *n;
    double d = 2.5;
    enum color c = BLUE;
    i = -i;
    printf("%d ", i);
    i = ~i;
    printf("%d %d\n", i, **ppi);
    f.on = 0; f.level = 3;
    f.on = f.on ^ 1;
    f.level = f.level == 0;
    printf("%u %u\n", f.on, f.level);
    f.on = f.on == 0;
    printf("%u\n", f.on);
    printf("%d %d %.3f %.3f\n", low(300), half(-7, 2), scale(1.5f, 2.0, 'A'), avg(d, 1));
    printf("%s %s %c %d\n", pick(2), greeting, *pick(1), (int)strlen(table[0]));
    k = count_up();
    k = k * 10 + count_up();
    printf("%d %d\n", k, count_up());
    k = use_global();
    printf("%d %d\n", k, counter);
    for (k = 0; k < 4; k++) {
        nodes[k].value = k * 10;
        nodes[k].next = k < 3 ? &nodes[k + 1] : 0;
    }
    nodes[0] = *nodes[0].next;
    for (n = &nodes[0]; n; n = n->next) printf("%d ", n->value);
    printf("\n%d %d %d\n", c, (int)sizeof(struct node) > 0, (i > 0 ? 1.5 : 2) > 1.7);
    k = (i = 3, i + 4);
    printf("%d %d\n", k, i);
    {
        unsigned char uc = 200;
        signed char sc = -100;
        unsigned short us = 60000;
        printf("%d %d %d %u\n", uc + sc, uc * 2, us + 1, (unsigned)(sc * 3));
    }
    return 0;
}
