#include "geometry/bvh.h"
#include "geometry/bvh_traversal.h"
#include "geometry/triangle_intersection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace verdanium {
namespace {

const Vec3 kA{0, 0, 0};
const Vec3 kB{1, 0, 0};
const Vec3 kC{0, 1, 0};

Ray rayDown(float x, float y) {
    Ray ray;
    ray.origin = Vec3{x, y, 1};
    ray.direction = Vec3{0, 0, -1};
    return ray;
}

TEST(TriangleTest, FrontAndBackFacesAlikeAndARayInThePlaneMisses) {
    Ray up = rayDown(0.25f, 0.5f);
    up.origin.z = -1;
    up.direction.z = 1;
    Hit front, back;
    front.complete = true;
    ASSERT_TRUE(intersectTriangle(kA, kB, kC, TriangleRef{nullptr, 9}, rayDown(0.25f, 0.5f), front));
    ASSERT_TRUE(intersectTriangle(kA, kB, kC, TriangleRef{nullptr, 9}, up, back));
    EXPECT_EQ(front.u, 0.25f);
    EXPECT_EQ(front.v, 0.5f);
    EXPECT_EQ(front.t, 1.0f);
    EXPECT_EQ(front.firstIndex, 9u);
    EXPECT_FALSE(front.complete);
    EXPECT_EQ(front.u, back.u);
    EXPECT_EQ(front.v, back.v);
    EXPECT_EQ(front.t, back.t);

    Ray inPlane;
    inPlane.origin = Vec3{-1, 0.25f, 0};
    inPlane.direction = Vec3{1, 0, 0};
    Hit hit;
    EXPECT_FALSE(intersectTriangle(kA, kB, kC, {}, inPlane, hit));
    EXPECT_FALSE(occludedByTriangle(kA, kB, kC, inPlane));
    // A NaN determinant counts as zero.
    inPlane.direction = Vec3{NAN, 0, -1};
    EXPECT_FALSE(intersectTriangle(kA, kB, kC, {}, inPlane, hit));
}

TEST(TriangleTest, EdgesCornersAndRangeEndsAreInside) {
    for (const auto& [x, y] :
         {std::pair{0.0f, 0.5f}, {0.5f, 0.0f}, {0.5f, 0.5f}, {0.0f, 0.0f}, {1.0f, 0.0f}}) {
        Hit hit;
        EXPECT_TRUE(intersectTriangle(kA, kB, kC, {}, rayDown(x, y), hit)) << x << ", " << y;
        EXPECT_TRUE(occludedByTriangle(kA, kB, kC, rayDown(x, y)));
    }
    EXPECT_FALSE(occludedByTriangle(kA, kB, kC, rayDown(0.5f, 0.5001f)));
    EXPECT_FALSE(occludedByTriangle(kA, kB, kC, rayDown(-0.0001f, 0.5f)));

    Ray ray = rayDown(0.25f, 0.25f);
    ray.tMin = 1.0f;
    ray.tMax = 1.0f;
    Hit hit;
    EXPECT_TRUE(intersectTriangle(kA, kB, kC, {}, ray, hit));
    EXPECT_TRUE(occludedByTriangle(kA, kB, kC, ray));
    ray.tMin = std::nextafter(1.0f, 2.0f);
    EXPECT_FALSE(occludedByTriangle(kA, kB, kC, ray));
    ray.tMin = 0.0f;
    ray.tMax = std::nextafter(1.0f, 0.0f);
    EXPECT_FALSE(occludedByTriangle(kA, kB, kC, ray));
}

TEST(TriangleTest, EqualTReplacesTheHitSoTheLastTestedWins) {
    // Two triangles sharing the edge x + y = 1; a ray through the edge strikes both at the same t.
    const Vec3 d{1, 1, 0};
    Ray ray = rayDown(0.5f, 0.5f);
    Hit hit;
    ASSERT_TRUE(intersectTriangle(kA, kB, kC, TriangleRef{nullptr, 0}, ray, hit));
    ASSERT_TRUE(intersectTriangle(kB, d, kC, TriangleRef{nullptr, 3}, ray, hit));
    EXPECT_EQ(hit.firstIndex, 3u);
    hit.t = std::nextafter(1.0f, 0.0f);
    EXPECT_FALSE(intersectTriangle(kA, kB, kC, TriangleRef{nullptr, 0}, ray, hit)) << "only nearer or equal";

    // In a tree: the same tilted triangle twice. Both leaf boxes are entered before the hit (a flat box
    // would be turned away by t0 >= hit.t); the root splits on z and the ray's z sign is 1, so the right
    // child goes first and the left one, tested last, stands.
    const Vec3 tilted{1, 0, 1};
    MeshBvh bvh;
    bvh.build(std::vector<Vec3>{kA, tilted, kC, kA, tilted, kC});
    Hit treeHit;
    ASSERT_TRUE(bvh.intersect(rayDown(0.25f, 0.25f), treeHit));
    EXPECT_EQ(treeHit.firstIndex, bvh.leafItems[bvh.nodes[1].index]);
}

// A unit box from (0, 0, 0) to (1, 1, 1).
BvhNode unitBox() {
    BvhNode node;
    node.lower = Vec3{0, 0, 0};
    node.upper = Vec3{1, 1, 1};
    return node;
}

bool boxTest(const BvhNode& node, const Ray& ray) {
    const Vec3 inverse{1.0f / ray.direction.x, 1.0f / ray.direction.y, 1.0f / ray.direction.z};
    const std::uint32_t sign[3] = {inverse.x >= 0 ? 0u : 1u, inverse.y >= 0 ? 0u : 1u,
                                   inverse.z >= 0 ? 0u : 1u};
    return rayHitsBox(node, ray, inverse, sign);
}

TEST(SlabTest, RangesAndZeroDirectionComponents) {
    Ray ray;
    ray.origin = Vec3{-1, 0.5f, 0.5f};
    ray.direction = Vec3{1, 0.1f, -0.1f};
    EXPECT_TRUE(boxTest(unitBox(), ray));
    ray.tMax = 0.999f;
    EXPECT_FALSE(boxTest(unitBox(), ray)) << "enters at t = 1, after the range";
    ray.tMax = INFINITY;
    ray.tMin = 2.0f;
    EXPECT_FALSE(boxTest(unitBox(), ray)) << "leaves at t = 2, not after tMin";

    for (float zero : {0.0f, -0.0f}) {
        Ray inside;
        inside.origin = Vec3{0.5f, 0.5f, -1};
        inside.direction = Vec3{zero, zero, 1};
        EXPECT_TRUE(boxTest(unitBox(), inside));
        Ray outside = inside;
        outside.origin.x = 1.5f;
        EXPECT_FALSE(boxTest(unitBox(), outside));
    }
}

TEST(SlabTest, NaNFromARayAlongASlabPlane) {
    // On the lower x plane with no x motion: tx0 = 0 * inf = NaN. The NaN neither rejects at the overlap
    // tests nor at the limit (t0 stays NaN), and the final test sees a finite t1: the box is entered.
    Ray alongLowerX;
    alongLowerX.origin = Vec3{0, 0.5f, -1};
    alongLowerX.direction = Vec3{0, 0, 1};
    EXPECT_TRUE(boxTest(unitBox(), alongLowerX));
    alongLowerX.tMax = 0.5f;
    EXPECT_TRUE(boxTest(unitBox(), alongLowerX)) << "a NaN t0 passes any limit";

    // On the upper z plane with no z motion: tz1 = 0 * inf = NaN replaces t1, and t1 > tMin fails.
    Ray alongUpperZ;
    alongUpperZ.origin = Vec3{-1, 0.5f, 1};
    alongUpperZ.direction = Vec3{1, 0, 0};
    EXPECT_FALSE(boxTest(unitBox(), alongUpperZ));

    // On the upper x plane: tx1 = NaN, which the y exit replaces, so the box is entered.
    Ray alongUpperX;
    alongUpperX.origin = Vec3{1, 0.5f, -1};
    alongUpperX.direction = Vec3{0, 0, 1};
    EXPECT_TRUE(boxTest(unitBox(), alongUpperX));
}

TEST(SlabTest, NearestTraversalReReadsTheLimit) {
    // Two triangles facing the ray at z = 1 and z = 3. The near one is visited first, and the hit it makes
    // turns the far box away.
    std::vector<Vec3> positions;
    for (float z : {3.0f, 1.0f})
        for (const Vec3& corner : {Vec3{0, 0, 0}, Vec3{1, 0, 0}, Vec3{0, 1, 0}})
            positions.push_back(corner + Vec3{0, 0, z});
    MeshBvh bvh;
    bvh.build(positions);
    Ray ray;
    ray.origin = Vec3{0.25f, 0.25f, 0};
    ray.direction = Vec3{0, 0, 1};
    int leavesVisited = 0;
    Hit shortened;
    traverseNearest(bvh.nodes.data(), bvh.nodes.size(), ray, shortened, [&](std::uint32_t, std::uint32_t) {
        ++leavesVisited;
        shortened.t = 1.0f;
        return true;
    });
    EXPECT_EQ(leavesVisited, 1);
}

} // namespace
} // namespace verdanium
