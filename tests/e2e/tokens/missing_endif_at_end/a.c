#asm
 nop
#endasm
#ifdef X
#else
