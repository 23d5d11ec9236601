#include "foundation/math/mat4.h"
#include "foundation/math/orthonormal_basis.h"
#include "foundation/math/transform.h"
#include "foundation/math/transform_d.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
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

void expectNear(const Mat4& a, const Mat4& b, float tolerance = 1e-5f) {
    for (int k = 0; k < 16; ++k)
        EXPECT_NEAR(a.m[k], b.m[k], tolerance) << "element " << k;
}

void expectNear(const Vec3& a, const Vec3& b, float tolerance = 1e-5f) {
    EXPECT_NEAR(a.x, b.x, tolerance);
    EXPECT_NEAR(a.y, b.y, tolerance);
    EXPECT_NEAR(a.z, b.z, tolerance);
}

TEST(Math, ReciprocalsOfZeroRaiseElementNotInvertible) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    Mat4 flat = Mat4::identity();
    flat(3, 3) = 0.0f;
    const char* const zero = "element not invertible";
    EXPECT_EQ(domainErrorText([] { normalized(Vec3{}); }), zero);
    EXPECT_EQ(domainErrorText([&] { normalized(Vec3{nan, 0, 0}); }), zero);
    EXPECT_EQ(domainErrorText([] { makeRotation(Vec3{}, 1.0f); }), zero);
    EXPECT_EQ(domainErrorText([] { makeScale(Vec3{1, 0, 1}); }), zero);
    EXPECT_EQ(domainErrorText([] { makeScale(Vec3{1, 1, -0.0f}); }), zero);
    EXPECT_EQ(domainErrorText([&] { transformPoint(flat, Vec3{1, 2, 3}); }), zero);
}

TEST(Math, MatricesAreStoredByColumns) {
    // Column-major, as GL takes it: row 1 of column 3 is element 13.
    Mat4 m = Mat4::identity();
    m(1, 3) = 7.0f;
    EXPECT_EQ(m.data()[13], 7.0f);
    EXPECT_EQ(transformPoint(m, Vec3{1, 2, 3}), (Vec3{1, 9, 3}));
    m(3, 3) = 2.0f; // a w other than 1 is divided out
    EXPECT_EQ(transformPoint(m, Vec3{1, 2, 3}), (Vec3{0.5f, 4.5f, 1.5f}));
}

TEST(Math, MakersCarryTheirInverses) {
    const Transform t = makeTranslation(Vec3{1, -2, 3});
    EXPECT_EQ(t.forward * t.inverse, Mat4::identity());
    const Transform s = makeScale(Vec3{2, 4, 0.5f});
    EXPECT_EQ(s.forward * s.inverse, Mat4::identity());

    const Transform r = makeRotation(Vec3{30, -10, 20}, 1.3f);
    expectNear(r.forward * r.inverse, Mat4::identity());
    expectNear(r.forward, makeRotation(normalized(Vec3{3, -1, 2}), 1.3f).forward, 1e-6f); // any axis length
    // Right-handed: a positive angle about +z takes +x towards +y.
    expectNear(
        transformPoint(makeRotation(Vec3{0, 0, 1}, std::numbers::pi_v<float> / 2).forward, Vec3{1, 0, 0}),
        Vec3{0, 1, 0});
}

TEST(Math, ProductAppliesTheRightFactorFirst) {
    Transform t = makeTranslation(Vec3{10, 0, 0});
    t *= makeRotation(Vec3{0, 0, 1}, std::numbers::pi_v<float> / 2);
    t *= makeScale(Vec3{2, 2, 2});
    expectNear(transformPoint(t.forward, Vec3{1, 0, 0}), Vec3{10, 2, 0});
    expectNear(transformPoint(t.inverse, Vec3{10, 2, 0}), Vec3{1, 0, 0});
}

TEST(Math, ASingularFactorStaysSingularForGood) {
    Mat4 flatten = Mat4::identity();
    flatten(2, 2) = 0.0f;
    Transform t = makeTranslation(Vec3{1, 2, 3});
    const Mat4 inverseBefore = t.inverse;
    t *= Transform(flatten);
    t *= makeScale(Vec3{2, 2, 2});
    EXPECT_TRUE(t.singular);
    EXPECT_EQ(t.inverse, inverseBefore);
    EXPECT_EQ(transformPoint(t.forward, Vec3{1, 1, 1}), (Vec3{3, 4, 3})); // forward stays right
    EXPECT_EQ(domainErrorText([&] { t.checkedInverse(); }), "transformation not invertible");
    Transform left = makeScale(Vec3{1, 1, 1});
    left *= t;
    EXPECT_TRUE(left.singular);
}

TEST(Math, FrustumHasAClosedFormInverseUnlessNearOrFarIsZero) {
    // Asymmetric, so the off-centre terms count.
    const TransformD f = makeFrustum(-1.0, 3.0, -0.5, 2.0, 0.5, 100.0);
    ASSERT_FALSE(f.singular);
    const Mat4d product = f.inverse * f.forward;
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column)
            EXPECT_NEAR(product(row, column), row == column ? 1.0 : 0.0, 1e-12);
    // The near plane's corners land on the corners of clip space.
    expectNear(transformPoint(narrow(f).forward, Vec3{-1.0f, 2.0f, -0.5f}), Vec3{-1, 1, -1});

    const TransformD zeroNear = makeFrustum(-1, 1, -1, 1, 0.0, 10.0);
    EXPECT_TRUE(zeroNear.singular);
    EXPECT_EQ(zeroNear.forward(3, 2), -1.0);
    EXPECT_EQ(domainErrorText([&] { narrow(zeroNear); }), "transformation not invertible");
    EXPECT_TRUE(makeFrustum(-1, 1, -1, 1, 1.0, 0.0).singular);
}

TEST(Math, OrthonormalBasisDropsTheComponentOfTheSmallerOfXAndY) {
    // u drops y when |x| > |y|, x otherwise (ties too); v = n x u.
    const float s = std::sqrt(0.28f);
    const Vec3 cases[][3] = {
        {{1, 0, 0}, {0, 0, 1}, {0, -1, 0}},
        {{0, 1, 0}, {0, 0, -1}, {-1, 0, 0}},
        {{0, 0, 1}, {0, 1, 0}, {-1, 0, 0}},
        {{0.8f, 0, 0.6f}, {-0.6f, 0, 0.8f}, {0, -1, 0}},
        {{0.6f, -0.6f, s}, {0, s * 1.25f, 0.75f}, {-0.8f, -0.45f, s * 0.75f}},
    };
    for (const auto& [n, u, v] : cases) {
        const TangentPair basis = orthonormalBasis(n);
        expectNear(basis.u, u);
        expectNear(basis.v, v);
    }
}

} // namespace
} // namespace verdanium
