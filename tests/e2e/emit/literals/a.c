float f;
double d;
const char *s;
void g(void)
{
    f = 2.5f;
    d = 2.5;
    f = 0.1f;
    d = 3.25;
    s = "hi" + 1;
}
