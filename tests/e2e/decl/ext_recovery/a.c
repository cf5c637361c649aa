int a int b;
int c;
) ] junk;
int d;
x, y;
*p;
int *;
int (*)(void);
struct s;
;
int e;
int g(void) { { } } int h;
int f(a, b) int a; char *b; { return 0; }
int i;
int k(void) { if (1) { ;
