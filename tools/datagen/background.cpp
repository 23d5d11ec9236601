#include "background.h"

#include "cube_strip.h"
#include "hash.h"
#include "noise.h"
#include "parallel_rows.h"
#include "portable_math.h"

#include <cmath>

namespace verdanium::datagen {
namespace {

constexpr std::uint32_t kSeed = 0x0a4a17e5U;
constexpr int kFaceSize = 512;

// Cells of this size (in units of the sphere's radius) each hold at most one
// star. A star's image must stay within half a cell of its own cell, which the
// star widths below respect for faces of 256 texels and more.
constexpr double kStarCells = 48.0;

// The milky band of the nebula lies about this great circle.
const Vector3 kBandNormal = normalize({0.25, 1.0, -0.3});

// `band` is 1 on the great circle of the nebula's band and falls off away from it.
Vector3 nebula(const Vector3& d, double band) {
    // A warped domain turns round blobs of noise into swirls and filaments.
    Vector3 w = d * 1.5 + fractalNoiseVector(d * 1.2, 3, hashCombine(kSeed, 1)) * 0.75;

    // Where the clouds are (broad, mostly along the band), and their texture.
    double broad = 0.5 + 0.5 * fractalNoise(d * 1.1 + Vector3{3.1, 1.7, -2.3}, 4, hashCombine(kSeed, 2));
    double detail = 0.5 + 0.5 * fractalNoise(w * 2.4, 6, hashCombine(kSeed, 3));
    double density = smoothstep(0.38, 0.85, 0.6 * broad + 0.35 * band + 0.5 * (detail - 0.5));
    density *= 0.45 + 0.55 * smoothstep(0.3, 0.7, detail);

    // Dark dust: broad soft-edged clouds, and thin lanes where a ridge of noise
    // crests.
    double dustCloud = smoothstep(
        0.56, 0.72, 0.5 + 0.5 * fractalNoise(w * 1.9 + Vector3{-4.2, 0.3, 5.5}, 5, hashCombine(kSeed, 4)));
    double dustLane = smoothstep(0.82, 0.96, ridgedNoise(w * 1.6, 3, hashCombine(kSeed, 5)));
    density *= (1.0 - 0.85 * dustCloud) * (1.0 - 0.6 * dustLane);

    // Dim red haze, through orange, to a pale yellow in the brightest cores.
    const Vector3 haze{0.020, 0.007, 0.004};
    const Vector3 red{0.16, 0.04, 0.012};
    const Vector3 orange{0.55, 0.24, 0.06};
    const Vector3 core{0.85, 0.62, 0.32};
    Vector3 colour = density < 0.4 ? lerp(haze, red, density / 0.4)
                                   : (density < 0.75 ? lerp(red, orange, (density - 0.4) / 0.35)
                                                     : lerp(orange, core, clamp01((density - 0.75) / 0.25)));
    return colour + Vector3{0.012, 0.006, 0.005};
}

Vector3 stars(const Vector3& d, double band, double texelAngle) {
    const double sigma = 0.7 * texelAngle;
    Vector3 cell = d * kStarCells;
    int cx = static_cast<int>(std::floor(cell.x)), cy = static_cast<int>(std::floor(cell.y)),
        cz = static_cast<int>(std::floor(cell.z));
    Vector3 sum;
    for (int dz = -1; dz <= 1; ++dz) {
        for (int dy = -1; dy <= 1; ++dy) {
            for (int dx = -1; dx <= 1; ++dx) {
                // Cells whose middle is far from the shell cannot hold a star.
                Vector3 middle{cx + dx + 0.5, cy + dy + 0.5, cz + dz + 0.5};
                if (std::fabs(length(middle) - kStarCells) > 1.4) {
                    continue;
                }
                std::uint32_t h = hashCell(cx + dx, cy + dy, cz + dz, kSeed);
                Vector3 point{cx + dx + hashToUnit(hashCombine(h, 1)),
                              cy + dy + hashToUnit(hashCombine(h, 2)),
                              cz + dz + hashToUnit(hashCombine(h, 3))};
                // Keep only points in a shell one cell thick about the sphere, so
                // that each star lies within half a cell of its own cell.
                double distance = length(point);
                if (std::fabs(distance - kStarCells) > 0.5) {
                    continue;
                }
                if (hashToUnit(hashCombine(h, 4)) > 0.22 * (0.6 + 0.9 * band)) {
                    continue;
                }
                Vector3 star = point * (1.0 / distance);
                Vector3 offset = d - star;
                double r2 = dot(offset, offset) / (sigma * sigma);
                if (r2 > 9.0) {
                    continue;
                }
                // Many faint stars and a few bright ones: a heavy tail from a
                // uniform draw without calling pow.
                double u = hashToUnit(hashCombine(h, 5));
                double brightness = 0.08 + 0.015 / (u * u + 0.0012);
                double warmth = hashToUnit(hashCombine(h, 6));
                Vector3 tint = lerp(Vector3{0.75, 0.85, 1.15}, Vector3{1.15, 0.85, 0.6}, warmth);
                sum += tint * (brightness * portableExp(-0.5 * r2));
            }
        }
    }
    return sum;
}

} // namespace

Vector3 skyRadiance(const Vector3& direction, double texelAngle) {
    double across = dot(direction, kBandNormal);
    double band = portableExp(-(across * across) / (0.7 * 0.7));
    return nebula(direction, band) + stars(direction, band, texelAngle);
}

FloatImage makeNebulaStrip(int faceSize) {
    FloatImage image(faceSize, 6 * faceSize);
    forEachRow(image.height, [&](int y) {
        for (int x = 0; x < image.width; ++x) {
            Vector3 d = cubeStripDirection(x, y, faceSize);
            double scale = 1.0 / length(d);
            // A texel spans 2 / faceSize on the unit cube, seen at distance |d|;
            // its angular size shrinks towards the face corners by 1 / |d|^2.
            double texelAngle = 2.0 / faceSize * scale * scale;
            image.set(x, y, skyRadiance(d * scale, texelAngle));
        }
    });
    return image;
}

void generateBackground(OutputTree& out) {
    out.write("backgrounds/orange/radiance.pbm", encodePf(makeNebulaStrip(kFaceSize)));
}

} // namespace verdanium::datagen
