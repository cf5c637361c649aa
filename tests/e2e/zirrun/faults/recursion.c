static int deeper(int n) {
    int pad[64];
    pad[n & 63] = n;
    return deeper(n + 1) + pad[0];
}
int main(void) { return deeper(0); }
