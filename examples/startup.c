/* Start-up code for the board, written as assembly text at file level:
 * the parser pass hands it to the code generator as it stands, with the
 * position of each block. */
#define STACK_TOP 0x40010000

#asm
    .section .init
    .globl _start
_start:
    lis   r1, 0x4001        ; top of the stack
    bl    main
#endasm

#pragma asm
    b     .                 ; main returned: wait here
#pragma endasm
