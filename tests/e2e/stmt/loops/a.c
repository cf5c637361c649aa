struct s { int m; } v;
int f(int a)
{
    while () a--;
    while (v) a--;
    do a--; while ();
    do a--; while (v);
    for (a = 0; v; a++) ;
    for (a = 0; ; a++) if (a > 3) break;
    for (;;) if (a) break;
    do ; while (a);
    while (a) ;
    return a;
}
