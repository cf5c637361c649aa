#define f(x) <x>
/* comment */ f
(1) next
  f(2) /* c */ tail
