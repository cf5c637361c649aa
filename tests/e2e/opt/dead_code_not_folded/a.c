int g(int);
int f(int x)
{
    int i;
    if (0) x = 1 / 0;
    if (1) x = 2; else x = 2 / 0;
    if (0) { a: x = 3 / 0; } else x = 4;
    if (1) x = 5; else { case_b: x = 6 / 0; }
    while (0) x = 7 / 0;
    while (0) { c: x = 8 / 0; }
    for (i = 5; i < 3; i++) g(9 / 0);
    for (i = 0; i < 3; i++) g(10 / 0);
    for (;0;) x = 11 / 0;
    i = 5; while (i < 3) g(12 / 0);
    i = 0; while (i < 3) g(13 / 0);
    if (x) goto a; else if (x) goto c;
    goto case_b;
}
