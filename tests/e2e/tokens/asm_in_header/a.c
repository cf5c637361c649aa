#include "h.h"
#asm
 m1
#endasm
#include "h.h"
