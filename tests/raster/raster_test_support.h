#pragma once

#include "foundation/math/vec3.h"
#include "foundation/math/vec4.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace verdanium {
class Entity;
class Geometry;
class Scene;
struct Camera;
struct Transform;
} // namespace verdanium

namespace verdanium::testing {

// The red of the strip scene's background texel in `row` (from the file's top), column 0.
float testStripRed(int row);

// A framebuffer of RGBA32F colour and 24-bit depth, cleared to zero and bound
// with the viewport on it while it lives. Float colour lets tests compare
// pixels exactly with the texels they show.
class FloatTarget {
public:
    FloatTarget(std::int32_t width, std::int32_t height);
    ~FloatTarget();
    FloatTarget(const FloatTarget&) = delete;
    FloatTarget& operator=(const FloatTarget&) = delete;
    // All pixels, rows from the bottom as GL gives them.
    std::vector<Vec4> read() const;

private:
    std::int32_t width, height;
    std::uint32_t framebuffer = 0, buffers[2] = {}; // colour, depth
};

bool near(const Vec3& a, const Vec3& b, float tolerance);

// Program, vertex array, GL_TEXTURE_2D of the active unit, attribute stack depth:
// the bindings every pass must give back.
std::array<int, 4> boundState();

// A scene with no entities, a strip of 2 x 2 texel faces as its background
// (every texel a colour of its own, none black, none pure red, all with blue
// 0.5), the default camera 15 units back along +z, and the projection of a
// 64 x 48 picture.
// Skips the test without a GL context: a derived SetUp checks IsSkipped().
class StripSceneTest : public ::testing::Test {
protected:
    static constexpr std::int32_t kWidth = 64;
    static constexpr std::int32_t kHeight = 48;

    void SetUp() override;
    void TearDown() override;

    // Places `mesh` by `transform` under the scene's next key, and raises the
    // scene's change count as its factories do.
    Entity& addEntity(std::shared_ptr<Geometry> mesh, const Transform& transform);
    // The pixel where a world point lands under the scene's camera, rows from the bottom.
    std::size_t pixelOf(const Vec3& world) const;

    std::string stripPath;
    std::unique_ptr<Scene> scene;
    std::unique_ptr<Camera> camera;
};

} // namespace verdanium::testing
