/* The C library: formatted output, strings, memory, sorting, numbers. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <ctype.h>
#include <limits.h>
#include <stddef.h>
#include <stdarg.h>

struct item { int key; char name[8]; };

static int by_key(const void *a, const void *b) {
    const struct item *x = a, *y = b;
    return x->key - y->key;
}

static int sum(int n, ...) {
    va_list ap;
    int s = 0;
    va_start(ap, n);
    while (n-- > 0) s += va_arg(ap, int);
    va_end(ap);
    return s;
}

static double mixed(const char *kinds, ...) {
    va_list ap;
    double s = 0;
    va_start(ap, kinds);
    for (; *kinds; kinds++) {
        if (*kinds == 'd') s += va_arg(ap, double);
        else if (*kinds == 'i') s += va_arg(ap, int);
        else s += strlen(va_arg(ap, char *));
    }
    va_end(ap);
    return s;
}

int main(void) {
    struct item items[5] = { { 5, "five" }, { 2, "two" }, { 9, "nine" }, { 1, "one" }, { 2, "deux" } };
    char buf[80], *end, *p;
    int k;
    qsort(items, 5, sizeof items[0], by_key);
    for (k = 0; k < 5; k++) printf("%d:%s ", items[k].key, items[k].name);
    printf("\n");
    sprintf(buf, "[%5d|%-5d|%05d|%+d|%x|%X|%o|%c|%%]", 42, 42, 42, 42, 255, 255, 8, 'z');
    puts(buf);
    printf("[%8.3f|%-8.2e|%g|%g|%s|%.2s|%10s]\n", 3.14159, 31415.9, 0.0001, 1e20, "abc", "abc", "right");
    k = snprintf(buf, 5, "%d", 123456);
    printf("%d %d %d\n", k, (int)strlen(buf), INT_MAX);
    k = (int)strtol(" -0x1fz", &end, 16);
    printf("%d %d %lu\n", k, *end, strtoul("4000000000", NULL, 10));
    printf("%d %d %d\n", atoi("  77abc"), abs(-5), (int)labs(-6L));
    p = malloc(4);
    strcpy(p, "abc");
    p = realloc(p, 64);
    strcat(p, "defghij");
    printf("%s %d %s %s\n", p, (int)strlen(p), strchr(p, 'e'), strrchr(p, 'a'));
    printf("%d %d %d\n", strcmp("abc", "abd") < 0, strncmp("abcx", "abcy", 3), memcmp(p, "abd", 3) < 0);
    printf("%s %d %d\n", strstr(p, "fgh"), (int)strspn(p, "cba"), (int)strcspn(p, "fed"));
    memset(buf, 'x', 10);
    buf[10] = 0;
    memmove(buf + 2, buf, 5);
    memcpy(buf, "AB", 2);
    printf("%s %s\n", buf, (char *)memchr(buf, 'x', 10));
    free(p);
    p = calloc(8, 2);
    printf("%d %d\n", p[0], p[15]);
    free(p);
    printf("%d %d %d %d %c %c\n", isalpha('q') != 0, isdigit('q') != 0, isspace('\t') != 0,
           ispunct('!') != 0, toupper('m'), tolower('M'));
    printf("%d %g\n", sum(5, 1, 2, 3, 4, 5), mixed("dis", 1.25, 2, "four"));
    printf("[%s] [%.3s]\n", (char *)0, "abcdef");
    fputs("done\n", stdout);
    fprintf(stdout, "%s\n", "also done");
    return (int)offsetof(struct item, name) + 1;
}
