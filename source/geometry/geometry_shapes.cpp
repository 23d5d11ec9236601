// The two built-in shapes: the screen quad of the composite pass and the background cube. Both are made of
// the same kind of face, a square split into a fan of four triangles around its centre, 12 corners to a
// face and nothing shared, so that each face carries its own normal and texture coordinates.

#include "geometry/geometry.h"

#include <map>

namespace verdanium {

namespace {

struct Face {
    Vec3 corners[4];
    Vec3 normal;
    TexCoord texCoords[4];
    TexCoord centreTexCoord;
};

// Triangles (c0, c1, m), (c1, c2, m), (c2, c3, m), (c3, c0, m) around the centre m.
void appendFace(Geometry& geometry, const Face& face, const Vec3& centre) {
    for (int k = 0; k < 4; ++k) {
        int next = (k + 1) % 4;
        geometry.positions.insert(geometry.positions.end(), {face.corners[k], face.corners[next], centre});
        geometry.texCoords.insert(geometry.texCoords.end(),
                                  {face.texCoords[k], face.texCoords[next], face.centreTexCoord});
        geometry.normals.insert(geometry.normals.end(), {face.normal, face.normal, face.normal});
    }
}

// Texture coordinates (0, a), (1, a), (1, b), (0, b): across the strip's width, and down the part of the
// cube-map strip that the face occupies.
Face stripFace(const Vec3 (&corners)[4], const Vec3& normal, float a, float b) {
    return Face{{corners[0], corners[1], corners[2], corners[3]},
                normal,
                {{0.0f, a}, {1.0f, a}, {1.0f, b}, {0.0f, b}},
                {0.5f, 0.5f * (a + b)}};
}

// Material 0 for every triangle (the shapes have no materials), then the same closing steps as a file.
std::shared_ptr<Geometry> finishShape(std::shared_ptr<Geometry> geometry) {
    geometry->triangleMaterials.assign(geometry->positions.size() / 3, 0);
    return geometry;
}

// The shape of one size: made by build(size / 2) on first use and kept in `shapes` to the end of the
// program. A build that throws stores nothing.
template <typename Build>
std::shared_ptr<Geometry> shapeOfSize(std::map<float, std::shared_ptr<Geometry>>& shapes, float size,
                                      Build&& build) {
    auto found = shapes.find(size);
    if (found != shapes.end())
        return found->second;
    std::shared_ptr<Geometry> shape = build(size / 2);
    shapes.emplace(size, shape);
    return shape;
}

} // namespace

std::shared_ptr<Geometry> makeQuad(float size) {
    static std::map<float, std::shared_ptr<Geometry>> quads;
    return shapeOfSize(quads, size, [](float h) {
        auto quad = std::make_shared<Geometry>();
        const Face face{{{-h, -h, h}, {h, -h, h}, {h, h, h}, {-h, h, h}},
                        {0.0f, 0.0f, 1.0f},
                        {{0.0f, 0.0f}, {1.0f, 0.0f}, {1.0f, 1.0f}, {0.0f, 1.0f}},
                        {0.5f, 0.5f}};
        appendFace(*quad, face, Vec3{0.0f, 0.0f, h});
        finishShape(quad)->finish();
        return quad;
    });
}

std::shared_ptr<Geometry> makeCube(float size) {
    static std::map<float, std::shared_ptr<Geometry>> cubes;
    return shapeOfSize(cubes, size, [](float h) {
        // The strip's face boundaries k / 6, each rounded once.
        const auto sixths = [](int k) { return float(k) / 6.0f; };
        auto cube = std::make_shared<Geometry>();

        // x = -h, then x = h, y = -h, y = h, z = -h, z = h; each face's v range is its place in the strip.
        appendFace(
            *cube,
            stripFace({{-h, -h, -h}, {-h, -h, h}, {-h, h, h}, {-h, h, -h}}, {-1, 0, 0}, sixths(1), sixths(2)),
            Vec3{-h, 0.0f, 0.0f});
        appendFace(*cube,
                   stripFace({{h, -h, h}, {h, -h, -h}, {h, h, -h}, {h, h, h}}, {1, 0, 0}, 0.0f, sixths(1)),
                   Vec3{h, 0.0f, 0.0f});
        // The y = -h face runs its coordinates the other way round: (1, b), (0, b), (0, a), (1, a).
        const float a = sixths(3), b = sixths(4);
        appendFace(*cube,
                   Face{{{h, -h, h}, {-h, -h, h}, {-h, -h, -h}, {h, -h, -h}},
                        {0, -1, 0},
                        {{1.0f, b}, {0.0f, b}, {0.0f, a}, {1.0f, a}},
                        {0.5f, 0.5f * (a + b)}},
                   Vec3{0.0f, -h, 0.0f});
        appendFace(
            *cube,
            stripFace({{-h, h, h}, {h, h, h}, {h, h, -h}, {-h, h, -h}}, {0, 1, 0}, sixths(2), sixths(3)),
            Vec3{0.0f, h, 0.0f});
        appendFace(
            *cube,
            stripFace({{h, -h, -h}, {-h, -h, -h}, {-h, h, -h}, {h, h, -h}}, {0, 0, -1}, sixths(5), sixths(6)),
            Vec3{0.0f, 0.0f, -h});
        appendFace(
            *cube,
            stripFace({{-h, -h, h}, {h, -h, h}, {h, h, h}, {-h, h, h}}, {0, 0, 1}, sixths(4), sixths(5)),
            Vec3{0.0f, 0.0f, h});

        finishShape(cube)->finish();
        return cube;
    });
}

} // namespace verdanium
