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

// Storage for the nodes of the scene's entity maps. A flying step walks the map
// twice (updates, then the tree build); with nodes scattered between the much
// larger entities every step of such a walk was a cache miss. Here nodes come
// from large contiguous blocks, and once every node has been given back (a
// recreation empties the map) the blocks are handed out again from the start,
// so a map filled in key order lies in memory in key order.
//
// Main thread only, like the maps it serves. Blocks are kept for reuse until the
// program ends.
class EntityNodePool {
public:
    static EntityNodePool& instance();

    void* allocate(std::size_t bytes);
    void deallocate(void* node, std::size_t bytes);

private:
    static constexpr std::size_t kNodesPerBlock = 4096;

    std::size_t nodeSize_ = 0;
    std::vector<std::unique_ptr<std::byte[]>> blocks_;
    // The next block and node that have never been handed out since the last reset.
    std::size_t nextBlock_ = 0;
    std::size_t nextNode_ = 0;
    // Nodes given back while others are still in use, reused first.
    std::vector<void*> freeNodes_;
    std::size_t liveNodes_ = 0;
};

// Allocator of the entity maps: single nodes from the pool, anything else from
// the heap.
template <typename T>
struct EntityNodeAllocator {
    using value_type = T;

    EntityNodeAllocator() = default;
    template <typename U>
    EntityNodeAllocator(const EntityNodeAllocator<U>&) {}

    T* allocate(std::size_t count) {
        if (count == 1)
            return static_cast<T*>(EntityNodePool::instance().allocate(sizeof(T)));
        return std::allocator<T>().allocate(count);
    }
    void deallocate(T* pointer, std::size_t count) {
        if (count == 1)
            EntityNodePool::instance().deallocate(pointer, sizeof(T));
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

// Calls visit(entity) for each entity of [first, last) in key order. The
// entities are large and lie apart in memory, so the walk asks for the entity a
// few nodes ahead while it works on the current one: at tens of thousands of
// entities a step is otherwise a chain of cache misses.
template <typename Iterator, typename Visit>
void forEachEntity(Iterator first, Iterator last, Visit&& visit) {
    constexpr int kLookahead = 6;
    Iterator ahead = first;
    for (int i = 0; i < kLookahead && ahead != last; ++i)
        ++ahead;
    for (; first != last; ++first) {
        if (ahead != last) {
            const char* upcoming = reinterpret_cast<const char*>(ahead->second.get());
            __builtin_prefetch(upcoming);
            __builtin_prefetch(upcoming + 64);
            __builtin_prefetch(upcoming + 128);
            ++ahead;
        }
        visit(*first->second);
    }
}

} // namespace verdanium
