#include "bvh_oracle.h"
#include "bvh_test_meshes.h"

#include "geometry/bvh.h"
#include "geometry/geometry.h"
#include "geometry/intersector_mode.h"
#include "geometry/triangle_intersection.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <string>
#include <tuple>
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
}

// A mesh built as the program builds one, queried in intersector mode 0.
struct OwnMesh {
    explicit OwnMesh(std::vector<Vec3> corners) {
        mesh.positions = std::move(corners);
        mesh.buildAcceleration();
    }
    Geometry mesh;
};

// Each query through the program and through the reference walk: nearest hit to the bit from the given Hit,
// any hit, and from a Hit at +infinity the two agreeing (nearest finds a hit exactly when any-hit does, as
// both walk the same order under the same limit until the first hit). Returns the reference's nearest hit.
struct Comparer {
    std::string mesh;
    int failures = 0;
    int queries = 0;

    bool check(const Geometry& geometry, const Ray& ray, const Hit& start, Hit& expected,
               const std::string& what) {
        Hit ours = start;
        expected = start;
        const bool found = geometry.intersect(ray, ours);
        const bool wanted = bvh_oracle::meshQuery(geometry, ray, &expected);
        const bool blocked = geometry.occluded(ray);
        const bool wantedBlocked = bvh_oracle::meshQuery(geometry, ray, nullptr);
        std::string difference = bvh_oracle::difference(found, ours, wanted, expected);
        if (blocked != wantedBlocked)
            difference += " any hit " + std::to_string(blocked);
        if (std::isinf(start.t) && start.t > 0 && found != blocked)
            difference += " nearest and any hit disagree";
        ++queries;
        if (!difference.empty() && ++failures <= 5)
            ADD_FAILURE() << mesh << ", " << what << ": " << difference << bvh_oracle::describe(ray)
                          << ", hit.t " << start.t;
        return wanted;
    }

    // The ray over [0, infinity), then its ranges pinned to the t of its hit: tMin = tMax = t, tMin = t,
    // tMax = t, Hit::t = t (alone and with tMin = t), and a random range that may be empty.
    void ranges(const Geometry& geometry, Ray ray, bvh_test::RandomRays& random, const std::string& what) {
        Hit expected;
        const bool found = check(geometry, ray, Hit{}, expected, what);
        const float t = found ? expected.t : random.uniform(0.0f, random.shell);
        const std::pair<float, float> pinned[] = {{t, t}, {t, ray.tMax}, {0.0f, t}};
        for (const auto& [low, high] : pinned) {
            Ray limited = ray;
            limited.tMin = low;
            limited.tMax = high;
            check(geometry, limited, Hit{}, expected, what + " pinned range");
        }
        Hit shortened;
        shortened.t = t;
        check(geometry, ray, shortened, expected, what + " Hit::t pinned");
        Ray fromT = ray;
        fromT.tMin = t;
        check(geometry, fromT, shortened, expected, what + " tMin and Hit::t pinned");
        fromT.tMin = random.uniform(0.0f, 2.0f * random.shell);
        fromT.tMax = random.uniform(0.0f, 2.0f * random.shell);
        check(geometry, fromT, Hit{}, expected, what + " random range");
    }
};

Vec3 randomIn(bvh_test::RandomRays& random, const BvhNode& box) {
    return {random.uniform(box.lower.x, box.upper.x), random.uniform(box.lower.y, box.upper.y),
            random.uniform(box.lower.z, box.upper.z)};
}

// Rays with a +0 and a -0 direction component whose origin lies on each box plane of the tree on that axis
// (NaN slab distances, which the walks must meet as the binary walk does), and one ulp to a side of it.
// Each is aimed at a corner of the leaf's triangle on that plane (a point of the face for an inner box),
// which it may strike only there.
void compareOnEveryBoxPlane(const Geometry& mesh, Comparer& comparer, bvh_test::RandomRays& random) {
    for (const BvhNode& node : mesh.bvh.nodes) {
        for (int axis = 0; axis < 3; ++axis) {
            for (const float plane : {node.lower[axis], node.upper[axis]}) {
                Vec3 target = randomIn(random, node);
                target[axis] = plane;
                for (std::uint32_t i = node.index; i < node.index + node.count; ++i)
                    for (std::uint64_t k = 0; k < 3; ++k)
                        if (const Vec3& c = mesh.positions[mesh.bvh.leafItems[i] + k]; c[axis] == plane)
                            target = c;
                // On a plane at 0, from the other zero as well.
                const float side = random.random() % 2 ? INFINITY : -INFINITY,
                            twin = plane == 0 ? -plane : plane;
                for (const auto& [origin, zero] :
                     {std::pair{plane, 0.0f},
                      {twin, -0.0f},
                      {std::nextafter(plane, side), random.random() % 2 ? 0.0f : -0.0f}}) {
                    Ray ray;
                    ray.direction = random.unitVector();
                    ray.direction[axis] = zero;
                    ray.origin = target - ray.direction * random.uniform(0.0f, random.shell);
                    ray.origin[axis] = origin;
                    Hit expected;
                    comparer.check(mesh, ray, Hit{}, expected,
                                   origin == plane ? "ray on a box plane" : "ray an ulp off a box plane");
                }
            }
        }
    }
}

