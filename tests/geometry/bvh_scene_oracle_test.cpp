// The scene's queries against the reference walk (bvh_oracle.h) on the program's first scene: rays that
// start on the ship's touching parts, and every query of whole path-traced frames, in both intersector
// settings.
#include "bvh_oracle.h"
#include "bvh_test_meshes.h"

#include "app/program_flags.h"
#include "foundation/math/mat4.h"
#include "foundation/math/transform.h"
#include "geometry/geometry.h"
#include "platform/window.h"
#include "support/gl_test_context.h"
#include "tracer/path_trace_frame.h"
#include "tracer/recursive_path_tracer.h"
#include "world/asteroid.h"
#include "world/scene.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <limits>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace verdanium {
namespace {

// Both queries of the scene beside the reference's, counting the answers that differ in any bit.
struct ComparingWorld {
    const Scene& scene;
    mutable int queries = 0;
    mutable int failures = 0;

    void record(const std::string& difference, const Ray& ray) const {
        ++queries;
        if (!difference.empty() && ++failures <= 5)
            ADD_FAILURE() << difference << bvh_oracle::describe(ray);
    }
    bool intersect(const Ray& ray, Hit& hit) const {
        Hit expected = hit;
        const bool wanted = bvh_oracle::sceneQuery(scene, ray, &expected);
        const bool found = scene.intersect(ray, hit);
        record(bvh_oracle::difference(found, hit, wanted, expected), ray);
        return found;
    }
    // A batch (a tile's camera rays in a traced frame) against the reference ray by ray.
    std::uint64_t intersectBatch(std::span<const Ray> rays, std::span<Hit> hits) const {
        std::vector<Hit> expected(hits.begin(), hits.end());
        const std::uint64_t found = scene.intersectBatch(rays, hits);
        for (std::size_t i = 0; i < rays.size(); ++i) {
            const bool wanted = bvh_oracle::sceneQuery(scene, rays[i], &expected[i]);
            record(bvh_oracle::difference((found >> i) & 1u, hits[i], wanted, expected[i]), rays[i]);
        }
        EXPECT_EQ(rays.size() < 64 ? found >> rays.size() : 0u, 0u);
        return found;
    }
    bool occluded(const Ray& ray) const {
        const bool blocked = scene.occluded(ray);
        record(blocked == bvh_oracle::sceneQuery(scene, ray, nullptr) ? "" : "any hit differs", ray);
        return blocked;
    }
};

const Scene& sceneOf(const ComparingWorld& world) {
    return world.scene;
}

// The first scene, made once per test program run.
class SceneQueryOracle : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (::access("../../../data/models/ship/serenity/Hull.obj", R_OK) != 0 ||
            !::verdanium::testing::makeGlContextCurrent())
            return;
        gPaused = false;
        ::testing::internal::CaptureStdout();
        scene = std::make_unique<Scene>();
        ::testing::internal::GetCapturedStdout();
    }
    static void TearDownTestSuite() {
        scene.reset();
        gPaused = false;
    }
    void SetUp() override {
        if (!scene)
            GTEST_SKIP() << "needs a GL context and the generated data files";
        savedMode = gIntersectorMode;
    }
    void TearDown() override { gIntersectorMode = savedMode; }

    static inline std::unique_ptr<Scene> scene;
    std::int32_t savedMode = 1;
};

