#include "geometry/geometry.h"
#include "support/gl_test_context.h"
#include "world/asteroid.h"
#include "world/entity.h"

#include <gtest/gtest.h>

namespace verdanium {
namespace {

void expectNear(const Mat4& actual, const Mat4& expected, float tolerance) {
    for (int k = 0; k < 16; ++k)
        EXPECT_NEAR(actual.m[k], expected.m[k], tolerance) << "element " << k;
}

TEST(EntityTest, AsteroidDriftsInAStraightLineWhileTumblingAboutItsOrigin) {
    VERDANIUM_REQUIRE_GL();
    const Vec3 velocity{1.5f, -2.0f, 4.0f};
    Asteroid asteroid(7, makeCube(10.0f), velocity, {0.3f, 1.2f, 0.7f});
    asteroid.transform = makeTranslation({10, 20, 30}) * makeRotation({1, 1, 0}, 0.4f);
    // Each step moves it by step * velocity in the world and turns it by |spin| * step about its own origin;
    // a new spin or step size takes effect at once.
    for (auto [spin, step] : {std::pair{Vec3{0.3f, 1.2f, 0.7f}, 0.01f},
                              {Vec3{0.3f, 1.2f, 0.7f}, 0.01f},
                              {Vec3{0, 0, 3}, 0.01f},
                              {Vec3{0, 0, 3}, 0.05f}}) {
        asteroid.spin = spin;
        Transform expected = makeTranslation(velocity * step) * asteroid.transform;
        expected *= makeRotation(spin, length(spin) * step);
        asteroid.update(step);
        expectNear(asteroid.transform.forward, expected.forward, 1e-5f);
        expectNear(asteroid.transform.inverse, expected.inverse, 1e-5f);
    }
    // A singular transform stays singular: the law only composes into it.
    asteroid.transform = Transform(asteroid.transform.forward);
    asteroid.update(0.01);
    EXPECT_TRUE(asteroid.transform.singular);
}

} // namespace
} // namespace verdanium
