#include "h.h"
after
