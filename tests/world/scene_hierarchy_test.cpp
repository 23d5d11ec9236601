#include "../geometry/bvh_oracle.h"
#include "foundation/math/transform.h"
#include "geometry/bvh.h"
#include "geometry/geometry.h"
#include "geometry/hit.h"
#include "geometry/ray.h"
#include "geometry/ray_transform.h"
#include "geometry/scene_bvh.h"
#include "support/gl_test_context.h"
#include "world/entity.h"
#include "world/scene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <set>

namespace verdanium {
namespace {

// Scenes of cubes placed by hand: the scene level needs meshes with real trees but no data files beyond the
// shader programs.
class SceneHierarchyTest : public ::testing::Test {
protected:
    void SetUp() override { VERDANIUM_REQUIRE_GL(); }

    std::shared_ptr<Entity> addCube(float size, const Transform& placement) {
        auto entity = std::make_shared<Entity>(scene.nextEntityKey, makeCube(size));
        entity->transform = placement;
        scene.entities[scene.nextEntityKey++] = entity;
        return entity;
    }
    float uniform(float low, float high) { return std::uniform_real_distribution<float>(low, high)(random); }
    Vec3 randomPoint(float half) {
        return {uniform(-half, half), uniform(-half, half), uniform(-half, half)};
    }

