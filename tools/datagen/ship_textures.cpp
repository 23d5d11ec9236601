#include "ship_textures.h"

#include "hash.h"
#include "noise.h"

#include <cmath>

namespace verdanium::datagen {
namespace {

// Texture coordinates of texel (x, y), with v upwards as the program reads them.
Vector2 texelUv(int x, int y, int size) {
    return {(x + 0.5) / size, 1.0 - (y + 0.5) / size};
}

// Weathering: broad stains and fine grain, around 1.
double grime(const Vector2& uv, std::uint32_t seed) {
    Vector3 p{uv.x * 6.0, uv.y * 6.0, 0.5};
    return 1.0 + 0.10 * fractalNoise(p, 5, seed) + 0.04 * gradientNoise(p * 24.0, hashCombine(seed, 9));
}

// Distance to the nearest line of a grid of `cells` cells across [0, 1], in cells.
double gridLineDistance(double t, double cells) {
    double f = t * cells;
    double fraction = f - std::floor(f);
    return std::min(fraction, 1.0 - fraction);
}

template <typename Paint>
FloatImage paint(int size, const Paint& texel) {
    FloatImage image(size, size);
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            image.set(x, y, texel(texelUv(x, y, size)));
        }
    }
    return image;
}

} // namespace

FloatImage makeHullPlating(int size) {
    return paint(size, [](const Vector2& uv) {
        // u runs around the hull (0.25 on top), v from tail to nose. Panels are
        // staggered like courses of brickwork so the seams don't form a grid.
        const double columns = 20.0, rows = 14.0;
        double row = std::floor(uv.y * rows);
        double shiftedU = uv.x + (static_cast<int>(row) % 2) * 0.5 / columns;
        double column = std::floor(shiftedU * columns);
        std::uint32_t panel = hashCell(static_cast<int>(column), static_cast<int>(row), 0, 0x9a1e11U);
        Vector3 colour = Vector3{0.40, 0.39, 0.36} * (0.9 + 0.15 * hashToUnit(panel));

        double seam = std::min(gridLineDistance(shiftedU, columns) * 1.0 / columns * 512.0,
                               gridLineDistance(uv.y, rows) * 1.0 / rows * 512.0);
        colour *= seam < 0.8 ? 0.45 : 1.0;

        // A livery stripe along the spine and two along the flanks.
        double spine = std::fabs(uv.x - 0.25);
        if (spine < 0.011) {
            colour = Vector3{0.50, 0.10, 0.06};
        } else if (spine < 0.015) {
            colour = Vector3{0.62, 0.60, 0.55};
        }
        double flank =
            std::min(std::fabs(uv.x - 0.02), std::min(std::fabs(uv.x - 0.98), std::fabs(uv.x - 0.52)));
        if (flank < 0.008 && uv.y > 0.3) {
            colour = Vector3{0.50, 0.10, 0.06};
        }
        return colour * grime(uv, 0x5117U);
    });
}

FloatImage makeEngineMetal(int size) {
    return paint(size, [](const Vector2& uv) {
        // Rings round the nacelle (v runs along it) and brushed streaks along it.
        double ring = gridLineDistance(uv.y, 12.0) / 12.0 * 256.0;
        double brushed = gradientNoise({uv.x * 80.0, uv.y * 3.0, 0.3}, 0xb1U);
        Vector3 colour = Vector3{0.26, 0.26, 0.28} * (1.0 + 0.08 * brushed);
        colour *= ring < 0.9 ? 0.55 : 1.0;
        // Soot darkens the rear quarter where the nozzle is.
        double soot = uv.y < 0.2 ? 0.6 + 2.0 * uv.y : 1.0;
        return colour * soot * grime(uv, 0xe2U);
    });
}

FloatImage makeCanopyGlass(int size) {
    return paint(size, [](const Vector2& uv) {
        // Dark tinted glass with window frames running across it.
        double frame = gridLineDistance(uv.x, 8.0) / 8.0 * 64.0;
        Vector3 glass{0.05, 0.08, 0.13};
        glass *= 1.0 + 0.6 * uv.y;
        return frame < 0.7 ? Vector3{0.30, 0.30, 0.31} : glass;
    });
}

FloatImage makeRedTrim(int size) {
    return paint(size, [](const Vector2& uv) {
        double band = std::fabs(uv.y - 0.5);
        Vector3 colour = band < 0.08 ? Vector3{0.70, 0.66, 0.58} : Vector3{0.58, 0.13, 0.07};
        return colour * grime(uv, 0x7e1U);
    });
}

FloatImage makeExhaustGlow(int size) {
    return paint(size, [](const Vector2& uv) {
        // A hot white-yellow core fading to orange at the rim of the nozzle.
        double r = std::fabs(uv.y - 0.5) * 2.0;
        return lerp(Vector3{0.98, 0.86, 0.55}, Vector3{0.95, 0.45, 0.12}, clamp01(r));
    });
}

FloatImage makeRotorBlade(int size) {
    return paint(size, [](const Vector2& uv) {
        // Blades (v above 0.2) with yellow warning tips; the spinner below.
        if (uv.y < 0.2) {
            return Vector3{0.30, 0.30, 0.32};
        }
        return uv.y > 0.88 ? Vector3{0.80, 0.62, 0.10} : Vector3{0.46, 0.46, 0.48} * grime(uv, 0x40fU);
    });
}

} // namespace verdanium::datagen
