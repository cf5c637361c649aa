#define ONLY_MACROS 1
