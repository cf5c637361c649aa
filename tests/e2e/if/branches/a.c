#define TWO 2
#define ADD(a, b) ((a) + (b))
#if ADD(TWO, 3) * 2 == 10 && defined(TWO) && !defined(THREE)
macro arithmetic
#endif
#if 0
skipped if
#elif TWO - 2
skipped first elif
#elif TWO > 1 ? 0 : 1
skipped second elif
#else
taken else
#endif
#if 1
taken if
#elif 1
not evaluated elif
#else
skipped else
#endif
#if unknown_name
unknown names are 0
#elif unknown_name == 0
so this is taken
#endif
#if 'a' == 97 && '\n' == 10 && '\0' == 0 && 'A' + 1 == 'B'
character constants
#endif
#if -1 < 0u && 0xffffffff != -1
mixed signs compare by their values
#endif
#if 0x7fffffff + 1 < 0 && 0xffffffff + 1 == 0 && 65536 * 65536 == 0
32-bit arithmetic wraps
#endif
#if (7 / 2 == 3) && (-7 / 2 == -3) && (-7 % 2 == -1) && (7u >> 1 == 3) && (-8 >> 1 == -4)
division truncates, shifts keep the sign
#endif
#if (1 ? 2 : 3) == 2 && (0 ? 2 : 3) == 3 && (0 || 2) == 1 && (3 && 4) == 1
conditional and logical operators
#endif
#if 0 && 1 / 0
#else
the right operand of a decided && is not evaluated
#endif
#if 1 || 1 / 0
a decided || ignores its right operand
#endif
#if 0b101 == 5 && 010 == 8 && 0x10 == 16
binary, octal and hexadecimal
#endif
