#include "q.h"
#include <a b.h>
#define HDR "m.h"
#include HDR
#define ANGLE <sub/n.h>
#include ANGLE
#include <i.h>
#include <missing.h
#include 3
#include ""
#include <>
#include "nothere.h"
#include
#ifdef NOPE
#include "skipped.h"
#endif
end __FILE__ __LINE__
