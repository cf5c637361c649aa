struct s { int m; } v;
int f(int a)
{
    if () a = 1;
    if (v) a = 2;
    if (a) a = 3; else if (a > 1) a = 4; else a = 5;
    else a = 6;
    if (&v) return 1;
    return a;
}
