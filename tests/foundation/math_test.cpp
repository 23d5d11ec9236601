#include "foundation/math/mat4.h"
#include "foundation/math/orthonormal_basis.h"
#include "foundation/math/transform.h"

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
