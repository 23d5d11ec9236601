#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <vector>

namespace verdanium {

class Entity;

// Equal-sized slots carved in order from large contiguous blocks. The scene's
// per-step walks visit thousands of small objects; allocated one by one, each
// lies pages away from the next, between whatever else was allocated with it,
// and every visit is a cache and TLB miss. From a pool, objects made one after
// the other lie side by side, so that a walk in creation order streams through
// memory. Once every slot has been given back (a recreation empties the map),
// the blocks are handed out again from the start.
//
// The first request fixes the slot size (rounded up to the alignment); larger
// requests bypass the pool. Main thread only, like the scene it serves. Blocks
// are kept for reuse until the program ends.
class SlotPool {
public:
    SlotPool(std::size_t slotsPerBlock, std::size_t alignment);

    void* allocate(std::size_t bytes);
    void deallocate(void* slot, std::size_t bytes);

private:
    std::size_t slotsPerBlock_;
    std::size_t alignment_;
    std::size_t slotSize_ = 0;
    // Each block is over-allocated by one alignment so that its first slot can be aligned.
    std::vector<std::unique_ptr<std::byte[]>> blocks_;
    std::vector<std::byte*> alignedBlocks_;
    // The next block and slot that have never been handed out since the last reset.
    std::size_t nextBlock_ = 0;
    std::size_t nextSlot_ = 0;
    // Slots given back while others are still in use, reused first.
    std::vector<void*> freeSlots_;
    std::size_t liveSlots_ = 0;
};

// The pool of the entity maps' nodes: a map filled in key order lies in memory
// in key order. Its slots are aligned as pointers, all a node holds besides its
// key: a node of 56 bytes then takes 56, not the 64 of the strictest
// alignment, and a step's walk streams an eighth less of them.
inline constexpr std::size_t kEntityNodeAlignment = alignof(void*);
SlotPool& entityNodePool();

// Allocator of the entity maps: single nodes from the pool, anything else from
// the heap.
template <typename T>
struct EntityNodeAllocator {
    using value_type = T;

    EntityNodeAllocator() = default;
    template <typename U>
    EntityNodeAllocator(const EntityNodeAllocator<U>&) {}

    T* allocate(std::size_t count) {
        static_assert(alignof(T) <= kEntityNodeAlignment, "the node pool aligns its slots as pointers");
        if (count == 1)
            return static_cast<T*>(entityNodePool().allocate(sizeof(T)));
        return std::allocator<T>().allocate(count);
    }
    void deallocate(T* pointer, std::size_t count) {
        if (count == 1)
            entityNodePool().deallocate(pointer, sizeof(T));
        else
            std::allocator<T>().deallocate(pointer, count);
    }

    template <typename U>
    bool operator==(const EntityNodeAllocator<U>&) const {
        return true;
    }
};

// Every object of a scene by key, walked in ascending key order.
using EntityMap = std::map<std::uint32_t, std::shared_ptr<Entity>, std::less<std::uint32_t>,
                           EntityNodeAllocator<std::pair<const std::uint32_t, std::shared_ptr<Entity>>>>;

// Calls visit(entity) for each entity of [first, last) in key order. The walk
// asks for the cache lines of the entity a few nodes ahead while it works on
// the current one: at tens of thousands of entities a step is otherwise a
// chain of cache misses. Bit k of kLines asks for the line at 64 k bytes into
// the object; the default covers what every entity holds up to its mesh. The
// entities met ahead wait in a ring, so that the map is walked once: each step
// of a map iterator is a call and a chain of dependent loads.
template <unsigned kLines = 0b111u, typename Iterator, typename Visit>
void forEachEntity(Iterator first, Iterator last, Visit&& visit) {
    constexpr unsigned kLookahead = 8; // a power of two
    Entity* ring[kLookahead];
    unsigned waiting = 0;
    for (; waiting < kLookahead && first != last; ++first)
        ring[waiting++] = first->second.get();
    for (unsigned next = 0; waiting != 0; next = (next + 1) % kLookahead) {
        Entity* current = ring[next];
        if (first != last) {
            Entity* upcoming = first->second.get();
            const char* lines = reinterpret_cast<const char*>(upcoming);
            for (unsigned line = 0; line < 8; ++line)
                if (kLines & (1u << line))
                    __builtin_prefetch(lines + 64 * line);
            ring[next] = upcoming;
            ++first;
        } else {
            --waiting;
        }
        visit(*current);
    }
}

} // namespace verdanium
