#define X
#undef X extra
#ifdef X extra
#else extra
#endif extra
#ifndef X extra
#endif
#undef X
#ifdef X
#endif
#ifdef 3 extra
#endif
