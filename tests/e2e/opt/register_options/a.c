int f(int p, register int q) { register int r; int x; r = 1; x = p; x++; x++; x++; return x + r + q + p; }
