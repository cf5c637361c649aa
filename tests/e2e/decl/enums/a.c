#if sizeof(enum e1 { A1 = 300 }) == 2 && sizeof(enum { A2 = -1 }) == 1 && sizeof(enum { A3, B3 = 70000 }) == 4
300 takes 2 bytes, -1 one, 70000 four
#endif
#if sizeof(enum { C1 = 255 }) == 1 && sizeof(enum { C2 = 256 }) == 2 && sizeof(enum { C3 = 65535 }) == 2 && sizeof(enum { C4 = 65536 }) == 4
without negative values: unsigned char, short, long
#endif
#if sizeof(enum { D1 = -128, D2 = 127 }) == 1 && sizeof(enum { D3 = -129 }) == 2 && sizeof(enum { D4 = -1, D5 = 128 }) == 2 && sizeof(enum { D6 = -1, D7 = 32768 }) == 4
with negative values: char, short, long
#endif
#if A1 == 300 && A2 == -1 && B3 == 70000
enumeration constants are seen by #if
#endif
#if sizeof(enum { N0, N1, N2 = 10, N3, N4 = -5, N5 }) == 1
#endif
#if N1 == 1 && N3 == 11 && N5 == -4
each constant is one above the one before
#endif
#if sizeof(enum { W1 = 2147483647, W2 }) == 4 && W2 == -2147483647 - 1
#endif
#if W2 < 0
the value wraps at 32 bits
#endif
#if sizeof(enum e1) == 2 && sizeof(enum e1 *) == 2
an enum tag
#endif
#if sizeof(enum nowhere) == 4
an undefined enum
#endif
#if sizeof(enum { X1, }) == 1
a comma before }: missing enumeration member
#endif
#if sizeof(enum { A1 }) == 1
redeclared enum member
#endif
#if sizeof(enum { Y1 = 1, Y2 = Y1 + 1 }) == 1
#endif
#if Y2 == 2
a constant may use the ones before it
#endif
#if sizeof(enum { Z1 Z2 }) == 1
two constants without a comma: missing }
#endif
