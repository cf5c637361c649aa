// The pool of TypeNode records, and label numbers.
//
// For types, mark_types first sets the chain head to the free list, so that
// the release at the end of a function gives back exactly what was taken
// since the mark, old records and new, while types taken at file scope are
// gone from the free list for good.
#include "decl/symbol.h"
#include "driver/options.h"

namespace {

TypeNode *type_free;
TypeNode *type_chain;

// Labels are odd, from 3: the counter starts at 1 and grows by 2.
uint32_t label_counter = 1;

} // namespace

TypeNode *new_type(int32_t code, TypeNode *next) {
    TypeNode *type;
    if ((code & TY_KEEP) != 0)
        // Kept for good: from the heap, and never part of the chain.
        type = static_cast<TypeNode *>(checked_alloc(sizeof(TypeNode), type_chain));
    else
        type = take_pool_record(type_free, type_chain);
    type->code = uint8_t(code);
    type->next = next;
    type->dbg_label = 0;
    type->body_shift = 0;
    return type;
}

void mark_types() { type_chain = type_free; }

void release_types() { type_free = type_chain; }

int32_t new_label() {
    // The counter stops short of wrapping, so that every request past the
    // 16-bit limit keeps reporting.
    if (label_counter < 0x7FFFFFF0u)
        label_counter += 2;
    if (label_counter > 0xFFFF)
        report("file too large for label information");
    return int32_t(label_counter);
}
