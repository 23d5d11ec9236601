#pragma once

#include "raster/texture.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace verdanium {

class Geometry;
class GlslProgram;

// What a surface looks like: a value held in sequences and copied freely;
// copies share the program and the image.
struct Material {
    // The MTL record's illum value, zero extended; 0 for a default material.
    // Kept for the record only: nothing reads it.
    std::uint64_t illumination = 0;
    // Always the "matte" program for entities.
    std::shared_ptr<GlslProgram> program;
    // Always addressed with WrapRepeat.
    Texture texture;
};

// The directory of the program every entity material uses.
inline constexpr const char* kMatteProgramDirectory = "..\\..\\..\\data\\materials\\matte";

// illumination 0, the "matte" program, and a texture on a fresh empty image (no
// pixels, no GL texture) made directly, outside the image cache.
Material makeDefaultMaterial();

// One material per MTL record of the mesh, in the mesh's order; never empty. A
// record with a diffuse map gets that image and its illum value; any other
// record gets a default material, without its illum value.
std::vector<Material> makeEntityMaterials(const Geometry& geometry);

} // namespace verdanium
