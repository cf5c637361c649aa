/* Declarations and data of a small board: what a unit without function
 * bodies gives the code generator. */
#define VERSION_MAJOR 4

typedef unsigned char u8;
typedef unsigned short u16;

enum mode { MODE_IDLE, MODE_RUN, MODE_FAULT = 7 };

struct uart {
    u16 baud_div;
    u8 control : 4;
    u8 parity : 2;
    u8 enabled : 1;
    u8 status;
};

/* Memory-mapped registers at fixed addresses. */
volatile u8 @far PORTA @ 0x40001000;
volatile struct uart @far UART0 @ 0x40002000;

/* Initialised data: scalars, arrays, strings, structs, addresses. */
const int version = VERSION_MAJOR * 100 + 12;
const int build = version + 1;
static const char banner[] = "zcppc demo";
u16 table[8] = { 1, 2, 4, 8, 16 };
struct uart defaults = { 26, 3, 1, 1 };
char *name = "board";
u16 *next_entry = &table[5];
enum mode mode = MODE_RUN;

/* Tentative objects: reserved at the end of the unit. */
char flag;
long counter;
char spare;

extern int used_elsewhere;
int *link = &used_elsewhere;
