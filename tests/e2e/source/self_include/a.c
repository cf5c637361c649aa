#include "self.h"
int a;
