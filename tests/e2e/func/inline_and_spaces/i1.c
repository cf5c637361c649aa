@inline int noproto() { return 1; }
