#if sizeof(char) == 1 && sizeof(signed char) == 1 && sizeof(unsigned char) == 1
char types take 1 byte
#endif
#if sizeof(short) == 2 && sizeof(short int) == 2 && sizeof(signed short) == 2 && sizeof(unsigned short int) == 2
short types take 2
#endif
#if sizeof(int) == 4 && sizeof(signed) == 4 && sizeof(unsigned) == 4 && sizeof(long) == 4 && sizeof(unsigned long int) == 4
int and long take 4
#endif
#if sizeof(float) == 4 && sizeof(double) == 8 && sizeof(long double) == 8
float takes 4, double and long double 8
#endif
#if sizeof(const volatile int) == 4 && sizeof(register unsigned) == 4 && sizeof(@far int) == 4
qualifiers, classes and spaces change no size
#endif
#if sizeof(long long) == 4
long long: repeated, and a long
#endif
#if sizeof(long float) == 4 && sizeof(short long) == 4 && sizeof(unsigned signed char) == 4
long float, short long, unsigned signed char: illegal, each an int
#endif
#if sizeof(const const char) == 1
const const: repeated type specification, also under -c99
#endif
#if sizeof(char * const const) == 2 && sizeof(char * volatile const volatile) == 2
twice the same qualifier behind a star: repeated unless -c99
#endif
#if sizeof(extern static int) == 4
two storage classes: invalid
#endif
#if sizeof(void) == 0
void has no size
#endif
#if sizeof(struct) == 4
struct without tag or body: incomplete, taken as int
#endif
