#define f(x) <x>
#define g(a, b) a-b
f
(1)
f
x
g(1,
  2) after
g(
#define NOT_A_DIRECTIVE 1
, NOT_A_DIRECTIVE)
NOT_A_DIRECTIVE
f(f
(2)) f(3
) f(4)
last f
