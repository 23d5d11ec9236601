#include "world/ship.h"

#include "geometry/geometry.h"
#include "world/scene.h"
#include "world/ship_flight.h"

namespace verdanium {
namespace {

const Vec3 kEngineOffsets[2] = {{13.793f, 8.991f, -1.88f}, {-13.793f, 8.991f, -1.88f}};
const Vec3 kRotorOffsets[2] = {{5.749f, -0.415f, 8.332f}, {-5.749f, -0.415f, 8.332f}};
const char* const kEngineFiles[2] = {"EngineL.obj", "EngineR.obj"};
constexpr float kRotorTilt = -1.0471976f;

const Vec3 kXAxis{1.0f, 0.0f, 0.0f};
const Vec3 kZAxis{0.0f, 0.0f, 1.0f};

} // namespace

ShipEngine::ShipEngine(std::uint32_t keyCounter, Scene& scene, const std::string& directory,
                       std::int32_t side_)
    : Entity(keyCounter, Geometry::load(directory + "/" + kEngineFiles[side_ == 0 ? 0 : 1])), side(side_) {
    scene.createEntity(rotor, directory + "/EngineRotor.obj");
    setTransform(Transform{});
}

void ShipEngine::setTransform(const Transform& t) {
    transform = t;
    Transform rotorPlace = t * makeTranslation(kRotorOffsets[side == 0 ? 0 : 1]);
    rotor->transform = rotorPlace * makeRotation(kZAxis, kRotorTilt);
}

Ship::Ship(std::uint32_t keyCounter, Scene& scene, const std::string& directory)
    : Entity(keyCounter, Geometry::load(directory + "/Hull.obj")) {
    std::shared_ptr<Entity> engine;
    scene.createShipEngine(engine, directory, 0);
    leftEngine = std::static_pointer_cast<ShipEngine>(engine);
    scene.createShipEngine(engine, directory, 1);
    rightEngine = std::static_pointer_cast<ShipEngine>(engine);
    leftEngineOffset = makeTranslation(kEngineOffsets[0]);
    rightEngineOffset = makeTranslation(kEngineOffsets[1]);
    flightTime = 0.0f;
    leftEngine->setTransform(transform * leftEngineOffset);
    rightEngine->setTransform(transform * rightEngineOffset);
}

void Ship::update(double step) {
    flightTime = static_cast<float>(static_cast<double>(flightTime) + step);
    const ShipFlightPose pose = shipFlightPose(flightTime);
    // Replaced outright: the pose depends on the flight time alone.
    transform = makeTranslation(pose.position) * makeRotation(kZAxis, pose.roll);
    leftEngine->setTransform(transform * leftEngineOffset * makeRotation(kXAxis, pose.leftTilt));
    rightEngine->setTransform(transform * rightEngineOffset * makeRotation(kXAxis, pose.rightTilt));
}

} // namespace verdanium
