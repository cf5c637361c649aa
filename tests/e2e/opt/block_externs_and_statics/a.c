int f(void) { extern int z; extern int unused_z; static int s; static int t = 3; static int unused_s; return z + s + t; }
