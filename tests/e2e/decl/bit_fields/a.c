#define VALUE(e) (sizeof(struct { char a[(e) + 1]; }) - 1)
#define OFFSET(type, member) VALUE((int)&((type *)0)->member)
#if sizeof(struct { char a:3; char b:6; }) == 2 && sizeof(struct { char a:3; char b:5; }) == 1
char bit-fields share a byte while they fit
#endif
#if sizeof(struct { char a:3; int b:4; }) == 8 && sizeof(struct { short a:3; int b:4; }) == 8
a bit-field of another width starts an aligned unit
#endif
#if sizeof(struct { int a:3; int :0; int b:3; }) == 8 && sizeof(struct { int a:3; int b:3; }) == 4
:0 closes the unit
#endif
#if sizeof(struct b1 { int a:3; char c; }) == 8 && OFFSET(struct b1, c) == 4
a member after bit-fields stands behind the whole unit
#endif
#if sizeof(struct { int a:30; int b:3; }) == 8 && sizeof(struct { short a:9; short b:8; }) == 4
a bit-field that does not fit starts a new unit
#endif
#if sizeof(struct { long x:4; }) == 4 && sizeof(struct { unsigned long x:32; }) == 4
a long bit-field takes an int unit
#endif
#if sizeof(struct b2 { char c; short s:4; char d; }) == 6 && OFFSET(struct b2, d) == 4
a short unit aligns to 2
#endif
#if sizeof(struct { char c; int :4; char d:2; }) == 9
an unnamed bit-field takes room but adds no alignment
#endif
#if sizeof(union { char a:3; char b:4; int c; }) == 4 && sizeof(union { char a:7; char b:2; }) == 2
in a union, bit-fields of one unit still follow each other
#endif
#if sizeof(struct { enum { K = 200 } e:3; char c; }) == 2
an enum bit-field takes the unit of its integer type
#endif
#if sizeof(struct { int x:33; char y:9; int z:0; float f:3; struct { int i; } s:1; }) == 0
invalid sizes and types
#endif
#if sizeof(struct { signed int a:1, b:2; signed char c:1; unsigned d:1; }) == 4
signed bit-fields: checked under -csb, once per list
#endif
