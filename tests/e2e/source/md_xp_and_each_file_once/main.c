#include "x.h"
#include "d2/x.h"
#include "x.h"
#include "main.c.h"
