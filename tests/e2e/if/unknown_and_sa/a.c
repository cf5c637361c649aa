#if RED
#else
an unknown name is 0
#endif
#if sizeof(1) == 4
sizeof of an expression
#endif
#if int
#else
a keyword is 0
#endif
end
