int main(void) {
    char @far *p = (char @far *)0x03000000L;
    *p = 1;
    return 0;
}
