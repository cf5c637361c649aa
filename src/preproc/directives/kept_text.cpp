// Text that lives as long as the current source line.  Copies are carved
// from large blocks, and all of them go at once when the next line starts,
// so keeping a spelling costs no allocation of its own.
#include <cstring>

#include "driver/options.h"
#include "preproc/source.h"

namespace {

constexpr size_t KEPT_BLOCK_SIZE = 16 * 1024;
constexpr size_t KEPT_SLACK = 3;

struct KeptBlock {
    KeptBlock *link;   // older block
    size_t size;       // bytes of data
    size_t used;
    char data[];
};

KeptBlock *kept_text;  // newest block first

}  // namespace

char *keep_text(const char *text, size_t length) {
    size_t need = length + KEPT_SLACK;
    KeptBlock *block = kept_text;
    if (!block || block->size - block->used < need) {
        size_t size = need > KEPT_BLOCK_SIZE ? need : KEPT_BLOCK_SIZE;
        block = static_cast<KeptBlock *>(
            checked_alloc(static_cast<unsigned>(sizeof(KeptBlock) + size), kept_text));
        block->size = size;
        block->used = 0;
        kept_text = block;
    }
    char *copy = block->data + block->used;
    std::memcpy(copy, text, length);
    std::memset(copy + length, 0, KEPT_SLACK);
    block->used += need;
    return copy;
}

void free_kept_text() {
    // One block of the standard size is kept for the next line.
    KeptBlock *spare = nullptr;
    while (kept_text) {
        KeptBlock *block = kept_text;
        kept_text = block->link;
        if (!spare && block->size == KEPT_BLOCK_SIZE)
            spare = block;
        else
            std::free(block);
    }
    if (spare) {
        spare->link = nullptr;
        spare->used = 0;
        kept_text = spare;
    }
}
