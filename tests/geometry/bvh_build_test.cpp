#include "bvh_test_meshes.h"

#include "geometry/bvh.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace verdanium {
namespace {

bool contains(const BvhNode& outer, const BvhNode& inner) {
    return outer.lower.x <= inner.lower.x && outer.lower.y <= inner.lower.y &&
           outer.lower.z <= inner.lower.z && outer.upper.x >= inner.upper.x &&
           outer.upper.y >= inner.upper.y && outer.upper.z >= inner.upper.z;
}

// Walks the subtree at `index` in pre-order and checks every structural rule on the way. Returns the
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
    EXPECT_TRUE(contains(node, bvh.nodes.at(index + 1)));
    EXPECT_TRUE(contains(node, bvh.nodes.at(node.index)));
    return checkSubtree(bvh, node.index, depth + 1, maxDepth, leafSeen);
}

TEST(BvhBuild, TreeInvariantsOnRandomMeshes) {
    for (std::size_t n : {1u, 2u, 3u, 7u, 100u, 1000u}) {
        const std::vector<Vec3> positions = bvh_test::makeRandomSoup(n, 10.0f, static_cast<unsigned>(n));
        MeshBvh bvh;
        bvh.build(positions);
        ASSERT_EQ(bvh.nodes.size(), 2 * n - 1);
        EXPECT_EQ(bvh.nodes.capacity(), 4 * n);
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
    }
}

TEST(BvhBuild, NoTriangleIsAnEmptyRootAndOneIsALeafRoot) {
    MeshBvh bvh;
    // Two corners make no triangle.
    bvh.build(std::vector<Vec3>{Vec3{1, 2, 3}, Vec3{4, 5, 6}});
    ASSERT_EQ(bvh.nodes.size(), 1u);
    EXPECT_EQ(bvh.nodes[0].count, 0);
    EXPECT_EQ(bvh.nodes[0].lower.x, INFINITY);
    EXPECT_EQ(bvh.nodes[0].upper.z, -INFINITY);
    EXPECT_TRUE(bvh.leafItems.empty());

    bvh.build(std::vector<Vec3>{Vec3{0, 0, 0}, Vec3{1, 0, 0}, Vec3{0, 2, -1}});
    ASSERT_EQ(bvh.nodes.size(), 1u);
    EXPECT_EQ(bvh.nodes[0].count, 1);
    EXPECT_EQ(bvh.nodes[0].index, 0u);
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
    EXPECT_EQ(bvh.nodes[0].count, 0);
    EXPECT_EQ(bvh.nodes[0].axis, 0);
    EXPECT_EQ(bvh.nodes[0].index, 2u);
    EXPECT_EQ(bvh.nodes[1].count, 1);
    EXPECT_EQ(bvh.leafItems[bvh.nodes[1].index], 3u) << "the triangle at x = 0 goes left";
    EXPECT_EQ(bvh.nodes[2].count, 0);
    EXPECT_EQ(bvh.nodes[0].lower, (Vec3{-1, 0, 0}));
    EXPECT_EQ(bvh.nodes[0].upper, (Vec3{21, 1, 0}));
}

TEST(BvhBuild, AxisTieRules) {
    // Two triangles whose centroids differ by the same amount along the given axes.
    const auto rootAxis = [](Vec3 offset) {
        // Two degenerate triangles, each a single point: at the origin and at the offset.
        const std::vector<Vec3> positions{Vec3{}, Vec3{}, Vec3{}, offset, offset, offset};
        MeshBvh bvh;
        bvh.build(positions);
        return int(bvh.nodes.at(0).axis);
    };
    EXPECT_EQ(rootAxis(Vec3{2, 1, 1}), 0);
    EXPECT_EQ(rootAxis(Vec3{2, 2, 1}), 1) << "an x-y tie goes to y";
    EXPECT_EQ(rootAxis(Vec3{2, 1, 2}), 2) << "an x-z tie goes to z";
    EXPECT_EQ(rootAxis(Vec3{1, 2, 2}), 2) << "a y-z tie goes to z";
    EXPECT_EQ(rootAxis(Vec3{1, 2, 1}), 1);
    EXPECT_EQ(rootAxis(Vec3{0, 0, 0}), 2) << "all extents equal: z";
}

TEST(BvhBuild, EqualCentroidsGiveABalancedTree) {
    const std::size_t n = 1000;
    std::vector<Vec3> positions;
    for (std::size_t i = 0; i < n; ++i)
        for (const Vec3& corner : {Vec3{-1, -1, 0}, Vec3{1, -1, 0}, Vec3{-1, 1, 0}})
            positions.push_back(corner);
    MeshBvh bvh;
    bvh.build(positions);
    ASSERT_EQ(bvh.nodes.size(), 2 * n - 1);
    int maxDepth = 0;
    std::vector<int> leafSeen(n, 0);
    checkSubtree(bvh, 0, 0, maxDepth, leafSeen);
    EXPECT_EQ(maxDepth, 10);
    for (const BvhNode& node : bvh.nodes) {
        if (node.count == 0) {
            EXPECT_EQ(node.axis, 2);
        }
    }
}

} // namespace
} // namespace verdanium
