#include "foundation/tracked_memory.h"

#include "foundation/fatal_error.h"
#include "foundation/foundation_lock.h"

#include <cstdlib>
#include <malloc.h>

namespace verdanium {

std::atomic<std::uint64_t> gAllocatedBytes{0};

static void* heapAllocate(std::size_t size, std::size_t alignment) {
    // A zero-byte request still needs a distinct block (operator new must not return null).
    if (size == 0)
        size = 1;
    if (alignment <= alignof(std::max_align_t))
        return std::malloc(size);
    void* block = nullptr;
    if (posix_memalign(&block, alignment, size) != 0)
        return nullptr;
    return block;
}

void* trackedAlloc(std::size_t size, std::size_t alignment) {
    void* block = heapAllocate(size, alignment);
    if (block == nullptr) {
        fatalError("Out of memory!");
        // Reached only when another fatal report is already running.
        return nullptr;
    }
    std::size_t blockSize = malloc_usable_size(block);
    FoundationLockScope lock;
    gAllocatedBytes.fetch_add(blockSize, std::memory_order_relaxed);
    return block;
}

void trackedFree(void* block) {
    if (block == nullptr)
        return;
    {
        FoundationLockScope lock;
        gAllocatedBytes.fetch_sub(malloc_usable_size(block), std::memory_order_relaxed);
    }
    std::free(block);
}

} // namespace verdanium
