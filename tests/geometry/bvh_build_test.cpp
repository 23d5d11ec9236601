#include "bvh_test_meshes.h"

#include "geometry/bvh.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace verdanium {
namespace {

bool contains(const BvhNode& outer, const BvhNode& inner) {
    for (int axis = 0; axis < 3; ++axis)
        if (outer.lower[axis] > inner.lower[axis] || outer.upper[axis] < inner.upper[axis])
            return false;
    return true;
}

// Walks the subtree at `index` in pre-order, checking every structural rule on the way, and returns the
// position just past the subtree, which pre-order requires to be the next sibling's position.
std::uint32_t checkSubtree(const MeshBvh& bvh, std::uint32_t index, int depth, int& maxDepth,
                           std::vector<int>& leafSeen) {
    maxDepth = std::max(maxDepth, depth);
    const BvhNode& node = bvh.nodes.at(index);
    if (node.count > 0) {
        EXPECT_EQ(node.count, 1);
        ++leafSeen.at(node.index);
        return index + 1;
    }
    const std::uint32_t rightStart = checkSubtree(bvh, index + 1, depth + 1, maxDepth, leafSeen);
    EXPECT_EQ(node.index, rightStart) << "right child must follow the left subtree";
    EXPECT_TRUE(contains(node, bvh.nodes.at(index + 1)) && contains(node, bvh.nodes.at(node.index)));
    return checkSubtree(bvh, node.index, depth + 1, maxDepth, leafSeen);
}

TEST(BvhBuild, TreeInvariantsOnRandomMeshesAndOnEqualCentroids) {
    std::vector<std::vector<Vec3>> meshes;
    for (unsigned n : {1u, 2u, 3u, 7u, 100u, 1000u})
        meshes.push_back(bvh_test::makeRandomSoup(n, 10.0f, n));
    // 1000 copies of one triangle: equal centroids must still split in halves, along z.
    const std::vector<Vec3> one = bvh_test::makeRandomSoup(1, 10.0f, 1);
    meshes.emplace_back();
    for (int i = 0; i < 1000; ++i)
        meshes.back().insert(meshes.back().end(), one.begin(), one.end());

    for (const std::vector<Vec3>& positions : meshes) {
        const std::size_t n = positions.size() / 3;
        const bool equal = &positions == &meshes.back();
        SCOPED_TRACE(::testing::Message() << n << (equal ? " equal" : " random") << " triangles");
        MeshBvh bvh;
        bvh.build(positions);
        ASSERT_EQ(bvh.nodes.size(), 2 * n - 1);
        int maxDepth = 0;
        std::vector<int> leafSeen(n, 0);
        EXPECT_EQ(checkSubtree(bvh, 0, 0, maxDepth, leafSeen), 2 * n - 1);
        EXPECT_TRUE(std::all_of(leafSeen.begin(), leafSeen.end(), [](int seen) { return seen == 1; }));
        EXPECT_LE(maxDepth, static_cast<int>(std::ceil(std::log2(double(n)))));

        // leafItems is the final order of the primitives, a permutation of 0, 3, ..., 3(n - 1).
        ASSERT_EQ(bvh.leafItems.size(), n);
        std::vector<std::uint32_t> sorted = bvh.leafItems;
        std::sort(sorted.begin(), sorted.end());
        for (std::size_t i = 0; i < n; ++i) {
            EXPECT_EQ(sorted[i], 3 * i);
            EXPECT_EQ(bvh.leafItems[i], bvh.primitives[i].firstVertex);
        }
        for (const BvhNode& node : bvh.nodes)
            EXPECT_TRUE(!equal || node.count > 0 || node.axis == 2) << "all extents equal: z";
    }
}

TEST(BvhBuild, NoTriangleIsAnEmptyRootAndOneIsALeafRoot) {
    MeshBvh bvh;
    bvh.build(std::vector<Vec3>{Vec3{1, 2, 3}, Vec3{4, 5, 6}}); // two corners make no triangle
    ASSERT_EQ(bvh.nodes.size(), 1u);
    EXPECT_EQ(bvh.nodes[0].count, 0);
    EXPECT_GT(bvh.nodes[0].lower.x, bvh.nodes[0].upper.x);
    EXPECT_TRUE(bvh.leafItems.empty());

    bvh.build(std::vector<Vec3>{Vec3{0, 0, 0}, Vec3{1, 0, 0}, Vec3{0, 2, -1}});
    ASSERT_EQ(bvh.nodes.size(), 1u);
    EXPECT_EQ(bvh.nodes[0].count, 1);
    EXPECT_EQ(bvh.nodes[0].lower, (Vec3{0, 0, -1}));
    EXPECT_EQ(bvh.nodes[0].upper, (Vec3{1, 2, 0}));
}

TEST(BvhBuild, ThreeTrianglesSplitOneAgainstTwo) {
    // Centroids at x = 0, 10, 20: x is the longest axis; the left side gets floor(3 / 2) = 1 triangle.
    std::vector<Vec3> positions;
    for (float x : {20.0f, 0.0f, 10.0f})
        for (const Vec3& corner : {Vec3{-1, 0, 0}, Vec3{1, 0, 0}, Vec3{0, 1, 0}})
            positions.push_back(corner + Vec3{x, 0, 0});
    MeshBvh bvh;
    bvh.build(positions);
    ASSERT_EQ(bvh.nodes.size(), 5u);
    EXPECT_EQ(bvh.nodes[0].axis, 0);
    EXPECT_EQ(bvh.nodes[0].index, 2u);
    EXPECT_EQ(bvh.nodes[1].count, 1);
    EXPECT_EQ(bvh.leafItems[bvh.nodes[1].index], 3u) << "the triangle at x = 0 goes left";
    EXPECT_EQ(bvh.nodes[2].count, 0);
}

TEST(BvhBuild, AxisTieRules) {
    // Two point-like triangles, at the origin and at the offset: the root splits the larger extent.
    const auto rootAxis = [](Vec3 offset) {
        MeshBvh bvh;
        bvh.build(std::vector<Vec3>{Vec3{}, Vec3{}, Vec3{}, offset, offset, offset});
        return int(bvh.nodes.at(0).axis);
    };
    EXPECT_EQ(rootAxis(Vec3{2, 1, 1}), 0);
    EXPECT_EQ(rootAxis(Vec3{1, 2, 1}), 1);
    EXPECT_EQ(rootAxis(Vec3{2, 2, 1}), 1) << "an x-y tie goes to y";
    EXPECT_EQ(rootAxis(Vec3{2, 1, 2}), 2) << "an x-z tie goes to z";
    EXPECT_EQ(rootAxis(Vec3{1, 2, 2}), 2) << "a y-z tie goes to z";
}

} // namespace
} // namespace verdanium
