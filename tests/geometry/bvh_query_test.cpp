#include "bvh_test_meshes.h"

#include "geometry/bvh.h"
#include "geometry/bvh_traversal.h"
#include "geometry/embree_scene.h"
#include "geometry/triangle_intersection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

namespace verdanium {
namespace {

using bvh_test::RandomRays;

// The plain answers every structure is checked against: every triangle in order, none skipped.
bool linearIntersect(const std::vector<Vec3>& positions, const Ray& ray, Hit& hit) {
    bool found = false;
    for (std::size_t first = 0; first + 2 < positions.size(); first += 3)
        found |= intersectTriangle(positions[first], positions[first + 1], positions[first + 2],
                                   TriangleRef{nullptr, first}, ray, hit);
    return found;
}

bool linearOccluded(const std::vector<Vec3>& positions, const Ray& ray) {
    for (std::size_t first = 0; first + 2 < positions.size(); first += 3)
        if (occludedByTriangle(positions[first], positions[first + 1], positions[first + 2], ray))
            return true;
    return false;
}

// The nearest-hit traversal written out step by step as the tree defines it, with early returns and
// branches, from the nodes, the leaf items and the corners. The optimised traversal must give the very same
// bits: same triangle, same u, v and t.
bool referenceIntersect(const MeshBvh& bvh, const std::vector<Vec3>& positions, const Ray& ray, Hit& hit) {
    if (bvh.nodes.empty())
        return false;
    const float inverse[3] = {1.0f / ray.direction.x, 1.0f / ray.direction.y, 1.0f / ray.direction.z};
    const float origin[3] = {ray.origin.x, ray.origin.y, ray.origin.z};
    int sign[3];
    for (int axis = 0; axis < 3; ++axis)
        sign[axis] = inverse[axis] >= 0.0f ? 0 : 1;
    const auto entered = [&](const BvhNode& node) {
        const float box[6] = {node.lower.x, node.lower.y, node.lower.z,
                              node.upper.x, node.upper.y, node.upper.z};
        float t[3][2];
        for (int axis = 0; axis < 3; ++axis) {
            t[axis][0] = (box[axis + 3 * sign[axis]] - origin[axis]) * inverse[axis];
            t[axis][1] = (box[axis + 3 * (1 - sign[axis])] - origin[axis]) * inverse[axis];
        }
        if (t[0][0] > t[1][1] || t[1][0] > t[0][1])
            return false;
        float t0 = t[0][0], t1 = t[0][1];
        if (t[1][0] > t0)
            t0 = t[1][0];
        if (!(t[1][1] >= t1))
            t1 = t[1][1];
        if (t0 > t[2][1] || t[2][0] > t1)
            return false;
        if (t[2][0] > t0)
            t0 = t[2][0];
        if (!(t[2][1] >= t1))
            t1 = t[2][1];
        const float limit = hit.t >= ray.tMax ? ray.tMax : hit.t;
        if (t0 >= limit)
            return false;
        return t1 > ray.tMin;
    };
    std::uint32_t stack[64];
    int size = 0;
    std::uint32_t current = 0;
    bool found = false;
    for (;;) {
        const BvhNode& node = bvh.nodes[current];
        if (entered(node)) {
            if (node.count == 0) {
                if (sign[node.axis] == 0) {
                    stack[size++] = node.index;
                    current = current + 1;
                } else {
                    stack[size++] = current + 1;
                    current = node.index;
                }
                continue;
            }
            for (std::uint32_t item = node.index; item < node.index + node.count; ++item) {
                const std::uint32_t first = bvh.leafItems[item];
                found |= intersectTriangle(positions[first], positions[first + 1], positions[first + 2],
                                           TriangleRef{nullptr, first}, ray, hit);
            }
        }
        if (size == 0)
            break;
        current = stack[--size];
    }
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

struct OracleCounts {
    int rays = 0;
    int hits = 0;
    int embreeMismatches = 0;
};

// Runs `count` random rays through our traversal, the reference traversal, the linear walk and Embree, and
// checks that they agree. Returns how many rays struck the mesh, for the caller to judge the sample.
OracleCounts runOracle(const std::vector<Vec3>& positions, float shell, float aim, int count, unsigned seed) {
    MeshBvh bvh;
    bvh.build(positions);
    EmbreeScene embree;
    embree.build(positions);
    RandomRays rays(seed, shell, aim);
    OracleCounts counts;
    for (int i = 0; i < count; ++i) {
        Ray ray;
        rays.next(ray.origin, ray.direction);
        if (i % 4 == 1)
            ray.tMin = rays.uniform(0.0f, shell);
        if (i % 4 == 2)
            ray.tMax = rays.uniform(0.0f, 2.0f * shell);
        const std::string where = "ray " + std::to_string(i);

        Hit ours, reference, linear, theirs;
        const bool oursFound = bvh.intersect(ray, ours);
        const bool referenceFound = referenceIntersect(bvh, positions, ray, reference);
        const bool linearFound = linearIntersect(positions, ray, linear);
        const bool theirsFound = embree.intersect(ray, theirs, nullptr);
        ++counts.rays;
        counts.hits += oursFound;

        // Bit for bit the traversal the tree defines.
        EXPECT_EQ(oursFound, referenceFound) << where;
        EXPECT_EQ(ours.firstIndex, reference.firstIndex) << where;
        EXPECT_TRUE(sameBits(ours.t, reference.t) && sameBits(ours.u, reference.u) &&
                    sameBits(ours.v, reference.v))
            << where;

        // Same hit as the plain walk; where two triangles meet at the same t either may stand.
        EXPECT_EQ(oursFound, linearFound) << where;
        if (oursFound && linearFound) {
            EXPECT_TRUE(sameBits(ours.t, linear.t)) << where << ": " << ours.t << " vs " << linear.t;
            if (countStruck(positions, ray, linear.t, linear.t) == 1) {
                EXPECT_EQ(ours.firstIndex, linear.firstIndex) << where;
            }
        }

        // Embree tests triangles its own way: the same hits, t up to rounding, the same triangle where no
        // other is struck near that t. Rays that graze an edge may go either way there.
        if (oursFound != theirsFound) {
            ++counts.embreeMismatches;
        } else if (oursFound) {
            const float tolerance = 1e-4f * (1.0f + ours.t);
            EXPECT_NEAR(ours.t, theirs.t, tolerance) << where;
            if (countStruck(positions, ray, ours.t - 10 * tolerance, ours.t + 10 * tolerance) == 1) {
                EXPECT_EQ(ours.firstIndex, theirs.firstIndex) << where;
            }
        }

        // Any-hit agrees with nearest-hit in every structure.
        EXPECT_EQ(bvh.occluded(ray), linearFound) << where;
        EXPECT_EQ(linearOccluded(positions, ray), linearFound) << where;
        if (oursFound == theirsFound) {
            EXPECT_EQ(embree.occluded(ray), theirsFound) << where;
        }
    }
    return counts;
}

TEST(BvhQuery, OracleOnALumpyBall) {
    const OracleCounts counts = runOracle(bvh_test::makeLumpyBall(12), 3.0f, 1.0f, 4000, 1);
    EXPECT_GT(counts.hits, counts.rays / 4);
    EXPECT_LE(counts.embreeMismatches, counts.rays / 500);
}

TEST(BvhQuery, OracleOnARandomSoup) {
    const OracleCounts counts = runOracle(bvh_test::makeRandomSoup(2000, 4.0f, 2), 8.0f, 4.0f, 4000, 2);
    EXPECT_GT(counts.hits, counts.rays / 6);
    EXPECT_LE(counts.embreeMismatches, counts.rays / 500);
}

TEST(BvhQuery, OracleOnAnAxisAlignedLattice) {
    // Origins on whole and half coordinates with axis directions run exactly along the boxes' planes.
    const std::vector<Vec3> positions = bvh_test::makeLattice(5);
    const OracleCounts counts = runOracle(positions, 9.0f, 3.0f, 3000, 3);
    EXPECT_GT(counts.hits, counts.rays / 8);
    EXPECT_LE(counts.embreeMismatches, counts.rays / 500);

    MeshBvh bvh;
    bvh.build(positions);
    for (int axis = 0; axis < 3; ++axis) {
        for (int i = -1; i <= 10; ++i) {
            for (int j = -1; j <= 10; ++j) {
                for (float sense : {1.0f, -1.0f}) {
                    Ray ray;
                    ray.origin[axis] = sense > 0 ? -2.0f : 7.0f;
                    ray.origin[(axis + 1) % 3] = 0.5f * float(i);
                    ray.origin[(axis + 2) % 3] = 0.5f * float(j);
                    ray.direction[axis] = sense;
                    Hit ours, reference, linear;
                    const bool oursFound = bvh.intersect(ray, ours);
                    EXPECT_EQ(oursFound, referenceIntersect(bvh, positions, ray, reference));
                    EXPECT_EQ(ours.firstIndex, reference.firstIndex);
                    EXPECT_TRUE(sameBits(ours.t, reference.t));
                    linearIntersect(positions, ray, linear);
                    EXPECT_EQ(bvh.occluded(ray), oursFound);
                    // A ray running along box planes may be turned away from a box by the NaN rule where the
                    // linear walk still finds an edge hit inside it, so only the walk's hit bounds ours.
                    if (oursFound) {
                        EXPECT_GE(ours.t, linear.t);
                    }
                }
            }
        }
    }
}

} // namespace
} // namespace verdanium
