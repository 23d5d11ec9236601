// Every generated model must be readable by the program's OBJ and MTL reader and
// usable by the path tracer, which derives its shading normal from the winding.

#include "generated_data.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

namespace verdanium::datagen_test {
namespace {

class GeneratedModel : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        obj_ = parseObj(dataRoot() / GetParam());
        ASSERT_TRUE(obj_.problems.empty()) << obj_.problems.front();
        ASSERT_FALSE(obj_.faces.empty());
    }
    ObjFile obj_;
};

TEST_P(GeneratedModel, FollowsTheReaderFormat) {
    for (const Point& n : obj_.normals) {
        EXPECT_NEAR(std::sqrt(dotProduct(n, n)), 1.0, 1e-4);
    }
    for (const auto& t : obj_.texCoords) {
        EXPECT_TRUE(t[0] >= 0 && t[0] <= 1 && t[1] >= 0 && t[1] <= 1) << t[0] << ", " << t[1];
    }

    std::vector<std::string> problems;
    std::filesystem::path folder = (dataRoot() / GetParam()).parent_path();
    std::vector<MtlMaterial> materials = parseMtl(folder / obj_.materialLibrary, problems);
    EXPECT_TRUE(problems.empty()) << problems.front();
    for (const ObjGroup& group : obj_.groups) {
        auto found = std::find_if(materials.begin(), materials.end(),
                                  [&](const MtlMaterial& m) { return m.name == group.material; });
        ASSERT_NE(found, materials.end()) << "group " << group.name << " uses an unknown material";
        std::filesystem::path texture = resolveTexture(dataRoot(), found->diffuseMap);
        EXPECT_TRUE(std::filesystem::is_regular_file(texture)) << found->diffuseMap;
    }
}

TEST_P(GeneratedModel, IsClosedWithoutHolesAndWoundOutward) {
    // Equal positions share one "v" line, so a closed, consistently wound surface
    // uses every directed edge exactly once and its reverse exactly once.
    std::map<std::pair<int, int>, int> edges;
    double volume = 0;
    for (const ObjFace& face : obj_.faces) {
        for (int i = 0; i < 3; ++i) {
            ++edges[{face.corners[i].position, face.corners[(i + 1) % 3].position}];
        }
        const Point& a = obj_.position(face.corners[0]);
        Point area =
            crossProduct(sub(obj_.position(face.corners[1]), a), sub(obj_.position(face.corners[2]), a));
        volume += dotProduct(a, crossProduct(obj_.position(face.corners[1]), obj_.position(face.corners[2])));

        // A zero-area triangle would make the tracer's normal undefined.
        ASSERT_GT(std::sqrt(dotProduct(area, area)), 1e-6) << "degenerate triangle";
        for (const ObjCorner& c : face.corners) {
            EXPECT_GT(dotProduct(obj_.normals[c.normal - 1], area), 0.0) << "normal against the winding";
        }
    }
    for (const auto& [edge, count] : edges) {
        ASSERT_EQ(count, 1) << "edge " << edge.first << "-" << edge.second << " used " << count << " times";
        auto reverse = edges.find({edge.second, edge.first});
        ASSERT_TRUE(reverse != edges.end() && reverse->second == 1)
            << "open edge " << edge.first << "-" << edge.second;
    }
    EXPECT_GT(volume, 0.0) << "surface wound inwards";
}

INSTANTIATE_TEST_SUITE_P(Data, GeneratedModel, testing::ValuesIn(modelFiles()),
                         [](const testing::TestParamInfo<std::string>& info) {
                             std::string name = std::filesystem::path(info.param).stem().string();
                             return name;
                         });

} // namespace
} // namespace verdanium::datagen_test
