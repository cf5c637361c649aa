int g(void)
{
    int m = ;
    int a[2] = { 1, 2, 3 };
    char s[2] = "abc";
    struct { int i; } t = 5;
    return m + a[0] + s[0] + t.i;
}
