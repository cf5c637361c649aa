static int s;
int g;
int p(int);
int f(void)
{
    extern int e;
    extern int e;
    extern char g;
    extern int s;
    int p(int);
    static int q(void);
    int r(a, b);
    extern int i = 1;
    typedef int T = 2;
    return e + s + p(1);
}
