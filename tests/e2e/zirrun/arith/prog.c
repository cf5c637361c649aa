/* Integer and real arithmetic in every width, as the target computes it. */
#include <stdio.h>

int main(void) {
    signed char c = 127;
    unsigned char uc = 250;
    short s = 32767;
    unsigned short us = 65535;
    int i = -7, j = 2;
    unsigned u = 0xFFFFFFF0u;
    long l = -100000L;
    float f = 1.0f / 3.0f;
    double d = 1.0 / 3.0;
    c++; uc += 10; s++; us++;
    printf("%d %d %d %d\n", c, uc, s, us);
    printf("%d %d %d %d\n", i / j, i % j, -i / j, i >> 1);
    printf("%u %u %u\n", u / 3, u % 7, u >> 4);
    printf("%ld %ld\n", l * 3, l / 7);
    printf("%.9f %.17f\n", f, d);
    printf("%d %d %u\n", (int)2.9, (int)-2.9, (unsigned)3e9);
    printf("%d %d\n", (signed char)300, (unsigned short)-1);
    printf("%d %d %d\n", 1 << 31 < 0, (i & 0xF0) | 3, i ^ 5);
    printf("%d %d %d\n", u > 5, i < (int)u, (unsigned)i > 5u);
    s = -5; s *= 3; s -= 1; s <<= 2; s /= 3; s %= 5; s |= 64; s &= ~1; s ^= 7;
    printf("%d\n", s);
    d = 10; d /= 4; d *= 3; d -= 0.5; d += 1e-3;
    printf("%g %g\n", d, (double)f * 3);
    i = 5;
    i += 2.7;
    printf("%d %d\n", i, !i + !0 + ~i);
    {
        int a = 6, b;
        b = a++ + ++a;
        b += a-- - --a;
        printf("%d %d\n", a, b);
    }
    return 0;
}
