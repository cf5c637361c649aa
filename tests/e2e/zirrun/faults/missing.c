int missing(int);
int main(void) { return missing(1); }
