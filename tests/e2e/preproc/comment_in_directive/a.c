#define Y 3 /* a comment
   that ends on a later line */
Y
#ifdef Y /* comment
*/
yes
#endif
#ifdef Y /* comment */ extra
#endif
