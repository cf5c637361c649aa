#define VALUE(e) (sizeof(struct { char a[(e) + 1]; }) - 1)
#if VALUE((unsigned char)300) == 44
(unsigned char)300 is 44
#endif
#if VALUE((char)200 + 100) == 44
(char)200 is -56: plain char is signed
#elif VALUE((char)200) == 200
(char)200 is 200: plain char is unsigned
#endif
#if VALUE((signed char)200 + 100) == 44 && VALUE((unsigned char)-1) == 255
signed and unsigned char do not follow -u
#endif
#if VALUE((unsigned short)-1) == 65535 && VALUE((short)70000) == 4464
short casts wrap at 16 bits
#endif
#if VALUE((int)3.75) == 3 && VALUE((long)(signed char)-3 + 5) == 2
a real is cut toward zero, casts nest
#endif
#if sizeof((char @far *)0) == 4 && sizeof((char *)0) == 2 && sizeof((char @tiny *)0) == 1
casts to pointers take their space
#endif
#if VALUE((int)(const int)7) == 7
a qualified type casts like the plain one
#endif
