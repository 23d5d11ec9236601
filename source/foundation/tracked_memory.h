#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace verdanium {

// Sum of the heap's own sizes (malloc_usable_size) of all live blocks handed
// out by trackedAlloc. Because both directions use the block's reported size,
// balanced use brings it back exactly, whatever sizes were asked for. Written
// on every allocation and release under gFoundationLock; nothing in the program
// reads it. It is atomic as well because the lock only exists between static
// initialisation and exit: worker threads of the ray-query library may still
// release blocks after the lock is gone, and those updates must not race.
extern std::atomic<std::uint64_t> gAllocatedBytes;

// The body of every global allocation operator: a block from the heap, counted.
// Alignments above what malloc guarantees come from posix_memalign, which free
// and malloc_usable_size accept alike. An exhausted heap goes to fatalError
// ("Out of memory!"), which ends the process; only while another fatal report
// runs does this return null.
void* trackedAlloc(std::size_t size, std::size_t alignment = alignof(std::max_align_t));

// The body of every global release operator. Null does nothing.
void trackedFree(void* block);

} // namespace verdanium
