int main(void) {
    char *p = (char *)0xFFF8;
    *p = 1;
    return 0;
}
