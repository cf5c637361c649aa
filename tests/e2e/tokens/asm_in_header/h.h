#asm
 h1
#endasm
