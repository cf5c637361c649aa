/* The few declarations of the string header that the test programs use. */
#ifndef NULL
#define NULL ((void *)0)
#endif
#ifndef SIZE_T_DECLARED
#define SIZE_T_DECLARED
typedef unsigned int size_t;
#endif
size_t strlen(const char *s);
int strcmp(const char *a, const char *b);
int strncmp(const char *a, const char *b, size_t n);
char *strcpy(char *to, const char *from);
char *strcat(char *to, const char *from);
char *strchr(const char *s, int c);
char *strrchr(const char *s, int c);
int memcmp(const void *a, const void *b, size_t n);
void *memcpy(void *to, const void *from, size_t n);
void *memset(void *to, int c, size_t n);
