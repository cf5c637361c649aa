int g, h, arr[4]; struct { int m; } st;
int f1(void) { return g + g + g + g + g + g; }
int f2(void) { return h + h + h + h + h; }
int f3(void) { arr[0] = st.m; arr[1] = st.m; arr[2] = st.m; return arr[0] + arr[1] + arr[2] + st.m + st.m + st.m; }
int f4(void) { static int k; k = k + k + k + k + k; return k; }
#define S (a + b + c + d + e + f + k + m)
int f5(void) { int a, b, c, d, e, f, k, m; a = b = c = d = e = f = k = m = 1; return S * S * S * S * S * S * S + g + g + g + g + g + g; }
