@inline int va(int a, ...) { return a; }
