/* Folded constants that started out narrower than int. */
#include <stdio.h>

unsigned char uc = 3;
short s = -2;

int main(void) {
    printf("%d %d %d\n", ~(unsigned short)(-1), ~(unsigned char)0, ~(signed char)-128);
    printf("%d %d %d\n", -(unsigned short)1, -(unsigned char)200, -(short)-32768);
    printf("%d\n", (unsigned short)~(unsigned short)0x1234);
    printf("%d\n", (uc + (unsigned char)255) * 32767);
    printf("%d\n", (uc - (unsigned char)200) * 1000);
    printf("%d\n", (s + (short)30000) * 7);
    printf("%d\n", (uc + (unsigned char)255) << 12);
    printf("%d\n", (s - (signed char)100) << 20);
    printf("%d\n", ~(unsigned short)1 < 0);
    return 0;
}
