#include "app/program_flags.h"
#include "geometry/geometry.h"
#include "raster/background.h"
#include "support/gl_test_context.h"
#include "world/asteroid.h"
#include "world/random.h"
#include "world/scene.h"
#include "world/ship.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <unistd.h>

namespace verdanium {
namespace {

const char* const kAsteroidPrefix = "../../../data/models/asteroid/random/asteroid";

Vec3 translationOf(const Transform& transform) {
    return {transform.forward.m[12], transform.forward.m[13], transform.forward.m[14]};
}

// Builds the program's first scene once for the whole suite: it takes a while, and the generator must start
// from its seed for the draws to line up.
class FirstSceneTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        for (const std::string file : {"asteroid/random/asteroid5.obj", "ship/serenity/EngineRotor.obj"})
            if (::access(("../../../data/models/" + file).c_str(), R_OK) != 0)
                return;
        if (!::verdanium::testing::makeGlContextCurrent())
            return;
        gPaused = false;
        gRandom.seed(MersenneTwister::kDefaultSeed);
        ::testing::internal::CaptureStdout();
        scene = std::make_unique<Scene>();
        ::testing::internal::GetCapturedStdout();
        nextDraw = gRandom.next();
    }
    static void TearDownTestSuite() {
        scene.reset();
        gPaused = false;
    }
    void SetUp() override {
        if (!scene)
            GTEST_SKIP() << "needs a GL context and the generated data files";
    }
    static inline std::unique_ptr<Scene> scene;
    static inline std::uint32_t nextDraw = 0;
};

TEST_F(FirstSceneTest, AsteroidsComeFromTheFirst2816DrawsOfTheDefaultGenerator) {
    std::mt19937 reference;
    auto draw = [&reference] { return uniform01(reference()); };
    for (std::uint32_t key = 1; key <= 256; ++key) {
        const auto* asteroid = dynamic_cast<const Asteroid*>(scene->entities.at(key).get());
        ASSERT_NE(asteroid, nullptr) << "key " << key;
        Vec3 velocity, spin, position;
        velocity.z = draw() * 10.0f - 5.0f;
        velocity.y = draw() * 10.0f - 5.0f;
        velocity.x = draw() * 10.0f - 5.0f;
        spin.z = draw() * 2.0f + 0.1f;
        spin.y = draw() * 2.0f + 0.1f;
        spin.x = draw() * 2.0f + 0.1f;
        const int model = std::min(5, static_cast<int>(draw() * 5.0f + 1.0f));
        reference(); // thrown away
        position.z = draw() * 2000.0f - 100.0f;
        position.y = draw() * 2000.0f - 1000.0f;
        position.x = draw() * 2000.0f - 1000.0f;
        ASSERT_EQ(asteroid->velocity, velocity) << "key " << key;
        ASSERT_EQ(asteroid->spin, spin) << "key " << key;
        ASSERT_EQ(translationOf(asteroid->transform), position) << "key " << key;
        ASSERT_EQ(asteroid->geometry, Geometry::load(kAsteroidPrefix + std::to_string(model) + ".obj"))
            << "key " << key;
    }
    // Nothing else drew while the scene was made.
    EXPECT_EQ(nextDraw, reference());
}

void expectNear(const Transform& actual, const Transform& expected, const char* what) {
    for (int k = 0; k < 16; ++k)
        EXPECT_NEAR(actual.forward.m[k], expected.forward.m[k],
                    2e-4f * (1.0f + std::fabs(expected.forward.m[k])))
            << what << ", element " << k;
}

// The hull, engines and rotors: each engine at its mount on the hull, turned about its x axis by its tilt,
// and its rotor at its place on the engine with a fixed tilt about z.
struct ShipPlacement {
    Transform hull, engines[2], rotors[2];
};
ShipPlacement mountedShip(const Transform& hull, const float (&tilts)[2]) {
    const float side[2] = {1.0f, -1.0f};
    ShipPlacement ship;
    ship.hull = hull;
    for (int i = 0; i < 2; ++i) {
        ship.engines[i] =
            hull * makeTranslation({13.793f * side[i], 8.991f, -1.88f}) * makeRotation({1, 0, 0}, tilts[i]);
        ship.rotors[i] = ship.engines[i] * makeTranslation({5.749f * side[i], -0.415f, 8.332f}) *
                         makeRotation({0, 0, 1}, -1.0471976f);
    }
    return ship;
}

