#if sizeof(int (*)(int a, char *b, ...)) == 2 && sizeof(int (*)(void)) == 2
prototypes with names, an ellipsis, or void
#endif
#if sizeof(int (*)(...)) == 2 && sizeof(int (*)()) == 2 && sizeof(int (*)(a, b)) == 2
empty, ellipsis-only and old-style lists
#endif
#if sizeof(int (*)(int a, long a)) == 2
redeclared proto argument
#endif
#if sizeof(int (*)(a, b, a)) == 2
redeclared argument
#endif
#if sizeof(void (*)(void, int)) == 2 && sizeof(void (*)(int, void)) == 2 && sizeof(void (*)(void x)) == 2
bad void argument, twice; a named void alone is accepted
#endif
#if sizeof(void (*)(static int, register int)) == 2
an argument may be register, not static
#endif
#if sizeof(int (*)(int (*)(char *[3]), char (*)(void))) == 2
arguments that are themselves declarators
#endif
#if sizeof(int (*)(enum { INSIDE = 7 } e, struct inside { long a; } *p, struct inside *q)) == 2
#endif
#if INSIDE == 0 && sizeof(struct inside *) == 2
tags and constants declared in an argument list stay in it
#endif
#if sizeof(struct inside) == 0
so the tag outside is a new one, without a body
#endif
#if sizeof(int (*)(int, 5)) == 2
a comma followed by no type: bad proto argument type
#endif
#if sizeof(int (*)(int ...)) == 2
an ellipsis needs a comma in front
#endif
