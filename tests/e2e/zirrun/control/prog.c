/* Switches of every shape, loops, goto and recursion. */
#include <stdio.h>

static const char *name(int v) {
    switch (v) {
    case 1: case 2: case 3: return "small";
    case 10: return "ten";
    case -5: return "minus five";
    case 1000000: return "million";
    default: return "other";
    }
}

static int dense(char c) {
    switch (c) {
    case 'a': return 1;
    case 'b': return 2;
    case 'c': return 3;
    case 'e': return 5;
    case 'f': return 6;
    case 'g': return 7;
    case 'h': return 8;
    case 'i': return 9;
    case -1: return -1;
    }
    return 0;
}

static int ranged(short s) {
    switch (s) {
    case -3: case -2: case -1: return 1;
    case 1000: case 1001: case 1002: return 2;
    case -32768: return 3;
    default: return 0;
    }
}

static int negative_table(signed char c) {
    switch (c) {
    case -3: return 1;
    case -2: return 2;
    case -1: return 3;
    case 0: return 4;
    case 1: return 5;
    case 2: return 6;
    case 3: return 7;
    }
    return 0;
}

static int fib(int n) { return n < 2 ? n : fib(n - 1) + fib(n - 2); }

int main(void) {
    int i, j, s = 0;
    static int values[] = { 1, 3, 10, -5, 1000000, 7 };
    for (i = 0; i < 6; i++) printf("%d %s\n", values[i], name(values[i]));
    for (i = 'a'; i <= 'j'; i++) s = s * 3 + dense(i);
    printf("%d %d\n", s, dense(-1));
    s = 0;
    for (i = 0; i < 10; i++) {
        if (i == 7) break;
        if (i % 2) continue;
        for (j = 0; j < i; j++) s += j;
    }
    printf("%d\n", s);
    s = 0;
    for (i = -5; i < 1005; i++) s += ranged(i) * i;
    for (i = -6; i < 6; i++) s = s * 2 + negative_table(i);
    printf("%d %d\n", s, ranged(-32768));
    i = 0;
    do { i += 3; } while (i < 20);
    while (i > 0) i -= 7;
    printf("%d\n", i);
    i = 0;
again:
    if (++i < 5) goto again;
    printf("%d %d\n", i, fib(20));
    return 0;
}
