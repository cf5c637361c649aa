struct pair { int a, b; };
int none(void);
int two(int, char);
int open(int, ...);
struct pair make(int);
double real(float);
static int own(int x) { return x; }
int (*fp)(int);
void f(int x)
{
    none();
    x = two(x, 'c');
    open(1, 2, 3);
    open(1);
    x = make(x).b;
    real(1.0f);
    own(x);
    x = fp(x);
    x = (*fp)(two(none(), 1));
    undeclared(x);
}
