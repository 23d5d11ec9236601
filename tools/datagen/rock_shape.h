#pragma once

// The shape of one rock as a function of direction from its centre: a base body
// (an ellipsoid or two overlapping lobes), broad lumps and ridges, fracture
// planes that cut flat broken faces, and craters with raised rims. The mesh and
// the albedo texture both sample it, so dark crater floors and bright fresh
// fractures in the texture sit exactly where the geometry has them.

#include "vector_math.h"

#include <cstdint>
#include <vector>

namespace verdanium::datagen {

struct RockRecipe {
    std::uint32_t seed = 0;
    Vector3 ellipsoid{1, 1, 1};  // semi-axes of the base body, before scaling
    double lobeOffset = 0.0;     // > 0: two lobes at +-offset along x (a contact binary)
    double lumpAmplitude = 0.15; // broad fractal lumps, relative to the radius
    double ridgeAmplitude = 0.0; // sharp ridged noise, relative to the radius
    int craterCount = 20;
    double craterMaxSize = 0.35;  // chord radius on the unit sphere
    double giantCraterSize = 0.0; // > 0: one extra crater of this size
    int cutCount = 0;             // fracture planes
    double cutDepth = 0.8;        // plane distance as a share of the body radius
};

// What the surface is like at one direction; the texture reads the extras.
struct RockSample {
    double radius = 1.0;
    double craterFloor = 0.0; // 1 at the middle of a crater bowl
    double craterRim = 0.0;   // 1 on a rim crest
    double ejecta = 0.0;      // bright rays around fresh craters
    double fracture = 0.0;    // 1 on a fresh broken face
};

class RockShape {
public:
    explicit RockShape(const RockRecipe& recipe);

    RockSample sample(const Vector3& direction) const;
    std::uint32_t seed() const { return recipe_.seed; }

private:
    struct Crater {
        Vector3 centre;
        double size;       // chord radius
        double depth;      // relative to the body radius
        double floorDepth; // where the bowl flattens, as a share of the depth
        bool fresh;
    };
    struct Cut {
        Vector3 normal;
        double distance;
    };

    double baseRadius(const Vector3& direction) const;

    RockRecipe recipe_;
    std::vector<Crater> craters_;
    std::vector<Cut> cuts_;
};

} // namespace verdanium::datagen
