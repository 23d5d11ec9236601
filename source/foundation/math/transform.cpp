#include "foundation/math/transform.h"

#include "foundation/math/mat3.h"

#include <cmath>

namespace verdanium {

Transform makeTranslation(const Vec3& t) {
    Transform result;
    result.forward.setColumn(3, {t.x, t.y, t.z, 1.0f});
    result.inverse.setColumn(3, {0.0f - t.x, 0.0f - t.y, 0.0f - t.z, 1.0f});
    return result;
}

Transform makeScale(const Vec3& s) {
    // The reciprocals come first so that a zero component fails before anything is built.
    float inverseX = reciprocal(s.x);
    float inverseY = reciprocal(s.y);
    float inverseZ = reciprocal(s.z);
    Transform result;
    result.forward(0, 0) = s.x;
    result.forward(1, 1) = s.y;
    result.forward(2, 2) = s.z;
    result.inverse(0, 0) = inverseX;
    result.inverse(1, 1) = inverseY;
    result.inverse(2, 2) = inverseZ;
    return result;
}

Transform makeRotation(const Vec3& axis, float angle) {
    // Rodrigues: R = I + s K + (1 - c) K^2, with K the cross-product matrix of the unit axis.
    Mat3 k = crossProductMatrix(normalized(axis));
    float c = std::cos(angle);
    float s = std::sin(angle);
    Mat3 r = Mat3::identity() + s * k + (1.0f - c) * k.power(2);

    Transform result;
    for (int column = 0; column < 3; ++column)
        for (int row = 0; row < 3; ++row)
            result.forward(row, column) = r(row, column);
    // A rotation is orthogonal, so its inverse is its transpose: exact, no inversion.
    result.inverse = transpose(result.forward);
    return result;
}

} // namespace verdanium
