#include "foundation/foundation_lock.h"

#include <cstdlib>
#include <mutex>
#include <new>

namespace verdanium {

std::atomic<bool> gFoundationLockReady{false};

namespace {

// Raw storage rather than a static mutex object: the lock's lifetime is managed
// by hand so that the ready flag can be cleared before it goes away.
alignas(std::recursive_mutex) unsigned char lockStorage[sizeof(std::recursive_mutex)];

std::recursive_mutex& foundationLock() {
    return *std::launder(reinterpret_cast<std::recursive_mutex*>(lockStorage));
}

void destroyFoundationLock() {
    gFoundationLockReady.store(false);
    foundationLock().~recursive_mutex();
}

struct FoundationLockInitializer {
    FoundationLockInitializer() {
        new (lockStorage) std::recursive_mutex();
        gFoundationLockReady.store(true);
        // Registered this early, the clean-up runs after nearly every other
        // static destructor, so late releases are still counted under the lock.
        std::atexit(destroyFoundationLock);
    }
};

// The highest priority open to programs: the lock exists before most other
// static initialisers run.
[[gnu::init_priority(101)]] FoundationLockInitializer foundationLockInitializer;

} // namespace

FoundationLockScope::FoundationLockScope() {
    if (gFoundationLockReady.load()) {
        foundationLock().lock();
        entered = true;
    }
}

FoundationLockScope::~FoundationLockScope() {
    if (entered && gFoundationLockReady.load())
        foundationLock().unlock();
}

} // namespace verdanium
