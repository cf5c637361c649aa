int main(void) { for (;;) ; }
