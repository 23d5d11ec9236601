#pragma once

#include "foundation/math/vec3.h"
#include "world/scene.h"

#include <memory>

namespace verdanium::testing {

// Scenes small enough to know their pictures. All need a current GL context (entities and backgrounds make
// GL objects) and the data tree's shader programs.

// A scene with no entities, no lights, the camera at the default place and a background that shows
// `background` in every direction.
std::unique_ptr<Scene> makeEmptyScene(Vec3 background);

// Adds a white floor: the plane z = 0 facing +z, 1000 units wide, in front of the default camera.
void addFloor(Scene& scene);

} // namespace verdanium::testing
