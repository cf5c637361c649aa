/* Names used but never declared are reported at the end, newest first,
   at the line and column of their first use (the file named is the one
   read last), as is an array whose size never became known. */
#include "b.h"
char b1[sizeof first +
        sizeof second];
char b3[sizeof first];
int never[];
