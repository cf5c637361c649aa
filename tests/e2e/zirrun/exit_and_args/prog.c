#include <stdio.h>
#include <stdlib.h>

static void leave(int depth) {
    if (depth == 0) {
        printf("leaving\n");
        exit(3);
    }
    leave(depth - 1);
}

int main(int argc, char **argv) {
    int k;
    for (k = 0; k < argc; k++) printf("argv[%d] = %s\n", k, argv[k]);
    if (argc > 2) leave(10);
    return argc > 1 ? 300 : 0;
}
