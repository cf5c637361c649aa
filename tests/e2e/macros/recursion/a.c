#define ID(x) x
#define TWICE(x) x x
#define LOOP LOOP
#define P(x) Q(x)
#define Q(x) P(x)
ID(ID(ID(1))) TWICE(TWICE(2)) LOOP P(3) Q(4)
#define ONE ONE TWO
#define TWO ONE
ONE TWO
