int f(void) { extern int z; static int s; return z + s + *1; }
