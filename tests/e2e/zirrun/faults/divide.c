#include <stdio.h>
static int ratio(int a, int b) { return a / b; }
int main(int argc, char **argv) {
    printf("before\n");
    return ratio(10, argc - 1);
}
