/* Output to standard output and standard error, and input of characters.
   The streams are not objects: stdout and stderr are the numbers 1 and 2,
   which the library knows. */
#ifndef ZIRRUN_STDIO_H
#define ZIRRUN_STDIO_H

#ifndef ZIRRUN_SIZE_T
#define ZIRRUN_SIZE_T
typedef unsigned int size_t;
#endif
#ifndef NULL
#define NULL ((void *)0)
#endif

typedef struct zirrun_file FILE;
#define stdout ((FILE *)1)
#define stderr ((FILE *)2)
#define EOF (-1)

int printf(const char *format, ...);
int fprintf(FILE *stream, const char *format, ...);
int sprintf(char *s, const char *format, ...);
int snprintf(char *s, size_t n, const char *format, ...);
/* The values of the v forms are the arguments a va_list of stdarg.h
   points at. */
int vprintf(const char *format, char *args);
int vfprintf(FILE *stream, const char *format, char *args);
int vsprintf(char *s, const char *format, char *args);
int puts(const char *s);
int fputs(const char *s, FILE *stream);
int putchar(int c);
int fputc(int c, FILE *stream);
int putc(int c, FILE *stream);
int fflush(FILE *stream);
int getchar(void);

#endif
