#include "cube_sphere.h"

#include "hash.h"
#include "portable_math.h"

#include <map>
#include <tuple>

namespace verdanium::datagen {
namespace {

// Axes of each face: u cross v is the outward normal, so a grid quad taken in
// the order (i, j), (i+1, j), (i+1, j+1), (i, j+1) winds counter-clockwise.
struct FaceAxes {
    int normalAxis, sign, uAxis, vAxis;
};
constexpr FaceAxes kFaces[6] = {{0, 1, 1, 2},  {0, -1, 2, 1}, {1, 1, 2, 0},
                                {1, -1, 0, 2}, {2, 1, 0, 1},  {2, -1, 1, 0}};

double warp(double s) {
    return portableTan((s - 0.5) * (kPi / 2));
}

void setAxis(Vector3& v, int axis, double value) {
    (axis == 0 ? v.x : axis == 1 ? v.y : v.z) = value;
}

} // namespace

Vector3 cubeSphereDirection(int face, double s, double t) {
    const FaceAxes& f = kFaces[face];
    Vector3 v;
    setAxis(v, f.normalAxis, f.sign);
    setAxis(v, f.uAxis, warp(s));
    setAxis(v, f.vAxis, warp(t));
    return normalize(v);
}

Vector2 atlasUv(int face, double s, double t, int tileTexels) {
    double tile = tileTexels, inner = tile - 2.0;
    double x = (face % 3) * tile + 1.0 + s * inner;
    double yFromTop = (face / 3) * tile + tile - 1.0 - t * inner;
    return {x / (3.0 * tile), 1.0 - yFromTop / (2.0 * tile)};
}

void atlasTexel(int x, int y, int tileTexels, int& face, double& s, double& t) {
    face = (y / tileTexels) * 3 + x / tileTexels;
    double inner = tileTexels - 2.0;
    double tx = x % tileTexels + 0.5, ty = y % tileTexels + 0.5;
    s = (tx - 1.0) / inner;
    t = (tileTexels - 1.0 - ty) / inner;
}

Surface makeCubeSphere(int subdivisions, int tileTexels, double jitter,
                       const std::function<Vector3(const Vector3&)>& place) {
    const int n = subdivisions;
    std::vector<double> coordinate(n + 1);
    for (int i = 0; i <= n; ++i) {
        coordinate[i] = warp(static_cast<double>(i) / n);
    }
    coordinate[0] = -1.0;
    coordinate[n] = 1.0;

    // Every lattice point is placed once; the faces look their points up here.
    std::map<std::tuple<int, int, int>, Vector3> placed;
    auto latticePosition = [&](int lx, int ly, int lz) {
        auto key = std::make_tuple(lx, ly, lz);
        auto it = placed.find(key);
        if (it == placed.end()) {
            Vector3 direction = normalize({coordinate[lx], coordinate[ly], coordinate[lz]});
            std::uint32_t h = hashCell(lx, ly, lz, 0x717e5U);
            Vector3 shift{hashToUnit(hash32(h)) - 0.5, hashToUnit(hash32(h + 1)) - 0.5,
                          hashToUnit(hash32(h + 2)) - 0.5};
            shift -= direction * dot(shift, direction);
            direction = normalize(direction + shift * (2.0 * jitter * (kPi / 2) / n));
            it = placed.emplace(key, place(direction)).first;
        }
        return it->second;
    };

    Surface surface;
    for (int face = 0; face < 6; ++face) {
        const FaceAxes& f = kFaces[face];
        auto first = static_cast<std::uint32_t>(surface.vertices.size());
        for (int j = 0; j <= n; ++j) {
            for (int i = 0; i <= n; ++i) {
                int lattice[3];
                lattice[f.normalAxis] = f.sign > 0 ? n : 0;
                lattice[f.uAxis] = i;
                lattice[f.vAxis] = j;
                double s = static_cast<double>(i) / n, t = static_cast<double>(j) / n;
                surface.addVertex(latticePosition(lattice[0], lattice[1], lattice[2]),
                                  atlasUv(face, s, t, tileTexels));
            }
        }
        auto at = [&](int i, int j) { return first + static_cast<std::uint32_t>(j * (n + 1) + i); };
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) {
                std::uint32_t a = at(i, j), b = at(i + 1, j), c = at(i + 1, j + 1), d = at(i, j + 1);
                // Split along the shorter diagonal: on a bumpy surface the other
                // choice makes long thin triangles that fold across ridges.
                double ac = length(surface.vertices[a].position - surface.vertices[c].position);
                double bd = length(surface.vertices[b].position - surface.vertices[d].position);
                if (ac <= bd) {
                    surface.addQuad(a, b, c, d);
                } else {
                    surface.addQuad(b, c, d, a);
                }
            }
        }
    }
    orientOutward(surface);
    return surface;
}

} // namespace verdanium::datagen
