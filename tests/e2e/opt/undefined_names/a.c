int f(int x)
{
    x = first + 1;
    {
        int y = second;
        if (0) { x = third; }
    }
    return x;
    { x = fourth; }
}
int g(void) { return first; }
