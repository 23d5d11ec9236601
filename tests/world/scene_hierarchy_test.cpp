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

#include <algorithm>
#include <random>
#include <set>
#include <stdexcept>

namespace verdanium {
namespace {

// Scenes of cubes placed by hand: the scene level needs meshes with real trees
// but no data files beyond the shader programs.
class SceneHierarchyTest : public ::testing::Test {
protected:
    void SetUp() override { VERDANIUM_REQUIRE_GL(); }

    std::shared_ptr<Entity> addCube(float size, const Transform& placement) {
        auto entity = std::make_shared<Entity>(scene.nextEntityKey, makeCube(size));
        entity->transform = placement;
        scene.entities[scene.nextEntityKey++] = entity;
        return entity;
    }

    // Cubes of random sizes, positions and orientations in a 40-unit box.
    void addRandomCubes(int count) {
        std::uniform_real_distribution<float> coordinate(-20.0f, 20.0f);
        std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
        std::uniform_real_distribution<float> size(0.5f, 4.0f);
        for (int i = 0; i < count; ++i) {
            Transform placement =
                makeTranslation({coordinate(random), coordinate(random), coordinate(random)});
            placement *= makeRotation({unit(random), unit(random), unit(random) + 1.5f}, 3.0f * unit(random));
            addCube(size(random), placement);
        }
    }

    Ray randomRay() {
        std::uniform_real_distribution<float> coordinate(-30.0f, 30.0f);
        std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
        Ray ray;
        ray.origin = {coordinate(random), coordinate(random), coordinate(random)};
        // Aim near a random entity half of the time, so that many rays hit.
        Vec3 target{coordinate(random), coordinate(random), coordinate(random)};
        if (random() % 2 == 0 && !scene.entities.empty()) {
            auto it = scene.entities.begin();
            std::advance(it, random() % scene.entities.size());
            const Mat4& m = it->second->transform.forward;
            target = Vec3{m.m[12], m.m[13], m.m[14]} + Vec3{unit(random), unit(random), unit(random)};
        }
        ray.direction = target - ray.origin;
        ray.countsLights = true;
        return ray;
    }

    Scene scene{kEmptyScene};
    std::mt19937 random{7};
};

TEST_F(SceneHierarchyTest, LeavesHoldEveryEntityOnceInItsWorldBox) {
    addRandomCubes(37);
    scene.hierarchy.build(scene.entities.cbegin(), scene.entities.cend());
    const auto& nodes = scene.hierarchy.nodes;
    ASSERT_EQ(nodes.size(), 2u * 37 - 1);
    EXPECT_EQ(scene.hierarchy.owner, &scene);

    std::set<Entity*> expected;
    for (const auto& [key, entity] : scene.entities)
        expected.insert(entity.get());
    const auto& items = scene.hierarchy.leafItems;
    EXPECT_EQ(std::set<Entity*>(items.begin(), items.end()), expected);
    ASSERT_EQ(items.size(), scene.hierarchy.primitives.size());

    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const BvhNode& node = nodes[i];
        if (node.count == 0)
            continue;
        ASSERT_EQ(node.count, 1);
        // A leaf's box is its entity's world box: the radius cube moved by the translation.
        const EntityPrimitive& primitive = scene.hierarchy.primitives[node.index];
        EXPECT_EQ(items[node.index], primitive.entity);
        const Mat4& m = primitive.entity->transform.forward;
        const float r = primitive.entity->geometry->radiusBounds.upper.x;
        EXPECT_EQ(node.lower, (Vec3{m.m[12] - r, m.m[13] - r, m.m[14] - r}));
        EXPECT_EQ(node.upper, (Vec3{m.m[12] + r, m.m[13] + r, m.m[14] + r}));
    }
}

TEST_F(SceneHierarchyTest, SceneBuildMakesTheTreeOfTheMeshLevelBuild) {
    // Random placements give distinct centroids, so the two builds must agree
    // node for node: the scene level selects on compact records but follows
    // the same rules.
    addRandomCubes(301);
    std::vector<EntityPrimitive> inMapOrder;
    for (const auto& [key, entity] : scene.entities)
        inMapOrder.push_back(makeEntityPrimitive(*entity));
    Bvh<EntityPrimitive, Entity*, Scene> reference(&scene);
    reference.primitives = inMapOrder;
    reference.buildFromPrimitives([](const EntityPrimitive& primitive) { return primitive.entity; });

    for (int round = 0; round < 2; ++round) { // the second build reuses the arrays
        scene.hierarchy.build(scene.entities.cbegin(), scene.entities.cend());
        const auto& nodes = scene.hierarchy.nodes;
        ASSERT_EQ(nodes.size(), reference.nodes.size());
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            EXPECT_EQ(nodes[i].lower, reference.nodes[i].lower) << "node " << i;
            EXPECT_EQ(nodes[i].upper, reference.nodes[i].upper) << "node " << i;
            EXPECT_EQ(nodes[i].index, reference.nodes[i].index) << "node " << i;
            EXPECT_EQ(nodes[i].count, reference.nodes[i].count) << "node " << i;
            if (nodes[i].count == 0) {
                EXPECT_EQ(nodes[i].axis, reference.nodes[i].axis) << "node " << i;
            }
        }
        EXPECT_EQ(scene.hierarchy.leafItems, reference.leafItems);
    }
}

