int later(int);
int use(void) { return later(3); }
@inline int later(int b) { return b; }