// Every ray family against one mesh; `radius` bounds the mesh.
void compareEveryFamily(const std::string& name, const std::vector<Vec3>& corners, float radius, int rays,
                        bool everyBoxPlane = false) {
    const std::int32_t savedMode = gIntersectorMode;
    gIntersectorMode = 0;
    const OwnMesh own(corners);
    const Geometry& mesh = own.mesh;
    const auto& nodes = mesh.bvh.nodes;
    Comparer comparer{name};
    bvh_test::RandomRays random(static_cast<unsigned>(corners.size()), 3.0f * radius, radius);
    const auto pick = [&](std::size_t n) { return static_cast<std::size_t>(random.random() % n); };
    for (int i = 0; i < rays; ++i) {
        Ray ray;
        random.next(ray.origin, ray.direction);
        comparer.ranges(mesh, ray, random, "random ray " + std::to_string(i));

        // At a corner, and along an edge from its start or from before it.
        const std::size_t first = 3 * pick(corners.size() / 3);
        const Vec3& a = corners[first + pick(3)];
        ray.direction = a - ray.origin;
        comparer.ranges(mesh, ray, random, "ray at a corner " + std::to_string(i));
        const Vec3& b = corners[first + (a == corners[first] ? 1 : 0)];
        ray.direction = b - a;
        ray.origin = a - ray.direction * (i % 2 ? 0.0f : 0.5f);
        comparer.ranges(mesh, ray, random, "ray along an edge " + std::to_string(i));

        // In the plane of a node's face, with a +0 or -0 direction component on its axis (on two axes every
        // fourth ray): NaN slab distances.
        const BvhNode& node = nodes[pick(nodes.size())];
        const int axis = static_cast<int>(pick(3));
        ray.origin = randomIn(random, node);
        ray.origin[axis] = pick(2) ? node.lower[axis] : node.upper[axis];
        ray.direction = random.unitVector();
        ray.direction[axis] = pick(2) ? 0.0f : -0.0f;
        if (i % 4 == 0)
            ray.direction[(axis + 1) % 3] = pick(2) ? 0.0f : -0.0f;
        comparer.ranges(mesh, ray, random, "ray in a box plane " + std::to_string(i));

        // Along an axis plane that holds no box plane: infinite inverses, with no NaN slab distance.
        random.next(ray.origin, ray.direction);
        ray.direction[axis] = pick(2) ? 0.0f : -0.0f;
        comparer.ranges(mesh, ray, random, "ray along an axis plane " + std::to_string(i));

        // A NaN or infinite origin or direction component.
        random.next(ray.origin, ray.direction);
        const float nonFinite[] = {NAN, INFINITY, -INFINITY};
        (pick(2) ? ray.origin : ray.direction)[axis] = nonFinite[pick(3)];
        comparer.ranges(mesh, ray, random, "ray with a non-finite component " + std::to_string(i));

        // From inside a node's box, or from one of its faces.
        ray.origin = randomIn(random, nodes[pick(nodes.size())]);
        if (i % 2)
            ray.origin[axis] = node.upper[axis];
        ray.direction = random.unitVector();
        comparer.ranges(mesh, ray, random, "ray from inside a box " + std::to_string(i));
    }
    if (everyBoxPlane)
        compareOnEveryBoxPlane(mesh, comparer, random);
    EXPECT_EQ(comparer.failures, 0) << name << ": of " << comparer.queries << " queries";
    gIntersectorMode = savedMode;
}

