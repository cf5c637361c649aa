/* A small program for a PowerPC board: a tick counter at a fixed address,
 * a checksum over a table of squares in far memory, and a step of a state
 * machine that waits for the ticks. */
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

enum state { IDLE, COUNTING, DONE };
static enum state state;

/* One step of the machine: a switch, tests joined by && and ||, a loop
 * that waits, and a line of assembly text. */
void step(unsigned int limit)
{
    switch (state) {
    case IDLE:
        ticks = 0;
        state = COUNTING;
        break;
    case COUNTING:
        while (ticks < limit && checksum() != 0)
            ;
        if (ticks >= limit || limit == 0)
            state = DONE;
        break;
    default:
        _asm("sync\n");
    }
}
