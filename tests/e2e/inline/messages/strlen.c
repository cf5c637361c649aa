@inline unsigned strlen(const char *s);
unsigned n = 0;
int use(void) { return strlen("ab\0cd") + strlen("hello"); }
