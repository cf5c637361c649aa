typedef int T;
extern int e;
int f(void);
struct s { int a; };
