#include "foundation/thread_registry.h"

#include <csignal>
#include <unistd.h>

namespace verdanium {

ThreadTable gThreadRegistry;
std::recursive_mutex gThreadRegistryLock;

namespace {

// SIGSTOP would stop the whole process, the reporter included, so a thread is
// suspended by a signal of our own whose handler never returns. Only the fatal
// path uses it, and the process ends soon after.
constexpr int kSuspendSignal = SIGUSR2;

void parkThread(int) {
    for (;;)
        pause();
}

void installSuspendHandler() {
    static const bool installed = [] {
        struct sigaction action {};
        action.sa_handler = parkThread;
        sigfillset(&action.sa_mask);
        sigaction(kSuspendSignal, &action, nullptr);
        return true;
    }();
    (void)installed;
}

void suspendThread(pthread_t thread) {
    installSuspendHandler();
    pthread_kill(thread, kSuspendSignal);
}

} // namespace

void suspendOtherThreads() {
    std::lock_guard registryLock(gThreadRegistryLock);
    auto self = static_cast<std::uint32_t>(gettid());
    gThreadRegistry.forEach([&](ThreadRecord& record) {
        {
            std::lock_guard recordLock(record.lock);
            ++record.useCount;
        }
        if (record.handle != 0 && record.threadId != self)
            suspendThread(record.handle);
        std::lock_guard recordLock(record.lock);
        if (--record.useCount == 0 && record.releaseWhenUnused != 0) {
            record.releaseWhenUnused = 0;
            {
                std::lock_guard dropLock(gThreadRegistryLock);
                gThreadRegistry.erase(record.threadId);
            }
            // A pthread_t needs no closing; clearing both marks the record dead.
            record.threadId = 0;
            record.handle = 0;
        }
    });
}

} // namespace verdanium
