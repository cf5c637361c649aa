__LINE__ __FILE__
#line 100
__LINE__ __FILE__
#line 200 "other.c"
__LINE__ __FILE__
#error here
#line 300 x.c
__LINE__ __FILE__
#line
#line 1.5
#line 7 "dir\\name.c"
__LINE__ __FILE__
#define L 50
#line L "macro.c"
__LINE__ __FILE__
#line 60 "macro.c"
__LINE__ __FILE__
