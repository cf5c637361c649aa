/* An enum is as wide as the type that represents it: es is one byte. */
enum small { S1 } es;
int i;
struct t3 { char c[3]; } s3;
