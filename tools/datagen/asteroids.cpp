#include "asteroids.h"

#include "cube_sphere.h"
#include "float_image.h"
#include "obj_writer.h"
#include "rock_shape.h"
#include "rock_texture.h"

#include <string>

namespace verdanium::datagen {
namespace {

struct AsteroidModel {
    RockRecipe recipe;
    RockPalette palette;
    double radius;    // bounding radius in world units after centring
    int subdivisions; // 12 x subdivisions^2 triangles
    int tileTexels;
};

// Sizes from 16 to 58 units, so that the smallest still shows a few pixels at the
// far side of the 2000-unit slab and the largest fills much of the view close up.
std::vector<AsteroidModel> asteroidModels() {
    std::vector<AsteroidModel> list(5);

    // 1: a small cratered potato, warm grey.
    list[0].recipe = {.seed = 11,
                      .ellipsoid = {1.5, 1.0, 0.85},
                      .lumpAmplitude = 0.18,
                      .craterCount = 18,
                      .craterMaxSize = 0.35,
                      .cutCount = 1,
                      .cutDepth = 0.75};
    list[0].palette = {.dark = {0.17, 0.16, 0.15}, .light = {0.32, 0.30, 0.27}, .fresh = {0.42, 0.40, 0.36}};
    list[0].radius = 16.0;
    list[0].subdivisions = 18;
    list[0].tileTexels = 128;

    // 2: a broken fragment of dark blue-grey basalt with flat fracture faces.
    list[1].recipe = {.seed = 23,
                      .ellipsoid = {1.25, 1.0, 0.8},
                      .lumpAmplitude = 0.1,
                      .ridgeAmplitude = 0.08,
                      .craterCount = 8,
                      .craterMaxSize = 0.28,
                      .cutCount = 4,
                      .cutDepth = 0.7};
    list[1].palette = {.dark = {0.13, 0.15, 0.18}, .light = {0.24, 0.26, 0.29}, .fresh = {0.36, 0.38, 0.40}};
    list[1].radius = 24.0;
    list[1].subdivisions = 20;
    list[1].tileTexels = 160;

    // 3: a contact binary, two lobes joined at a neck, rusty brown.
    list[2].recipe = {.seed = 37,
                      .ellipsoid = {0.95, 0.8, 0.75},
                      .lobeOffset = 0.55,
                      .lumpAmplitude = 0.14,
                      .ridgeAmplitude = 0.05,
                      .craterCount = 26,
                      .craterMaxSize = 0.3};
    list[2].palette = {.dark = {0.20, 0.12, 0.08}, .light = {0.38, 0.24, 0.16}, .fresh = {0.46, 0.34, 0.26}};
    list[2].radius = 33.0;
    list[2].subdivisions = 24;
    list[2].tileTexels = 192;

    // 4: a battered round body with one giant crater and many small ones, dark
    // carbonaceous brown.
    list[3].recipe = {.seed = 41,
                      .ellipsoid = {1.25, 1.0, 0.85},
                      .lumpAmplitude = 0.18,
                      .craterCount = 55,
                      .craterMaxSize = 0.42,
                      .giantCraterSize = 0.85};
    list[3].palette = {.dark = {0.12, 0.11, 0.10}, .light = {0.22, 0.20, 0.17}, .fresh = {0.33, 0.31, 0.28}};
    list[3].radius = 45.0;
    list[3].subdivisions = 26;
    list[3].tileTexels = 224;

    // 5: a large, angular, elongated slab, pale tan, veined with green mineral.
    list[4].recipe = {.seed = 53,
                      .ellipsoid = {1.7, 0.95, 0.8},
                      .lumpAmplitude = 0.12,
                      .ridgeAmplitude = 0.16,
                      .craterCount = 30,
                      .craterMaxSize = 0.32,
                      .cutCount = 2,
                      .cutDepth = 0.78};
    list[4].palette = {.dark = {0.26, 0.23, 0.19},
                       .light = {0.45, 0.40, 0.33},
                       .fresh = {0.52, 0.48, 0.42},
                       .vein = {0.10, 0.42, 0.22},
                       .veinAmount = 0.9};
    list[4].radius = 58.0;
    list[4].subdivisions = 28;
    list[4].tileTexels = 256;
    return list;
}

} // namespace

std::vector<ModelReport> generateAsteroids(OutputTree& out) {
    const std::string folder = "models/asteroid/random/";
    std::vector<ModelReport> reports;
    int number = 0;
    for (const AsteroidModel& model : asteroidModels()) {
        const std::string name = "asteroid" + std::to_string(++number);
        RockShape shape(model.recipe);
        Surface surface = makeCubeSphere(model.subdivisions, model.tileTexels, 0.3,
                                         [&](const Vector3& d) { return d * shape.sample(d).radius; });
        // Centre the rock the way the program does (mean of the corners) and then
        // scale it to its size, so its spin axis passes through its middle and
        // its bounding radius is the one chosen above.
        translate(surface, -cornerMean(surface));
        double scale = model.radius / boundingRadius(surface);
        for (Vertex& v : surface.vertices) {
            v.position *= scale;
        }

        MaterialRecord material{.name = name + "_rock",
                                .ambient = {0.05, 0.05, 0.05},
                                .diffuse = {0.8, 0.8, 0.8},
                                .specular = {0.02, 0.02, 0.02},
                                .shininess = 10.0,
                                .illumination = 2,
                                .diffuseMap = "../../../data/" + folder + name + "_albedo.pbm"};
        std::vector<MeshGroup> groups(1);
        groups[0] = {.name = "rock", .material = material.name, .surface = surface, .creaseDegrees = 55.0};

        out.write(folder + name + ".obj", encodeObj(name + ".mtl", groups));
        out.write(folder + name + ".mtl", encodeMtl({material}));
        out.write(folder + name + "_albedo.pbm",
                  encodePf(makeRockAlbedo(shape, model.palette, model.tileTexels)));
        reports.push_back({folder + name + ".obj", surface.triangles.size(), boundingRadius(surface)});
    }
    return reports;
}

} // namespace verdanium::datagen
