int x;
int arr[10];
struct { int a; char b[4]; } rec;
int f(void);
int *p = &x + 1;                 /* address plus offset in bytes */
int *elem = &arr[3];
int *decayed = arr;
char *member = &rec.b[2];
int (*fp)(void) = f;
int (*fpa)(void) = &f;
char *text = "hi" + 1;           /* a string literal through the pool */
char *same = "hi";
char @far *wide = (char *)&x;
char *fixed = (char *)0x100;
int *none = 0;
char @tiny *small = (char @tiny *)0x20;
void *table[] = { &x, arr + 2, f, "hi", 0 };
