/* header comment */
#define N 10
int a[N];   // trailing comment

	int  b = N ;
#undef N
int c = N;
