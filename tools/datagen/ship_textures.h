#pragma once

// Painted textures of the ship: hull plating with panel lines and a livery
// stripe, engine metal, the cockpit glass, the red trim, the exhaust glow and
// the rotor blades. All are linear albedo.

#include "float_image.h"

namespace verdanium::datagen {

FloatImage makeHullPlating(int size);
FloatImage makeEngineMetal(int size);
FloatImage makeCanopyGlass(int size);
FloatImage makeRedTrim(int size);
FloatImage makeExhaustGlow(int size);
FloatImage makeRotorBlade(int size);

} // namespace verdanium::datagen
