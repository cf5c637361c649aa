@inline int sq(int a) { static int k; return a * a; }
@nostack int ns(int a, ...) { return a; }
int sp(int @far a) { int @far b; return a; }
