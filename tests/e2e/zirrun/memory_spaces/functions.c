#include <stdio.h>

static int add(int a, int b) { return a + b; }
static int sub(int a, int b) { return a - b; }
static int (*table[2])(int, int) = { add, sub };
static const char *names[2] = { "add", "sub" };

int main(void) {
    int (*op)(int, int) = sub;
    int k;
    printf("function pointer size %d\n", (int)sizeof op);
    for (k = 0; k < 2; k++) printf("%s %d\n", names[k], table[k](7, 3));
    printf("%d %d\n", op(1, 2), op == table[1]);
    return 0;
}
