/* Newest first: s3 makes the total odd, and the walk for a one-byte
   object passes what it may not move (a wider object, a fixed-address
   object, a function, an extern, and `early`, already written at the
   #pragma section) until it finds c1, which became a tentative object
   again after the #pragma. */
struct t3 { char c[3]; };
extern char c1;
char early;
#pragma section [bss]
char c1;
short h;
extern char e;
char f(void);
char fixed @ 0x40;
int i;
struct t3 s3;
