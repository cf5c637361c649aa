#include <stdio.h>
#include <stdlib.h>
#include <string.h>

char @tiny small[4] = "ab";
int @far big[3] = { 1, 2, 3 };
int plain[2] = { 40, 50 };
int *to_plain = &plain[1];
int @far *to_big = &big[2];
int fixed @ 0x4000;

int main(void) {
    char @tiny *pt = small;
    int @far *pb = big;
    int *pp = plain;
    char *heap = malloc(16);
    int local = 7, *pl = &local;
    strcpy(heap, "heap");
    fixed = 99;
    printf("pointer sizes %d %d %d\n", (int)sizeof pt, (int)sizeof pb, (int)sizeof pp);
    printf("%s %d %d %d %d %s %d\n", pt, pb[2], *pp, *to_plain, *to_big, heap, *pl);
    printf("tiny below 256: %d\n", (unsigned)pt < 256);
    printf("far above 64 K: %d\n", (unsigned long)pb >= 0x10000L);
    printf("fixed %d at %x\n", fixed, (unsigned)&fixed);
    return 0;
}
