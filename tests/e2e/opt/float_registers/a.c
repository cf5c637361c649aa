double f1(double x, float y) { double d; float f; d = x; f = y; return d + f; }
double f2(void) {
    double d1, d2, d3, d4, d5, d6, d7, d8, d9, d10, d11, d12, d13, d14, d15, d16, d17, d18, d19;
    d1 = d2 = d3 = d4 = d5 = d6 = d7 = d8 = d9 = d10 = 1;
    d11 = d12 = d13 = d14 = d15 = d16 = d17 = d18 = d19 = 2;
    return d1 + d2 + d3 + d4 + d5 + d6 + d7 + d8 + d9 + d10 + d11 + d12 + d13 + d14 + d15 + d16 + d17 + d18 + d19;
}
