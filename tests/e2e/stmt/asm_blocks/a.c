int f(int a)
{
    return a;
#asm
    nop
#endasm
#asm
    nop
#endasm
    a = 1;
    return a;
    a = 2;
}
