#define S "tail"
"a"
#ifdef S
"b" S
#endif
"c"