/* A name in an inline body is looked up where the call stands: the body
   of add names the global n, but the call in the inner block sees that
   block's local n, which hides the global.  (The same function called
   where no local hides n adds to the global.) */
#include <stdio.h>
static int n;
@inline void add(int k) { n += k; }
int main(void) {
    add(1);
    {
        int n = 100;
        add(5);
        printf("inner %d\n", n);
    }
    printf("global %d\n", n);
    return 0;
}
