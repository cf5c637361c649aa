#include "self.h"
int s;
