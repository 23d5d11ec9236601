#include "rock_texture.h"

#include "cube_sphere.h"
#include "hash.h"
#include "noise.h"
#include "parallel_rows.h"

namespace verdanium::datagen {

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

            if (palette.veinAmount > 0) {
                double vein = ridgedNoise(d * 3.1, 3, hashCombine(seed, 4));
                double strength = smoothstep(0.86, 0.95, vein) * palette.veinAmount;
                colour = lerp(colour, palette.vein, clamp01(strength));
            }
            colour = {clamp01(colour.x) * 0.95, clamp01(colour.y) * 0.95, clamp01(colour.z) * 0.95};
            image.set(x, y, colour);
        }
    });
    return image;
}

} // namespace verdanium::datagen
