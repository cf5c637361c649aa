/* The few declarations of the standard library header that the test programs use. */
#ifndef NULL
#define NULL ((void *)0)
#endif
#ifndef SIZE_T_DECLARED
#define SIZE_T_DECLARED
typedef unsigned int size_t;
#endif
void *malloc(size_t size);
void *calloc(size_t count, size_t size);
void free(void *block);
void abort(void);
void exit(int status);
