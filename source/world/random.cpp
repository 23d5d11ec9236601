#include "world/random.h"

namespace verdanium {

constinit MersenneTwister gRandom{MersenneTwister::kDefaultSeed};

namespace {

constexpr std::uint32_t kMatrixA = 0x9908b0dfu;
constexpr std::uint32_t kUpperMask = 0x80000000u;
constexpr std::uint32_t kLowerMask = 0x7fffffffu;
constexpr std::size_t kShift = 397;

} // namespace

void MersenneTwister::seed(std::uint32_t value) {
    const Words words = seedWords(value);
    for (std::size_t i = 0; i < kStateSize; ++i)
        state_[i].store(words[i], std::memory_order_relaxed);
    index_.store(kStateSize, std::memory_order_relaxed);
}

void MersenneTwister::twist() {
    for (std::size_t i = 0; i < kStateSize; ++i) {
        const std::uint32_t current = state_[i].load(std::memory_order_relaxed);
        const std::uint32_t following = state_[(i + 1) % kStateSize].load(std::memory_order_relaxed);
        const std::uint32_t mixed = (current & kUpperMask) | (following & kLowerMask);
        std::uint32_t word = state_[(i + kShift) % kStateSize].load(std::memory_order_relaxed) ^ (mixed >> 1);
        if (mixed & 1u)
            word ^= kMatrixA;
        state_[i].store(word, std::memory_order_relaxed);
    }
}

std::uint32_t MersenneTwister::next() {
    std::uint32_t index = index_.load(std::memory_order_relaxed);
    // Another thread may have moved the index since; any value up to the state
    // size is still a valid position, and only the end triggers a regeneration.
    if (index >= kStateSize) {
        twist();
        index = 0;
    }
    std::uint32_t y = state_[index].load(std::memory_order_relaxed);
    index_.store(index + 1, std::memory_order_relaxed);
    y ^= y >> 11;
    y ^= (y << 7) & 0x9d2c5680u;
    y ^= (y << 15) & 0xefc60000u;
    y ^= y >> 18;
    return y;
}

} // namespace verdanium
