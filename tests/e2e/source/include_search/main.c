#include <x.h>
#include "x.h"
#include "sub\y.h"
#include "sub\z.h"
#include "/nonexistent/q.h"
#include "missing.h"
int end;
