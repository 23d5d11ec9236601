#include "noise.h"

#include "hash.h"

#include <cmath>

namespace verdanium::datagen {
namespace {

// Quintic fade: continuous second derivative, so shading shows no lattice creases.
double fade(double t) {
    return t * t * t * (t * (t * 6 - 15) + 10);
}

// The twelve edge directions of a cube (four repeated to make sixteen), which
// avoids the axis-aligned bias of random gradients. A table rather than a switch:
// the index is random, and a branch on it would be mispredicted half the time.
constexpr double kGradients[16][3] = {
    {1, 1, 0}, {-1, 1, 0}, {1, -1, 0}, {-1, -1, 0}, {1, 0, 1}, {-1, 0, 1}, {1, 0, -1}, {-1, 0, -1},
    {0, 1, 1}, {0, -1, 1}, {0, 1, -1}, {0, -1, -1}, {1, 1, 0}, {0, -1, 1}, {-1, 1, 0}, {0, -1, -1}};

double gradientDot(std::uint32_t hash, double x, double y, double z) {
    const double* g = kGradients[hash & 15U];
    return g[0] * x + g[1] * y + g[2] * z;
}

} // namespace

double gradientNoise(const Vector3& p, std::uint32_t seed) {
    double fx = std::floor(p.x), fy = std::floor(p.y), fz = std::floor(p.z);
    int ix = static_cast<int>(fx), iy = static_cast<int>(fy), iz = static_cast<int>(fz);
    double x = p.x - fx, y = p.y - fy, z = p.z - fz;
    double u = fade(x), v = fade(y), w = fade(z);

    auto corner = [&](int dx, int dy, int dz) {
        return gradientDot(hashCell(ix + dx, iy + dy, iz + dz, seed), x - dx, y - dy, z - dz);
    };
    double x00 = mix(corner(0, 0, 0), corner(1, 0, 0), u);
    double x10 = mix(corner(0, 1, 0), corner(1, 1, 0), u);
    double x01 = mix(corner(0, 0, 1), corner(1, 0, 1), u);
    double x11 = mix(corner(0, 1, 1), corner(1, 1, 1), u);
    return mix(mix(x00, x10, v), mix(x01, x11, v), w);
}

double fractalNoise(const Vector3& p, int octaves, std::uint32_t seed) {
    double sum = 0, amplitude = 1, total = 0;
    Vector3 q = p;
    for (int i = 0; i < octaves; ++i) {
        sum += amplitude * gradientNoise(q, hashCombine(seed, static_cast<std::uint32_t>(i)));
        total += amplitude;
        amplitude *= 0.5;
        // A slight rotation-free offset per octave keeps lattice points of the
        // octaves from lining up at the origin.
        q = q * 2.0 + Vector3{17.13, -31.71, 7.37};
    }
    return sum / total;
}

double ridgedNoise(const Vector3& p, int octaves, std::uint32_t seed) {
    double sum = 0, amplitude = 1, total = 0;
    Vector3 q = p;
    for (int i = 0; i < octaves; ++i) {
        double n = 1.0 - std::fabs(gradientNoise(q, hashCombine(seed, static_cast<std::uint32_t>(i))));
        sum += amplitude * n * n;
        total += amplitude;
        amplitude *= 0.5;
        q = q * 2.0 + Vector3{-11.31, 23.17, 5.91};
    }
    return sum / total;
}

Vector3 fractalNoiseVector(const Vector3& p, int octaves, std::uint32_t seed) {
    return {fractalNoise(p, octaves, hashCombine(seed, 101)),
            fractalNoise(p, octaves, hashCombine(seed, 202)),
            fractalNoise(p, octaves, hashCombine(seed, 303))};
}

} // namespace verdanium::datagen
