#pragma once

#include "foundation/math/transform.h"
#include "foundation/math/vec3.h"
#include "world/cone_light.h"

#include <cstdint>
#include <vector>

namespace verdanium {

// The world: entities, lights, camera, background and the scene hierarchy, with
// the flight clock. Built once by main after the renderer, advanced by update in
// fixed steps, and read by the renderer between steps. Everything here runs on
// the main thread while the render workers are idle, so nothing is locked.
//
// The world's only word to the renderer is changeCount: every change that makes
// a picture stale raises it, and the renderer restarts its sums when it moves.
class Scene {
public:
    // Camera at (0, 0, -15) looking down -z, the two cone lights, flying.
    Scene();

    // One fixed step of `step` seconds. Paused: only the movement keys' velocity
    // is applied. Flying: the flight clock advances, the camera is put on its
    // rail (whatever the keys and mouse did is lost), and after 20 seconds of
    // flight the scene pauses itself.
    void update(double step);

    // Mouse steering: turns the camera about `axis`, given in the view's own
    // frame. A zero axis raises std::domain_error ("element not invertible").
    void rotateCamera(Vec3 axis, float angle);

    // Asteroid count is 4 shifted left by twice this.
    std::uint64_t objectCountExponent = 3;
    // Only reported in the recreation log line.
    std::uint64_t tesselationExponent = 0;
    // Stored for the recreation log; no hierarchy build reads it.
    std::uint8_t leafSize = 1;

    // Here follow the entity map (key to shared Entity, walked in key order) and
    // a second, unused map; they arrive with the entities.

    std::vector<ConeLight> lights;
    // World to view.
    Transform camera;
    // Set by the movement keys: world units per step, in the camera's own frame.
    Vec3 cameraVelocity;

    // Here follows the shared Background, which arrives with the cube-map radiance.

    // Raised on every change that invalidates a picture.
    std::uint64_t changeCount = 0;
    // Next key of the entity map; never reset, so a rebuilt scene's keys continue.
    std::uint32_t nextEntityKey = 1;

    // Here follows the scene hierarchy over the entities, rebuilt at every
    // flying step.

    // Seconds of flight: counts only unpaused steps.
    float time = 0.0f;
};

} // namespace verdanium
