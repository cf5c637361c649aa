int x;
int f(int a)
{
    int b, b;
    register c;
    int *[3];
    int;
    struct t { int m; };
    struct t u;
    int d e;
    {
        int b;
        double x = 1.5;
        b = a;
    }
    {
        int a = x;
        return a + b + c + u.m;
    }
}
