#include <stdio.h>
static int depth(int n) { int local[4]; local[n & 3] = n; return n == 0 ? 0 : 1 + depth(n - 1) + local[n & 3] - n; }
int main(void) { printf("%d\n", depth(20000)); return 0; }
