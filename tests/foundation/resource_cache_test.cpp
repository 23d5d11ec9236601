#include "foundation/resource_cache.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace verdanium {
namespace {

// Counts constructions, and fails while the name is on the "broken" list.
struct CountedResource {
    static inline int constructions = 0;
    static inline std::string failingName;

    explicit CountedResource(const std::string& name_) : name(name_) {
        if (name == failingName)
            throw std::runtime_error("cannot load " + name);
        ++constructions;
    }
    std::string name;
};

class ResourceCacheTest : public ::testing::Test {
protected:
    void SetUp() override {
        CountedResource::constructions = 0;
        CountedResource::failingName.clear();
    }
    ResourceCache<CountedResource> cache;
};

TEST_F(ResourceCacheTest, LoadsOncePerNameAndSharesTheObject) {
    auto first = cache.load("models/a.obj");
    auto second = cache.load("models/a.obj");
    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(first->name, "models/a.obj");
    EXPECT_EQ(CountedResource::constructions, 1);
    EXPECT_EQ(first.use_count(), 3); // the table's reference plus the two holders

    // After every user is gone the table still keeps the resource.
    CountedResource* address = first.get();
    first.reset();
    second.reset();
    EXPECT_EQ(cache.load("models/a.obj").get(), address);
    EXPECT_EQ(CountedResource::constructions, 1);
}

TEST_F(ResourceCacheTest, KeysAreTheExactText) {
    auto single = cache.load("models/a.obj");
    auto doubled = cache.load("models//a.obj");
    auto prefix = cache.load("models/a");
    EXPECT_NE(single.get(), doubled.get());
    EXPECT_NE(single.get(), prefix.get());
    EXPECT_EQ(CountedResource::constructions, 3);
    EXPECT_EQ(cache.size(), 3u);
}

TEST_F(ResourceCacheTest, ThrowingConstructorStoresNothingAndIsRetried) {
    CountedResource::failingName = "bad";
    EXPECT_THROW(cache.load("bad"), std::runtime_error);
    EXPECT_FALSE(cache.contains("bad"));
    EXPECT_EQ(cache.size(), 0u);

    CountedResource::failingName.clear();
    auto retried = cache.load("bad");
    EXPECT_EQ(retried->name, "bad");
    EXPECT_TRUE(cache.contains("bad"));
    EXPECT_EQ(CountedResource::constructions, 1);
}

TEST_F(ResourceCacheTest, ClearDropsOnlyTheTablesReferences) {
    auto held = cache.load("x");
    cache.clear();
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_NE(cache.load("x").get(), held.get());
}

} // namespace
} // namespace verdanium