// The ship at flight time t, from the closed forms of the flight.
ShipPlacement closedFormShip(float t) {
    const double pi = 3.141592653589793;
    const float x = std::sin(1.2f * t - 0.1f) + std::sin(t) + 0.5f * std::sin(2.3f * t - 0.4f);
    const float y = 30.0f * std::sin(0.5f * t) + std::sin(1.1f * t - 0.7f) + 0.3f * std::sin(2.1f * t - 0.3f);
    const float roll = float(double(0.1f * std::sin(1.7f * t - 0.7f)) + double(std::sin(t)) * pi / 12.0);
    const float climb = 0.1f * (1.1f * std::cos(1.1f * t - 0.7f) + 15.0f * std::cos(0.5f * t) +
                                0.63f * std::cos(2.1f * t - 0.3f));
    const float rollRate = float(double(0.17f * std::cos(1.7f * t - 0.7f)) + double(std::cos(t)) * pi / 12.0);
    const float tilts[2] = {(-climb - rollRate) * 0.5f, (rollRate - climb) * 0.5f};
    return mountedShip(makeTranslation({x, y, 100.0f * t}) * makeRotation({0, 0, 1}, roll), tilts);
}

TEST_F(FirstSceneTest, ShipFollowsItsClosedFormsTheTreeFollowsTheShipAndRecreationWhilePausedRestartsIt) {
    // A scene of its own: the shared one must stay as first built, whatever order the tests run in.
    ::testing::internal::CaptureStdout();
    const auto world = std::make_unique<Scene>();
    ::testing::internal::GetCapturedStdout();
    gPaused = false;
    const auto shipOf = [](Scene& s) { return dynamic_cast<Ship*>(s.entities.rbegin()->second.get()); };
    Ship* ship = shipOf(*world);
    ASSERT_NE(ship, nullptr);
    const auto checkShip = [&](const ShipPlacement& expected) {
        expectNear(ship->transform, expected.hull, "hull");
        expectNear(world->entities.at(258)->transform, expected.engines[0], "left engine");
        expectNear(world->entities.at(260)->transform, expected.engines[1], "right engine");
        expectNear(world->entities.at(257)->transform, expected.rotors[0], "left rotor");
        expectNear(world->entities.at(259)->transform, expected.rotors[1], "right rotor");
    };
    checkShip(mountedShip(Transform{}, {0.0f, 0.0f})); // before the first step: at rest at the origin
    // Asteroids drift and tumble about their centres: after n steps of s, moved by n s velocity and turned by
    // n s |spin| about the spin axis, whatever the steps in between.
    const Transform firstBefore = world->entities.at(1)->transform,
                    lastBefore = world->entities.at(256)->transform;
    double t = 0.0;
    for (int step = 1; step <= 250; ++step) {
        world->update(0.01);
        t = float(t + 0.01);
    }
    EXPECT_EQ(world->time, float(t));
    checkShip(closedFormShip(float(t)));
    for (const auto& [key, before] : {std::pair{1u, firstBefore}, {256u, lastBefore}}) {
        const auto& asteroid = dynamic_cast<const Asteroid&>(*world->entities.at(key));
        expectNear(asteroid.transform,
                   makeTranslation(asteroid.velocity * 2.5f) * before *
                       makeRotation(asteroid.spin, length(asteroid.spin) * 2.5f),
                   "asteroid");
    }
    // The tree of the last step is the one built afresh over every entity where it now stands.
    const std::vector<BvhNode> stepped = world->hierarchy.nodes;
    const std::vector<Entity*> steppedItems = world->hierarchy.leafItems;
    world->hierarchy.build(world->entities.cbegin(), world->entities.cend());
    ASSERT_EQ(stepped.size(), world->hierarchy.nodes.size());
    for (std::size_t i = 0; i < stepped.size(); ++i)
        ASSERT_TRUE(stepped[i].lower == world->hierarchy.nodes[i].lower &&
                    stepped[i].upper == world->hierarchy.nodes[i].upper &&
                    stepped[i].count == world->hierarchy.nodes[i].count)
            << "node " << i;
    EXPECT_EQ(steppedItems, world->hierarchy.leafItems);

    // Recreating while paused restarts the clock and keeps the pause.
    gPaused = true;
    ::testing::internal::CaptureStdout();
    world->recreate(0, 1, 4);
    const std::string recreated = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(recreated.substr(0, recreated.find('\n') + 1),
              "recreating scene with 4 objects of radius 2 with 16 triangles each (64 triangles in total)\n");
    EXPECT_NE(recreated.find(" ms to create 17 nodes\n"), std::string::npos);
    EXPECT_TRUE(gPaused);
    EXPECT_EQ(world->time, 0.0f);
    // Paused steps leave the new ship at its start; the first flying step puts it at its pose for t = 0.01.
    world->update(0.01);
    ship = shipOf(*world);
    EXPECT_EQ(ship->transform.forward, Mat4::identity());
    gPaused = false;
    world->update(0.01);
    expectNear(ship->transform, closedFormShip(0.01f).hull, "hull after the recreation");
}

} // namespace
} // namespace verdanium
