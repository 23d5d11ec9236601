#include "foundation/math/transform.h"
#include "foundation/math/transform_d.h"

#include <gtest/gtest.h>

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

TEST(Transform, DefaultIsIdentityAndNotSingular) {
    Transform t;
    EXPECT_EQ(t.forward, Mat4::identity());
    EXPECT_EQ(t.inverse, Mat4::identity());
    EXPECT_FALSE(t.singular);
}

TEST(Transform, MakersCarryExactInverses) {
    Transform t = makeTranslation(Vec3{1, -2, 3});
    EXPECT_EQ(transformPoint(t.forward, Vec3{0, 0, 0}), (Vec3{1, -2, 3}));
    EXPECT_EQ(t.forward * t.inverse, Mat4::identity());

    Transform s = makeScale(Vec3{2, 4, 0.5f});
    EXPECT_EQ(transformPoint(s.forward, Vec3{1, 1, 1}), (Vec3{2, 4, 0.5f}));
    EXPECT_EQ(s.forward * s.inverse, Mat4::identity());

    Transform r = makeRotation(Vec3{1, 2, -0.5f}, 0.7f);
    expectNear(r.forward * r.inverse, Mat4::identity());
    expectNear(r.inverse * r.forward, Mat4::identity());
    EXPECT_EQ(makeRotation(Vec3{0, 0, 1}, 0.0f).forward, Mat4::identity());
}

TEST(Transform, RotationIsRightHandedAndIgnoresAxisLength) {
    float halfPi = std::numbers::pi_v<float> / 2;
    expectNear(transformPoint(makeRotation(Vec3{0, 0, 1}, halfPi).forward, Vec3{1, 0, 0}), Vec3{0, 1, 0});
    expectNear(transformPoint(makeRotation(Vec3{1, 0, 0}, halfPi).forward, Vec3{0, 1, 0}), Vec3{0, 0, 1});

    Transform unit = makeRotation(normalized(Vec3{3, -1, 2}), 1.3f);
    Transform longAxis = makeRotation(Vec3{30, -10, 20}, 1.3f);
    expectNear(unit.forward, longAxis.forward, 1e-6f);
}

TEST(Transform, ProductAppliesRightFactorFirstAndComposesInverses) {
    Transform t = makeTranslation(Vec3{10, 0, 0});
    t *= makeRotation(Vec3{0, 0, 1}, std::numbers::pi_v<float> / 2);
    t *= makeScale(Vec3{2, 2, 2});
    // Scale first, then rotate about the origin, then move.
    expectNear(transformPoint(t.forward, Vec3{1, 0, 0}), Vec3{10, 2, 0});
    expectNear(transformPoint(t.inverse, Vec3{10, 2, 0}), Vec3{1, 0, 0});
    expectNear(t.forward * t.inverse, Mat4::identity());
}

TEST(Transform, SingularFactorStaysSingularForGood) {
    Mat4 flatten = Mat4::identity();
    flatten(2, 2) = 0.0f;
    Transform flat(flatten);
    EXPECT_TRUE(flat.singular);

    Transform t = makeTranslation(Vec3{1, 2, 3});
    Mat4 inverseBefore = t.inverse;
    t *= flat;
    EXPECT_TRUE(t.singular);
    EXPECT_EQ(t.inverse, inverseBefore);
    EXPECT_EQ(transformPoint(t.forward, Vec3{1, 1, 1}), (Vec3{2, 3, 3}));

    t *= makeScale(Vec3{2, 2, 2});
    EXPECT_TRUE(t.singular);
    EXPECT_EQ(transformPoint(t.forward, Vec3{1, 1, 1}), (Vec3{3, 4, 3}));
    EXPECT_EQ(domainErrorText([&] { t.checkedInverse(); }), "transformation not invertible");

    Transform left = makeScale(Vec3{1, 1, 1});
    left *= t;
    EXPECT_TRUE(left.singular);
}

TEST(Transform, ZeroInputsRaiseElementNotInvertible) {
    EXPECT_EQ(domainErrorText([] { makeRotation(Vec3{}, 1.0f); }), "element not invertible");
    EXPECT_EQ(domainErrorText([] { makeScale(Vec3{1, 0, 1}); }), "element not invertible");
    EXPECT_EQ(domainErrorText([] { makeScale(Vec3{1, 1, -0.0f}); }), "element not invertible");
}

TEST(Frustum, InverseIsClosedFormInverse) {
    TransformD f = makeFrustum(-4.0 / 3.0, 4.0 / 3.0, -1.0, 1.0, 1.0, 2000.0);
    ASSERT_FALSE(f.singular);
    Mat4d product = f.forward * f.inverse;
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column)
            EXPECT_NEAR(product(row, column), row == column ? 1.0 : 0.0, 1e-12);

    // An asymmetric frustum exercises the off-centre terms.
    TransformD g = makeFrustum(-1.0, 3.0, -0.5, 2.0, 0.5, 100.0);
    Mat4d other = g.inverse * g.forward;
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column)
            EXPECT_NEAR(other(row, column), row == column ? 1.0 : 0.0, 1e-12);

    // The near plane's corners land on the corners of clip space.
    Transform narrowed = narrow(f);
    expectNear(transformPoint(narrowed.forward, Vec3{-4.0f / 3.0f, 1.0f, -1.0f}), Vec3{-1, 1, -1});
    expectNear(narrowed.forward * narrowed.inverse, Mat4::identity());
}

TEST(Frustum, ZeroNearIsSingularAndCannotBeNarrowed) {
    TransformD f = makeFrustum(-1, 1, -1, 1, 0.0, 10.0);
    EXPECT_TRUE(f.singular);
    EXPECT_EQ(f.forward(3, 2), -1.0);
    EXPECT_EQ(domainErrorText([&] { narrow(f); }), "transformation not invertible");
    EXPECT_TRUE(makeFrustum(-1, 1, -1, 1, 1.0, 0.0).singular);
}

} // namespace
} // namespace verdanium
