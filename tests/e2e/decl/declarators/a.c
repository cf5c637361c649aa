#if sizeof(int *) == 2 && sizeof(char **) == 2 && sizeof(void *) == 2
pointers without a space take 2 bytes
#endif
#if sizeof(char @far *) == 4 && sizeof(char @tiny *) == 1 && sizeof(char @near *) == 2
a space in front of the star sizes the pointer
#endif
#if sizeof(char * @far) == 2 && sizeof(char @tiny * @far) == 1
a space behind the last star belongs to the object
#endif
#if sizeof(char @tiny * @far *) == 4 && sizeof(char * @tiny *) == 1
behind an inner star it sizes the next pointer
#endif
#if sizeof(int @tiny @near *) == 1
two spaces: ambiguous, the first stays
#endif
#if sizeof(int *[3]) == 6 && sizeof(int (*)[3]) == 2 && sizeof(char (*[4])[10]) == 8
arrays of pointers and pointers to arrays
#endif
#if sizeof(short *[2][3]) == 12 && sizeof(long (*[2])[3]) == 4 && sizeof(char (*)[2][3]) == 2
arrays of arrays
#endif
#if sizeof(int (*)(void)) == 2 && sizeof(int (*(*)[5])(int, char *)) == 2 && sizeof(char (*(*[3])(void))[4]) == 6
pointers to functions
#endif
#if sizeof(int (((*)))) == 2 && sizeof(int (*((*)))) == 2
parentheses nest
#endif
#if sizeof(int (void)) == 0 && sizeof(char *(int)) == 0
a function has no size
#endif
#if sizeof(int (*)()()) == 2
f()(): invalid function return type
#endif
#if sizeof(int (*)[2]()) == 2
f[](): invalid function return type
#endif
#if sizeof(int (*[2])()[3]) == 4
f()[3]: invalid array type
#endif
#if sizeof(int *[0]) == 0 && sizeof(int *[-1]) == 0
dimensions below 1 are invalid and leave the size unknown
#endif
#if sizeof(int (x)) == 4
a name in a type name is unexpected
#endif
