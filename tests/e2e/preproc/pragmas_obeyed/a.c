#define WHO world
#pragma message hello  WHO /* c */ !
#pragma unroll 1.5
#pragma unroll 0x20
#pragma unroll
#pragma Unroll x
#pragma 3
#pragma ASM
#pragma asm
 li r3,WHO
#pragma endasm
