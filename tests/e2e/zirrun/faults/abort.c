#include <stdio.h>
#include <stdlib.h>
#include <assert.h>
int main(int argc, char **argv) {
    printf("start\n");
    if (argc > 1) abort();
    assert(argc == 5);
    return 0;
}
