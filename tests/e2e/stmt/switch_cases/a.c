int f(int a, double d, char *p)
{
    int y;
    switch () ;
    switch (d) { case 1: ; }
    switch (p) { case 1: ; }
    switch (a) { case 3: case 1: default: case 2: a = 1; case 0: a = 2; }
    switch (a) { case 1: ; case 1: ; default: ; default: ; case 4 - 3: ; }
    case 5: a = 3;
    default: a = 4;
    switch (a) { int z; case 1: ; }
    switch (a) { int z = 1; case 1: ; }
    switch (a) { y = 1; case 1: ; }
    switch (a) { }
    switch (a) lab: y = 2;
    switch (a) case 7: y = 3;
    switch (a) y = 4;
    switch (a) { case y: ; }
    return a;
}
