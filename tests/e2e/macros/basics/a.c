/* object-like and function-like macros, with the white space they keep */
#define EMPTY
#define PAREN (x)
#define F(x) [x]
#define ADD(a, b) ((a) + (b))
#define NONE() none
#define BODY   x   +   y   
a EMPTY b EMPTY;
PAREN F(PAREN) F ( 1 )
int v = ADD(1, 2 * 3) + ADD((1, 2), F(3));
NONE() NONE
<BODY>
	F(	tab	)  /* comment stays */ end
#undef F
F(1)
