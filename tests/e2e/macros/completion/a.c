#define f(x) <x>
#define g f
#define h g
#define OPEN f(
#define D defined
#define X
g(1) g (1) h(2) OPEN 3) 4
D X D Y D(X) (D(Y))
int y = defined(y) + defined X + defined(defined) + defined(__LINE__);
#define SELF SELF + 1
#define A B
#define B A
SELF A B
#define R(x) R(x) + 1
R(R(2))
