#include "tracer/tiny_scenes.h"

#include "foundation/math/transform.h"
#include "geometry/geometry.h"
#include "raster/background.h"
#include "world/entity.h"

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace verdanium::testing {

namespace {

// A cube-map strip of 1 x 6 texels, all of one colour, in the program's float image format. The process id
// in the name keeps tests that run at once in other processes from reading a half-written file.
std::string writeUniformStrip(Vec3 radiance) {
    char name[160];
    std::snprintf(name, sizeof name, "%s/tracer_uniform_%d_%g_%g_%g.pbm", VERDANIUM_BINARY_DIR,
                  static_cast<int>(getpid()), radiance.x, radiance.y, radiance.z);
    std::ofstream file(name, std::ios::binary);
    file << "PF\n1\n6\n-1\n";
    for (int texel = 0; texel < 6; ++texel) {
        file.write(reinterpret_cast<const char*>(&radiance), sizeof radiance);
    }
    return name;
}

} // namespace

std::unique_ptr<Scene> makeEmptyScene(Vec3 background) {
    auto scene = std::make_unique<Scene>(kEmptyScene);
    scene->lights.clear();
    const std::string path = writeUniformStrip(background);
    scene->background = std::make_shared<Background>(path);
    // The pixels are in memory now (and cached by path for the rest of the process).
    std::remove(path.c_str());
    return scene;
}

void addFloor(Scene& scene) {
    auto floor = std::make_shared<Entity>(scene.nextEntityKey, makeQuad(1000.0f));
    floor->transform = makeTranslation({0.0f, 0.0f, -500.0f});
    scene.entities[scene.nextEntityKey++] = floor;
    ++scene.changeCount;
}

} // namespace verdanium::testing
