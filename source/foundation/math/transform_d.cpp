#include "foundation/math/transform_d.h"

#include "foundation/math/math_errors.h"

namespace verdanium {

TransformD makeFrustum(double left, double right, double bottom, double top, double near, double far) {
    Mat4d forward;
    forward(0, 0) = 2.0 * near / (right - left);
    forward(1, 1) = 2.0 * near / (top - bottom);
    forward(0, 2) = (right + left) / (right - left);
    forward(1, 2) = (top + bottom) / (top - bottom);
    forward(2, 2) = (far + near) / (near - far);
    forward(3, 2) = -1.0;
    forward(2, 3) = 2.0 * near * far / (near - far);
    if (!isInvertible(near) || !isInvertible(far))
        return TransformD(forward);

    Mat4d inverse;
    inverse(0, 0) = (right - left) / (2.0 * near);
    inverse(1, 1) = (top - bottom) / (2.0 * near);
    inverse(3, 2) = (near - far) / (2.0 * near * far);
    inverse(0, 3) = (right + left) / (2.0 * near);
    inverse(1, 3) = (top + bottom) / (2.0 * near);
    inverse(2, 3) = -1.0;
    inverse(3, 3) = (far + near) / (2.0 * near * far);
    return TransformD(forward, inverse);
}

static Mat4 narrowMatrix(const Mat4d& source) {
    Mat4 result;
    for (int k = 0; k < 16; ++k)
        result.m[k] = static_cast<float>(source.m[k]);
    return result;
}

Transform narrow(const TransformD& t) {
    Mat4 forward = narrowMatrix(t.forward);
    if (t.singular)
        throwTransformationNotInvertible();
    return Transform(forward, narrowMatrix(t.inverse));
}

} // namespace verdanium
