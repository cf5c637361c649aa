static int deeper(int n) { return deeper(n + 1) + 1; }
int main(void) { return deeper(0); }
