int f(void) { return y; }
int g(void) { undefined_call(); return 1 / 0; }
int h(void) { if (1) { while (1) {
