#pragma once

#include "foundation/math/vec3.h"
#include "geometry/bounding_box.h"
#include "geometry/bvh.h"
#include "geometry/embree_scene.h"
#include "geometry/obj_reader.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace verdanium {

struct Ray;
struct Hit;

struct TexCoord {
    float u;
    float v;
};

// A triangle mesh, immutable once constructed and always held by shared pointer.
//
// It is a triangle soup: corners 3i, 3i + 1, 3i + 2 form triangle i, nothing is indexed or welded, and a
// triangle is named everywhere by its first corner's index. Corners are stored expanded so that GL can draw
// the arrays with glDrawArrays and a hit finds its corner data by arithmetic on that index alone.
//
// Making one with content needs a current GL context: the arrays are uploaded into buffer objects.
class Geometry {
public:
    // An empty mesh: no corners, empty boxes, no buffers, no acceleration structures.
    Geometry();
    // Reads an OBJ file (and its MTL library). Paths containing "asteroid" are recentred on their mean.
    explicit Geometry(const std::string& name);
    ~Geometry();

    Geometry(const Geometry&) = delete;
    Geometry& operator=(const Geometry&) = delete;

    // The mesh of a file, loaded once per name through the program-wide cache.
    static std::shared_ptr<Geometry> load(std::string name);

    // Nearest hit nearer than `hit.t`, by Embree or by our own hierarchy as gIntersectorMode says.
    bool intersect(const Ray& ray, Hit& hit) const;
    // Whether any triangle is struck within [ray.tMin, ray.tMax].
    bool occluded(const Ray& ray) const;

    // Builds the Embree scene and our Bvh over the final positions; the last step of every construction.
    void buildAcceleration();

    std::vector<Vec3> positions;             // one per corner
    std::vector<Vec3> normals;               // one per corner, as the file gives them
    std::vector<TexCoord> texCoords;         // one per corner
    std::vector<Vec3> extraAttributes0;      // always empty, but uploaded like the others
    std::vector<Vec3> extraAttributes1;      // always empty, but uploaded like the others
    std::vector<uint32_t> indices;           // always empty: meshes are soups
    std::vector<uint64_t> triangleMaterials; // one per triangle, an index into `materials`
    std::vector<ObjMaterial> materials;      // shallow copies: recognise them by position, `name` dangles

    // GL buffer names, 0 for an empty array.
    uint32_t positionBuffer = 0;
    uint32_t normalBuffer = 0;
    uint32_t texCoordBuffer = 0;
    uint32_t extraBuffer0 = 0;
    uint32_t extraBuffer1 = 0;
    uint32_t indexBuffer = 0;

    BoundingBox radiusBounds; // cube of half size r, r the largest distance of a position from the origin
    BoundingBox tightBounds;  // smallest axis-aligned box of the positions; all zero without positions

    // Our own hierarchy; its owner is this mesh, which the traversal names in every hit.
    MeshBvh bvh{this};

    // Embree's structure over the corner positions, empty until buildAcceleration. Embree 3 has no separate
    // Accel and Intersector: one committed, reference-counted scene is both the structure and what answers
    // the nearest-hit and any-hit queries, so this one member stands for the pair.
    EmbreeScene accel;

private:
    void recentre();
    void uploadBuffers();
    // Deletes the buffers that were made and sets all six names to 0.
    void deleteBuffers();
    void computeRadiusBounds();
    void computeTightBounds();
    // The four closing steps shared by files and built-in shapes: upload, both boxes, acceleration.
    void finish();

    friend std::shared_ptr<Geometry> makeQuad(float size);
    friend std::shared_ptr<Geometry> makeCube(float size);
};

// A square of side `size` in the plane z = size / 2, facing +z, as a fan of four triangles around its
// centre. Made once per size and kept to the end of the program.
std::shared_ptr<Geometry> makeQuad(float size);

// A cube of side `size` around the origin, six fan faces facing outwards, with texture coordinates that
// address the cube-map strip. Made once per size and kept to the end of the program.
std::shared_ptr<Geometry> makeCube(float size);

} // namespace verdanium
