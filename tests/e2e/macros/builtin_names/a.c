#define L __LINE__
#define CALL(x) __LINE__ x
__LINE__ L __STDC__ __TRGT__ __FILE__
CALL(
1)
#line 100 "dir\\sub\\b.c"
__LINE__ __FILE__
