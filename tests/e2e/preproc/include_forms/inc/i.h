in_i __FILE__ __LINE__
#include "j.h"
back_in_i __LINE__
