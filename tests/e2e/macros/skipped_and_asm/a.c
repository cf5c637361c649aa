#define M(x) [x]
#ifdef NOT_DEFINED
"open string in skipped code
M(
#endif
#asm
 lwz r3,0(r1) ; it's a comment with a quote
 M(1) 'open
#endasm
M(2)
