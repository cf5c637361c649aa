#elif
#ifdef __LINE__
builtin
#else
#elif
#endif
#ifdef OFF
#ifdef OFF
#else
#else
#endif
#endif
