#include <stdio.h>
#include <ctype.h>

int main(void) {
    int c, lines = 0, words = 0, in_word = 0;
    while ((c = getchar()) != EOF) {
        if (c == '\n') lines++;
        if (isspace(c)) in_word = 0;
        else if (!in_word) { in_word = 1; words++; }
        putchar(toupper(c));
    }
    printf("%d lines, %d words\n", lines, words);
    return 0;
}
