#if -1 < 1u
mathematical
#else
ansi
#endif
#if 2 > 1u && -1 < 1
same_either_way
#endif
