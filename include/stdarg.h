/* Walking the arguments of a function with a variable argument list.  The
   arguments lie in order in the argument area, each in the room of its
   promoted type: a slot of 4 bytes for int, the narrower integers and the
   pointers (a narrower value in the last bytes of its slot), 8 bytes on an
   8-byte boundary for double.  va_start points behind the last named
   argument. */
#ifndef ZIRRUN_STDARG_H
#define ZIRRUN_STDARG_H

typedef char *va_list;

#define ZIRRUN_VA_ALIGN(type) (sizeof(type) > 4 ? 7u : 3u)
#define ZIRRUN_VA_ROOM(type) (sizeof(type) < 4 ? 4 : sizeof(type))

#define va_start(ap, last) ((ap) = (char *)&(last) + sizeof(last))
#define va_arg(ap, type) \
    (*(type *)((ap) = (char *)(((unsigned)(ap) + ZIRRUN_VA_ALIGN(type)) & ~ZIRRUN_VA_ALIGN(type)) \
                      + ZIRRUN_VA_ROOM(type), \
               (ap) - sizeof(type)))
#define va_end(ap) ((void)0)

#endif
