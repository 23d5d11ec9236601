#include "ship.h"

#include "ship_parts.h"
#include "ship_textures.h"

#include <map>
#include <set>

namespace verdanium::datagen {
namespace {

const std::string kFolder = "models/ship/serenity/";

MaterialRecord material(const std::string& name, double shininess) {
    return {.name = name,
            .ambient = {0.05, 0.05, 0.05},
            .diffuse = {0.8, 0.8, 0.8},
            .specular = {0.1, 0.1, 0.1},
            .shininess = shininess,
            .illumination = 2,
            .diffuseMap = "../../../data/" + kFolder + name + ".pbm"};
}

ModelReport writeModel(OutputTree& out, const std::string& name, const std::vector<MeshGroup>& groups) {
    // Each model lists the materials its groups use, in order of first use.
    std::vector<MaterialRecord> records;
    std::set<std::string> seen;
    ModelReport report{kFolder + name + ".obj", 0, 0.0};
    for (const MeshGroup& g : groups) {
        if (seen.insert(g.material).second) {
            records.push_back(material(g.material, g.material == kGlassMaterial ? 400.0 : 60.0));
        }
        report.triangles += g.surface.triangles.size();
        double r = boundingRadius(g.surface);
        report.radius = r > report.radius ? r : report.radius;
    }
    // The program reads a file's groups newest first, and its raster modes draw a whole mesh with the texture
    // of the first triangle it read. Written in reverse, the first group built (each part's main surface:
    // the hull plating, the nacelle metal) is the last in the file and gives the mesh its texture.
    const std::vector<MeshGroup> fileOrder(groups.rbegin(), groups.rend());
    out.write(kFolder + name + ".obj", encodeObj(name + ".mtl", fileOrder));
    out.write(kFolder + name + ".mtl", encodeMtl(records));
    return report;
}

} // namespace

std::vector<ModelReport> generateShip(OutputTree& out) {
    std::vector<ModelReport> reports;
    reports.push_back(writeModel(out, "Hull", buildHull()));
    reports.push_back(writeModel(out, "EngineL", buildLeftEngine()));
    reports.push_back(writeModel(out, "EngineR", buildRightEngine()));
    reports.push_back(writeModel(out, "EngineRotor", buildRotor()));

    out.write(kFolder + kPlatingMaterial + ".pbm", encodePf(makeHullPlating(512)));
    out.write(kFolder + kEngineMaterial + ".pbm", encodePf(makeEngineMetal(256)));
    out.write(kFolder + kGlassMaterial + ".pbm", encodePf(makeCanopyGlass(64)));
    out.write(kFolder + kTrimMaterial + ".pbm", encodePf(makeRedTrim(64)));
    out.write(kFolder + kGlowMaterial + ".pbm", encodePf(makeExhaustGlow(32)));
    out.write(kFolder + kRotorMaterial + ".pbm", encodePf(makeRotorBlade(64)));
    return reports;
}

} // namespace verdanium::datagen
