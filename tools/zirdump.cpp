// Prints an intermediate file as text.
int main() { return 0; }
