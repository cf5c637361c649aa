int x = 3;
int f(void)
{
    int x = x + 1;
    int y = { 2 };
    static int s = 7;
    static char t[] = "ab";
    int a[3] = { 1, 2 };
    struct { char c; int i; } st = { 1, 2 };
    return x + y + s + t[0] + a[0] + st.i;
}
