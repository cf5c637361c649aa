int i = -5;
unsigned u = 0xFFFFFFFF;
char c = 300;             /* char keeps 8 bits, sign-extended: 44 */
char neg = 200;           /* -56 */
unsigned char uc = -1;    /* 255 */
short s = 70000;          /* 4464 */
unsigned short us = -2;   /* 65534 */
long l = 3.99;            /* a real truncated toward zero */
int negreal = -2.5;
float f = 3;              /* an integer becomes a real */
double du = 4294967295u;  /* unsigned read as unsigned */
int braced = { 7 };
enum color { RED, GREEN = 250 } e = GREEN;
int expr = (1 << 4) + sizeof(double) * 2;
char *null = 0;
extern int ext = 3;       /* a definition after all */
