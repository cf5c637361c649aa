/* Standard definitions of the C library that zirrun runs programs with. */
#ifndef ZIRRUN_STDDEF_H
#define ZIRRUN_STDDEF_H

#ifndef ZIRRUN_SIZE_T
#define ZIRRUN_SIZE_T
typedef unsigned int size_t;
#endif
typedef int ptrdiff_t;
typedef int wchar_t;

#ifndef NULL
#define NULL ((void *)0)
#endif

#define offsetof(type, member) ((size_t)&((type *)0)->member)

#endif