TEST_F(SceneHierarchyTest, EntitiesAtOnePlaceStillMakeACompleteTree) {
    for (int i = 0; i < 40; ++i)
        addCube(1.0f + 0.01f * i, makeTranslation({5, -2, 7}));
    scene.hierarchy.build(scene.entities.cbegin(), scene.entities.cend());
    const auto& nodes = scene.hierarchy.nodes;
    ASSERT_EQ(nodes.size(), 79u);
    for (const BvhNode& node : nodes)
        if (node.count == 0) {
            EXPECT_EQ(node.axis, 2);
        }
    std::set<Entity*> items(scene.hierarchy.leafItems.begin(), scene.hierarchy.leafItems.end());
    EXPECT_EQ(items.size(), 40u);
}

TEST_F(SceneHierarchyTest, TreeAnswersAsTheLinearWalkDoes) {
    addRandomCubes(60);
    std::vector<Ray> rays;
    for (int i = 0; i < 3000; ++i)
        rays.push_back(randomRay());

    // Before the first build the map is walked; afterwards the tree answers.
    struct Answer {
        bool hit;
        Hit record;
        bool occluded;
    };
    auto ask = [&](const Ray& ray) {
        Answer answer;
        answer.hit = scene.intersect(ray, answer.record);
        answer.occluded = scene.occluded(ray);
        return answer;
    };
    std::vector<Answer> linear;
    for (const Ray& ray : rays)
        linear.push_back(ask(ray));
    scene.hierarchy.build(scene.entities.cbegin(), scene.entities.cend());

    int hits = 0;
    for (std::size_t i = 0; i < rays.size(); ++i) {
        const Answer tree = ask(rays[i]);
        ASSERT_EQ(tree.hit, linear[i].hit) << "ray " << i;
        ASSERT_EQ(tree.occluded, linear[i].occluded) << "ray " << i;
        if (!tree.hit)
            continue;
        ++hits;
        EXPECT_EQ(tree.record.t, linear[i].record.t) << "ray " << i;
        EXPECT_EQ(tree.record.entity, linear[i].record.entity) << "ray " << i;
        EXPECT_FALSE(tree.record.complete);
        // The hit's t is the world ray's parameter.
        const Vec3 world = rays[i].origin + rays[i].direction * tree.record.t;
        const Ray objectRay = toObjectSpace(tree.record.entity->transform.inverse, rays[i]);
        const Vec3 local = objectRay.origin + objectRay.direction * tree.record.t;
        const Vec3 back = transformPoint(tree.record.entity->transform.forward, local);
        EXPECT_NEAR(back.x, world.x, 1e-3f);
        EXPECT_NEAR(back.y, world.y, 1e-3f);
        EXPECT_NEAR(back.z, world.z, 1e-3f);
    }
    EXPECT_GT(hits, 500);
}

