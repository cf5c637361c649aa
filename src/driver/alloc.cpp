// The allocator of the whole program.  Nothing is ever short of memory for a
// caller: when the system has none left the run ends here.
#include <cstring>

#include "driver/options.h"

void *checked_alloc(unsigned size, void *link) {
    // At least one word, for the link.
    size_t bytes = size < sizeof link ? sizeof link : size;
    void *block = std::calloc(1, bytes);
    if (block == nullptr) {
        std::fputs("no memory\n", stderr);
        std::exit(1);
    }
    std::memcpy(block, &link, sizeof link);
    return block;
}
