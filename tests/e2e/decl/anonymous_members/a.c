#define VALUE(e) (sizeof(struct { char a[(e) + 1]; }) - 1)
#define OFFSET(type, member) VALUE((int)&((type *)0)->member)
#if sizeof(struct s1 { union { int a; char b; }; int c; }) == 8
#endif
#if OFFSET(struct s1, a) == 0 && OFFSET(struct s1, b) == 0 && OFFSET(struct s1, c) == 4
the members of an anonymous union share its place
#endif
#if sizeof(struct s2 { char x; struct { short a; char b; }; char y; }) == 8
#endif
#if OFFSET(struct s2, a) == 2 && OFFSET(struct s2, b) == 4 && OFFSET(struct s2, y) == 6
an anonymous struct is aligned, its members are placed within it
#endif
#if sizeof(union u1 { struct { char a, b; }; short s; }) == 2 && OFFSET(union u1, b) == 1
an anonymous struct in a union
#endif
#if sizeof(struct s3 { char c; struct { int i; union { short p; char q; }; }; }) == 12
#endif
#if OFFSET(struct s3, i) == 4 && OFFSET(struct s3, p) == 8 && OFFSET(struct s3, q) == 8
copies of copies keep their offsets
#endif
#if sizeof(struct { int a; union { int a; char b; }; }) == 8
redefined anonymous member
#endif
