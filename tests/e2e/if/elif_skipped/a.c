#if 1
first
#elif 1 / 0
#elif )
#endif
#if 0
#if 1 / 0
#elif (
#endif
#endif
done
