#include "foundation/thread_registry.h"

#include <gtest/gtest.h>

#include <unistd.h>
#include <vector>

namespace verdanium {
namespace {

TEST(ThreadTable, FindsEveryKeyAcrossGrowthAndDeletionWithTheLookup2Mix) {
    // Reference values from an independent implementation of the nine rounds.
    EXPECT_EQ(mixThreadKey(0), 0x5d917e91u);
    EXPECT_EQ(mixThreadKey(12345), 0x437b12d2u);

    ThreadTable table;
    std::vector<ThreadRecord> records(200);
    for (std::uint32_t key = 1; key <= 200; ++key)
        ASSERT_TRUE(table.insert(key * 7919u, &records[key - 1]));
    EXPECT_FALSE(table.insert(7919u, &records[0]));
    for (std::uint32_t key = 1; key <= 200; key += 2)
        EXPECT_TRUE(table.erase(key * 7919u));
    EXPECT_FALSE(table.erase(7919u));
    for (std::uint32_t key = 1; key <= 200; ++key)
        EXPECT_EQ(table.find(key * 7919u), key % 2 == 0 ? &records[key - 1] : nullptr) << key;

    std::size_t visited = 0;
    table.forEach([&](ThreadRecord&) { ++visited; });
    EXPECT_EQ(visited, 100u);
    for (std::uint32_t key = 2; key <= 200; key += 2)
        table.erase(key * 7919u);
    EXPECT_EQ(table.slotCount(), 0u); // the arrays go with the last entry
}

TEST(ThreadRegistry, WalkSkipsTheCallerAndDropsReleasedRecords) {
    EXPECT_EQ(gThreadRegistry.size(), 0u); // nothing in the program registers a thread
    ThreadRecord own;
    own.threadId = static_cast<std::uint32_t>(gettid());
    own.handle = pthread_self();
    own.releaseWhenUnused = 1;
    ThreadRecord idle; // no handle: nothing to suspend, and kept
    idle.threadId = 4242;
    gThreadRegistry.insert(own.threadId, &own);
    gThreadRegistry.insert(idle.threadId, &idle);
    suspendOtherThreads(); // returns: the caller is never suspended

    EXPECT_EQ(gThreadRegistry.find(static_cast<std::uint32_t>(gettid())), nullptr);
    EXPECT_EQ(own.threadId, 0u);
    EXPECT_EQ(own.handle, pthread_t{});
    EXPECT_EQ(gThreadRegistry.find(4242), &idle);
    EXPECT_EQ(idle.useCount, 0u);
    gThreadRegistry.erase(4242);
}

} // namespace
} // namespace verdanium
