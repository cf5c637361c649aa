#else
#endif
#ifdef
a
#endif
#ifndef 3
b
#else
c
#else
d
#endif
#define ON
#ifdef ON
e
#else
#elif
f
#endif
g
