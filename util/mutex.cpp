// The one global mutex, re-entrant for the thread that holds it.
#include <atomic>
#include <mutex>

#include "util/util_internal.h"

static std::mutex gate;
static std::atomic<const char *> holder{nullptr};   // the mark of the thread that holds the gate
static int starts_of_holder = 0;                    // touched by the holder only
static thread_local char mark_of_thread;            // its address tells threads apart

void Mutex_Access_Start()
{
    if (holder.load(std::memory_order_relaxed) != &mark_of_thread) {
        gate.lock();
        holder.store(&mark_of_thread, std::memory_order_relaxed);
    }
    starts_of_holder++;
}

void Mutex_Access_Stop()
{
    if (holder.load(std::memory_order_relaxed) != &mark_of_thread)
        return;
    if (--starts_of_holder > 0)
        return;
    holder.store(nullptr, std::memory_order_relaxed);
    gate.unlock();
}
