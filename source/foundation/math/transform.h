#pragma once

#include "foundation/math/mat4.h"
#include "foundation/math/math_errors.h"
#include "foundation/math/vec3.h"

namespace verdanium {

// A matrix that carries its own inverse, so that nothing ever inverts a general
// matrix at run time: every maker below writes the inverse in closed form, and
// products compose both sides.
//
// Contract: when singular is false, inverse is forward's inverse up to rounding.
// When singular is true, inverse is meaningless; read it through
// checkedInverse(), which throws "transformation not invertible".
struct Transform {
    Mat4 forward = Mat4::identity();
    Mat4 inverse = Mat4::identity();
    bool singular = false;

    // The identity, not singular.
    Transform() = default;

    // A transform known only by its forward matrix: singular, inverse zero.
    explicit Transform(const Mat4& forwardOnly) : forward(forwardOnly), inverse(), singular(true) {}

    // A pair the caller vouches for: inverse is forward's inverse.
    Transform(const Mat4& forward_, const Mat4& inverse_) : forward(forward_), inverse(inverse_) {}

    const Mat4& checkedInverse() const {
        if (singular)
            throwTransformationNotInvertible();
        return inverse;
    }

    // this := this * other, so other acts first. A singular factor makes the
    // result singular for good and leaves inverse as it was.
    Transform& operator*=(const Transform& other) {
        forward = forward * other.forward;
        if (singular || other.singular) {
            singular = true;
            return *this;
        }
        inverse = other.inverse * inverse;
        return *this;
    }
};

inline Transform operator*(Transform a, const Transform& b) {
    return a *= b;
}

Transform makeTranslation(const Vec3& t);

// Right-handed rotation about axis (any non-zero length) by angle radians.
// Throws "element not invertible" for a zero axis.
Transform makeRotation(const Vec3& axis, float angle);

// Throws "element not invertible" when a component is zero.
Transform makeScale(const Vec3& s);

} // namespace verdanium
