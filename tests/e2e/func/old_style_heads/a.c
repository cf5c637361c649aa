int f(a, b) char a; { return a + b; }
int g(a, b) register a; int *b; { return a + *b; }
int h(a) int a, c; { return a; }
int i(a) int *[2]; { return 0; }
int j(a) int a { return a; }
int l(a, b) double a; float b; { return b > a; }
int k(a) int a;
