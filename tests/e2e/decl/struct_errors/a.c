#if sizeof(struct a { int x; struct a y; struct a *p; }) == 8
struct a inside struct a: embedded usage, a pointer is fine
#endif
#if sizeof(struct { int x; char x; }) == 8
redefined member
#endif
#if sizeof(struct { int f(void); int g; }) == 4
invalid function member
#endif
#if sizeof(struct { int; int *[2]; char c; }) == 1
missing member names
#endif
#if sizeof(struct { static int x; extern y; }) == 8
unexpected storage classes
#endif
#if sizeof(struct { }) == 0
missing member declaration
#endif
#if sizeof(struct { int x }) == 4
missing ; in member definition
#endif
#if sizeof(struct { int x; ) == 4
missing } in struct/union definition
#endif
#if sizeof(struct { enum nowhere e; }) == 4
member of an undefined enum: incomplete enum type
#endif
#if sizeof(struct { const x, y; volatile z; }) == 12
implicit int members: a warning at level 1, once per list
#endif
