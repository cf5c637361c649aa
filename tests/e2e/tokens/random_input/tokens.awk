# Writes a source of random C tokens, directives, stray characters and line
# ends, from the seed s.
BEGIN {
  srand(s)
  n = split("{ } ( ) ; $ ` @ \" \"x\" 'a' ' 0x 1e+ 12 x y int while #asm #endasm #if #else #endif #define #pragma #include # ## \\ /* */ // \n \n \n \n \n \n \n \n #asm\n #endasm\n M M( ) , #define\\040M(a)\\040a##a\n #ifdef\\040M\n #line\\0405\n", tok, " ")
  for (i = 0; i < 20000; i++) {
    t = tok[int(rand() * n) + 1]
    gsub(/\\n/, "\n", t); gsub(/\\040/, " ", t)
    printf "%s ", t
  }
}
