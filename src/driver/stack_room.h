// Room on the stack for the recursive walks of the compiler.  The expression
// parser is plain recursive descent and the walks over a typed tree follow
// its depth, so both follow the nesting of the source.  When the stack of
// the running thread is nearly used up, a walk goes on in a new thread with
// a large stack of its own while the old one waits for it; only one thread
// ever runs, so the compiler's global state needs no protection.
#pragma once

#include <cstdint>

// Lowest address the running thread may reach, 0 until it is known; kept by
// stack_room.cpp.  Addresses are held as numbers: they are compared, never
// dereferenced.
extern thread_local constinit uintptr_t stack_limit;

// Finds and sets stack_limit for the running thread; returns it.
uintptr_t set_stack_limit();

// True when the running thread is near the end of its stack.  Asked at every
// level of every recursive walk, so it is inline: one comparison.
inline bool stack_is_low() {
    uintptr_t limit = stack_limit != 0 ? stack_limit : set_stack_limit();
    return reinterpret_cast<uintptr_t>(__builtin_frame_address(0)) < limit;
}

// Runs `entry(arg)` on a new thread with a large stack and waits for it;
// false, without running it, when no thread can be made.
bool run_on_fresh_stack(void *(*entry)(void *), void *arg);

template <typename F>
void *run_stack_call(void *call) {
    (*static_cast<F *>(call))();
    return nullptr;
}

// Runs `call` on a fresh stack, or in place when no thread can be made.
template <typename F>
void on_fresh_stack(F &call) {
    if (!run_on_fresh_stack(run_stack_call<F>, &call))
        call();
}
