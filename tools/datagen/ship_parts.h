#pragma once

// The ship's geometry. Hull space has the nose towards +z, up +y and the ship's
// left towards +x. The engines hang on pivots at (+-13.793, 8.991, -1.88) of
// hull space; in engine space the pivot is the origin and the rotor sits at
// (5.749, -0.415, 8.332) (left engine), turned by -60 degrees about z. The
// rotor is built about its own origin with its axis along z.

#include "obj_writer.h"

#include <vector>

namespace verdanium::datagen {

// Material names shared by the builders and the MTL files.
inline constexpr const char* kPlatingMaterial = "hull_plating";
inline constexpr const char* kGlassMaterial = "canopy_glass";
inline constexpr const char* kTrimMaterial = "trim_red";
inline constexpr const char* kEngineMaterial = "engine_metal";
inline constexpr const char* kGlowMaterial = "exhaust_glow";
inline constexpr const char* kRotorMaterial = "rotor_blade";

// Where the nacelle's axis and the rotor lie in the left engine's space.
inline constexpr Vector3 kRotorMount{5.749, -0.415, 8.332};
// Where the left engine's pivot lies in hull space.
inline constexpr Vector3 kEngineMount{13.793, 8.991, -1.88};

std::vector<MeshGroup> buildHull();

// The left engine; the right one is its mirror image through x = 0.
std::vector<MeshGroup> buildLeftEngine();
std::vector<MeshGroup> buildRightEngine();

std::vector<MeshGroup> buildRotor();

} // namespace verdanium::datagen
