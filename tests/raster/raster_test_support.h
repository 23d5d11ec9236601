#pragma once

#include "foundation/math/vec3.h"
#include "foundation/math/vec4.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <ostream>
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

// A cube-map strip of 2 x 2 texel faces (2 wide, 12 high) in the temporary
// directory, every texel a colour of its own, so that a picture of the box
// tells which face, and which corner of it, each pixel shows.
std::string writeTestStrip(const std::string& name);
// The colour writeTestStrip gives the texel in `row` (from the file's top) and
// `column`.
Vec3 testStripTexel(int row, int column);

// A framebuffer object of RGBA32F colour and 24-bit depth, bound for drawing
// with the viewport on it while it lives; framebuffer 0 comes back afterwards.
// Float colour lets tests compare pixels exactly with the texels they show.
class FloatTarget {
public:
    FloatTarget(std::int32_t width, std::int32_t height);
    ~FloatTarget();
    FloatTarget(const FloatTarget&) = delete;
    FloatTarget& operator=(const FloatTarget&) = delete;

    void clear();
    // All pixels, rows from the bottom as GL gives them.
    std::vector<Vec4> read() const;

    const std::int32_t width;
    const std::int32_t height;

private:
    std::uint32_t framebuffer = 0;
    std::uint32_t colour = 0;
    std::uint32_t depth = 0;
};

// Whether a and b agree within `tolerance` in every component.
bool near(const Vec3& a, const Vec3& b, float tolerance);

// The bindings every pass must give back, and the depth of the attribute stack.
struct BoundState {
    std::int32_t program = 0;
    std::int32_t vertexArray = 0;
    std::int32_t texture = 0; // GL_TEXTURE_2D on the active unit
    std::int32_t attributeDepth = 0;
    friend bool operator==(const BoundState&, const BoundState&) = default;
};
BoundState currentBoundState();
std::ostream& operator<<(std::ostream& out, const BoundState& state);

// A scene with no entities, the test strip as its background, the default
// camera 15 units back along +z, and the projection of a 64 x 48 picture.
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

    std::string stripPath;
    std::unique_ptr<Scene> scene;
    std::unique_ptr<Camera> camera;
};

} // namespace verdanium::testing
