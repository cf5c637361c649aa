int g;
void f(int a)
{
    g = a;
    if (a) g++;
    while (a) a--;
    do a++; while (a < 3);
    for (a = 0; a < 3; a++) g--;
    for (; a; ) break;
    switch (a) { case 1: return; }
#asm
  nop
#endasm
}