TEST(BvhQuery, AnswersAsTheBinaryWalkToTheBitOnEveryRayFamily) {
    // A fan: four triangles around the centre of a square, sharing edges and the centre corner.
    const Vec3 centre{0, 0, 1}, corner[4] = {{-1, -1, 1}, {1, -1, 1}, {1, 1, 1}, {-1, 1, 1}};
    std::vector<Vec3> fan;
    for (int k = 0; k < 4; ++k)
        fan.insert(fan.end(), {corner[k], corner[(k + 1) % 4], centre});
    compareEveryFamily("fan quad", fan, 1.5f, 300);
    compareEveryFamily("lattice", bvh_test::makeLattice(4), 4.0f, 300, true);
    // The lattice moved to [1, 5], each triangle nudged by up to 255 ulps per axis: box planes a few ulps
    // apart, which differ in their lowest byte only.
    std::vector<Vec3> jittered = bvh_test::makeLattice(4);
    for (std::size_t i = 0; i < jittered.size(); ++i)
        for (int axis = 0; axis < 3; ++axis)
            jittered[i][axis] =
                std::bit_cast<float>(std::bit_cast<std::uint32_t>(jittered[i][axis] + 1.0f) +
                                     static_cast<std::uint32_t>((i / 3 * 37 + axis * 101) % 256));
    compareEveryFamily("jittered lattice", jittered, 5.0f, 100, true);
    compareEveryFamily("lumpy ball", bvh_test::makeLumpyBall(6), 1.2f, 300, true);
    // Soups whose trees hold subtrees of 9 and of 17 leaves: inner nodes of three and of five lanes.
    for (const std::size_t n : {72, 136})
        compareEveryFamily("soup of " + std::to_string(n), bvh_test::makeRandomSoup(n, 1.0f, 5), 1.5f, 100);
    // A corner at infinity gives boxes with infinite planes, which every ray walks in the binary order.
    std::vector<Vec3> unbounded = bvh_test::makeLumpyBall(3);
    unbounded.insert(unbounded.end(), {{0, 0, 0}, {INFINITY, 0, 0}, {0, 0.5f, 0}});
    compareEveryFamily("ball with an infinite corner", unbounded, 1.2f, 100);
    for (const char* model :
         {"asteroid/random/asteroid1", "asteroid/random/asteroid5", "ship/serenity/Hull"}) {
        float radius = 0.0f;
        const std::string path = std::string("../../../data/models/") + model + ".obj";
        const std::vector<Vec3> corners = bvh_test::readModel(path.c_str(), radius);
        if (corners.empty())
            ADD_FAILURE() << "missing " << path;
        else
            compareEveryFamily(model, corners, radius, 300,
                               std::strcmp(model, "asteroid/random/asteroid1") == 0);
    }
}

// The rules the families above are made to reach, on rays whose answers follow from the rules by hand.
TEST(BvhQuery, BoxPlanesAndRangeEndsAsTheWalkRulesSay) {
    const std::int32_t savedMode = gIntersectorMode;
    gIntersectorMode = 0;
    // A triangle in the plane y = 0 with the box x, z in [0, 2], y = 0. A ray along +y in the box's upper z
    // plane strikes the corner (0, 0, 2), but its z exit is 0 * infinity, a NaN, which fails t1 > tMin: a
    // miss. In the lower x and z planes the NaN x entry passes, and the corner (0, 0, 0) is struck at t = 1.
    const OwnMesh upright({{0, 0, 0}, {2, 0, 0}, {0, 0, 2}});
    Hit hit;
    EXPECT_FALSE(upright.mesh.intersect(makeRay({0, -1, 2}, {0, 1, 0}), hit));
    EXPECT_FALSE(upright.mesh.occluded(makeRay({0, -1, 2}, {0, 1, 0})));
    Hit corner;
    EXPECT_TRUE(upright.mesh.intersect(makeRay({0, -1, 0}, {0, 1, 0}), corner));
    EXPECT_EQ(corner.t, 1.0f);
    EXPECT_TRUE(upright.mesh.occluded(makeRay({0, -1, 0}, {0, 1, 0})));

    // A flat triangle in z = 0: its box is entered and left at the same t = 1, straight down or tilted. The
    // box needs its exit beyond tMin and its entry short of the limit, so a range starting or ending at 1
    // misses although the triangle alone is struck at t = 1.
    const OwnMesh flat({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
    for (const Vec3 direction : {Vec3{0, 0, -1}, Vec3{0.125f, 0.125f, -1}}) {
        Ray ray = makeRay({0.25f, 0.25f, 1}, direction);
        Hit found;
        ASSERT_TRUE(flat.mesh.intersect(ray, found));
        ASSERT_EQ(found.t, 1.0f);
        for (const auto& [low, high, limit] : {std::tuple{1.0f, INFINITY, INFINITY},
                                               {0.0f, 1.0f, INFINITY},
                                               {1.0f, 1.0f, INFINITY},
                                               {0.0f, INFINITY, 1.0f}}) {
            ray.tMin = low;
            ray.tMax = high;
            Hit limited;
            limited.t = limit;
            EXPECT_FALSE(flat.mesh.intersect(ray, limited)) << low << " " << high << " " << limit;
            EXPECT_EQ(flat.mesh.occluded(ray), low == 0.0f && std::isinf(high)) << low << " " << high;
        }
    }

    // A tilted triangle, entered before its hit: a range pinned to the hit's t from both ends, with a Hit
    // already at that t, still finds it.
    const OwnMesh tilted({{0, 0, 0}, {1, 0, 1}, {0, 1, 0}});
    Ray ray = makeRay({0.25f, 0.25f, 1}, {0.125f, 0.125f, -1});
    Hit first;
    ASSERT_TRUE(tilted.mesh.intersect(ray, first));
    ray.tMin = ray.tMax = first.t;
    Hit again = first;
    again.u = again.v = -1.0f;
    EXPECT_TRUE(tilted.mesh.intersect(ray, again));
    EXPECT_TRUE(again.t == first.t && again.u == first.u && again.v == first.v);
    EXPECT_TRUE(tilted.mesh.occluded(ray));
    gIntersectorMode = savedMode;
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
