/* Only what is used of the extern names reaches the output. */
extern int used;
extern int unused;
extern int ef(void);
extern int ef_unused(void);
char b1[sizeof used + sizeof ef()];
/* Public: objects and functions defined here without static. */
int pub;
static int priv;
int body(void) { return 0; }
extern int ext_body(void) { return 0; }
/* A static function without a body is an error once it is used. */
static int sg(void);
static int sg_unused(void);
char b2[sizeof sg()];
