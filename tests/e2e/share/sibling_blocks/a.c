int g(void);
void h(int);
void f(void)
{
    { char z = g(); int x = g(); h(z); h(z); h(z); h(x); }
    { int y = g(); h(y); }
}
