#include "foundation/math/mat3.h"
#include "foundation/math/mat4.h"
#include "foundation/math/orthonormal_basis.h"
#include "foundation/math/vec3.h"
#include "foundation/math/vec4.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace verdanium {
namespace {

template <typename F>
std::string domainErrorText(F&& f) {
    try {
        f();
    } catch (const std::domain_error& e) {
        return e.what();
    }
    return "no exception";
}

TEST(Vec3, DefaultsToZeroAndIndexesComponents) {
    Vec3 v;
    EXPECT_EQ(v, (Vec3{0, 0, 0}));
    v[0] = 1;
    v[1] = 2;
    v[2] = 3;
    EXPECT_EQ(v, (Vec3{1, 2, 3}));
    EXPECT_EQ(v[2], 3.0f);
    EXPECT_EQ(Vec4().w, 0.0f);
}

TEST(Vec3, ArithmeticDotCross) {
    Vec3 a{1, 2, 3}, b{4, 5, 6};
    EXPECT_EQ(a + b, (Vec3{5, 7, 9}));
    EXPECT_EQ(b - a, (Vec3{3, 3, 3}));
    EXPECT_EQ(a * b, (Vec3{4, 10, 18}));
    EXPECT_EQ(2.0f * a, (Vec3{2, 4, 6}));
    EXPECT_EQ(dot(a, b), 32.0f);
    // Right-handed: x cross y is z.
    EXPECT_EQ(cross(Vec3{1, 0, 0}, Vec3{0, 1, 0}), (Vec3{0, 0, 1}));
    EXPECT_EQ(dot(cross(a, b), a), 0.0f);
}

TEST(Vec3, NormalisingGivesUnitLengthAndRejectsZero) {
    Vec3 v{3, 0, 4};
    EXPECT_EQ(length(v), 5.0f);
    normalise(v);
    EXPECT_FLOAT_EQ(v.x, 0.6f);
    EXPECT_FLOAT_EQ(v.z, 0.8f);
    EXPECT_NEAR(length(normalized(Vec3{-7, 1e-3f, 2})), 1.0f, 1e-6f);

    EXPECT_EQ(domainErrorText([] { normalized(Vec3{}); }), "element not invertible");
    float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(domainErrorText([&] { normalized(Vec3{nan, 0, 0}); }), "element not invertible");
    EXPECT_EQ(domainErrorText([] { normalized(Vec4{}); }), "element not invertible");
}

TEST(Mat3, PowerOfTwoOfCrossProductMatrixEqualsDirectProduct) {
    Mat3 k = crossProductMatrix(Vec3{0.3f, -0.5f, 0.8f});
    EXPECT_EQ(k.power(2), k * k);
    EXPECT_EQ(k.power(0), Mat3::identity());
    EXPECT_EQ(k.power(3), k * (k * k)); // square-and-multiply order
    // K applied to v is u cross v.
    Vec3 v{1, 2, 3};
    Vec3 direct = cross(Vec3{0.3f, -0.5f, 0.8f}, v);
    Vec3 viaMatrix = k * v;
    EXPECT_FLOAT_EQ(viaMatrix.x, direct.x);
    EXPECT_FLOAT_EQ(viaMatrix.y, direct.y);
    EXPECT_FLOAT_EQ(viaMatrix.z, direct.z);
}

TEST(Mat3, ProductInPlaceMultipliesOnTheRight) {
    Mat3 a = crossProductMatrix(Vec3{1, 2, 3}) + Mat3::identity();
    Mat3 b = crossProductMatrix(Vec3{-1, 0, 2});
    Mat3 expected = a * b;
    a *= b;
    EXPECT_EQ(a, expected);
    EXPECT_NE(b * (crossProductMatrix(Vec3{1, 2, 3}) + Mat3::identity()), expected);
}

TEST(Mat4, LayoutIsColumnMajor) {
    Mat4 m;
    m(1, 3) = 7.0f; // row 1 of column 3
    EXPECT_EQ(m.data()[13], 7.0f);
    EXPECT_EQ(m.column(3).y, 7.0f);
    for (int k = 0; k < 16; ++k)
        EXPECT_EQ(Mat4::identity().m[k], k % 5 == 0 ? 1.0f : 0.0f);
}

TEST(Mat4, PointTransformDividesByWUnlessItIsOne) {
    Mat4 m = Mat4::identity();
    m(0, 3) = 5.0f;
    EXPECT_EQ(transformPoint(m, Vec3{1, 2, 3}), (Vec3{6, 2, 3}));
    EXPECT_EQ(transformDirection(m, Vec3{1, 2, 3}), (Vec3{1, 2, 3}));

    m(3, 3) = 2.0f;
    EXPECT_EQ(transformPoint(m, Vec3{1, 2, 3}), (Vec3{3, 1, 1.5f}));

    m(3, 3) = 0.0f;
    EXPECT_EQ(domainErrorText([&] { transformPoint(m, Vec3{1, 2, 3}); }), "element not invertible");
}

TEST(OrthonormalBasis, GivesRightHandedFrame) {
    TangentPair z = orthonormalBasis(Vec3{0, 0, 1});
    EXPECT_EQ(z.u, (Vec3{0, 1, 0})); // |x| == |y| takes the second branch
    EXPECT_EQ(z.v, (Vec3{-1, 0, 0}));

    for (Vec3 n : {Vec3{1, 0, 0}, Vec3{0, -1, 0}, normalized(Vec3{0.9f, 0.1f, -0.4f}),
                   normalized(Vec3{-0.2f, 0.7f, 0.7f})}) {
        TangentPair b = orthonormalBasis(n);
        EXPECT_NEAR(length(b.u), 1.0f, 1e-6f);
        EXPECT_NEAR(length(b.v), 1.0f, 1e-6f);
        EXPECT_NEAR(dot(b.u, n), 0.0f, 1e-6f);
        EXPECT_NEAR(dot(b.v, n), 0.0f, 1e-6f);
        EXPECT_NEAR(dot(b.u, b.v), 0.0f, 1e-6f);
        EXPECT_NEAR(dot(cross(b.u, b.v), n), 1.0f, 1e-6f);
    }
}

} // namespace
} // namespace verdanium
