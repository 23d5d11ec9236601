#include "foundation/thread_table.h"

#include "foundation/tracked_memory.h"

namespace verdanium {

std::uint32_t mixThreadKey(std::uint32_t key) {
    std::uint32_t a = key, b = 0x9E3779B9u, c = 0x9E3779B9u;
    a -= b, a -= c, a ^= c >> 13;
    b -= c, b -= a, b ^= a << 8;
    c -= a, c -= b, c ^= b >> 13;
    a -= b, a -= c, a ^= c >> 12;
    b -= c, b -= a, b ^= a << 16;
    c -= a, c -= b, c ^= b >> 5;
    a -= b, a -= c, a ^= c >> 3;
    b -= c, b -= a, b ^= a << 10;
    c -= a, c -= b, c ^= b >> 15;
    return c;
}

namespace {

// Calls visit(slot) along the probe sequence of a mix value until it returns
// true or every slot of the table has been offered once.
template <typename Visitor>
void probe(std::uint32_t mix, std::uint32_t capacity, Visitor&& visit) {
    std::uint32_t stored = mix >> 1;
    std::uint32_t mask = capacity - 1;
    std::uint32_t group = stored & mask & ~7u;
    std::uint32_t step = ((mix >> 23) << 5) | 24u;
    for (std::uint32_t groups = capacity / 8; groups != 0; --groups) {
        for (std::uint32_t i = 0; i < 8; ++i)
            if (visit(group + ((stored + i) & 7u)))
                return;
        group = (group + step) & mask;
        step += 32;
    }
}

} // namespace

ThreadTable::~ThreadTable() {
    release();
}

void ThreadTable::release() {
    trackedFree(hashes);
    trackedFree(entries);
    hashes = nullptr;
    entries = nullptr;
    capacity = 0;
    count = 0;
}

std::uint32_t ThreadTable::slotOf(std::uint32_t key) const {
    std::uint32_t found = capacity;
    if (capacity == 0)
        return found;
    std::uint32_t mix = mixThreadKey(key);
    auto stored = static_cast<std::int32_t>(mix >> 1);
    probe(mix, capacity, [&](std::uint32_t slot) {
        if (hashes[slot] == kEmpty)
            return true;
        if (hashes[slot] == stored && entries[slot].key == key) {
            found = slot;
            return true;
        }
        return false;
    });
    return found;
}

ThreadRecord* ThreadTable::find(std::uint32_t key) const {
    std::uint32_t slot = slotOf(key);
    return slot < capacity ? entries[slot].record : nullptr;
}

void ThreadTable::placeNew(std::uint32_t key, ThreadRecord* record) {
    std::uint32_t mix = mixThreadKey(key);
    probe(mix, capacity, [&](std::uint32_t slot) {
        if (hashes[slot] >= 0)
            return false;
        hashes[slot] = static_cast<std::int32_t>(mix >> 1);
        entries[slot] = {key, record};
        ++count;
        return true;
    });
}

void ThreadTable::grow() {
    std::int32_t* oldHashes = hashes;
    Entry* oldEntries = entries;
    std::uint32_t oldCapacity = capacity;
    capacity = oldCapacity == 0 ? 8 : oldCapacity * 2;
    hashes = static_cast<std::int32_t*>(trackedAlloc(capacity * sizeof(std::int32_t)));
    entries = static_cast<Entry*>(trackedAlloc(capacity * sizeof(Entry)));
    for (std::uint32_t slot = 0; slot < capacity; ++slot)
        hashes[slot] = kEmpty;
    count = 0;
    for (std::uint32_t slot = 0; slot < oldCapacity; ++slot)
        if (oldHashes[slot] >= 0)
            placeNew(oldEntries[slot].key, oldEntries[slot].record);
    trackedFree(oldHashes);
    trackedFree(oldEntries);
}

bool ThreadTable::insert(std::uint32_t key, ThreadRecord* record) {
    if (slotOf(key) < capacity)
        return false;
    if ((count + 1) * 2 > capacity)
        grow();
    placeNew(key, record);
    return true;
}

bool ThreadTable::erase(std::uint32_t key) {
    std::uint32_t slot = slotOf(key);
    if (slot >= capacity)
        return false;
    hashes[slot] = kDeleted;
    entries[slot] = {0, nullptr};
    if (--count == 0)
        release();
    return true;
}

} // namespace verdanium
