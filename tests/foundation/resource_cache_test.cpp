#include "foundation/resource_cache.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace verdanium {
namespace {

// Counts constructions, and fails while its name is failingName.
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

TEST_F(ResourceCacheTest, LoadsOncePerExactNameAndKeepsTheObject) {
    auto first = cache.load("models/a.obj");
    auto second = cache.load("models/a.obj");
    EXPECT_EQ(first.get(), second.get());

    // After every user is gone the table still keeps the resource.
    CountedResource* address = first.get();
    first.reset();
    second.reset();
    EXPECT_EQ(cache.load("models/a.obj").get(), address);
    EXPECT_EQ(CountedResource::constructions, 1);

    // Other spellings of the path, or a prefix of it, are other entries.
    EXPECT_NE(cache.load("models//a.obj").get(), address);
    EXPECT_NE(cache.load("models/a").get(), address);
    EXPECT_EQ(CountedResource::constructions, 3);
}

TEST_F(ResourceCacheTest, AThrowingConstructorStoresNothingAndIsRetried) {
    CountedResource::failingName = "bad";
    EXPECT_THROW(cache.load("bad"), std::runtime_error);
    EXPECT_FALSE(cache.contains("bad"));

    CountedResource::failingName.clear();
    EXPECT_EQ(cache.load("bad")->name, "bad");
    EXPECT_TRUE(cache.contains("bad"));
    EXPECT_EQ(CountedResource::constructions, 1);
}

} // namespace
} // namespace verdanium
