/* What is no fixed address. */
int plain;
int p1 @ &plain;
int p2 @ ;
int p3 @ "text";
int *ptr;
int p4 @ *ptr;
int p5 @ *(int *)0x10;
int p6 @ 1 + plain;
/* An object used before it was put at an address was taken for an
   ordinary one. */
extern int early;
char b[sizeof early];
int early @ 0x20;
int x @ 0x30;
int x;
