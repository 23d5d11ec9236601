#include "world/cone_light.h"

#include "foundation/math/orthonormal_basis.h"

#include <cmath>
#include <numbers>

namespace verdanium {

ConeLight::ConeLight(Vec3 direction_, float angle_, Vec3 radiance_)
    : direction(normalized(direction_)), angle(angle_), radiance(radiance_), axis(direction) {
    // The cosine in single precision, the product in double, as the sampling
    // code expects the exact same figure.
    const float cosine = std::cos(angle);
    solidAngle = static_cast<float>(2.0 * std::numbers::pi * (1.0 - static_cast<double>(cosine)));
    pdf = reciprocal(solidAngle);
    const TangentPair tangents = orthonormalBasis(direction);
    tangentU = tangents.u;
    tangentV = tangents.v;
}

} // namespace verdanium
