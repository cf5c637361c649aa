#ifdef X
#else
open
