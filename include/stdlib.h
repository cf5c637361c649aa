/* Memory, the end of a run, and numbers from text. */
#ifndef ZIRRUN_STDLIB_H
#define ZIRRUN_STDLIB_H

#ifndef ZIRRUN_SIZE_T
#define ZIRRUN_SIZE_T
typedef unsigned int size_t;
#endif
#ifndef NULL
#define NULL ((void *)0)
#endif

#define EXIT_SUCCESS 0
#define EXIT_FAILURE 1

void *malloc(size_t size);
void *calloc(size_t count, size_t size);
void *realloc(void *block, size_t size);
void free(void *block);
void exit(int status);
void abort(void);
int abs(int n);
long labs(long n);
int atoi(const char *s);
long atol(const char *s);
long strtol(const char *s, char **end, int base);
unsigned long strtoul(const char *s, char **end, int base);
void qsort(void *base, size_t count, size_t size, int (*compare)(const void *, const void *));

#endif
