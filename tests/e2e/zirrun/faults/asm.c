static void quiet(void) { _asm(""); }
static void noisy(void) { _asm("nop"); }
int main(void) { quiet(); noisy(); return 0; }
