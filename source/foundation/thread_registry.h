#pragma once

#include "foundation/thread_table.h"

#include <cstdint>
#include <mutex>
#include <pthread.h>

namespace verdanium {

// A thread the fatal path may suspend. Fields in order: its own lock, the
// number of walks using it, a request to drop it once unused, the kernel thread
// id, and the thread handle (0 when there is none).
struct ThreadRecord {
    std::recursive_mutex lock;
    std::uint32_t useCount = 0;
    std::uint32_t releaseWhenUnused = 0;
    std::uint32_t threadId = 0;
    pthread_t handle = 0;
};

// The threads to stop before a fatal message box. Nothing registers one (the
// render workers are deliberately not entered), so it is empty for the whole
// run and suspendOtherThreads does nothing; the machinery is kept working.
// gThreadRegistryLock is taken before any record's lock, never after.
extern ThreadTable gThreadRegistry;
extern std::recursive_mutex gThreadRegistryLock;

// Suspends every registered thread other than the caller, for the rest of the
// process's life, dropping records whose release was requested once no walk
// uses them.
void suspendOtherThreads();

} // namespace verdanium
