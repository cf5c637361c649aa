#include "dir"
int after;
