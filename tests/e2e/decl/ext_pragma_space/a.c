char *p0;
#pragma space * @far
char *p1;
void (*fp1)(void);
#pragma space * [] @near
char *p2;
void (*fp2)(void);
#pragma space extern () @far
int f(void);
int o1;
char b1[sizeof f()];
#pragma space const @tiny
const int k1;
#pragma space const []
const int k2;
#pragma space const ()
const int k3;
#pragma space static @far
static int s1;
int o2;
#pragma space @near volatile
int o3;
