#define F(x) x
int a = 1;
char *s = "open string
char c = 'x;
F(2,
  /* open comment
