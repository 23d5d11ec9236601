// Every generated model as the program reads it: normals that agree with the winding, and a closed surface
// wound outward.

#include "generated_data.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

namespace verdanium::datagen_test {
namespace {

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

} // namespace
} // namespace verdanium::datagen_test
