#define VALUE(e) (sizeof(struct { char a[(e) + 1]; }) - 1)
#define OFFSET(type, member) VALUE((int)&((type *)0)->member)
#if sizeof(struct s1 { char c; int i; }) == 8 && OFFSET(struct s1, i) == 4
char, int: 8, the int at 4
#endif
#if sizeof(struct s2 { char c; short s; char d; }) == 6 && OFFSET(struct s2, d) == 4
char, short, char: 6
#endif
#if sizeof(struct s3 { char c; double d; }) == 16 && OFFSET(struct s3, d) == 8
char, double: 16, the double at 8
#elif sizeof(struct s3) == 8 && OFFSET(struct s3, d) == 4
char, double: 8 under -f, the double at 4
#endif
#if sizeof(struct { double d; char c; }) == 16
double, char: 16
#elif sizeof(struct { double d; char c; }) == 8
double, char: 8 under -f
#endif
#if sizeof(struct s4 { char a[3]; short s; }) == 6 && OFFSET(struct s4, s) == 4
char[3], short: 6
#endif
#if sizeof(struct s5 { char c; char *p; }) == 4 && OFFSET(struct s5, p) == 2
char, near pointer: 4
#endif
#if sizeof(struct s6 { char c; char @far *p; }) == 8 && sizeof(struct { char c; char @tiny *p; }) == 2
far pointers align to 4, tiny ones to 1
#endif
#if sizeof(struct s7 { char c; struct { char d; short s; } in; char e; }) == 8 && OFFSET(struct s7, e) == 6
nested struct aligned to its largest member
#endif
#if sizeof(struct { short s; char c; }) == 4 && sizeof(struct { char c; }) == 1 && sizeof(struct { char a, b, c; }) == 3
padding at the end up to the alignment
#endif
#if sizeof(struct { int a[2][3]; char c; }) == 28 && sizeof(struct { char c[5]; short s[3]; }) == 12
arrays align as their elements
#endif
#if sizeof(struct { char c; enum { E1 = 300 } e; }) == 4 && sizeof(struct { char c; enum { E2 = 3 } e; }) == 2
enum members align as their integer type
#endif
#if sizeof(union { char c; int i; }) == 4 && sizeof(union { char a[5]; short s; }) == 6
unions take their largest member, padded
#endif
#if sizeof(union u1 { char c; double d; }) == sizeof(double) && OFFSET(union u1, d) == 0
every union member is at 0
#endif
#if sizeof(@packed struct s8 { char c; int i; }) == 8 && OFFSET(struct s8, i) == 4
@packed changes no offset
#endif