TEST_F(SceneHierarchyTest, EmptyAndSingleEntityTrees) {
    Ray ray;
    ray.origin = {0, 0, -50};
    ray.direction = {0, 0, 1};
    Hit hit;
    // Never built and nothing in the map: the walk finds nothing.
    EXPECT_FALSE(scene.intersect(ray, hit));
    EXPECT_FALSE(scene.occluded(ray));

    scene.hierarchy.build(scene.entities.cbegin(), scene.entities.cend());
    ASSERT_EQ(scene.hierarchy.nodes.size(), 1u);
    EXPECT_EQ(scene.hierarchy.nodes[0].count, 0);
    EXPECT_GT(scene.hierarchy.nodes[0].lower.x, scene.hierarchy.nodes[0].upper.x);
    EXPECT_FALSE(scene.intersect(ray, hit));
    EXPECT_FALSE(scene.occluded(ray));

    const auto cube = addCube(2.0f, makeTranslation({0, 0, 10}) * makeRotation({0, 1, 0}, 0.3f));
    scene.hierarchy.build(scene.entities.cbegin(), scene.entities.cend());
    ASSERT_EQ(scene.hierarchy.nodes.size(), 1u);
    EXPECT_EQ(scene.hierarchy.nodes[0].count, 1);
    EXPECT_EQ(scene.hierarchy.nodes[0].index, 0u);
    ASSERT_TRUE(scene.intersect(ray, hit));
    EXPECT_EQ(hit.entity, cube.get());
    EXPECT_EQ(hit.geometry, cube->geometry.get());
    EXPECT_GT(hit.t, 50.0f + 8.0f);
    EXPECT_LT(hit.t, 50.0f + 10.0f);
}

TEST_F(SceneHierarchyTest, ShadowRangeLimitsOnlyTheEntityBoxes) {
    // A cube of side 2 at z = 10: its box spans z 10 - sqrt(3) .. 10 + sqrt(3),
    // its face lies at z = 9.
    addCube(2.0f, makeTranslation({0, 0, 10}));
    for (bool built : {false, true}) {
        if (built)
            scene.hierarchy.build(scene.entities.cbegin(), scene.entities.cend());
        Ray shadow;
        shadow.origin = {0, 0, 0};
        shadow.direction = {0, 0, 1};
        shadow.tMin = 0.1f;
        // Once the range enters the box, the mesh is tested over the whole line.
        shadow.tMax = 8.5f; // inside the box, short of the face
        EXPECT_TRUE(scene.occluded(shadow));
        // A range that ends before the box is cut off by the tree; the walk
        // before the first build has no box test at all.
        shadow.tMax = 8.0f;
        EXPECT_EQ(scene.occluded(shadow), !built);
        // Nearest hits keep their limit through hit.t.
        Hit hit;
        hit.t = 8.5f;
        EXPECT_FALSE(scene.intersect(shadow, hit));
    }
}

TEST_F(SceneHierarchyTest, SingularTransformsFailWhenReached) {
    auto cube = addCube(2.0f, makeTranslation({0, 0, 10}));
    cube->transform = Transform(makeTranslation({0, 0, 10}).forward); // forward only: singular
    scene.hierarchy.build(scene.entities.cbegin(), scene.entities.cend());
    Ray ray;
    ray.direction = {0, 0, 1};
    Hit hit;
    EXPECT_THROW(
        {
            try {
                scene.intersect(ray, hit);
            } catch (const std::domain_error& error) {
                EXPECT_STREQ(error.what(), "transformation not invertible");
                throw;
            }
        },
        std::domain_error);
    // A ray that misses the entity's box never reaches it.
    ray.direction = {0, 1, 0};
    EXPECT_FALSE(scene.occluded(ray));
}

} // namespace
} // namespace verdanium
