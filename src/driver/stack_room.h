// Room on the stack for the recursive walks of the compiler.  The expression
// parser is plain recursive descent and the walks over a typed tree follow
// its depth, so both follow the nesting of the source.  When the stack of
// the running thread is nearly used up, a walk goes on in a new thread with
// a large stack of its own while the old one waits for it; only one thread
// ever runs, so the compiler's global state needs no protection.
#pragma once

// True when the running thread is near the end of its stack.
bool stack_is_low();

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
