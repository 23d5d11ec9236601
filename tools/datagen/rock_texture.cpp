#include "rock_texture.h"

#include "cube_sphere.h"
#include "hash.h"
#include "noise.h"
#include "parallel_rows.h"

#include <cmath>

namespace verdanium::datagen {

namespace {

// Craters too small for the mesh, painted in: a dark floor and a light rim for
// each of a scattering of points over the sphere (at most one per grid cell, as
// for the stars of the background). Returns a factor around 1.
double microCraters(const Vector3& d, std::uint32_t seed) {
    constexpr double kCells = 22.0;
    Vector3 cell = d * kCells;
    int cx = static_cast<int>(std::floor(cell.x)), cy = static_cast<int>(std::floor(cell.y)),
        cz = static_cast<int>(std::floor(cell.z));
    double factor = 1.0;
    for (int dz = -1; dz <= 1; ++dz) {
        for (int dy = -1; dy <= 1; ++dy) {
            for (int dx = -1; dx <= 1; ++dx) {
                std::uint32_t h = hashCell(cx + dx, cy + dy, cz + dz, seed);
                if (hashToUnit(hash32(h)) > 0.3) {
                    continue;
                }
                Vector3 centre =
                    normalize({cx + dx + hashToUnit(hash32(h + 1)), cy + dy + hashToUnit(hash32(h + 2)),
                               cz + dz + hashToUnit(hash32(h + 3))});
                double u = hashToUnit(hash32(h + 4));
                double radius = (0.2 + 0.6 * u * u) / kCells;
                double x = length(d - centre) / radius;
                if (x < 0.85) {
                    factor *= 0.82 + 0.1 * x;
                } else if (x < 1.15) {
                    factor *= 1.12;
                }
            }
        }
    }
    return factor;
}

} // namespace

FloatImage makeRockAlbedo(const RockShape& shape, const RockPalette& palette, int tileTexels) {
    FloatImage image(3 * tileTexels, 2 * tileTexels);
    const std::uint32_t seed = hashCombine(shape.seed(), 77);
    forEachRow(image.height, [&](int y) {
        for (int x = 0; x < image.width; ++x) {
            int face = 0;
            double s = 0, t = 0;
            atlasTexel(x, y, tileTexels, face, s, t);
            Vector3 d = cubeSphereDirection(face, s, t);
            RockSample rock = shape.sample(d);

            // Broad regions of lighter and darker material, then mottling.
            double region = smoothstep(-0.35, 0.35, fractalNoise(d * 1.7, 3, hashCombine(seed, 1)));
            Vector3 colour = lerp(palette.dark, palette.light, region);
            double mottle = fractalNoise(d * 7.0, 4, hashCombine(seed, 2));
            double grain = gradientNoise(d * 90.0, hashCombine(seed, 3));
            colour *= 1.0 + 0.22 * mottle + 0.08 * grain;

            // Crater floors collect dark fines; rims expose brighter rock.
            colour *= 1.0 - 0.22 * rock.craterFloor + 0.12 * rock.craterRim;
            colour = lerp(colour, palette.fresh, clamp01(0.55 * rock.ejecta + 0.7 * rock.fracture));

            colour *= microCraters(d, seed);

            if (palette.veinAmount > 0) {
                // Veins follow the zero set of a warped noise: thin winding lines.
                Vector3 w = d * 2.2 + fractalNoiseVector(d * 2.0, 2, hashCombine(seed, 5)) * 0.3;
                double distance = std::fabs(fractalNoise(w, 2, hashCombine(seed, 4)));
                double strength = (1.0 - smoothstep(0.008, 0.02, distance)) * palette.veinAmount;
                colour = lerp(colour, palette.vein, clamp01(strength));
            }
            colour = {clamp01(colour.x) * 0.95, clamp01(colour.y) * 0.95, clamp01(colour.z) * 0.95};
            image.set(x, y, colour);
        }
    });
    return image;
}

} // namespace verdanium::datagen
