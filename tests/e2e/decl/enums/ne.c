#if sizeof(enum { A1 = 300 }) == 4 && sizeof(enum { A2 = -1 }) == 4 && sizeof(enum { A3 = 70000 }) == 4 && sizeof(enum { A4 }) == 4
every enum takes 4 bytes
#endif
#if sizeof(enum nowhere) == 4
an undefined enum takes 4 bytes
#endif
