#if sizeof(char *) == 4
char *: far
#endif
#if sizeof(char (*)[3]) == 4
char (*)[3]: far
#endif
#if sizeof(void (*)(void)) == 4
void (*)(void): far
#endif
#if sizeof(int (**)(void)) == 4
int (**)(void): far
#endif
#if sizeof(int (*(*)(void))(void)) == 4
int (*(*)(void))(void): far
#endif
#if sizeof(char @near *) == 4
char @near *: far
#endif
