#if
empty
#endif
#if 1 +
missing operand
#endif
#if 1 2
incomplete
#endif
#if (1
unbalanced
#endif
#if 1 / 0
zero divide
#endif
#if 1 % 0
zero modulus
#endif
#if (1, 2)
comma
#endif
#if +1
unary plus
#endif
#if 1 ? : 2
missing middle
#endif
#if 1
#else
#elif 1
#endif
#if 0
#elif
#endif
#if 0
#elif 1 2
#endif
#if "str"
#endif
#if 1 ) 
#endif
after
