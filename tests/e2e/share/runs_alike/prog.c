#include <stdio.h>

/* Each function keeps a value live across a stretch of code in which
   other locals come and go; if the flow graph lost the way that value
   takes, its home would be given to one of them and the printed sums
   would change. */

int id(int x) { return x; }

/* x is read at the top of each round and carried over by the back edge
   of the loop while y lives in the middle of the body. */
int back_edge(int n)
{
    int x = id(5), y, s = 0;
    while (n-- > 0) {
        s += x;
        y = id(n) * 3;
        s += y;
    }
    return s;
}

/* continue goes to the update, which reads k. */
int continue_update(int n)
{
    int i, k = id(2), t, s = 0;
    for (i = 0; i < n; i += k) {
        t = id(i);
        if (t & 1)
            continue;
        s += t;
    }
    return s;
}

/* The test of a do loop reads lim after the body. */
int do_test(int lim)
{
    int a = 0, b;
    do {
        b = id(a) + 1;
        a = b;
    } while (a < lim);
    return a;
}

/* Only a case reads u, so the edge from the selector to that case keeps
   u live while t holds the selector; a case falls through into the next,
   which reads what the first set. */
int fall_through(int sel)
{
    int u = id(7), t, v, w = 0;
    t = id(sel);
    switch (t) {
    case 1:
        w = id(10);
    case 2:
        v = id(w) + 1;
        return v;
    case 3:
        return u;
    default:
        break;
    }
    return w - 1;
}

/* A backward goto carries step around the stretch where tmp lives. */
int goto_back(int n)
{
    int step = id(3), tmp, s = 0;
again:
    s += step;
    tmp = id(n) * 2;
    s += tmp;
    if (--n > 0)
        goto again;
    return s;
}

/* A forward goto skips the store to r: r keeps its first value. */
int goto_forward(int c)
{
    int r = id(1), q;
    if (c)
        goto out;
    q = id(3);
    r = q + r;
out:
    return r;
}

/* break leaves the inner loop with outer still to be read. */
int nested_break(void)
{
    int i, j, outer, inner, s = 0;
    for (i = 0; i < 4; i++) {
        outer = id(i * 10);
        for (j = 0; ; j++) {
            inner = id(j);
            if (inner > i)
                break;
            s += inner;
        }
        s += outer;
    }
    return s;
}

/* An argument dead after its last read gives its place to a local. */
int arg_home(int p, int q)
{
    int t;
    t = id(p) + 1;
    q = q + t;
    t = id(q) * 2;
    return t;
}

/* Conditional stores inside an expression do not end a live range. */
int cond_store(int c)
{
    int x = id(4), y = id(9);
    if (c && (x = id(1)) > 0)
        y = 0;
    return x + y;
}

int main(void)
{
    printf("%d %d %d\n", back_edge(4), continue_update(9), do_test(6));
    printf("%d %d %d %d\n", fall_through(1), fall_through(2), fall_through(3), fall_through(4));
    printf("%d %d %d\n", goto_back(4), goto_forward(0), goto_forward(1));
    printf("%d %d\n", nested_break(), arg_home(3, 4));
    printf("%d %d\n", cond_store(0), cond_store(1));
    return 0;
}
