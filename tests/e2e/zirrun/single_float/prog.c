#include <stdio.h>

static double third(double x) { return x / 3; }

int main(void) {
    double d = third(1);
    float f = 2.5f;
    printf("%d %.10f %.10f %g\n", (int)sizeof d, d, third(f), d * 3 - 1);
    return 0;
}
