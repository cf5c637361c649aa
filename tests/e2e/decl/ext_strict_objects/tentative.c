extern int e;
int tentative;
