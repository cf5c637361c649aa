struct s { int m; } sv;
struct t { int m; } tv;
void v1(void) { return 1; }
void v2(void) { return; }
void v3(void) { }
struct s s1(void) { return tv; }
struct s s2(void) { return sv; }
int *p1(void) { return 0; }
int *p2(void) { return 1; }
int *p3(void) { return sv; }
char c1(void) { return 300; }
int i1(void) { return; }
int i2(void) { }
int i3(int a) { if (a) return 1; }
int i4(int a) { if (a) return 1; else return 2; }
int i5(void) { for (;;) ; }
int i6(void) { int arr[2]; return arr; }
int *p4(void) { static int arr[2]; return arr; }
