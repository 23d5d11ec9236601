#pragma once

namespace verdanium {

class Scene;

// Figures for the world's fixed step at growing asteroid counts, on the given
// scene (which needs its GL context current): for 256, 4096, 16384, 65536 and
// 262144 asteroids, the time of Scene::recreate and the median wall and thread
// processor time of one flying step (every entity's update and the rebuild of
// the scene tree), then the largest of those counts whose step stays under the
// 10 ms that keeps the flight real-time, by either clock. Lines in the bench format; the scene is left
// recreated at the largest count and paused.
void benchWorldSteps(Scene& scene);

} // namespace verdanium
