#include "app/stopwatch.h"
#include "geometry/geometry.h"
#include "world/asteroid.h"
#include "world/random.h"
#include "world/scene.h"
#include "world/ship.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <string>

namespace verdanium {
namespace {

constexpr const char* kAsteroidPathPrefix = "../../../data/models/asteroid/random/asteroid";
constexpr const char* kShipDirectory = "../../../data/models/ship/serenity";

float drawUniform() {
    return uniform01(nextRandom());
}

// Draw 8 of an asteroid is thrown away between the allocation of the object and
// the fetch of its mesh; it stays because the order of the draws fixes every
// run's first scene.
std::shared_ptr<Geometry> loadAfterDiscardedDraw(const std::string& path) {
    nextRandom();
    return Geometry::load(path);
}

} // namespace

void Scene::createEntity(std::shared_ptr<Entity>& out, const std::string& path) {
    ++changeCount;
    out = std::make_shared<Entity>(nextEntityKey, Geometry::load(path));
    entities[nextEntityKey] = out;
    ++nextEntityKey;
}

void Scene::createAsteroid(std::shared_ptr<Entity>& out) {
    ++changeCount;
    Vec3 velocity;
    velocity.z = drawUniform() * 10.0f - 5.0f;
    velocity.y = drawUniform() * 10.0f - 5.0f;
    velocity.x = drawUniform() * 10.0f - 5.0f;
    Vec3 spin;
    spin.z = drawUniform() * 2.0f + 0.1f;
    spin.y = drawUniform() * 2.0f + 0.1f;
    spin.x = drawUniform() * 2.0f + 0.1f;
    // A draw of exactly 1.0 would name a sixth model.
    const int model = std::clamp(static_cast<int>(drawUniform() * 5.0f + 1.0f), 1, 5);
    const std::string path = kAsteroidPathPrefix + std::to_string(model) + ".obj";

    // The new-expression allocates before it evaluates its arguments, which puts
    // the discarded draw where it belongs.
    std::shared_ptr<Asteroid> asteroid(
        new Asteroid(nextEntityKey, loadAfterDiscardedDraw(path), velocity, spin));

    Vec3 position;
    position.z = drawUniform() * 2000.0f - 100.0f;
    position.y = drawUniform() * 2000.0f - 1000.0f;
    position.x = drawUniform() * 2000.0f - 1000.0f;
    asteroid->transform *= makeTranslation(position);

    out = asteroid;
    entities[nextEntityKey] = std::move(asteroid);
    ++nextEntityKey;
}

void Scene::createShip(std::shared_ptr<Entity>& out, const std::string& path) {
    ++changeCount;
    // The constructor creates the engines and rotors first, under the keys that
    // follow; the ship itself is stored last, under the highest key.
    out = std::make_shared<Ship>(nextEntityKey, *this, path);
    entities[nextEntityKey] = out;
    ++nextEntityKey;
}

void Scene::createShipEngine(std::shared_ptr<Entity>& out, const std::string& path, std::int32_t side) {
    ++changeCount;
    out = std::make_shared<ShipEngine>(nextEntityKey, *this, path, side);
    entities[nextEntityKey] = out;
    ++nextEntityKey;
}

void Scene::recreate(std::uint64_t objectCountExponent_, std::uint64_t tesselationExponent_,
                     std::uint8_t leafSize_) {
    ++changeCount;
    time = 0.0f;
    objectCountExponent = objectCountExponent_;
    tesselationExponent = tesselationExponent_;
    leafSize = leafSize_;

    // The tree's raw pointers die with the entities: empty it too, so that no
    // query can reach them before the build below.
    entities.clear();
    hierarchy.clearKeepingCapacity();

    // 32-bit shifts, with the shift count taken modulo 32 as the processor does.
    const std::uint32_t count = 4u << ((2u * static_cast<std::uint32_t>(objectCountExponent)) % 32u);
    const std::uint32_t triangles = 4u
                                    << ((2u * static_cast<std::uint32_t>(tesselationExponent % 256)) % 32u);
    const float radius = static_cast<float>(4.0 / std::sqrt(static_cast<double>(count)));
    std::cout << "recreating scene with " << count << " objects of radius " << radius << " with " << triangles
              << " triangles each (" << triangles * count << " triangles in total)" << std::endl;

    std::shared_ptr<Entity> created;
    for (std::uint32_t i = 0; i < count; ++i) {
        createAsteroid(created);
        created.reset();
    }
    createShip(created, kShipDirectory);
    created.reset();

    Stopwatch stopwatch;
    stopwatch.start();
    hierarchy.build(entities.cbegin(), entities.cend());
    stopwatch.stop();
    std::cout << "BVH update: " << static_cast<float>(stopwatch.elapsed() * 1000.0) << " ms to create "
              << hierarchy.nodes.size() << " nodes" << std::endl;
}

} // namespace verdanium
