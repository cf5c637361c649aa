#include "one.h"
#include "one.h"
#ifdef NOPE
#include "skipped.h"
#endif
#include "a fairly long header name with blanks.h"
text that is not written
#include "another_header_of_some_length.h"
#include "and_one_more.h"
