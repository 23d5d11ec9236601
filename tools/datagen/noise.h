#pragma once

// Deterministic 3D gradient noise and its fractal sums. All values are functions
// of position alone, so a texture and a mesh that sample the same point agree,
// and the faces of a cube map that sample the same direction meet without seams.

#include "vector_math.h"

#include <cstdint>

namespace verdanium::datagen {

// Perlin-style gradient noise, roughly in [-1, 1], zero at lattice points.
double gradientNoise(const Vector3& p, std::uint32_t seed);

// Fractal sum of octaves, each at twice the frequency and half the amplitude,
// normalised by the total amplitude so the result stays roughly in [-1, 1].
double fractalNoise(const Vector3& p, int octaves, std::uint32_t seed);

// Ridged fractal noise in [0, 1]: sharp crests where the base noise crosses zero,
// used for ridges on rocks and for filaments of dust in the nebula.
double ridgedNoise(const Vector3& p, int octaves, std::uint32_t seed);

// Three decorrelated fractal sums, for warping the domain of another noise.
Vector3 fractalNoiseVector(const Vector3& p, int octaves, std::uint32_t seed);

} // namespace verdanium::datagen
