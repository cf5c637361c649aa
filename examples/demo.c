/* A small program for a PowerPC board: a tick counter at a fixed address
 * and a checksum over a table of squares in far memory. */
#define TABLE_SIZE 8
#define SQUARE(x) ((x) * (x))

volatile unsigned long ticks @0x40000100;

static @far const unsigned char table[TABLE_SIZE] = {
    SQUARE(1), SQUARE(2), SQUARE(3), SQUARE(4),
    SQUARE(5), SQUARE(6), SQUARE(7), SQUARE(8)
};

unsigned int checksum(void)
{
    unsigned int i, sum = 0;

    for (i = 0; i < TABLE_SIZE; i++)
        sum += table[i];
    return sum;
}
