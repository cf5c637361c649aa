@inline int bad(int a) { return a + undefined_name; }
int use(int x) { return bad(x) + bad(1); }
