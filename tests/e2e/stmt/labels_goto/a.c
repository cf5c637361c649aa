int f(int a)
{
    int x;
x:  a++;
    goto x;
    goto later;
    goto;
    goto nowhere;
    goto nowhere;
x:  a--;
unused: a = 2;
later: ;
    return a + x;
}
int g(void) { goto nowhere; return 0; }
