#include "self.h"
after
