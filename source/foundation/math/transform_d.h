#pragma once

#include "foundation/math/mat4d.h"
#include "foundation/math/transform.h"

namespace verdanium {

// The 64-bit twin of Transform, for projection matrices, which are formed in
// double precision and narrowed once.
struct TransformD {
    Mat4d forward = Mat4d::identity();
    Mat4d inverse = Mat4d::identity();
    bool singular = false;

    TransformD() = default;

    // Known only by its forward matrix: singular, inverse zero.
    explicit TransformD(const Mat4d& forwardOnly) : forward(forwardOnly), inverse(), singular(true) {}

    TransformD(const Mat4d& forward_, const Mat4d& inverse_) : forward(forward_), inverse(inverse_) {}
};

// The classic perspective frustum with its closed-form inverse. A zero near or
// far gives a singular transform (its forward matrix is still well formed).
TransformD makeFrustum(double left, double right, double bottom, double top, double near, double far);

// Rounds both matrices to 32-bit floats. A singular source throws
// "transformation not invertible", since its inverse cannot be narrowed.
Transform narrow(const TransformD& t);

} // namespace verdanium
