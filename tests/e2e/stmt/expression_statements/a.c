int f(int a)
{
    ;
    a = 1
    a = 2;
    int b;
    a = 3;
    a++ ;;
    if (a) { a = 4; l: }
    return a;
}
