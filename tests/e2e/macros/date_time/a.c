__DATE__ __TIME__
__TIME__ __DATE__
