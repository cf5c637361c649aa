int before;
#include "h.h"
int after;
