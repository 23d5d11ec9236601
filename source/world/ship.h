#pragma once

#include "foundation/math/transform.h"
#include "world/entity.h"

#include <memory>
#include <string>

namespace verdanium {

class Scene;

// One of the ship's two swivelling engines, carrying a rotor. It never moves by
// itself: the ship places it, and its rotor with it, at every step.
class ShipEngine : public Entity {
public:
    // Loads the engine of `side` (0 left, 1 right) from the ship's directory and
    // creates its rotor through the scene, which stores it under the next key.
    ShipEngine(std::uint32_t keyCounter, Scene& scene, const std::string& directory, std::int32_t side);

    // Places the engine at t and its rotor at the side's mounting point, tilted
    // by a fixed -pi/3 about z (the rotors do not spin).
    void setTransform(const Transform& t);

    // 0 for left, 1 for right.
    std::int32_t side;
    std::shared_ptr<Entity> rotor;
};

// The hull of the scene's one composite object. Its flight is a closed-form
// function of its own clock (see shipFlightPose); each step it places itself,
// then both engines, tilted by the analytic climb and roll rates.
class Ship : public Entity {
public:
    // Loads the hull from the directory, creates the left then the right engine
    // through the scene, and puts them at their mounting points.
    Ship(std::uint32_t keyCounter, Scene& scene, const std::string& directory);

    void update(double step) override;

    std::shared_ptr<ShipEngine> leftEngine;
    std::shared_ptr<ShipEngine> rightEngine;
    // Each engine's mounting point in hull space.
    Transform leftEngineOffset;
    Transform rightEngineOffset;
    // Seconds of flight, advanced only by unpaused steps.
    float flightTime = 0.0f;
};

} // namespace verdanium
