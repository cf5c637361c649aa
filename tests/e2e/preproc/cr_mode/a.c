/* comment at start */ int a;
int b; /* two
lines */ int c;

#define X 1

int d = X;
#ifdef NOPE
skipped
#endif
  int e;	/* tab before */	int f;
#line 40 "a\\b.c"
int g;
