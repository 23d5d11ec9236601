#include "foundation/foundation_lock.h"
#include "foundation/tracked_memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <malloc.h>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace verdanium {
namespace {

TEST(TrackedMemory, LockIsReadyWhileTestsRun) {
    EXPECT_TRUE(gFoundationLockReady.load());
}

TEST(TrackedMemory, CountsTheHeapsBlockSize) {
    std::uint64_t before = gAllocatedBytes;
    void* block = trackedAlloc(13);
    std::uint64_t during = gAllocatedBytes;
    std::size_t blockSize = malloc_usable_size(block);
    trackedFree(block);
    std::uint64_t after = gAllocatedBytes;

    EXPECT_GE(blockSize, 13u);
    EXPECT_EQ(during - before, blockSize);
    EXPECT_EQ(after, before);
}

TEST(TrackedMemory, ReleasingNullChangesNothing) {
    std::uint64_t before = gAllocatedBytes;
    trackedFree(nullptr);
    delete static_cast<int*>(nullptr);
    EXPECT_EQ(gAllocatedBytes, before);
}

TEST(TrackedMemory, BalancedUseOfEveryOperatorFormRestoresTheCount) {
    std::uint64_t before = gAllocatedBytes;
    {
        std::vector<void*> blocks;
        for (std::size_t size : {0u, 1u, 7u, 24u, 25u, 1000u, 4096u, 1u << 20})
            blocks.push_back(trackedAlloc(size));
        for (void* block : blocks)
            trackedFree(block);

        delete new int(5);
        delete[] new char[77];
        delete new (std::nothrow) double(1.0);
        operator delete(operator new(33), 33); // sized release
        ::operator delete[](::operator new[](50, std::nothrow), std::nothrow);

        struct alignas(128) Wide {
            float lanes[32];
        };
        auto* wide = new Wide;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(wide) % 128, 0u);
        delete wide;
        delete[] new Wide[3];
        void* aligned = operator new(100, std::align_val_t(4096));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aligned) % 4096, 0u);
        operator delete(aligned, 100, std::align_val_t(4096));

        std::map<std::string, std::shared_ptr<std::vector<int>>> table;
        table["a fairly long key that does not fit in place"] = std::make_shared<std::vector<int>>(1000, 1);
        table["b"] = std::make_shared<std::vector<int>>(3, 2);
    }
    std::uint64_t after = gAllocatedBytes;
    EXPECT_EQ(after, before);
}

TEST(TrackedMemory, ConcurrentBalancedUseRestoresTheCount) {
    std::uint64_t before = gAllocatedBytes;
    {
        auto churn = [](unsigned seed) {
            for (unsigned i = 0; i < 20000; ++i) {
                std::string text(1 + (i * seed) % 300, 'x');
                std::vector<int> numbers((i + seed) % 64);
            }
        };
        std::thread first(churn, 3u), second(churn, 7u);
        churn(11u);
        first.join();
        second.join();
    }
    std::uint64_t after = gAllocatedBytes;
    EXPECT_EQ(after, before);
}

} // namespace
} // namespace verdanium
