// The replaceable global allocation and release operators, every form of them,
// so that all heap use of the program (strings, containers, shared pointers,
// object creation) is counted by trackedAlloc and trackedFree.
//
// Exhausted memory never throws here: trackedAlloc ends the process with the
// fatal report. Only if that report is already running does it return null, and
// the throwing forms then raise std::bad_alloc as the language requires.

#include "foundation/tracked_memory.h"

#include <cstddef>
#include <new>

namespace {

void* allocateOrThrow(std::size_t size, std::size_t alignment = alignof(std::max_align_t)) {
    void* block = verdanium::trackedAlloc(size, alignment);
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}

std::size_t alignmentOf(std::align_val_t alignment) {
    return static_cast<std::size_t>(alignment);
}

} // namespace

void* operator new(std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return verdanium::trackedAlloc(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return verdanium::trackedAlloc(size);
}

void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocateOrThrow(size, alignmentOf(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return allocateOrThrow(size, alignmentOf(alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return verdanium::trackedAlloc(size, alignmentOf(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return verdanium::trackedAlloc(size, alignmentOf(alignment));
}

void operator delete(void* block) noexcept {
    verdanium::trackedFree(block);
}
void operator delete[](void* block) noexcept {
    verdanium::trackedFree(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    verdanium::trackedFree(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    verdanium::trackedFree(block);
}
void operator delete(void* block, std::size_t) noexcept {
    verdanium::trackedFree(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    verdanium::trackedFree(block);
}

void operator delete(void* block, std::align_val_t) noexcept {
    verdanium::trackedFree(block);
}
void operator delete[](void* block, std::align_val_t) noexcept {
    verdanium::trackedFree(block);
}
void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept {
    verdanium::trackedFree(block);
}
void operator delete[](void* block, std::align_val_t, const std::nothrow_t&) noexcept {
    verdanium::trackedFree(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    verdanium::trackedFree(block);
}
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept {
    verdanium::trackedFree(block);
}
