#pragma once

#include <cstddef>
#include <cstdint>

namespace verdanium {

struct ThreadRecord;

// Bob Jenkins's 32-bit mix of (key, 0x9E3779B9, 0x9E3779B9); returns the third word.
std::uint32_t mixThreadKey(std::uint32_t key);

// Open-addressed table from a 32-bit thread id to a ThreadRecord (not owned).
//
// Each slot has a hash word (-1 empty, -2 deleted, otherwise the mix shifted
// right by one, hence never negative) and, in a parallel array, its key and
// record. Probing works in aligned groups of eight slots: the search starts in
// the group of the stored hash at the slot named by its low three bits and
// wraps within the group; the step between groups starts at
// ((mix >> 23) << 5) | 24 and grows by 32 after each group, which visits every
// group of a power-of-two table once. An empty slot ends a search.
//
// Nothing in the program inserts, so the table stays empty and unallocated;
// insert exists for completeness and for tests.
class ThreadTable {
public:
    ThreadTable() = default;
    ~ThreadTable();
    ThreadTable(const ThreadTable&) = delete;
    ThreadTable& operator=(const ThreadTable&) = delete;

    ThreadRecord* find(std::uint32_t key) const;

    // False when the key is present already. Grows to keep at most half the slots used.
    bool insert(std::uint32_t key, ThreadRecord* record);

    // Removes the key; the arrays are freed once the table holds nothing.
    bool erase(std::uint32_t key);

    // Visits each record from the first used slot to the last. The visitor may
    // erase keys, the visited one included; slots freed that way are not revisited.
    template <typename Visitor>
    void forEach(Visitor&& visit) {
        for (std::uint32_t slot = 0; slot < capacity; ++slot)
            if (hashes[slot] >= 0)
                visit(*entries[slot].record);
    }

    std::size_t size() const { return count; }
    std::size_t slotCount() const { return capacity; }

private:
    static constexpr std::int32_t kEmpty = -1;
    static constexpr std::int32_t kDeleted = -2;

    struct Entry {
        std::uint32_t key;
        ThreadRecord* record;
    };

    // Slot index of key, or capacity when absent.
    std::uint32_t slotOf(std::uint32_t key) const;
    void placeNew(std::uint32_t key, ThreadRecord* record);
    void grow();
    void release();

    std::int32_t* hashes = nullptr;
    Entry* entries = nullptr;
    std::uint32_t capacity = 0;
    std::uint32_t count = 0;
};

} // namespace verdanium
