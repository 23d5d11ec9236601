#pragma once

#include <atomic>

namespace verdanium {

// gFoundationLock is one recursive mutex guarding the allocation counter, the
// fatal flag and the console writer, for exactly one update or one write; it is
// never held across a heap call.
//
// It is made by a static initialiser that then sets gFoundationLockReady, and
// an exit-time clean-up clears the flag before destroying it. Every user tests
// the flag on entry and again on leaving, so allocations made by static
// initialisers before the lock exists, or after it is gone, simply run unlocked.
extern std::atomic<bool> gFoundationLockReady;

// Holds gFoundationLock for its scope when the lock is ready; does nothing otherwise.
class FoundationLockScope {
public:
    FoundationLockScope();
    ~FoundationLockScope();
    FoundationLockScope(const FoundationLockScope&) = delete;
    FoundationLockScope& operator=(const FoundationLockScope&) = delete;

private:
    bool entered = false;
};

} // namespace verdanium
