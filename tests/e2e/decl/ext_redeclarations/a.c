/* Accepted: one object each. */
int x; int x;
extern int e; int e;
int a[]; int a[3];
static int s; int s;
/* A later prototype replaces a declaration without one: the third
   declaration is then compared with int f(int). */
int f(); int f(int); int f(long);
/* Refused. */
int t; static int t;
int g(char); int g();
typedef int T; int T;
int u; typedef int u;
int fixed @ 0x10; int fixed;
enum { E1 }; int E1;
int @far sp; int @near sp;
/* Const and volatile must agree under -sa only. */
int c; const int c;
