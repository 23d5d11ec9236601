#include "world/entity_map.h"

#include <cstdlib>

namespace verdanium {

EntityNodePool& EntityNodePool::instance() {
    static EntityNodePool pool;
    return pool;
}

void* EntityNodePool::allocate(std::size_t bytes) {
    // All maps of one type share the pool, so every request has the same size;
    // anything else bypasses it.
    if (nodeSize_ == 0)
        nodeSize_ =
            (bytes + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);
    if (bytes > nodeSize_)
        return ::operator new(bytes);
    ++liveNodes_;
    if (!freeNodes_.empty()) {
        void* node = freeNodes_.back();
        freeNodes_.pop_back();
        return node;
    }
    if (nextNode_ == kNodesPerBlock) {
        ++nextBlock_;
        nextNode_ = 0;
    }
    if (nextBlock_ == blocks_.size())
        blocks_.push_back(std::make_unique<std::byte[]>(nodeSize_ * kNodesPerBlock));
    return blocks_[nextBlock_].get() + nodeSize_ * nextNode_++;
}

void EntityNodePool::deallocate(void* node, std::size_t bytes) {
    if (bytes > nodeSize_) {
        ::operator delete(node);
        return;
    }
    --liveNodes_;
    if (liveNodes_ != 0) {
        freeNodes_.push_back(node);
        return;
    }
    // Nothing is in use any more: start again from the first block, in order.
    freeNodes_.clear();
    nextBlock_ = 0;
    nextNode_ = 0;
}

} // namespace verdanium
