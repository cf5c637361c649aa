#if 1 / 0
#endif
#if 5 % (2 - 2)
#endif
#if 0 ? 1 / 0 : 1
fine
#endif
