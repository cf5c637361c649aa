int helper(void) { return 1; }
