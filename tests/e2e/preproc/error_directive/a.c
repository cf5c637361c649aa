#error   first   message /* comment */ here
#ifdef NOPE
#error skipped
#endif
#error
#error word01___ word02___ word03___ word04___ word05___ word06___ word07___ word08___ word09___ word10___ word11___ word12___ word13___ word14___ word15___ word16___ word17___ word18___ word19___ word20___ 
after
