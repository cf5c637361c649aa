int f(int a)
{
    if (a) { return 1; return 2; a = 1; a = 2; }
    if (a) { return 1; ; ; }
    if (a) { return 1; l1: a = 3; }
    if (a) { for (;;) { } a = 4; }
    if (a) { for (;;) { goto l2; } l2: a = 5; }
    if (a) { while (1) { while (1) { goto l3; } } a = 6; }
l3: if (a) { while (1) { if (a) break; } a = 7; }
    if (a) { do { } while (1); a = 8; }
    if (a) { return 1; } else { return 2; }
    a = 9;
    if (a) { return 1; { a = 10; } a = 11; }
    if (a) { return 1; { a = 12; l4: a = 13; } a = 14; }
    return a;
}
