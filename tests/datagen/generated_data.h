#pragma once

// Strict readers for the generated data tree, used by the data tests. They check
// the forms that the program's own readers rely on and report every departure as
// a problem text, so a test failure names the file, the line and the rule.

#include <array>
#include <filesystem>
#include <string>
#include <vector>

namespace verdanium::datagen_test {

using Point = std::array<double, 3>;

// The repository's data tree, as the build generated it.
std::filesystem::path dataRoot();

// The models the program loads, relative to the data tree.
const std::vector<std::string>& modelFiles();
const std::vector<std::string>& asteroidFiles();

std::string readFile(const std::filesystem::path& path);

struct ObjCorner {
    int position, texCoord, normal; // 1-based, as in the file
};

struct ObjFace {
    std::array<ObjCorner, 3> corners;
    std::size_t group;
};

struct ObjGroup {
    std::string name;
    std::string material;
};

struct ObjFile {
    std::string materialLibrary;
    std::vector<Point> positions;
    std::vector<Point> normals;
    std::vector<std::array<double, 2>> texCoords;
    std::vector<ObjGroup> groups;
    std::vector<ObjFace> faces;
    std::vector<std::string> problems;

    const Point& position(const ObjCorner& c) const { return positions[c.position - 1]; }
};

ObjFile parseObj(const std::filesystem::path& path);

struct MtlMaterial {
    std::string name;
    std::string diffuseMap;
};

// Materials in file order; `problems` collects lines the program would not take.
std::vector<MtlMaterial> parseMtl(const std::filesystem::path& path, std::vector<std::string>& problems);

struct PfImage {
    int width = 0;
    int height = 0;
    std::vector<float> rgb;
    std::string problem; // empty when the file is well formed
};

PfImage readPf(const std::filesystem::path& path);

// The file that a map_Kd path names, seen from the program's working folder
// (three levels below the repository), found instead under `root`.
std::filesystem::path resolveTexture(const std::filesystem::path& root, const std::string& mapPath);

inline Point sub(const Point& a, const Point& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
inline Point crossProduct(const Point& a, const Point& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
inline double dotProduct(const Point& a, const Point& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

} // namespace verdanium::datagen_test