// Bounce-like rays from points on the ship's parts, which touch one another: from the surface with tMin 0,
// and as the path kernel makes them, 0.1 out along the direction with tMin 0.1, so that the object-space
// rays, which start at 0, find hits short of the world range.
TEST_F(SceneQueryOracle, RaysFromTheShipsTouchingPartsAnswerAsTheReferenceWalk) {
    std::vector<const Entity*> parts;
    for (const auto& [key, entity] : scene->entities)
        if (!dynamic_cast<const Asteroid*>(entity.get()))
            parts.push_back(entity.get());
    ASSERT_EQ(parts.size(), 5u) << "the hull, two engines, two rotors";
    bvh_test::RandomRays random(5, 1.0f, 1.0f);
    for (const std::int32_t mode : {0, 1}) {
        gIntersectorMode = mode;
        ComparingWorld world{*scene};
        for (int i = 0; i < 3000; ++i) {
            const Entity& part = *parts[random.random() % parts.size()];
            const auto& corners = part.geometry->positions;
            const std::size_t first = 3 * (random.random() % (corners.size() / 3));
            float u = random.uniform(0.0f, 1.0f), v = random.uniform(0.0f, 1.0f);
            if (u + v > 1.0f)
                u = 1.0f - u, v = 1.0f - v;
            const Vec3 a = corners[first];
            const Vec3 onSurface = transformPoint(part.transform.forward, a + (corners[first + 1] - a) * u +
                                                                              (corners[first + 2] - a) * v);
            Ray ray;
            ray.direction = random.unitVector();
            ray.origin = onSurface + ray.direction * (i % 2 ? 0.1f : 0.0f);
            ray.tMin = i % 3 ? 0.1f : 0.0f;
            Hit hit;
            world.intersect(ray, hit);
            world.occluded(ray);
            // The same ray with a range that ends before it starts.
            ray.tMax = ray.tMin * 0.5f;
            Hit limited;
            world.intersect(ray, limited);
            world.occluded(ray);
        }
        EXPECT_EQ(world.failures, 0) << "mode " << mode << ": of " << world.queries << " queries";
    }
}

// Batches of rays from one point, like a tile's camera rays, aimed at an entity with a spread that may
// straddle axes: from the camera, from a node's corner (in three box planes) and from the middle of a node's
// face. Members are spoilt in turn: a direction component of +0 or -0 (rays in box planes), NaN or infinite
// (with our mesh walk: Embree refuses them), a zero direction, an origin an ulp away, a NaN tMin, a tMin
// near or past the target, an empty range, a hit already found nearer; and the batches run from 0 to 64 rays.
TEST_F(SceneQueryOracle, RayBatchesAnswerAsTheReferenceWalk) {
    const std::vector<BvhNode>& nodes = scene->hierarchy.nodes;
    bvh_test::RandomRays random(11, 1.0f, 1.0f);
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    for (const std::int32_t mode : {0, 1}) {
        gIntersectorMode = mode;
        ComparingWorld world{*scene};
        for (int batch = 0; batch < 600; ++batch) {
            const BvhNode& node = nodes[random.random() % nodes.size()];
            const BvhNode& target = nodes[random.random() % nodes.size()];
            const Vec3 middle = (node.lower + node.upper) * 0.5f;
            const Vec3 origin = batch % 3 == 0   ? transformPoint(scene->camera.inverse, Vec3{})
                                : batch % 3 == 1 ? node.lower
                                                 : Vec3{node.upper.x, middle.y, middle.z};
            const Vec3 aim = (target.lower + target.upper) * 0.5f - origin;
            const float spread = random.uniform(0.0f, 0.1f) * std::sqrt(dot(aim, aim));
            Ray rays[64];
            Hit hits[64];
            const std::size_t count = batch % 65;
            for (std::size_t i = 0; i < count; ++i) {
                Ray& ray = rays[i];
                ray.origin = origin;
                ray.direction = aim + Vec3{random.uniform(-spread, spread), random.uniform(-spread, spread),
                                           random.uniform(-spread, spread)};
                const int spoilt = static_cast<int>(random.random() % 24);
                const int axis = static_cast<int>(random.random() % 3);
                if (spoilt < 4)
                    ray.direction[axis] = spoilt % 2 ? 0.0f : -0.0f;
                else if (spoilt == 4 && mode == 0) // Embree refuses such rays
                    ray.direction[axis] = random.random() % 2 ? nan : -inf;
                else if (spoilt == 5)
                    ray.direction = Vec3{};
                else if (spoilt == 6)
                    ray.origin[axis] = std::nextafter(origin[axis], inf);
                else if (spoilt == 7)
                    ray.tMin = nan;
                else if (spoilt == 8)
                    ray.tMax = -1.0f;
                else if (spoilt == 9)
                    hits[i].t = random.uniform(0.0f, 2.0f);
                else if (spoilt == 10) // t = 1 at the target's centre
                    ray.tMin = random.uniform(0.0f, 2.0f);
            }
            world.intersectBatch(std::span<const Ray>(rays, count), std::span<Hit>(hits, count));
        }
        EXPECT_GT(world.queries, 15000);
        EXPECT_EQ(world.failures, 0) << "mode " << mode << ": of " << world.queries << " queries";
    }
}

