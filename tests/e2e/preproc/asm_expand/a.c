#define REG r3
#asm
  li REG,1 ; REG stays in the comment
#endasm
REG
