struct flags { unsigned on : 1; unsigned mode : 3; } fl;
int f(void);
void in_place(int x, int y, char c)
{
    x = -x;
    x = ~x;
    x = -y;
    x = ~y;
    c = -c;
    fl.on = fl.on == 0;
    fl.on = fl.on ^ 1;
    fl.mode = fl.mode ^ 1;
}
void discarded(int a, int b, int c)
{
    a;
    a < b;
    (a < f()), c;
    (a && b), c;
    (a && f()), c;
    (a || f() < b), c;
    (f() && b), c;
    (f() < b), c;
    a ? f() : b;
    (void)(a < b);
}
