#include "bvh_test_meshes.h"

#include "geometry/bvh.h"
#include "geometry/geometry.h"
#include "geometry/intersector_mode.h"
#include "geometry/triangle_intersection.h"
#include "geometry/wide_bvh.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

namespace verdanium {
namespace {

const Vec3 kA{0, 0, 0};
const Vec3 kB{1, 0, 0};
const Vec3 kC{0, 1, 0};

Ray makeRay(Vec3 origin, Vec3 direction) {
    Ray ray;
    ray.origin = origin;
    ray.direction = direction;
    return ray;
}

Ray rayDown(float x, float y) {
    return makeRay({x, y, 1}, {0, 0, -1});
}

bool strikes(const Ray& ray) {
    Hit hit;
    const bool found = intersectTriangle(kA, kB, kC, {}, ray, hit);
    EXPECT_EQ(occludedByTriangle(kA, kB, kC, ray), found) << "any-hit and nearest-hit disagree";
    return found;
}

TEST(TriangleTest, FrontAndBackAlikeEdgesAndRangeEndsInsideAndPlaneRaysMiss) {
    Hit front, back;
    front.complete = true;
    ASSERT_TRUE(intersectTriangle(kA, kB, kC, TriangleRef{nullptr, 9}, rayDown(0.25f, 0.5f), front));
    ASSERT_TRUE(
        intersectTriangle(kA, kB, kC, TriangleRef{nullptr, 9}, makeRay({0.25f, 0.5f, -1}, {0, 0, 1}), back));
    EXPECT_TRUE(front.u == 0.25f && front.v == 0.5f && front.t == 1.0f && front.firstIndex == 9u);
    EXPECT_FALSE(front.complete);
    EXPECT_TRUE(back.u == front.u && back.v == front.v && back.t == front.t);

    for (const auto& [x, y] : {std::pair{0.0f, 0.5f}, {0.5f, 0.0f}, {0.5f, 0.5f}, {0.0f, 0.0f}, {1.0f, 0.0f}})
        EXPECT_TRUE(strikes(rayDown(x, y))) << x << ", " << y;
    EXPECT_FALSE(strikes(rayDown(0.5f, 0.5001f)));
    EXPECT_FALSE(strikes(rayDown(-0.0001f, 0.5f)));

    Ray ray = rayDown(0.25f, 0.25f);
    ray.tMin = ray.tMax = 1.0f;
    EXPECT_TRUE(strikes(ray));
    ray.tMin = std::nextafter(1.0f, 2.0f);
    EXPECT_FALSE(strikes(ray));
    ray.tMin = 0.0f;
    ray.tMax = std::nextafter(1.0f, 0.0f);
    EXPECT_FALSE(strikes(ray));

    EXPECT_FALSE(strikes(makeRay({-1, 0.25f, 0}, {1, 0, 0})));
    EXPECT_FALSE(strikes(makeRay({-1, 0.25f, 0}, {NAN, 0, -1}))) << "a NaN determinant counts as zero";
}

TEST(TriangleTest, EqualTReplacesTheHitSoTheLastTestedWins) {
    // Two triangles sharing the edge x + y = 1; a ray through the edge strikes both at the same t.
    Ray ray = rayDown(0.5f, 0.5f);
    Hit hit;
    ASSERT_TRUE(intersectTriangle(kA, kB, kC, TriangleRef{nullptr, 0}, ray, hit));
    ASSERT_TRUE(intersectTriangle(kB, Vec3{1, 1, 0}, kC, TriangleRef{nullptr, 3}, ray, hit));
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

// The four-lane slab test of the unit box from (0, 0, 0) to (1, 1, 1) in one lane, limited by the ray's
// own range; the other lanes are empty and must never report a hit.
bool entersUnitBox(const Ray& ray) {
    BvhNode leaf;
    leaf.lower = Vec3{0, 0, 0};
    leaf.upper = Vec3{1, 1, 1};
    leaf.count = 1;
    WideBvh wide;
    wide.build(std::span<const BvhNode>(&leaf, 1));
    float entry[4];
    const unsigned lanes = wideSlabHits(wide.nodes.at(0), makeWideRay(ray), ray.tMax, entry);
    EXPECT_EQ(lanes & ~1u, 0u);
    return lanes == 1;
}

TEST(SlabTest, RaysAlongABoxFaceAndRangeEnds) {
    // On the lower x plane with no x motion: tx0 = 0 * inf = NaN, which must not reject the box; the ray
    // enters it through the z faces, at t = 1.
    Ray alongLowerX = makeRay({0, 0.5f, -1}, {0, 0, 1});
    EXPECT_TRUE(entersUnitBox(alongLowerX));
    alongLowerX.tMax = 0.999f;
    EXPECT_FALSE(entersUnitBox(alongLowerX)) << "the range ends before the box";
    alongLowerX.tMax = 1.0f;
    EXPECT_TRUE(entersUnitBox(alongLowerX)) << "a range ending on the face reaches it";
    // Lying in the upper z face (tz1 = NaN) and on the upper x plane (tx1 = NaN): both keep the box.
    EXPECT_TRUE(entersUnitBox(makeRay({-1, 0.5f, 1}, {1, 0, 0})));
    EXPECT_TRUE(entersUnitBox(makeRay({1, 0.5f, -1}, {0, 0, 1})));
    // Parallel to a face but outside the box, and starting past it.
    EXPECT_FALSE(entersUnitBox(makeRay({-1, 0.5f, 1.001f}, {1, 0, 0})));
    Ray past = makeRay({0.5f, 0.5f, 2}, {0, 0, 1});
    EXPECT_FALSE(entersUnitBox(past));
    past.direction = Vec3{0, 0, -1};
    past.tMin = 2.5f;
    EXPECT_FALSE(entersUnitBox(past)) << "the range starts beyond the box";
}

// The plain answer every structure is checked against: every triangle in order, none skipped.
bool linearIntersect(const std::vector<Vec3>& positions, const Ray& ray, Hit& hit) {
    bool found = false;
    for (std::size_t first = 0; first + 2 < positions.size(); first += 3)
        found |= intersectTriangle(positions[first], positions[first + 1], positions[first + 2],
                                   TriangleRef{nullptr, first}, ray, hit);
    return found;
}

// How many triangles the line of the ray strikes at t in [low, high].
int countStruck(const std::vector<Vec3>& positions, Ray ray, float low, float high) {
    ray.tMin = low;
    ray.tMax = high;
    int count = 0;
    for (std::size_t first = 0; first + 2 < positions.size(); first += 3)
        count += occludedByTriangle(positions[first], positions[first + 1], positions[first + 2], ray);
    return count;
}

bool sameBits(float a, float b) {
    return std::memcmp(&a, &b, sizeof(float)) == 0;
}

// Random rays, a quarter with a raised tMin and a quarter with a lowered tMax, through our traversal and
// the linear walk, which must agree on hit or miss, on t and on the triangle where t is unique.
void runOracle(const std::vector<Vec3>& positions, float shell, float aim, int count, unsigned seed,
               int minimumHits) {
    MeshBvh bvh;
    bvh.build(positions);
    bvh_test::RandomRays rays(seed, shell, aim);
    int hits = 0;
    for (int i = 0; i < count; ++i) {
        Ray ray;
        rays.next(ray.origin, ray.direction);
        if (i % 4 == 1)
            ray.tMin = rays.uniform(0.0f, shell);
        if (i % 4 == 2)
            ray.tMax = rays.uniform(0.0f, 2.0f * shell);
        const std::string where = "ray " + std::to_string(i);
        Hit ours, linear;
        const bool found = bvh.intersect(ray, ours);
        ASSERT_EQ(found, linearIntersect(positions, ray, linear)) << where;
        EXPECT_EQ(bvh.occluded(ray), found) << where;
        hits += found;
        if (found) {
            // Same t to the bit; where two triangles meet at that t either may stand.
            EXPECT_TRUE(sameBits(ours.t, linear.t)) << where << ": " << ours.t << " vs " << linear.t;
            if (countStruck(positions, ray, linear.t, linear.t) == 1) {
                EXPECT_EQ(ours.firstIndex, linear.firstIndex) << where;
            }
        }
    }
    EXPECT_GT(hits, minimumHits);
}

TEST(BvhQuery, OracleOnALumpyBall) {
    runOracle(bvh_test::makeLumpyBall(12), 3.0f, 1.0f, 4000, 1, 1000);
}

TEST(BvhQuery, OracleOnARandomSoup) {
    runOracle(bvh_test::makeRandomSoup(2000, 4.0f, 2), 8.0f, 4.0f, 4000, 2, 660);
}

TEST(BvhQuery, OracleOnAnAxisAlignedLatticeOfFlatBoxes) {
    runOracle(bvh_test::makeLattice(5), 9.0f, 3.0f, 3000, 3, 375);
}

// Geometry::intersect picks the structure by the intersector mode at each call; every branch names the mesh
// in the Hit and leaves it for completion. Embree (mode 1) tests triangles its own way: the same hits up to
// rounding, though a ray that grazes an edge may go either way. A mesh without a tree (as after a failed
// load) takes the linear walk in mode 0 and finds nothing, rather than crashing, in mode 1; one without
// triangles finds nothing at all.
TEST(GeometryQuery, TheModeChoosesTheStructurePerCall) {
    const std::int32_t savedMode = gIntersectorMode;
    Geometry mesh, unbuilt, empty, twoCorners;
    mesh.positions = unbuilt.positions = bvh_test::makeLumpyBall(10);
    mesh.buildAcceleration();
    empty.buildAcceleration();
    twoCorners.positions = {Vec3{0, 0, 0}, Vec3{1, 0, 0}};
    const BvhNode* nodesBefore = mesh.bvh.nodes.data();
    bvh_test::RandomRays rays(11, 3.0f, 0.5f);
    int struck = 0, modesDisagree = 0;
    for (int i = 0; i < 1000; ++i) {
        Ray ray;
        rays.next(ray.origin, ray.direction);
        if (i % 4 == 1)
            ray.tMin = rays.uniform(0.0f, 3.0f);
        if (i % 4 == 2)
            ray.tMax = rays.uniform(0.0f, 6.0f);
        Hit hits[3];
        bool found[2];
        for (std::int32_t mode : {1, 0}) {
            gIntersectorMode = mode;
            hits[mode].complete = true;
            found[mode] = mesh.intersect(ray, hits[mode]);
            EXPECT_EQ(mesh.occluded(ray), found[mode]);
            EXPECT_FALSE(empty.intersect(ray, hits[2]) || empty.occluded(ray) ||
                         twoCorners.intersect(ray, hits[2]) || twoCorners.occluded(ray));
            EXPECT_TRUE(!found[mode] || (hits[mode].geometry == &mesh && !hits[mode].complete));
        }
        struck += found[0];
        modesDisagree += found[0] != found[1];
        EXPECT_EQ(unbuilt.intersect(ray, hits[2]), found[0]);
        EXPECT_EQ(hits[2].t, hits[0].t);
        if (found[0] && found[1]) {
            EXPECT_NEAR(hits[1].t, hits[0].t, 1e-4f * (1.0f + hits[0].t));
        }
        gIntersectorMode = 1;
        EXPECT_FALSE(unbuilt.intersect(ray, hits[2]));
    }
    EXPECT_GT(struck, 300);
    EXPECT_LE(modesDisagree, 2);
    EXPECT_EQ(mesh.bvh.nodes.data(), nodesBefore) << "switching rebuilt nothing";
    gIntersectorMode = savedMode;
}

} // namespace
} // namespace verdanium
