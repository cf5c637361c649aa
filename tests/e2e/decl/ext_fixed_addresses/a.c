/* Fixed addresses are written at once, each by one record. */
int x @ 0x100;
int ix @ &x;
int y @ &x + 2;
char ca[10] @ 0x500;
int q @ &ca[3];
char *cp @ (char *)0x200;
static int sx @ 0x300;
int @far fx @ 0x400, after;
enum { BASE = 0x600 };
short sh @ BASE + 4;
#asm
 nop
#endasm
int last @ 0x700;
