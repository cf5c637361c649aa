/* w and u share the array node of T, whose size is unknown.  u comes
   first: its turn reports the size and makes it 1, which turns w into a
   one-byte object, so the odd total of s3 pulls w in front of i. */
typedef char T[];
struct t3 { char c[3]; };
T w;
int i;
struct t3 s3;
T u;
