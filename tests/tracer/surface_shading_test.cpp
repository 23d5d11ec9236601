#include "tracer/surface_shading.h"

#include "foundation/math/transform.h"
#include "geometry/geometry.h"
#include "geometry/hit.h"
#include "geometry/ray.h"
#include "raster/material.h"
#include "support/gl_test_context.h"
#include "world/entity.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace verdanium {
namespace {

void expectNear(const Vec3& actual, const Vec3& expected, float tolerance = 1e-5f) {
    EXPECT_NEAR(actual.x, expected.x, tolerance);
    EXPECT_NEAR(actual.y, expected.y, tolerance);
    EXPECT_NEAR(actual.z, expected.z, tolerance);
}

// A hit on triangle 0 of `geometry` at barycentric (u, v), made by a ray from above along -z.
Hit hitOn(const Geometry& geometry, float u, float v) {
    Hit hit;
    hit.geometry = &geometry;
    hit.firstIndex = 0;
    hit.u = u;
    hit.v = v;
    hit.t = 2.0f;
    hit.ray.origin = {0.25f, 0.25f, 2.0f};
    hit.ray.direction = {0.0f, 0.0f, -1.0f};
    return hit;
}

void expectOrthonormalFrame(const Hit& hit) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(length(hit.frame[i]), 1.0f, 1e-5f);
        for (int j = i + 1; j < 3; ++j) {
            EXPECT_NEAR(dot(hit.frame[i], hit.frame[j]), 0.0f, 1e-5f);
        }
    }
}

TEST(CompleteHit, WithoutTextureCoordinatesUsesTheDefaultCorners) {
    Geometry triangle;
    triangle.positions = {{0.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}};
    Hit hit = hitOn(triangle, 0.25f, 0.5f);
    completeHit(hit);
    EXPECT_TRUE(hit.complete);
    EXPECT_FLOAT_EQ(hit.uv[0], 0.75f); // (1 - u - v) (0, 0) + u (1, 0) + v (1, 1)
    EXPECT_FLOAT_EQ(hit.uv[1], 0.5f);
    expectNear(hit.position, {0.25f, 0.25f, 0.0f});
    expectNear(hit.frame[2], {0.0f, 0.0f, 1.0f}); // counter-clockwise seen from +z
    expectOrthonormalFrame(hit);

    // Idempotent: a completed hit is left as it is.
    hit.frame[2] = {9.0f, 9.0f, 9.0f};
    completeHit(hit);
    EXPECT_EQ(hit.frame[2], (Vec3{9.0f, 9.0f, 9.0f}));
}

TEST(CompleteHit, NormalFollowsTheWindingEvenWithAMirroredTextureMap) {
    Geometry triangle;
    triangle.positions = {{0.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, {1.0f, 0.0f, 0.0f}}; // clockwise from +z
    triangle.texCoords = {{0.0f, 0.0f}, {0.0f, 1.0f}, {1.0f, 0.0f}};
    Hit mirrored = hitOn(triangle, 0.2f, 0.2f);
    completeHit(mirrored);
    expectNear(mirrored.frame[2], {0.0f, 0.0f, -1.0f});
    expectOrthonormalFrame(mirrored);

    triangle.texCoords = {{0.5f, 0.5f}, {0.5f, 0.5f}, {0.5f, 0.5f}}; // degenerate map: any frame will do
    Hit degenerate = hitOn(triangle, 0.2f, 0.2f);
    completeHit(degenerate);
    expectNear(degenerate.frame[2], {0.0f, 0.0f, -1.0f});
    expectOrthonormalFrame(degenerate);

    // A triangle of no area has no normal at all.
    triangle.positions = {{0.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, {2.0f, 0.0f, 0.0f}};
    Hit flat = hitOn(triangle, 0.2f, 0.2f);
    EXPECT_THROW(completeHit(flat), std::domain_error);
}

TEST(Lambert, OnlyAboveTheSurface) {
    const Vec3 colour{0.5f, 1.0f, 2.0f};
    expectNear(lambert({0.0f, 0.0f, 1.0f}, {0.6f, 0.0f, 0.8f}, colour), colour * (0.8f * 0.31830987f));
    EXPECT_EQ(lambert({0.0f, 0.0f, -1.0f}, {0.0f, 0.0f, 1.0f}, colour), Vec3{});
    EXPECT_EQ(lambert({0.0f, 0.0f, 1.0f}, {1.0f, 0.0f, 0.0f}, colour), Vec3{});
}

class Shading : public ::testing::Test {
protected:
    void SetUp() override {
        VERDANIUM_REQUIRE_GL();
        // A quad facing +z, turned a quarter about x so that it faces -y in the world.
        entity = std::make_shared<Entity>(1, makeQuad(2.0f));
        entity->transform = makeRotation({1.0f, 0.0f, 0.0f}, 1.5707964f);
    }
    Hit hitOnEntity() {
        Hit hit = hitOn(*entity->geometry, 0.2f, 0.3f);
        hit.entity = entity.get();
        hit.ray.origin = {0.0f, -5.0f, 0.0f};
        hit.ray.direction = {0.0f, 1.0f, 0.0f};
        hit.ray.depth = 2;
        hit.ray.time = 0.5f;
        return hit;
    }
    std::shared_ptr<Entity> entity;
};

TEST_F(Shading, WorldNormalAndCosineWeightedBounces) {
    Hit hit = hitOnEntity();
    expectNear(worldNormal(hit), {0.0f, -1.0f, 0.0f});

    Ray bounce;
    bounce.tMax = 42.0f;
    for (int i = 0; i < 2000; ++i) {
        MaterialSample sample = sampleMaterial(entity->materials[0], hit, bounce);
        ASSERT_LE(bounce.direction.y, 1e-6f) << "bounces leave on the side of the normal";
        ASSERT_EQ(bounce.depth, 3);
        ASSERT_FALSE(bounce.countsLights);
        ASSERT_EQ(bounce.tMin, 0.1f);
        ASSERT_EQ(bounce.tMax, 42.0f);
        ASSERT_EQ(bounce.time, 0.5f);
        expectNear(bounce.origin, hit.position + bounce.direction * 0.1f);
        ASSERT_EQ(sample.colour, (Vec3{1.0f, 1.0f, 1.0f})) << "an untextured material is white";
        if (sample.density > 0.0f) {
            // value / density is the colour for a unit direction.
            expectNear(sample.value * (1.0f / sample.density), sample.colour, 1e-3f);
        }
    }
}

TEST_F(Shading, EvaluateMaterialIsLambertInTheSurfaceFrame) {
    Hit hit = hitOnEntity();
    const Vec3 colour{1.0f, 0.5f, 0.25f};
    // Light from straight along the normal, viewer in front: colour / pi.
    expectNear(evaluateMaterial(hit, {0.0f, -1.0f, 0.0f}, colour), colour * 0.31830987f);
    // Light from behind the surface: nothing.
    EXPECT_EQ(evaluateMaterial(hit, {0.0f, 1.0f, 0.0f}, colour), Vec3{});
    // A singular transform cannot take the direction into the surface's frame.
    entity->transform = Transform(Mat4::identity());
    EXPECT_THROW(evaluateMaterial(hit, {0.0f, -1.0f, 0.0f}, colour), std::domain_error);
}

} // namespace
} // namespace verdanium
