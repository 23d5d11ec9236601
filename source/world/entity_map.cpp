#include "world/entity_map.h"

namespace verdanium {

SlotPool::SlotPool(std::size_t slotsPerBlock, std::size_t alignment)
    : slotsPerBlock_(slotsPerBlock), alignment_(alignment) {}

SlotPool& entityNodePool() {
    static SlotPool pool(4096, kEntityNodeAlignment);
    return pool;
}

void* SlotPool::allocate(std::size_t bytes) {
    if (slotSize_ == 0)
        slotSize_ = (bytes + alignment_ - 1) / alignment_ * alignment_;
    if (bytes > slotSize_)
        return ::operator new(bytes);
    ++liveSlots_;
    if (!freeSlots_.empty()) {
        void* slot = freeSlots_.back();
        freeSlots_.pop_back();
        return slot;
    }
    if (nextSlot_ == slotsPerBlock_) {
        ++nextBlock_;
        nextSlot_ = 0;
    }
    if (nextBlock_ == blocks_.size()) {
        blocks_.push_back(std::make_unique<std::byte[]>(slotSize_ * slotsPerBlock_ + alignment_));
        const auto address = reinterpret_cast<std::uintptr_t>(blocks_.back().get());
        const std::size_t skip = (alignment_ - address % alignment_) % alignment_;
        alignedBlocks_.push_back(blocks_.back().get() + skip);
    }
    return alignedBlocks_[nextBlock_] + slotSize_ * nextSlot_++;
}

void SlotPool::deallocate(void* slot, std::size_t bytes) {
    if (bytes > slotSize_) {
        ::operator delete(slot);
        return;
    }
    --liveSlots_;
    if (liveSlots_ != 0) {
        freeSlots_.push_back(slot);
        return;
    }
    // Nothing is in use any more: start again from the first block, in order.
    freeSlots_.clear();
    nextBlock_ = 0;
    nextSlot_ = 0;
}

} // namespace verdanium
