char a; int b; char c;
