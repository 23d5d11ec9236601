#include "foundation/math/transform.h"
#include "geometry/bvh.h"
#include "geometry/geometry.h"
#include "geometry/hit.h"
#include "geometry/ray.h"
#include "geometry/ray_transform.h"
#include "support/gl_test_context.h"
#include "world/entity.h"
#include "world/scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <stdexcept>

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

    // Cubes of random sizes, positions and orientations in a 40-unit box.
    void addRandomCubes(int count) {
        for (int i = 0; i < count; ++i)
            addCube(uniform(0.5f, 4.0f), makeTranslation(randomPoint(20)) *
                                             makeRotation(randomPoint(1) + Vec3{0, 0, 1.5f}, uniform(-3, 3)));
    }
    void build() { scene.hierarchy.build(scene.entities.cbegin(), scene.entities.cend()); }

    Scene scene{kEmptyScene};
    std::mt19937 random{7};
};

// The tree over distinct centroids is the mesh level's (below); over entities all at one place it must still
// be complete, split on z, with every entity once in a leaf of its world box.
TEST_F(SceneHierarchyTest, EntitiesAtOnePlaceMakeACompleteTreeOfTheirWorldBoxes) {
    for (int i = 0; i < 40; ++i)
        addCube(1.0f + 0.01f * i, makeTranslation({5, -2, 7}) * makeRotation({0, 1, 0}, 0.1f * i));
    build();
    const auto& nodes = scene.hierarchy.nodes;
    ASSERT_EQ(nodes.size(), 79u);
    const auto& items = scene.hierarchy.leafItems;
    EXPECT_EQ(std::set<Entity*>(items.begin(), items.end()).size(), 40u);
    for (const BvhNode& node : nodes) {
        if (node.count == 0) {
            EXPECT_EQ(node.axis, 2);
            continue;
        }
        ASSERT_EQ(node.count, 1);
        // The radius cube moved by the translation, whatever the rotation.
        const float r = items[node.index]->geometry->radiusBounds.upper.x;
        EXPECT_EQ(node.lower, (Vec3{5 - r, -2 - r, 7 - r}));
        EXPECT_EQ(node.upper, (Vec3{5 + r, -2 + r, 7 + r}));
    }
}

TEST_F(SceneHierarchyTest, TreeAnswersAsTheLinearWalkDoes) {
    addRandomCubes(60);
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
        // and NaN ones where an origin lies on a box plane (the rays along a box face below).
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
    build();
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
        EXPECT_FALSE(hit.complete);
        // The hit's t is the world ray's parameter.
        const Vec3 world = rays[i].origin + rays[i].direction * hit.t;
        const Ray objectRay = toObjectSpace(hit.entity->transform.inverse, rays[i]);
        const Vec3 back =
            transformPoint(hit.entity->transform.forward, objectRay.origin + objectRay.direction * hit.t);
        EXPECT_LT(length(back - world), 2e-3f) << "ray " << i;
    }
    EXPECT_GT(hits, 500);
}

TEST_F(SceneHierarchyTest, ShadowRangeLimitsOnlyTheEntityBoxes) {
    // A cube of side 2 at z = 10: its box spans z 10 - sqrt(3) .. 10 + sqrt(3), its face lies at z = 9.
    addCube(2.0f, makeTranslation({0, 0, 10}));
    for (bool built : {false, true}) {
        if (built)
            build();
        Ray shadow;
        shadow.direction = {0, 0, 1};
        shadow.tMin = 0.1f;
        shadow.tMax = 8.5f; // inside the box, short of the face: the mesh is tested over the whole line
        EXPECT_TRUE(scene.occluded(shadow));
        // A range that ends before the box is cut off by the tree; the walk before the first build has no box
        // test at all.
        shadow.tMax = 8.0f;
        EXPECT_EQ(scene.occluded(shadow), !built);
        Hit hit;
        hit.t = 8.5f; // nearest hits keep their limit through hit.t
        EXPECT_FALSE(scene.intersect(shadow, hit));
    }
}

TEST_F(SceneHierarchyTest, SingularTransformsFailWhenReached) {
    addCube(2.0f, makeTranslation({0, 0, 10}))->transform = Transform(makeTranslation({0, 0, 10}).forward);
    build();
    Ray ray;
    ray.direction = {0, 0, 1};
    Hit hit;
    EXPECT_THAT([&] { scene.intersect(ray, hit); }, ::testing::ThrowsMessage<std::domain_error>(
                                                        ::testing::StrEq("transformation not invertible")));
    ray.direction = {0, 1, 0}; // a ray that misses the entity's box never reaches it
    EXPECT_FALSE(scene.occluded(ray));
}

} // namespace
} // namespace verdanium
