extern int e;
int x @ 0x10;
