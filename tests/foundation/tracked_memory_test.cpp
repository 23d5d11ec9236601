#include "foundation/tracked_memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <malloc.h>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace verdanium {
namespace {

TEST(TrackedMemory, CountsTheHeapsBlockSizeAndBalancedUseOfEveryFormRestoresIt) {
    const std::uint64_t before = gAllocatedBytes.load();
    {
        void* block = trackedAlloc(13);
        EXPECT_EQ(gAllocatedBytes.load() - before, malloc_usable_size(block));
        trackedFree(block);
        trackedFree(nullptr);
        delete static_cast<int*>(nullptr);
        for (std::size_t size : {0u, 1u, 7u, 25u, 4096u, 1u << 20})
            trackedFree(trackedAlloc(size));
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
        operator delete(operator new(100, std::align_val_t(4096)), 100, std::align_val_t(4096));

        std::map<std::string, std::shared_ptr<std::vector<int>>> table;
        table["a fairly long key that does not fit in place"] = std::make_shared<std::vector<int>>(1000, 1);
    }
    EXPECT_EQ(gAllocatedBytes.load(), before);
}

} // namespace
} // namespace verdanium
