#pragma once

// The generator's mesh: an indexed surface with a texture coordinate per vertex.
// Vertices on a texture seam are separate vertices whose positions are bitwise
// equal, so the surface stays closed when positions are welded, while each side of
// the seam keeps its own coordinates. Triangles wind counter-clockwise seen from
// outside; the program derives its shading normal from that winding.

#include "vector_math.h"

#include <cstdint>
#include <vector>

namespace verdanium::datagen {

struct Vertex {
    Vector3 position;
    Vector2 uv;
};

struct Triangle {
    std::uint32_t a, b, c;
};

struct Surface {
    std::vector<Vertex> vertices;
    std::vector<Triangle> triangles;

    std::uint32_t addVertex(const Vector3& position, const Vector2& uv) {
        vertices.push_back({position, uv});
        return static_cast<std::uint32_t>(vertices.size() - 1);
    }
    void addTriangle(std::uint32_t a, std::uint32_t b, std::uint32_t c) { triangles.push_back({a, b, c}); }
    // Splits the quad a b c d (in winding order) into a b c and a c d.
    void addQuad(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
        addTriangle(a, b, c);
        addTriangle(a, c, d);
    }
    void append(const Surface& other);
};

// Twice the signed volume-weighted sum; positive for a closed surface wound outward.
double signedVolume(const Surface& surface);

// Reverses the winding of every triangle if the closed surface is wound inward.
// Builders use this instead of reasoning about the handedness of each profile.
void orientOutward(Surface& surface);

void translate(Surface& surface, const Vector3& offset);

// Mirrors through the plane x = 0 and reverses the winding, so the mirrored
// surface still faces outward.
void mirrorX(Surface& surface);

// Rotate about the y or z axis by `angle` radians (right-handed).
void rotateY(Surface& surface, double angle);
void rotateZ(Surface& surface, double angle);

// Mean of the triangle corners: every vertex counts once per triangle it is in,
// which is how the program finds the middle of a rock it spins.
Vector3 cornerMean(const Surface& surface);

// Largest distance of a vertex from the origin.
double boundingRadius(const Surface& surface);

// Unit normal for each triangle corner (3 per triangle, in triangle order): the
// area-weighted mean of the faces around the corner's position whose normals lie
// within `creaseDegrees` of the corner's own face. Sharp fractures and panel edges
// stay sharp while curved parts shade smoothly.
std::vector<Vector3> cornerNormals(const Surface& surface, double creaseDegrees);

} // namespace verdanium::datagen