// Every query of a whole path-traced frame (camera rays in their tiles' batches, bounce and shadow rays) at
// the start and near the end of the flight, small but seeing the whole scene, in both settings.
TEST_F(SceneQueryOracle, EveryQueryOfPathTracedFramesAnswersAsTheReferenceWalk) {
    WindowSettings settings;
    settings.width = 160;
    settings.height = 120;
    RecursivePathTracer renderer(settings);
    renderer.setRenderMode(RenderModePathTrace);
    renderer.setCpuThreads(1);
    for (const double time : {0.0, 19.5}) {
        while (scene->time < time)
            scene->update(0.01);
        for (const std::int32_t mode : {0, 1}) {
            gIntersectorMode = mode;
            ComparingWorld world{*scene};
            renderer.renderPathTraceFrame(world);
            EXPECT_GT(world.queries, 10000);
            EXPECT_EQ(world.failures, 0) << "time " << time << " mode " << mode << ": of " << world.queries;
        }
    }
}

// A shadow ray walks the entities in the binary order too, and the order decides whether a singular transform
// is reached before an entity that blocks the ray: two cubes on the z axis, the farther one singular. The
// root splits on z, so a ray along +z reaches the blocking cube first and stops there; along -z it reaches
// the singular one first.
TEST(SceneQueryOrder, AShadowRayReachesEntitiesInTheBinaryOrder) {
    VERDANIUM_REQUIRE_GL();
    Scene scene{kEmptyScene};
    for (const float z : {10.0f, 20.0f}) {
        auto cube = std::make_shared<Entity>(scene.nextEntityKey, makeCube(2.0f));
        cube->transform =
            z == 10.0f ? makeTranslation({0, 0, z}) : Transform(makeTranslation({0, 0, z}).forward);
        scene.entities[scene.nextEntityKey++] = cube;
    }
    scene.hierarchy.build(scene.entities.cbegin(), scene.entities.cend());
    Ray ray;
    ray.direction = {0.001f, 0.002f, 1}; // no zero component: the four-wide walk answers
    EXPECT_TRUE(scene.occluded(ray));
    ray.origin = {0, 0, 30};
    ray.direction.z = -1;
    EXPECT_THROW(scene.occluded(ray), std::domain_error);
}

// Batches decide ties as each ray's own walk does, by the binary order of the entities reached: pairs of
// coincident cubes, whose hits tie in everything but the entity, with batches from every sign octant.
TEST(SceneQueryOrder, BatchesDecideTiesBetweenCoincidentEntitiesInTheBinaryOrder) {
    VERDANIUM_REQUIRE_GL();
    Scene scene{kEmptyScene};
    for (const Vec3 place : {Vec3{0, 0, 0}, Vec3{0, 0, 0}, Vec3{3, -2, 1}, Vec3{3, -2, 1}}) {
        auto cube = std::make_shared<Entity>(scene.nextEntityKey, makeCube(2.0f));
        cube->transform = makeTranslation(place);
        scene.entities[scene.nextEntityKey++] = cube;
    }
    scene.hierarchy.build(scene.entities.cbegin(), scene.entities.cend());
    bvh_test::RandomRays random(3, 10.0f, 3.0f);
    ComparingWorld world{scene};
    for (int batch = 0; batch < 200; ++batch) {
        Vec3 origin, aim;
        random.next(origin, aim);
        Ray rays[64];
        Hit hits[64];
        for (Ray& ray : rays) {
            ray.origin = origin;
            ray.direction = aim + random.unitVector() * 0.2f;
        }
        world.intersectBatch(rays, hits);
    }
    EXPECT_EQ(world.failures, 0) << "of " << world.queries << " queries";
}

} // namespace
} // namespace verdanium
