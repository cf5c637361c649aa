// Room on the stack: where the running thread's stack ends, and the start of
// a thread with a large stack for a walk that goes deeper.
#include "driver/stack_room.h"

#include <pthread.h>

#include <cstddef>
#include <cstdint>

thread_local constinit uintptr_t stack_limit = 0;

namespace {

// Left free below the limit: room for the walks of other routines over a
// deep tree (comparison of trees, typing) below the last check.
constexpr size_t STACK_MARGIN = size_t(4) << 20;
constexpr size_t FRESH_STACK_SIZE = size_t(256) << 20;  // stack of each further thread

uintptr_t find_stack_limit() {
    uintptr_t here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
    pthread_attr_t attr;
    void *base = nullptr;
    size_t size = 0;
    if (pthread_getattr_np(pthread_self(), &attr) == 0) {
        pthread_attr_getstack(&attr, &base, &size);
        pthread_attr_destroy(&attr);
    }
    uintptr_t low = reinterpret_cast<uintptr_t>(base);
    // Without a usable answer assume the common 8 MB below this frame.
    if (low == 0 || size < 2 * STACK_MARGIN || low > here)
        low = here - (size_t(8) << 20);
    return low + STACK_MARGIN;
}

}  // namespace

uintptr_t set_stack_limit() {
    stack_limit = find_stack_limit();
    return stack_limit;
}

bool run_on_fresh_stack(void *(*entry)(void *), void *arg) {
    pthread_attr_t attr;
    pthread_t thread;
    bool started = false;
    if (pthread_attr_init(&attr) == 0) {
        if (pthread_attr_setstacksize(&attr, FRESH_STACK_SIZE) == 0)
            started = pthread_create(&thread, &attr, entry, arg) == 0;
        pthread_attr_destroy(&attr);
    }
    if (started)
        pthread_join(thread, nullptr);
    return started;
}
