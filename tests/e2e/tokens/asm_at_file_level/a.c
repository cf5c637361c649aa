/* directives and assembly text only */
#define REG r3
#ifdef REG
#asm
	li	REG,0	; macros are not expanded here
	
	blr
#endasm
#asm
	nop
#endasm
#else
#asm
	never
#endasm
#endif
#pragma asm
  mflr r0
#pragma endasm
