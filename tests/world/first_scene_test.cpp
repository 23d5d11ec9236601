#include "app/program_flags.h"
#include "geometry/geometry.h"
#include "raster/background.h"
#include "raster/image.h"
#include "support/gl_test_context.h"
#include "world/asteroid.h"
#include "world/random.h"
#include "world/scene.h"
#include "world/ship.h"
#include "world/ship_flight.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <random>
#include <regex>
#include <string>
#include <unistd.h>

namespace verdanium {
namespace {

const char* const kAsteroidPrefix = "../../../data/models/asteroid/random/asteroid";
const char* const kShipDirectory = "../../../data/models/ship/serenity";

bool dataPresent() {
    for (const std::string& file :
         {std::string(kAsteroidPrefix) + "1.obj", std::string(kAsteroidPrefix) + "5.obj",
          std::string(kShipDirectory) + "/Hull.obj", std::string(kShipDirectory) + "/EngineL.obj",
          std::string(kShipDirectory) + "/EngineR.obj", std::string(kShipDirectory) + "/EngineRotor.obj",
          std::string("../../../data/backgrounds/orange/radiance.pbm")})
        if (::access(file.c_str(), R_OK) != 0)
            return false;
    return true;
}

Vec3 translationOf(const Transform& transform) {
    return {transform.forward.m[12], transform.forward.m[13], transform.forward.m[14]};
}

// Builds the program's first scene once for the whole suite: it takes a while,
// and the generator must start from its seed for the draws to line up.
class FirstSceneTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!::verdanium::testing::makeGlContextCurrent() || !dataPresent())
            return;
        gPaused = false;
        gRandom.seed(MersenneTwister::kDefaultSeed);
        ::testing::internal::CaptureStdout();
        scene = new Scene();
        log = new std::string(::testing::internal::GetCapturedStdout());
        nextDraw = gRandom.next();
    }
    static void TearDownTestSuite() {
        delete scene;
        delete log;
        scene = nullptr;
        log = nullptr;
        gPaused = false;
    }
    void SetUp() override {
        if (scene == nullptr)
            GTEST_SKIP() << "needs a GL context and the generated data files";
    }

    static Scene* scene;
    static std::string* log;
    static std::uint32_t nextDraw;
};

Scene* FirstSceneTest::scene = nullptr;
std::string* FirstSceneTest::log = nullptr;
std::uint32_t FirstSceneTest::nextDraw = 0;

TEST_F(FirstSceneTest, LogsTheRecreationAndTheTreeBuild) {
    const std::string first = "recreating scene with 256 objects of radius 0.25 with 4 triangles each "
                              "(1024 triangles in total)\n";
    EXPECT_EQ(log->substr(0, first.size()), first);
    EXPECT_TRUE(std::regex_search(*log, std::regex("\nBVH update: [0-9.e+-]+ ms to create 521 nodes\n")))
        << *log;
    EXPECT_EQ(scene->hierarchy.nodes.size(), 521u);
    ASSERT_NE(scene->background, nullptr);
    EXPECT_EQ(scene->background->texture.image->height, 6 * scene->background->texture.image->width);
}

