int x;
#asm
  lwz r3,0(r4) ; load NAME
  NAME
#endasm
int y;
#pragma asm
  nop
#pragma endasm
#asm
#endasm
#endasm
#asm
#asm
  blr
#foo
#define NAME 5
NAME
