#foo bar
# 12
# "str"
#define
#define 3 x
#undef
#undef "x"
#ifdef NOPE
#foo
# 12
#define
#endif
#line x
ok
