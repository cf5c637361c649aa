/* Agreeing declarations take the attributes, base types aside. */
#pragma attribute int @far z;
char z;
#pragma attribute char @far *r;
char *r;
#pragma attribute int (*fp)(int);
int (*fp)(int);
#pragma attribute int @mine v;
int v;
/* A static object of the name is left alone, whatever it is. */
#pragma attribute char * @tiny pp;
static int pp;
/* Disagreeing ones. */
#pragma attribute extern int x;
int @near *x;
#pragma attribute int @far y;
char @near y;
#pragma attribute char @far *q;
char @near *q;
#pragma attribute int a[3];
int *a;
#pragma attribute int f(int, char *);
int f();
#pragma attribute int g(int, char *);
int g(int);
#pragma attribute int h(int);
int h(int, int);
#pragma attribute int k(int);
int k(void);
#pragma attribute int m(int, ...);
int m(int, int);
#pragma attribute int n(char @far *);
int n(char @near *);
#pragma attribute int fn(void);
int fn;
/* The pragma must come first, once. */
int early;
#pragma attribute int early;
#pragma attribute int twice;
#pragma attribute int twice;
/* Bad directives. */
#pragma attribute int *;
#pragma attribute int *[3];
#pragma attribute int u @ 4
