#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace verdanium {

// The standard 32-bit Mersenne twister (MT19937), producing exactly the sequence
// of std::mt19937 for the same seed.
//
// The program has one of these, gRandom, and every thread draws from it without
// a lock, on purpose: a race may repeat or skip values, which the sampling code
// accepts. The state words and the index are atomics used with relaxed order
// only, so that race is well defined and costs nothing beyond plain loads and
// stores on x86, while the index can never leave the state array.
class MersenneTwister {
public:
    static constexpr std::size_t kStateSize = 624;
    static constexpr std::uint32_t kDefaultSeed = 5489;

    constexpr explicit MersenneTwister(std::uint32_t seed = kDefaultSeed)
        : MersenneTwister(seedWords(seed), std::make_index_sequence<kStateSize>{}) {}

    MersenneTwister(const MersenneTwister&) = delete;
    MersenneTwister& operator=(const MersenneTwister&) = delete;

    // Restarts the sequence. The program never reseeds gRandom; tests and tools
    // do, to reproduce the first scene of a run.
    void seed(std::uint32_t value);

    // Draws the next tempered 32-bit output.
    std::uint32_t next();

private:
    using Words = std::array<std::uint32_t, kStateSize>;

    static constexpr Words seedWords(std::uint32_t seed) {
        Words words{};
        words[0] = seed;
        for (std::size_t i = 1; i < kStateSize; ++i)
            words[i] = 1812433253u * (words[i - 1] ^ (words[i - 1] >> 30)) + static_cast<std::uint32_t>(i);
        return words;
    }

    template <std::size_t... I>
    constexpr MersenneTwister(const Words& words, std::index_sequence<I...>)
        : state_{words[I]...}, index_(kStateSize) {}

    // Regenerates all 624 state words at once, as the reference implementation does.
    void twist();

    std::atomic<std::uint32_t> state_[kStateSize];
    std::atomic<std::uint32_t> index_;
};

// The program's one generator, seeded with 5489 before main and never reseeded by
// the program, so that every run builds the same first scene.
extern constinit MersenneTwister gRandom;

// One unsigned 32-bit draw from gRandom.
inline std::uint32_t nextRandom() {
    return gRandom.next();
}

// Maps a 32-bit draw to [0, 1]: the value is rounded to the nearest float first,
// so large draws round up and the result can be exactly 1.0.
inline float uniform01(std::uint32_t value) {
    return static_cast<float>(value) * 2.3283064e-10f;
}

} // namespace verdanium
