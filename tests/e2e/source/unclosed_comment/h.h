#line 100 "x.c"
int h; /* never closed