    Scene scene{kEmptyScene};
    std::mt19937 random{7};
};

TEST_F(SceneHierarchyTest, TreeAnswersAsTheLinearWalkDoes) {
    // Cubes of random sizes, positions and orientations in a 40-unit box.
    for (int i = 0; i < 60; ++i)
        addCube(uniform(0.5f, 4.0f), makeTranslation(randomPoint(20)) *
                                         makeRotation(randomPoint(1) + Vec3{0, 0, 1.5f}, uniform(-3, 3)));
    std::vector<Ray> rays(3000);
    for (Ray& ray : rays) {
        ray.origin = randomPoint(30);
        // Aim near a random entity half of the time, so that many rays hit.
        Vec3 target = randomPoint(30);
        if (random() % 2 == 0) {
            const Mat4& m = std::next(scene.entities.begin(), random() % scene.entities.size())
                                ->second->transform.forward;
            target = Vec3{m.m[12], m.m[13], m.m[14]} + randomPoint(1);
        }
        ray.direction = target - ray.origin;
        // Some rays run parallel to one or two axes: their zero components give infinite slab distances,
        // and NaN ones where an origin lies on a box plane.
        const int flat = static_cast<int>(random() % 6);
        if (flat == 1 || flat == 2)
            ray.direction.x = 0.0f;
        if (flat == 2 || flat == 3)
            ray.direction.y = 0.0f;
        if (flat == 4) {
            const Entity& entity =
                *std::next(scene.entities.begin(), random() % scene.entities.size())->second;
            ray.origin.z = entity.transform.forward.m[14] + entity.geometry->radiusBounds.upper.z;
            ray.direction.z = 0.0f;
        }
        ray.countsLights = true;
    }
    // Before the first build the map is walked; afterwards the tree answers.
    std::vector<Hit> linear(rays.size());
    std::vector<char> linearFound, linearOccluded;
    for (std::size_t i = 0; i < rays.size(); ++i) {
        linearFound.push_back(scene.intersect(rays[i], linear[i]));
        linearOccluded.push_back(scene.occluded(rays[i]));
    }
    scene.hierarchy.build(scene.entities.cbegin(), scene.entities.cend());
    int hits = 0;
    for (std::size_t i = 0; i < rays.size(); ++i) {
        Hit hit;
        ASSERT_EQ(scene.intersect(rays[i], hit), bool(linearFound[i])) << "ray " << i;
        ASSERT_EQ(scene.occluded(rays[i]), bool(linearOccluded[i])) << "ray " << i;
        if (!linearFound[i])
            continue;
        ++hits;
        EXPECT_EQ(hit.t, linear[i].t) << "ray " << i;
        EXPECT_EQ(hit.entity, linear[i].entity) << "ray " << i;
        // The hit's t is the world ray's parameter.
        const Vec3 world = rays[i].origin + rays[i].direction * hit.t;
        const Ray objectRay = toObjectSpace(hit.entity->transform.inverse, rays[i]);
        const Vec3 back =
            transformPoint(hit.entity->transform.forward, objectRay.origin + objectRay.direction * hit.t);
        EXPECT_LT(length(back - world), 2e-3f) << "ray " << i;
    }
    EXPECT_GT(hits, 500);
}

// The tree over the leaves [first, last) standing from node k, checked against the rules as they read: a
// leaf of one item with its entity's world box; else the axis of the longest extent of the centroids' box
// (ties leave x, y-z ties go to z), the floor(n / 2) smallest centroids on that axis on the left (NaN last),
// the right child after the whole left subtree, and the union of the children's boxes. Returns the box.
BoundingBox checkSubtree(const Scene& scene, std::size_t k, std::size_t first, std::size_t last) {
    const BvhNode& node = scene.hierarchy.nodes.at(k);
    const auto worldBox = [&](std::size_t i) {
        const Entity& e = *scene.hierarchy.leafItems[i];
        const Vec3 at{e.transform.forward.m[12], e.transform.forward.m[13], e.transform.forward.m[14]};
        return BoundingBox{e.geometry->radiusBounds.lower + at, e.geometry->radiusBounds.upper + at};
    };
    const auto key = [&](std::size_t i, int axis) {
        const BoundingBox b = worldBox(i);
        return 0.5f * b.upper[axis] + 0.5f * b.lower[axis];
    };
    BoundingBox box;
    if (last - first == 1) {
        EXPECT_TRUE(node.count == 1 && node.index == first) << "leaf " << k;
        box.extend(worldBox(first)); // the union of its one box, which leaves out NaN bounds
        // The leaf's primitive record: its entity, world box and centroid, to the bit.
        const EntityPrimitive& primitive = scene.hierarchy.primitives.at(first);
        const BoundingBox world = worldBox(first);
        const Vec3 centroid{key(first, 0), key(first, 1), key(first, 2)};
        EXPECT_TRUE(primitive.entity == scene.hierarchy.leafItems[first] &&
                    std::memcmp(&primitive.lower, &world.lower, sizeof(Vec3)) == 0 &&
                    std::memcmp(&primitive.upper, &world.upper, sizeof(Vec3)) == 0 &&
                    std::memcmp(&primitive.centroid, &centroid, sizeof(Vec3)) == 0)
            << "primitive " << first;
    } else {
        EXPECT_EQ(node.count, 0) << "node " << k;
        BoundingBox centroids;
        for (std::size_t i = first; i < last; ++i)
            centroids.extend(Vec3{key(i, 0), key(i, 1), key(i, 2)});
        const Vec3 e = centroids.upper - centroids.lower;
        const float ex = std::fabs(e.x), ey = std::fabs(e.y), ez = std::fabs(e.z);
        const int axis = ex > ey && ex > ez ? 0 : (ey <= ez ? 2 : 1);
        EXPECT_EQ(node.axis, axis) << "node " << k;
        const std::size_t mid = first + (last - first) / 2;
        // No centroid on the right before one on the left: none smaller, and no number after a NaN.
        float leftLargest = -INFINITY, rightSmallest = INFINITY;
        bool leftNan = false, rightNumber = false;
        for (std::size_t i = first; i < last; ++i) {
            const float c = key(i, axis);
            if (i < mid)
                std::isnan(c) ? void(leftNan = true) : void(leftLargest = std::max(leftLargest, c));
            else if (!std::isnan(c))
                rightNumber = true, rightSmallest = std::min(rightSmallest, c);
        }
        EXPECT_FALSE(rightNumber && (leftNan || rightSmallest < leftLargest)) << "node " << k << " unsplit";
        EXPECT_EQ(node.index, k + 2 * (mid - first)) << "node " << k;
        box = checkSubtree(scene, k + 1, first, mid);
        box.extend(checkSubtree(scene, node.index, mid, last));
    }
    EXPECT_EQ(std::memcmp(&node.lower, &box.lower, 3 * sizeof(float)) |
                  std::memcmp(&node.upper, &box.upper, 3 * sizeof(float)),
              0)
        << "box of node " << k; // to the bit, NaN included
    return box;
}

TEST_F(SceneHierarchyTest, TreesRebuiltStepByStepKeepTheRulesAndAnswerAsTheReferenceWalk) {
    // Drifting crowds whose longest axis turns every step, so that splits change near the root as well as
    // deep down: scattered, on a lattice (equal coordinates at the medians), flat, and one entity at NaN;
    // and one a little longer on x than on y and z, which take turns being longer, so that the root keeps x
    // while its children turn between y and z, come back to an axis they left and trade a few entities.
    enum Crowd { Scattered, Lattice, FlatWithNan, ChildrenTurn };
    const auto cube = makeCube(1.0f);
    for (const Crowd crowd : {Scattered, Lattice, FlatWithNan, ChildrenTurn}) {
        scene.entities.clear();
        scene.hierarchy.clearKeepingCapacity();
        const int count = crowd == Scattered ? 1500 : 700;
        for (int i = 0; i < count; ++i) {
            Vec3 at = randomPoint(100);
            if (crowd == Lattice)
                at = Vec3{std::floor(at.x / 25), std::floor(at.y / 25), std::floor(at.z / 25)};
            if (crowd == FlatWithNan)
                at.z = 3.0f;
            if (crowd == ChildrenTurn)
                at = Vec3{at.x * 1.1f, at.y, at.z * 0.6f};
            auto entity = std::make_shared<Entity>(scene.nextEntityKey, cube);
            entity->transform = makeTranslation(at);
            scene.entities[scene.nextEntityKey++] = entity;
        }
        for (int step = 0; step < 10; ++step) {
            const int longest = step % 3;
            for (auto& [key, entity] : scene.entities) {
                float* at = entity->transform.forward.m + 12;
                for (int axis = 0; axis < 3; ++axis)
                    at[axis] = crowd == ChildrenTurn ? at[axis] + uniform(-2, 2)
                               : crowd == Lattice
                                   ? at[axis] + float(random() % 3) - 1.0f
                                   : at[axis] * (axis == longest ? 1.3f : 0.85f) + uniform(-2, 2);
                if (crowd == ChildrenTurn)
                    for (int axis = 1; axis < 3; ++axis)
                        at[axis] = at[axis] * ((axis + step) % 2 ? 0.6f : 1 / 0.6f) + uniform(-1, 1);
                if (crowd == FlatWithNan)
                    at[2] = key % 97 == 0 && step % 2 ? std::nanf("") : 3.0f;
            }
            scene.hierarchy.build(scene.entities.cbegin(), scene.entities.cend());
            ASSERT_EQ(scene.hierarchy.nodes.size(), 2u * count - 1);
            std::set<Entity*> items(scene.hierarchy.leafItems.begin(), scene.hierarchy.leafItems.end());
            ASSERT_EQ(items.size(), std::size_t(count));
            checkSubtree(scene, 0, 0, count);
            if (::testing::Test::HasFailure())
                FAIL() << "crowd " << crowd << ", step " << step;
            for (int i = 0; i < 200; ++i) {
                const auto& aim = std::next(scene.entities.begin(), random() % count)->second->transform;
                Ray ray;
                ray.origin = randomPoint(200);
                ray.direction = Vec3{aim.forward.m[12], aim.forward.m[13], aim.forward.m[14]} - ray.origin;
                Hit hit, reference;
                const bool found = scene.intersect(ray, hit);
                const bool expected = bvh_oracle::sceneQuery(scene, ray, &reference);
                ASSERT_EQ(bvh_oracle::difference(found, hit, expected, reference), "")
                    << "crowd " << crowd << ", step " << step << bvh_oracle::describe(ray);
                ASSERT_EQ(scene.occluded(ray), bvh_oracle::sceneQuery(scene, ray, nullptr));
            }
        }
    }
}

} // namespace
} // namespace verdanium
