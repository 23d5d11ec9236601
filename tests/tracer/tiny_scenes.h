#pragma once

#include "foundation/math/transform.h"
#include "geometry/geometry.h"
#include "raster/background.h"
#include "world/entity.h"
#include "world/scene.h"

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

namespace verdanium::testing {

// Scenes small enough to know their pictures. All need a current GL context (entities and backgrounds make GL
// objects) and the data tree's shader programs.

// No entities, no lights, the camera at the default place and a background of `background` in every
// direction.
inline std::unique_ptr<Scene> makeEmptyScene(Vec3 background) {
    auto scene = std::make_unique<Scene>(kEmptyScene);
    scene->lights.clear();
    // A strip of 1 x 6 texels in the program's float image format. The process id in the name keeps tests
    // that run at once in other processes from reading a half-written file.
    char path[160];
    std::snprintf(path, sizeof path, "%s/tracer_uniform_%d_%g_%g_%g.pbm", VERDANIUM_BINARY_DIR,
                  static_cast<int>(getpid()), background.x, background.y, background.z);
    {
        std::ofstream file(path, std::ios::binary);
        file << "PF\n1\n6\n-1\n";
        for (int texel = 0; texel < 6; ++texel)
            file.write(reinterpret_cast<const char*>(&background), sizeof background);
    }
    scene->background = std::make_shared<Background>(path);
    std::remove(path); // the pixels are in memory now (and cached by path for the rest of the process)
    return scene;
}

// Adds a white floor: the plane z = 0 facing +z, 1000 units wide, in front of the default camera.
inline void addFloor(Scene& scene) {
    auto floor = std::make_shared<Entity>(scene.nextEntityKey, makeQuad(1000.0f));
    floor->transform = makeTranslation({0.0f, 0.0f, -500.0f});
    scene.entities[scene.nextEntityKey++] = floor;
    ++scene.changeCount;
}

} // namespace verdanium::testing
