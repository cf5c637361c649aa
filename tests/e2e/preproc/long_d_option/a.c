LONG EMPTY1; OPEN still here
