#include "world/scene.h"

#include "app/program_flags.h"
#include "raster/background.h"
#include "world/asteroid.h"
#include "world/entity.h"

#include <typeinfo>

namespace verdanium {

namespace {

// The flight pauses itself once it has run this long.
constexpr float kFlightSeconds = 20.0f;

} // namespace

Scene::Scene(EmptySceneTag) {
    lights.emplace_back(Vec3{-1.0f, 0.0f, 0.0f}, 0.31415927f, Vec3{30.0f, 30.0f, 30.0f});
    lights.emplace_back(Vec3{1.0f, -1.0f, 0.0f}, 0.15707964f, Vec3{20.0f, 20.0f, 50.0f});
    camera *= makeTranslation(Vec3{0.0f, 0.0f, -15.0f});
}

Scene::Scene() : Scene(kEmptyScene) {
    recreate(3, 0, 1);
    background = std::make_shared<Background>(kBackgroundPath);
}

Scene::~Scene() = default;

void Scene::update(double step) {
    // Movement keys work in every step, paused or not, and in the camera's own
    // frame: the translation goes on the left of the world-to-view transform.
    if (cameraVelocity.x != 0.0f || cameraVelocity.y != 0.0f || cameraVelocity.z != 0.0f) {
        const Vec3 offset{0.0f - cameraVelocity.x, 0.0f - cameraVelocity.y, 0.0f - cameraVelocity.z};
        camera = makeTranslation(offset) * camera;
        ++changeCount;
    }
    if (gPaused)
        return;

    time = static_cast<float>(static_cast<double>(time) + step);

    // The camera rides a straight rail at height 30, 70 units behind the ship's
    // z position of 100 units per second, turned half round to look along +z.
    // This replaces the transform outright, so keys and mouse have no lasting
    // effect while flying.
    camera = makeTranslation(Vec3{0.0f, -30.0f, time * 100.0f - 70.0f}) *
             makeRotation(Vec3{0.0f, 1.0f, 0.0f}, 3.1415927f);

    // The ship has the highest key of its parts, so it places its engines and
    // rotors after their own (empty) updates and before the rebuild.
    //
    // The walk also takes each entity's box for the rebuild, while its lines
    // are in cache: a second walk over tens of thousands of entities costs
    // nearly as much as the updates. An asteroid is moved by its own update
    // alone, so its box is final once that has run; any other entity may still
    // be placed by a later one (the ship places its engines and rotors), and
    // the build takes those few again after the walk.
    //
    // The lines prefetched are those an asteroid's update reads: the base's
    // first three and its own members, after the base's GL set-up (the fourth
    // line), which the update never reads.
    hierarchy.startCapture();
    forEachEntity<0b110111u>(entities.cbegin(), entities.cend(), [this, step](Entity& entity) {
        entity.update(step);
        hierarchy.capture(entity, typeid(entity) == typeid(Asteroid));
    });
    hierarchy.buildCaptured();

    ++changeCount;
    if (time > kFlightSeconds)
        gPaused = true;
}

void Scene::rotateCamera(Vec3 axis, float angle) {
    ++changeCount;
    camera = makeRotation(axis, angle) * camera;
}

} // namespace verdanium
