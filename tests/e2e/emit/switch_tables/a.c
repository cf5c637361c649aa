int g;
void six(int x)
{
    switch (x) { case 1: g = 1; case 2: g = 2; case 3: g = 3;
                 case 4: g = 4; case 5: g = 5; case 6: g = 6; }
}
void seven(int x)
{
    switch (x) { case 1: g = 1; case 2: g = 2; case 3: g = 3; case 4: g = 4;
                 case 5: g = 5; case 6: g = 6; case 7: g = 7; }
}
void far_case(int x)
{
    switch (x) { case 1: g = 1; case 2: g = 2; case 3: g = 3; case 4: g = 4;
                 case 5: g = 5; case 6: g = 6; case 100: g = 7; }
}
void holes(int x)
{
    switch (x) { case 1: g = 1; case 3: g = 3; case 5: g = 5; case 7: g = 7;
                 case 9: g = 9; case 11: g = 11; case 13: g = 13; default: g = 0; }
}
void two_tables(int x)
{
    switch (x) {
    case -3: case -2: case -1: case 0: case 1: case 2: case 3: g = 1; break;
    case 50: g = 2; break;
    case 1000: case 1001: case 1002: case 1003: case 1004: case 1005: g = 3; break;
    case 1010: g = 4; case 1011: g = 5; break;
    }
}
void ranges(unsigned char c)
{
    switch (c) {
    case 'a': case 'b': case 'c': g = 1; break;
    case 'x': case 'y': g = 2; break;
    case '0': g = 3; break;
    default: g = 4;
    }
}
void short_selector(short s)
{
    switch (s) { case 1: default: g = 1; }
}
void wide_gap(int x)
{
    switch (x) { case -2147483647 - 1: g = 1; break; case 2147483647: g = 2; break; }
}
