#include "foundation/math/orthonormal_basis.h"

#include <gtest/gtest.h>

#include <cmath>

namespace verdanium {
namespace {

void expectNear(const Vec3& a, const Vec3& b, float tolerance = 1e-5f) {
    EXPECT_NEAR(a.x, b.x, tolerance);
    EXPECT_NEAR(a.y, b.y, tolerance);
    EXPECT_NEAR(a.z, b.z, tolerance);
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
