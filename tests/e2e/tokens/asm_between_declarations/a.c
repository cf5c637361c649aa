first;
#asm
 mr r3,r4
#endasm
second;
