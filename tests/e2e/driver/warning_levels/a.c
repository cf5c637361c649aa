#if 1 << 40
#endif
