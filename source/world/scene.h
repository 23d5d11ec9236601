#pragma once

#include "foundation/math/transform.h"
#include "foundation/math/vec3.h"
#include "geometry/scene_bvh.h"
#include "tracer/renderer.h"
#include "world/cone_light.h"
#include "world/entity_map.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace verdanium {

class Background;
struct Camera;
class Entity;
struct Hit;
struct Ray;

// Asks for a scene with its lights and camera but no entities and no background:
// for tests and tools that place their own entities, and for code that must run
// without GL or data files.
struct EmptySceneTag {};
inline constexpr EmptySceneTag kEmptyScene{};

// The world: entities, lights, camera, background and the scene hierarchy, with
// the flight clock. Built once by main after the renderer, advanced by update in
// fixed steps, and read by the renderer between steps. Everything here runs on
// the main thread while the render workers are idle, so nothing is locked.
//
// The world's only word to the renderer is changeCount: every change that makes
// a picture stale raises it, and the renderer restarts its sums when it moves.
class Scene {
public:
    // The camera 15 units up the z axis, looking down -z at the origin (a
    // world-to-view translation by (0, 0, -15)), the two cone lights, then the
    // first scene (recreate with 3, 0, 1: 256 asteroids and the ship) and the
    // background. Needs a current GL context; missing data files are reported
    // on standard error as their loaders say.
    Scene();
    // The lights and the camera of Scene(), nothing else; no GL calls.
    explicit Scene(EmptySceneTag);
    // Drops the entities (GL calls: the context must still be current).
    ~Scene();

    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    // One fixed step of `step` seconds. Paused: only the movement keys' velocity
    // is applied. Flying: the flight clock advances, the camera is put on its
    // rail (whatever the keys and mouse did is lost), and after 20 seconds of
    // flight the scene pauses itself.
    void update(double step);

    // Mouse steering: turns the camera about `axis`, given in the view's own
    // frame. A zero axis raises std::domain_error ("element not invertible").
    void rotateCamera(Vec3 axis, float angle);

    // Throws all entities away and builds 4 << (2 objectCountExponent) randomly
    // placed asteroids and the ship, logging the two recreation lines. The
    // flight clock restarts at 0; the pause state, the key counter and the
    // background stay as they are.
    void recreate(std::uint64_t objectCountExponent, std::uint64_t tesselationExponent,
                  std::uint8_t leafSize);

    // The factories: each raises changeCount, makes the object with the key
    // counter as its entityId, stores it under the next key and hands it back.
    // Composite objects create their parts first, under the keys that follow.
    void createEntity(std::shared_ptr<Entity>& entity, const std::string& path);
    // Eleven draws of gRandom, in a fixed order: velocity z, y, x; spin z, y, x;
    // model number; one thrown away; position z, y, x.
    void createAsteroid(std::shared_ptr<Entity>& entity);
    void createShip(std::shared_ptr<Entity>& entity, const std::string& directory);
    void createShipEngine(std::shared_ptr<Entity>& entity, const std::string& directory, std::int32_t side);

    // Nearest hit of a world ray; the caller's hit comes in with t = +infinity
    // (or a nearer bound). On true, the hit names the entity, mesh, triangle,
    // barycentrics and world t, and complete is false.
    bool intersect(const Ray& ray, Hit& hit) const;
    // Whether anything lies along a shadow ray. Its range limits only the entity
    // boxes: a mesh is tested from the object-space origin on, to infinity.
    bool occluded(const Ray& ray) const;
    // Nearest hits of up to 64 rays asked together, such as a tile's camera
    // rays: hits[i] and bit i of the result are what intersect(rays[i],
    // hits[i]) would give, to the bit.
    std::uint64_t intersectBatch(std::span<const Ray> rays, std::span<Hit> hits) const;

    // Draws the background, then every entity in key order, with the camera's
    // projection and this scene's view. The background writes no depth, which
    // is why it comes first. A mode that cannot be rasterised is reported once
    // for the background and once for each entity. Main thread.
    void rasterize(RenderMode mode, const Camera& lens);

    // Asteroid count is 4 shifted left by twice this.
    std::uint64_t objectCountExponent = 3;
    // Only reported in the recreation log line.
    std::uint64_t tesselationExponent = 0;
    // Stored and never read: a leaf of either tree level holds one item,
    // whatever this says.
    std::uint8_t leafSize = 1;

    // Every object of the scene, walked in ascending key order.
    EntityMap entities;
    // Made and destroyed with the scene; nothing uses it.
    EntityMap spareEntities;

    std::vector<ConeLight> lights;
    // World to view.
    Transform camera;
    // Set by the movement keys: world units per step, in the camera's own frame.
    Vec3 cameraVelocity;

    // Made once, by the constructor; recreate leaves it alone.
    std::shared_ptr<Background> background;

    // Raised on every change that invalidates a picture.
    std::uint64_t changeCount = 0;
    // Next key of the entity map; never reset, so a rebuilt scene's keys continue.
    std::uint32_t nextEntityKey = 1;

    // The tree over the entities, rebuilt in full at every flying step. Empty
    // until the first build, when queries walk the map instead.
    SceneBvh hierarchy{this};

    // Seconds of flight: counts only unpaused steps.
    float time = 0.0f;
};

} // namespace verdanium
