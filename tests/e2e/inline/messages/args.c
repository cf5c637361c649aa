struct S { int x; } s;
@inline int mul(int a, int b) { return a * b; }
@inline int deref(int *p) { return *p; }
int use(int x) {
    x = mul(s, x);
    x = mul(x);
    x = mul(1, 2, 3);
    x = deref(x + 1.5);
    return mul(x + , 2);
}
