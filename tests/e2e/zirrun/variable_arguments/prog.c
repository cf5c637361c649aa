/* A function of a variable argument list that hands its va_list to
   vsprintf, vprintf and vfprintf. */
#include <stdio.h>
#include <stdarg.h>

static int logf_count;

static void logf(const char *fmt, ...) {
    va_list ap;
    char buf[100];
    va_start(ap, fmt);
    vsprintf(buf, fmt, ap);
    va_end(ap);
    logf_count++;
    printf("log %d: %s", logf_count, buf);
    va_start(ap, fmt);
    vprintf(fmt, ap);
    va_end(ap);
    va_start(ap, fmt);
    vfprintf(stdout, fmt, ap);
    va_end(ap);
}

int main(void) {
    logf("%d %s %.2f %c %u\n", -3, "str", 2.5, 'x', 7u);
    logf("%5.1f|%-4d|%s\n", 1.25, 12, "end");
    return 0;
}
