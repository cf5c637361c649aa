int open[] = { 1, 2, 3 };            /* the size comes from the count */
int short_one[4] = { 1 };            /* the rest is zero */
int flat[2][2] = { 1, 2, 3, 4 };     /* inner braces left out */
int mixed[3][2] = { { 1 }, 2, 3, { 4, 5 } };
int partial[2][3] = { 1, 2, 3, 4 };
int trailing[2] = { 1, 2, };
int rows[][2] = { 1, 2, 3 };         /* two rows, the second one short */
struct pair { char a; short b; } pairs[] = { 1, 2, { 3 }, 4, 5 };
