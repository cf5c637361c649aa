level __LINE__
#include "self.h"
