// Every generated model as the program reads it: full faces, a textured material for every group, unit
// normals that agree with the winding, and a closed surface wound outward; then the ship's mounting points
// that the program relies on.

#include "generated_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace verdanium::datagen_test {
namespace {

TEST(GeneratedModels, HaveFullFacesAndATexturedMaterialForEveryFace) {
    for (const std::string& file : modelFiles()) {
        SCOPED_TRACE(file);
        const Model model = readModel(file); // a bad index would end the program here, naming file and line
        ASSERT_GT(model->triangleCount, 0u);
        for (uint32_t i = 1; i <= model->normalCount; ++i)
            EXPECT_NEAR(length(element(model->normals, i)), 1.0f, 1e-4f);
        for (uint32_t i = 2; i <= 2 * model->texCoordCount + 1; ++i)
            EXPECT_TRUE(model->texCoords[i] >= 0.0f && model->texCoords[i] <= 1.0f);
        // Material 0 is the reader's implicit default, which has no texture: the first group must come before
        // the first face, and name a material of the library with a texture that exists.
        for (uint32_t t = 0; t < model->triangleCount; ++t) {
            const ObjTriangle& face = model->triangles[t];
            for (int c = 0; c < 3; ++c)
                ASSERT_TRUE(face.texCoordIndices[c] != 0 && face.normalIndices[c] != 0)
                    << "face " << t << " is not in the v/vt/vn form";
            ASSERT_TRUE(face.material > 0 && face.material < model->materialCount) << "face " << t;
        }
        for (uint32_t m = 1; m < model->materialCount; ++m) {
            const char* map = model->materials[m].diffuseMap;
            ASSERT_NE(map, nullptr) << model->materials[m].name;
            EXPECT_TRUE(std::filesystem::is_regular_file(resolveTexture(map))) << map;
        }
    }
}

TEST(GeneratedModels, AreClosedWithoutHolesAndWoundOutward) {
    for (const std::string& file : modelFiles()) {
        SCOPED_TRACE(file);
        const Model model = readModel(file);
        // Equal positions share one "v" line, so a closed, consistently wound surface uses every directed
        // edge exactly once and its reverse exactly once.
        std::map<std::pair<uint32_t, uint32_t>, int> edges;
        double volume = 0;
        for (uint32_t t = 0; t < model->triangleCount; ++t) {
            const ObjTriangle& face = model->triangles[t];
            Vec3 p[3];
            for (int i = 0; i < 3; ++i) {
                ++edges[{face.vertexIndices[i], face.vertexIndices[(i + 1) % 3]}];
                p[i] = element(model->vertices, face.vertexIndices[i]);
            }
            const Vec3 area = cross(p[1] - p[0], p[2] - p[0]);
            volume += dot(p[0], cross(p[1], p[2]));
            // The tracer derives its normal from the winding; a zero-area triangle has none.
            ASSERT_GT(length(area), 1e-6f) << "degenerate triangle " << t;
            for (uint32_t n : face.normalIndices)
                EXPECT_GT(dot(element(model->normals, n), area), 0.0f)
                    << "normal against the winding, face " << t;
        }
        for (const auto& [edge, count] : edges) {
            ASSERT_EQ(count, 1) << "edge " << edge.first << "-" << edge.second << " used " << count
                                << " times";
            ASSERT_EQ(edges.count({edge.second, edge.first}), 1u)
                << "open edge " << edge.first << "-" << edge.second;
        }
        EXPECT_GT(volume, 0.0) << "surface wound inwards";
    }
}

std::vector<Vec3> shipVertices(const std::string& part) {
    const Model model = readModel("models/ship/serenity/" + part + ".obj");
    std::vector<Vec3> result;
    for (uint32_t i = 1; i <= model->vertexCount; ++i)
        result.push_back(element(model->vertices, i));
    return result;
}

float nearestVertex(const std::vector<Vec3>& vertices, const Vec3& target) {
    float best = INFINITY;
    for (const Vec3& p : vertices)
        best = std::min(best, length(p - target));
    return best;
}

TEST(GeneratedModels, ShipPartsMeetAtTheProgramsMountingPoints) {
    // The program puts each engine's origin at its mount on the hull, and turns the rotor about its origin at
    // (+-5.749, -0.415, 8.332) in the engine's space, inside the intake.
    const std::vector<Vec3> hull = shipVertices("Hull");
    float rotorRadius = 0;
    for (const Vec3& p : shipVertices("EngineRotor"))
        rotorRadius = std::max(rotorRadius, std::hypot(p.x, p.y));
    EXPECT_GT(rotorRadius, 1.0f);
    for (float side : {1.0f, -1.0f}) {
        SCOPED_TRACE(side > 0 ? "left" : "right");
        EXPECT_LT(nearestVertex(hull, {side * 13.793f, 8.991f, -1.88f}), 0.5f);
        const std::vector<Vec3> engine = shipVertices(side > 0 ? "EngineL" : "EngineR");
        EXPECT_LT(nearestVertex(engine, {0, 0, 0}), 0.5f) << "no pivot at the engine's origin";
        float ductRadius = INFINITY;
        for (const Vec3& p : engine) {
            const float fromAxis = std::hypot(p.x - side * 5.749f, p.y + 0.415f);
            if (std::fabs(p.z - 8.332f) < 0.8f && fromAxis > 1.5f)
                ductRadius = std::min(ductRadius, fromAxis);
        }
        EXPECT_LT(rotorRadius, ductRadius) << "the rotor would cut through the intake";
    }
}

TEST(GeneratedModels, ShipPartsGiveTheirMeshesTheMainSurfacesTexture) {
    // The raster modes draw a whole mesh with the texture of the first triangle the program takes from the
    // reader, which walks the groups newest first: the file's last group must be the part's main surface.
    const std::map<std::string, std::string> mainSurface = {{"Hull", "hull_plating"},
                                                            {"EngineL", "engine_metal"},
                                                            {"EngineR", "engine_metal"},
                                                            {"EngineRotor", "rotor_blade"}};
    for (const auto& [part, material] : mainSurface) {
        const Model model = readModel("models/ship/serenity/" + part + ".obj");
        ASSERT_NE(model->groups, nullptr) << part;
        ASSERT_GT(model->groups->triangleCount, 0u) << part;
        const ObjTriangle& first = model->triangles[model->groups->triangles[0]];
        EXPECT_STREQ(model->materials[first.material].name, material.c_str()) << part;
    }
}

} // namespace
} // namespace verdanium::datagen_test
