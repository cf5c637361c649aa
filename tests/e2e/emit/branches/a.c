int a, b, c;
int f(void);
void tests(void)
{
    if (a < b) c = 1;
    if (a >= b) c = 2;
    if (a > b) c = 3;
    if (a <= b) c = 4;
    if (a == b) c = 5;
    if (a != b) c = 6;
    if (a && b) c = 7;
    if (a || b) c = 8;
    if (a && b || c) c = 9;
    if ((a || b) && c) c = 10;
    while (a && b) c++;
    while (a || b) c--;
    if (1) c = 11;
    if (0) c = 12;
    while (a < b && 1) c++;
    if (f(), a) c = 13;
    if (c) c = 14;
    if (!c) c = 15;
}
