#include "mesh.h"

#include "portable_math.h"

#include <map>
#include <tuple>

namespace verdanium::datagen {

void Surface::append(const Surface& other) {
    auto offset = static_cast<std::uint32_t>(vertices.size());
    vertices.insert(vertices.end(), other.vertices.begin(), other.vertices.end());
    for (const Triangle& t : other.triangles) {
        addTriangle(t.a + offset, t.b + offset, t.c + offset);
    }
}

double signedVolume(const Surface& surface) {
    double volume = 0;
    for (const Triangle& t : surface.triangles) {
        const Vector3& a = surface.vertices[t.a].position;
        const Vector3& b = surface.vertices[t.b].position;
        const Vector3& c = surface.vertices[t.c].position;
        volume += dot(a, cross(b, c));
    }
    return volume / 6.0;
}

void orientOutward(Surface& surface) {
    if (signedVolume(surface) < 0) {
        for (Triangle& t : surface.triangles) {
            std::swap(t.b, t.c);
        }
    }
}

void translate(Surface& surface, const Vector3& offset) {
    for (Vertex& v : surface.vertices) {
        v.position += offset;
    }
}

void mirrorX(Surface& surface) {
    for (Vertex& v : surface.vertices) {
        v.position.x = -v.position.x;
    }
    for (Triangle& t : surface.triangles) {
        std::swap(t.b, t.c);
    }
}

void rotateY(Surface& surface, double angle) {
    double c = portableCos(angle), s = portableSin(angle);
    for (Vertex& v : surface.vertices) {
        Vector3 p = v.position;
        v.position = {c * p.x + s * p.z, p.y, -s * p.x + c * p.z};
    }
}

void rotateZ(Surface& surface, double angle) {
    double c = portableCos(angle), s = portableSin(angle);
    for (Vertex& v : surface.vertices) {
        Vector3 p = v.position;
        v.position = {c * p.x - s * p.y, s * p.x + c * p.y, p.z};
    }
}

Vector3 cornerMean(const Surface& surface) {
    Vector3 sum;
    for (const Triangle& t : surface.triangles) {
        sum += surface.vertices[t.a].position;
        sum += surface.vertices[t.b].position;
        sum += surface.vertices[t.c].position;
    }
    return surface.triangles.empty() ? sum : sum * (1.0 / (3.0 * surface.triangles.size()));
}

double boundingRadius(const Surface& surface) {
    double radius = 0;
    for (const Vertex& v : surface.vertices) {
        double r = length(v.position);
        radius = r > radius ? r : radius;
    }
    return radius;
}

std::vector<Vector3> cornerNormals(const Surface& surface, double creaseDegrees) {
    // Weld by exact position: seam vertices were built with bitwise equal positions.
    std::map<std::tuple<double, double, double>, std::uint32_t> welded;
    std::vector<std::uint32_t> weldOf(surface.vertices.size());
    for (std::size_t i = 0; i < surface.vertices.size(); ++i) {
        const Vector3& p = surface.vertices[i].position;
        auto [it, inserted] =
            welded.emplace(std::make_tuple(p.x, p.y, p.z), static_cast<std::uint32_t>(welded.size()));
        weldOf[i] = it->second;
    }

    std::vector<Vector3> faceArea(surface.triangles.size()); // cross product: direction and twice the area
    std::vector<std::vector<std::uint32_t>> facesAt(welded.size());
    for (std::size_t f = 0; f < surface.triangles.size(); ++f) {
        const Triangle& t = surface.triangles[f];
        const Vector3& a = surface.vertices[t.a].position;
        faceArea[f] = cross(surface.vertices[t.b].position - a, surface.vertices[t.c].position - a);
        for (std::uint32_t v : {t.a, t.b, t.c}) {
            facesAt[weldOf[v]].push_back(static_cast<std::uint32_t>(f));
        }
    }

    double cosCrease = portableCos(creaseDegrees * kPi / 180.0);
    std::vector<Vector3> normals;
    normals.reserve(surface.triangles.size() * 3);
    for (std::size_t f = 0; f < surface.triangles.size(); ++f) {
        const Triangle& t = surface.triangles[f];
        Vector3 own = normalize(faceArea[f]);
        for (std::uint32_t v : {t.a, t.b, t.c}) {
            Vector3 sum;
            for (std::uint32_t g : facesAt[weldOf[v]]) {
                if (dot(normalize(faceArea[g]), own) >= cosCrease) {
                    sum += faceArea[g];
                }
            }
            Vector3 n = normalize(sum);
            normals.push_back(length(n) > 0 ? n : own);
        }
    }
    return normals;
}

} // namespace verdanium::datagen
