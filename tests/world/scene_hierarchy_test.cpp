#include "foundation/math/transform.h"
#include "geometry/bvh.h"
#include "geometry/geometry.h"
#include "geometry/hit.h"
#include "geometry/ray.h"
#include "geometry/ray_transform.h"
#include "support/gl_test_context.h"
#include "world/entity.h"
#include "world/scene.h"

#include <gtest/gtest.h>

#include <random>

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

} // namespace
} // namespace verdanium
