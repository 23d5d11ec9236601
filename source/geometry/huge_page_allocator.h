#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include <sys/mman.h>

namespace verdanium {

// Allocator of the scene tree build's large scratch arrays: blocks come from the
// global allocation operator as any other, and the whole 2 MiB pages inside a
// block of at least that size are marked for transparent huge pages before
// anything touches them. The build reads these arrays out of order (a step's
// gather, the right children of the split pass), and at hundreds of thousands
// of entities they span thousands of 4 KiB pages, more than the translation
// caches hold: with 2 MiB pages nearly every such read misses one.
// Where the system offers no huge pages the hint is simply ignored.
template <typename T>
struct HugePageAllocator {
    using value_type = T;

    HugePageAllocator() = default;
    template <typename U>
    HugePageAllocator(const HugePageAllocator<U>&) {}

    T* allocate(std::size_t count) {
        T* block = std::allocator<T>().allocate(count);
        constexpr std::uintptr_t kHugePage = std::uintptr_t{2} << 20;
        const auto begin = reinterpret_cast<std::uintptr_t>(block);
        const std::uintptr_t first = (begin + kHugePage - 1) & ~(kHugePage - 1);
        const std::uintptr_t last = (begin + count * sizeof(T)) & ~(kHugePage - 1);
        if (first < last)
            madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
        return block;
    }
    void deallocate(T* block, std::size_t count) { std::allocator<T>().deallocate(block, count); }

    template <typename U>
    bool operator==(const HugePageAllocator<U>&) const {
        return true;
    }
};

} // namespace verdanium
