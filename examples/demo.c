/* A small program for a PowerPC board: a tick counter at a fixed address,
 * a table in far memory and a checksum over it. */
#define TABLE_SIZE 8
#define SQUARE(x) ((x) * (x))

unsigned long ticks;

static const unsigned char table[TABLE_SIZE] = {
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
