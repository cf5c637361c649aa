int main(int argc, char **argv) {
    int *p = (int *)(argc - 1);
    return *p;
}
