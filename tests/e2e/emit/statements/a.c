int g;
void empty(void) { ; {} }
int ifs(int a)
{
    if (a) g = 1;
    if (a) g = 2; else g = 3;
    if (a) { if (g) return 1; } else if (g) return 2; else return 3;
    return 0;
}
void loops(int a)
{
    while (a) a--;
    do a++; while (a < 9);
    do { if (a) continue; g++; } while (a--);
    do { if (a) break; } while (1);
    do { if (a) break; } while (0);
    for (a = 0; a < 4; a++) g++;
    for (; a; ) { if (g) continue; a--; }
    for (;;) { if (a) break; }
    for (a = 1; ; a++) { if (a) continue; break; }
    while (1) { if (g) break; g++; }
}
void jumps(int a)
{
    goto last;
again:
    a++;
last:
    if (a) goto again;
}
void inside_switch(int a)
{
    while (a) {
        switch (a) { case 1: continue; case 2: break; }
        a--;
    }
}
void assembly(void)
{
#asm
    nop
    sync
#endasm
    g++;
}
