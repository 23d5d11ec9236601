#include "raster/material.h"

#include "geometry/geometry.h"
#include "raster/glsl_program.h"
#include "raster/image.h"

namespace verdanium {

Material makeDefaultMaterial() {
    Material material;
    material.illumination = 0;
    material.program = GlslProgram::load(kMatteProgramDirectory);
    material.texture = Texture{std::make_shared<Image>(), WrapRepeat};
    return material;
}

std::vector<Material> makeEntityMaterials(const Geometry& geometry) {
    std::vector<Material> materials;
    materials.reserve(geometry.materials.size());
    for (const ObjMaterial& record : geometry.materials) {
        if (record.diffuseMap == nullptr) {
            materials.push_back(makeDefaultMaterial());
            continue;
        }
        Material material;
        material.texture = Texture{Image::load(record.diffuseMap), WrapRepeat};
        // The illum word is the 32-bit value zero extended, not sign extended.
        material.illumination = static_cast<std::uint32_t>(record.illum);
        material.program = GlslProgram::load(kMatteProgramDirectory);
        materials.push_back(std::move(material));
    }
    if (materials.empty())
        materials.push_back(makeDefaultMaterial());
    return materials;
}

} // namespace verdanium
