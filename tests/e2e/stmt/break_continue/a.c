int f(int a)
{
    break;
    continue;
    switch (a) { case 1: break; case 2: continue; }
    while (a) {
        switch (a) { case 1: continue; case 2: break; }
        if (a > 4) break;
        a--;
    }
    return a;
}
