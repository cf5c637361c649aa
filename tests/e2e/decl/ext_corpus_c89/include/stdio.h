/* The few declarations of the standard I/O header that the test programs use. */
#ifndef NULL
#define NULL ((void *)0)
#endif
#define EOF (-1)
typedef struct file FILE;
extern FILE *stdout;
extern FILE *stderr;
int printf(const char *format, ...);
int fprintf(FILE *stream, const char *format, ...);
int sprintf(char *buffer, const char *format, ...);
int puts(const char *text);
int putchar(int c);