TEST_F(FirstSceneTest, AsteroidsComeFromTheFirst2816DrawsOfTheDefaultGenerator) {
    std::mt19937 reference;
    auto draw = [&reference] { return uniform01(reference()); };
    for (std::uint32_t key = 1; key <= 256; ++key) {
        const auto* asteroid = dynamic_cast<const Asteroid*>(scene->entities.at(key).get());
        ASSERT_NE(asteroid, nullptr) << "key " << key;
        EXPECT_EQ(asteroid->entityId, key);
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

TEST_F(FirstSceneTest, ShipPartsHaveTheirKeysAndIds) {
    EXPECT_EQ(scene->entities.size(), 261u);
    EXPECT_EQ(scene->nextEntityKey, 262u);
    // One raise for the recreation and one per factory call.
    EXPECT_EQ(scene->changeCount, 1u + 256u + 5u);

    auto& entities = scene->entities;
    const auto* ship = dynamic_cast<const Ship*>(entities.at(261).get());
    const auto* left = dynamic_cast<const ShipEngine*>(entities.at(258).get());
    const auto* right = dynamic_cast<const ShipEngine*>(entities.at(260).get());
    ASSERT_TRUE(ship && left && right);
    EXPECT_EQ(entities.at(257)->entityId, 257u);
    EXPECT_EQ(left->entityId, 257u);
    EXPECT_EQ(entities.at(259)->entityId, 259u);
    EXPECT_EQ(right->entityId, 259u);
    EXPECT_EQ(ship->entityId, 257u);
    EXPECT_EQ(ship->leftEngine.get(), left);
    EXPECT_EQ(ship->rightEngine.get(), right);
    EXPECT_EQ(left->rotor, entities.at(257));
    EXPECT_EQ(right->rotor, entities.at(259));
    EXPECT_EQ(left->side, 0);
    EXPECT_EQ(right->side, 1);
    EXPECT_EQ(left->geometry, Geometry::load(std::string(kShipDirectory) + "/EngineL.obj"));
    EXPECT_EQ(right->geometry, Geometry::load(std::string(kShipDirectory) + "/EngineR.obj"));
    EXPECT_EQ(left->rotor->geometry, right->rotor->geometry);

    // Before the first step the hull stands at the identity with its engines at
    // their mounting points.
    EXPECT_EQ(ship->transform.forward, Mat4::identity());
    EXPECT_EQ(translationOf(left->transform), (Vec3{13.793f, 8.991f, -1.88f}));
    EXPECT_EQ(translationOf(right->transform), (Vec3{-13.793f, 8.991f, -1.88f}));
}

TEST_F(FirstSceneTest, ShipFliesItsClosedFormAndRecreationWhilePausedRestartsIt) {
    // A scene of its own: the shared one must stay as first built, whatever order the tests run in.
    ::testing::internal::CaptureStdout();
    const auto flying = std::make_unique<Scene>();
    ::testing::internal::GetCapturedStdout();
    Scene& world = *flying;
    gPaused = false;

    auto shipOf = [](Scene& s) { return dynamic_cast<Ship*>(s.entities.rbegin()->second.get()); };
    Ship* ship = shipOf(world);
    ASSERT_NE(ship, nullptr);
    int steps = 0;
    for (int target : {1, 250, 1337, 2001}) {
        while (steps < target) {
            world.update(0.01);
            ++steps;
        }
        const double t = ship->flightTime;
        EXPECT_EQ(ship->flightTime, world.time);
        const Vec3 at = translationOf(ship->transform);
        EXPECT_NEAR(at.x, std::sin(1.2 * t - 0.1) + std::sin(t) + 0.5 * std::sin(2.3 * t - 0.4), 1e-4);
        EXPECT_NEAR(at.y, 30 * std::sin(0.5 * t) + std::sin(1.1 * t - 0.7) + 0.3 * std::sin(2.1 * t - 0.3),
                    1e-3);
        EXPECT_NEAR(at.z, 100 * t, 1e-2);
        const double roll = 0.1 * std::sin(1.7 * t - 0.7) + std::sin(t) * std::numbers::pi / 12;
        EXPECT_NEAR(ship->transform.forward.m[0], std::cos(roll), 1e-5);
        EXPECT_NEAR(ship->transform.forward.m[1], std::sin(roll), 1e-5);

        // Each engine sits at its offset in hull space, turned about the hull's x by its tilt.
        const double climb =
            0.1 * (1.1 * std::cos(1.1 * t - 0.7) + 15 * std::cos(0.5 * t) + 0.63 * std::cos(2.1 * t - 0.3));
        const double rollRate = 0.17 * std::cos(1.7 * t - 0.7) + std::cos(t) * std::numbers::pi / 12;
        const double tilts[2] = {0.5 * (-climb - rollRate), 0.5 * (rollRate - climb)};
        const ShipEngine* engines[2] = {ship->leftEngine.get(), ship->rightEngine.get()};
        for (int side = 0; side < 2; ++side) {
            const Transform local =
                Transform(ship->transform.inverse, ship->transform.forward) * engines[side]->transform;
            const Vec3 offset = translationOf(side == 0 ? ship->leftEngineOffset : ship->rightEngineOffset);
            EXPECT_NEAR(local.forward.m[12], offset.x, 1e-3);
            EXPECT_NEAR(local.forward.m[13], offset.y, 1e-3);
            EXPECT_NEAR(local.forward.m[5], std::cos(tilts[side]), 1e-5) << "side " << side << " t " << t;
            EXPECT_NEAR(local.forward.m[6], std::sin(tilts[side]), 1e-5) << "side " << side << " t " << t;
        }
    }
    ASSERT_TRUE(gPaused);
    EXPECT_GT(world.time, 20.0f);
    EXPECT_GT(translationOf(ship->transform).z, 2000.0f);

    // Recreating while paused restarts the clock, keeps the pause and continues the keys.
    ::testing::internal::CaptureStdout();
    world.recreate(0, 1, 4);
    const std::string recreated = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(recreated.substr(0, recreated.find('\n') + 1),
              "recreating scene with 4 objects of radius 2 with 16 triangles each (64 triangles in total)\n");
    EXPECT_NE(recreated.find(" ms to create 17 nodes\n"), std::string::npos);
    EXPECT_TRUE(gPaused);
    EXPECT_EQ(world.time, 0.0f);
    EXPECT_EQ(world.entities.begin()->first, 262u);
    EXPECT_EQ(world.nextEntityKey, 262u + 9u);
    EXPECT_EQ(world.leafSize, 4u);

    // Paused steps leave the new ship at its start; the first flying step puts
    // it at its pose for t = 0.01.
    world.update(0.01);
    ship = shipOf(world);
    EXPECT_EQ(ship->transform.forward, Mat4::identity());
    gPaused = false;
    world.update(0.01);
    EXPECT_EQ(ship->flightTime, 0.01f);
    EXPECT_EQ(translationOf(ship->transform), shipFlightPose(0.01f).position);
    EXPECT_FALSE(gPaused);
}

} // namespace
} // namespace verdanium
