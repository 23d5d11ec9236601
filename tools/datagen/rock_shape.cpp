#include "rock_shape.h"

#include "hash.h"
#include "noise.h"

#include <algorithm>
#include <cmath>

namespace verdanium::datagen {
namespace {

// Distance from the origin, along the unit `direction`, to the far side of the
// ellipsoid with the given centre and semi-axes; the origin must lie inside.
double ellipsoidExit(const Vector3& direction, const Vector3& centre, const Vector3& axes) {
    Vector3 inverse{1.0 / axes.x, 1.0 / axes.y, 1.0 / axes.z};
    Vector3 d = direction * inverse, c = centre * inverse;
    double a = dot(d, d), b = dot(d, c), k = dot(c, c) - 1.0;
    return (b + std::sqrt(b * b - a * k)) / a;
}

// Polynomial smooth minimum: equal to min(a, b) away from the crossing, and
// rounded over a width of `k` so broken edges are chamfered rather than jagged.
double smoothMin(double a, double b, double k) {
    double h = clamp01(0.5 + 0.5 * (b - a) / k);
    return mix(b, a, h) - k * h * (1.0 - h);
}

} // namespace

RockShape::RockShape(const RockRecipe& recipe) : recipe_(recipe) {
    RandomStream random(0x5eed0000ULL + recipe.seed);
    auto addCrater = [&](double size) {
        Crater c;
        c.centre = random.unitVector();
        c.size = size;
        c.depth = 0.22 * size * random.range(0.6, 1.2);
        c.floorDepth = random.range(0.65, 1.0);
        c.fresh = random.uniform() < 0.2;
        craters_.push_back(c);
    };
    if (recipe.giantCraterSize > 0) {
        addCrater(recipe.giantCraterSize);
        craters_.back().depth *= 0.6;
        craters_.back().fresh = false;
    }
    for (int i = 0; i < recipe.craterCount; ++i) {
        // Cubing a uniform draw makes small craters common and large ones rare.
        double u = random.uniform();
        addCrater(0.1 + (recipe.craterMaxSize - 0.1) * u * u * u);
    }
    for (int i = 0; i < recipe.cutCount; ++i) {
        Cut cut;
        cut.normal = random.unitVector();
        double reach = ellipsoidExit(cut.normal, {}, recipe.ellipsoid);
        cut.distance = reach * recipe.cutDepth * random.range(0.85, 1.1);
        cuts_.push_back(cut);
    }
}

double RockShape::baseRadius(const Vector3& direction) const {
    if (recipe_.lobeOffset <= 0) {
        return ellipsoidExit(direction, {}, recipe_.ellipsoid);
    }
    // Two lobes that both contain the origin, so the exit distance of each is
    // continuous over all directions; the smooth maximum fills in the neck.
    Vector3 offset{recipe_.lobeOffset, 0, 0};
    Vector3 smaller = recipe_.ellipsoid * 0.8;
    double first = ellipsoidExit(direction, offset * -0.8, recipe_.ellipsoid);
    double second = ellipsoidExit(direction, offset, smaller);
    return -smoothMin(-first, -second, 0.25);
}

RockSample RockShape::sample(const Vector3& direction) const {
    RockSample s;
    const std::uint32_t seed = recipe_.seed;
    double r = baseRadius(direction);
    Vector3 warped = direction + fractalNoiseVector(direction * 1.3, 2, hashCombine(seed, 1)) * 0.35;
    r *= 1.0 + recipe_.lumpAmplitude * fractalNoise(warped * 1.6, 4, hashCombine(seed, 2));
    r *= 1.0 + recipe_.ridgeAmplitude * (ridgedNoise(warped * 2.2, 4, hashCombine(seed, 3)) - 0.55);
    // Rubble at the scale of the mesh's cells, so flat-shaded facets read as rock.
    r *= 1.0 + 0.025 * fractalNoise(direction * 14.0, 2, hashCombine(seed, 5));

    double relief = 0;
    for (const Crater& c : craters_) {
        double chord2 = 2.0 - 2.0 * dot(direction, c.centre);
        if (chord2 >= 9.0 * c.size * c.size) {
            continue;
        }
        double x = std::sqrt(std::max(chord2, 0.0)) / c.size;
        double rim = 0.3 * c.depth;
        if (x < 1.0) {
            relief += std::max(c.depth * (x * x - 1.0), -c.depth * c.floorDepth) + rim;
            s.craterFloor = std::max(s.craterFloor, 1.0 - x * x);
        } else if (x < 2.0) {
            double t = x - 1.0;
            relief += rim * (1.0 - t) * (1.0 - t);
        }
        s.craterRim = std::max(s.craterRim, 1.0 - std::min(1.0, std::fabs(x - 1.0) * 4.0));
        if (c.fresh && x > 0.6) {
            // A blotchy blanket of bright ejecta close to the rim, and a few thin
            // rays further out: noise over the direction away from the centre
            // varies around the crater but not along a ray, and a second noise
            // breaks each ray into pieces.
            double blanket = smoothstep(0.6, 1.0, x) * (1.0 - smoothstep(1.0, 1.9, x)) *
                             (0.6 + 0.6 * gradientNoise(direction * 25.0, seed));
            Vector3 away = normalize(direction - c.centre * dot(direction, c.centre));
            double ray = smoothstep(0.45, 0.7, gradientNoise(away * 11.0 + c.centre * 13.0, seed));
            ray *= smoothstep(-0.1, 0.3, gradientNoise(direction * 9.0, hashCombine(seed, 6)));
            double falloff = clamp01(1.0 - (x - 1.0) / 2.0);
            s.ejecta = std::max(s.ejecta, clamp01(std::max(blanket, 0.7 * ray * falloff * falloff)));
        }
    }
    r *= 1.0 + relief;

    for (const Cut& cut : cuts_) {
        double facing = dot(direction, cut.normal);
        if (facing <= 0) {
            continue;
        }
        // A faintly rough fracture face: a plane with a little fine noise on it.
        double plane = cut.distance / facing;
        plane *= 1.0 + 0.02 * fractalNoise(direction * 7.0, 3, hashCombine(seed, 4));
        double before = r;
        r = smoothMin(r, plane, 0.04 * plane);
        s.fracture = std::max(s.fracture, clamp01((before - r) / (0.03 * before)));
    }
    s.radius = r;
    return s;
}

} // namespace verdanium::datagen
