#include "geometry/geometry.h"
#include "raster/glsl_program.h"
#include "raster/image.h"
#include "support/gl_test_context.h"
#include "world/asteroid.h"
#include "world/entity.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

namespace verdanium {
namespace {

void expectNear(const Mat4& actual, const Mat4& expected, float tolerance) {
    for (int k = 0; k < 16; ++k)
        EXPECT_NEAR(actual.m[k], expected.m[k], tolerance) << "element " << k;
}

class EntityTest : public ::testing::Test {
protected:
    void SetUp() override { VERDANIUM_REQUIRE_GL(); }
};

TEST_F(EntityTest, PreparesBothProgramsAndADefaultMaterial) {
    auto entity = std::make_shared<Entity>(42, makeCube(10.0f));
    EXPECT_EQ(entity->entityId, 42u);
    EXPECT_EQ(entity->transform.forward, Mat4::identity());
    EXPECT_FALSE(entity->transform.singular);

    // The cube has no material records: one default material, on the matte program.
    ASSERT_EQ(entity->materials.size(), 1u);
    EXPECT_EQ(entity->materials[0].program, GlslProgram::load("..\\..\\..\\data\\materials\\matte"));
    EXPECT_EQ(entity->materials[0].texture.image->width, 0);
    EXPECT_EQ(entity->hybridProgram, GlslProgram::load("..\\..\\..\\data\\materials\\hybrid"));

    EXPECT_NE(entity->matteVertexArray, 0u);
    EXPECT_NE(entity->hybridVertexArray, 0u);
    EXPECT_NE(entity->matteVertexArray, entity->hybridVertexArray);
    for (std::int32_t location :
         {entity->matteMvpLocation, entity->matteNormalMatrixLocation, entity->matteLightDirectionLocation,
          entity->matteColorLocation, entity->matteVertexAttribute, entity->matteNormalAttribute,
          entity->hybridMvpLocation, entity->hybridModelMatrixLocation, entity->hybridNormalMatrixLocation,
          entity->hybridVertexAttribute, entity->hybridNormalAttribute, entity->hybridTexCoordAttribute})
        EXPECT_GE(location, 0);

    // The matte program got the light and the colour.
    float color[4] = {};
    glGetUniformfv(entity->materials[0].program->handle, entity->matteColorLocation, color);
    EXPECT_EQ(color[0], 1.0f);
    EXPECT_EQ(color[1], 0.0f);
    EXPECT_EQ(color[3], 1.0f);
    // Set-up leaves no program and no vertex array bound, and no error behind.
    GLint bound = -1;
    glGetIntegerv(GL_CURRENT_PROGRAM, &bound);
    EXPECT_EQ(bound, 0);
    glGetIntegerv(GL_VERTEX_ARRAY_BINDING, &bound);
    EXPECT_EQ(bound, 0);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));

    // Only the matte array goes with the entity.
    const GLuint matte = entity->matteVertexArray;
    const GLuint hybrid = entity->hybridVertexArray;
    entity.reset();
    EXPECT_FALSE(glIsVertexArray(matte));
    EXPECT_TRUE(glIsVertexArray(hybrid));
}

TEST_F(EntityTest, PlainEntitiesStayWhereTheyArePut) {
    Entity entity(1, makeCube(10.0f));
    entity.transform = makeTranslation({1, 2, 3}) * makeRotation({0, 1, 0}, 0.5f);
    const Transform placed = entity.transform;
    entity.update(0.01);
    EXPECT_EQ(entity.transform.forward, placed.forward);
    EXPECT_EQ(entity.transform.inverse, placed.inverse);
}

TEST_F(EntityTest, AsteroidDriftsInAStraightLineWhileTumbling) {
    const Vec3 velocity{1.5f, -2.0f, 4.0f};
    Asteroid asteroid(7, makeCube(10.0f), velocity, {0.3f, 1.2f, 0.7f});
    asteroid.transform = makeTranslation({10, 20, 30}) * makeRotation({1, 1, 0}, 0.4f);
    const Transform start = asteroid.transform;

    // A zero step changes nothing but rounding.
    asteroid.update(0.0);
    expectNear(asteroid.transform.forward, start.forward, 1e-6f);

    // Two steps of 0.01 move it by 0.02 velocity whatever the orientation, and
    // turn it about its own origin by |spin| * 0.02.
    asteroid.update(0.01);
    asteroid.update(0.01);
    const Mat4& m = asteroid.transform.forward;
    EXPECT_NEAR(m.m[12], 10 + 0.02f * velocity.x, 1e-4f);
    EXPECT_NEAR(m.m[13], 20 + 0.02f * velocity.y, 1e-4f);
    EXPECT_NEAR(m.m[14], 30 + 0.02f * velocity.z, 1e-4f);
    const float angle = length(asteroid.spin) * 0.01f;
    Transform expected =
        makeTranslation({10 + 0.02f * velocity.x, 20 + 0.02f * velocity.y, 30 + 0.02f * velocity.z});
    expected *= makeRotation({1, 1, 0}, 0.4f);
    expected *= makeRotation(asteroid.spin, angle);
    expected *= makeRotation(asteroid.spin, angle);
    expectNear(asteroid.transform.forward, expected.forward, 1e-5f);
    expectNear(asteroid.transform.inverse, expected.inverse, 1e-5f);
    EXPECT_FALSE(asteroid.transform.singular);

    // A new spin or another step size takes effect at once.
    for (auto [spin, step] : {std::pair{Vec3{0, 0, 3}, 0.01}, std::pair{Vec3{0, 0, 3}, 0.05}}) {
        asteroid.spin = spin;
        const Transform before = asteroid.transform;
        asteroid.update(step);
        Transform turned = makeTranslation(velocity * static_cast<float>(step)) * before;
        turned *= makeRotation(spin, 3.0f * static_cast<float>(step));
        EXPECT_EQ(asteroid.transform.forward, turned.forward) << step;
        EXPECT_EQ(asteroid.transform.inverse, turned.inverse) << step;
    }

    // A singular transform stays singular: the law only composes into it.
    asteroid.transform = Transform(asteroid.transform.forward);
    asteroid.update(0.01);
    EXPECT_TRUE(asteroid.transform.singular);
}

} // namespace
} // namespace verdanium
