/* Structs and unions by value, arrays, pointers and bit-fields. */
#include <stdio.h>
#include <string.h>

struct point { int x, y; };
struct rec { char tag; struct point p; double w; char name[6]; };
struct bits { unsigned a : 3; unsigned b : 5; unsigned c : 7; unsigned d : 1; };
union word { unsigned int u; unsigned char b[4]; short h[2]; };

static struct point add(struct point a, struct point b) {
    struct point r;
    r.x = a.x + b.x;
    r.y = a.y + b.y;
    return r;
}

static struct rec make(int k) {
    struct rec r;
    r.tag = 'a' + k;
    r.p.x = k;
    r.p.y = k * k;
    r.w = k / 4.0;
    strcpy(r.name, "rec");
    r.name[3] = '0' + k;
    r.name[4] = 0;
    return r;
}

static int total(const int *a, int n) {
    int s = 0;
    while (n-- > 0) s += *a++;
    return s;
}

static int twice(int v) { return 2 * v; }
static int square(int v) { return v * v; }

int main(void) {
    struct point a = { 1, 2 }, b = { 10, 20 }, c;
    struct rec r[3];
    struct bits bf;
    union word w;
    int grid[3][4], k, n;
    int (*ops[2])(int) = { twice, square };
    int *p;
    c = add(a, b);
    printf("%d %d\n", c.x, c.y);
    for (k = 0; k < 3; k++) r[k] = make(k + 1);
    for (k = 0; k < 3; k++)
        printf("%c %d %d %.2f %s\n", r[k].tag, r[k].p.x, r[k].p.y, r[k].w, r[k].name);
    bf.a = 9; bf.b = 31; bf.c = 100; bf.d = 1;
    bf.b += 2;
    printf("%u %u %u %u\n", bf.a, bf.b, bf.c, bf.d);
    w.u = 0;
    w.b[1] = 7;
    printf("%d\n", w.u != 0);
    for (k = 0; k < 12; k++) grid[k / 4][k % 4] = k;
    printf("%d %d\n", total(grid[1], 4), total(&grid[0][0], 12));
    p = &grid[2][3];
    n = p - &grid[0][0];
    printf("%d %d %d\n", n, *(p - 5), p[-11]);
    printf("%d %d\n", ops[0](7), (*ops[1])(7));
    return 0;
}
