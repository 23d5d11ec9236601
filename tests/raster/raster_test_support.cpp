#include "raster/raster_test_support.h"

#include "raster/background.h"
#include "support/gl_test_context.h"
#include "tracer/camera.h"
#include "world/entity.h"
#include "world/scene.h"

#include <GL/glew.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <unistd.h>

namespace verdanium::testing {

Vec3 testStripTexel(int row, int column) {
    // Rows 0-11 and columns 0-1 give 24 distinct colours, none of them black
    // and none a pure red, so that neither a hole nor a red entity can pass for
    // the background.
    return {static_cast<float>(row) / 11.0f, static_cast<float>(column) * 0.5f + 0.25f, 0.5f};
}

std::string writeTestStrip(const std::string& name) {
    const std::string path = ::testing::TempDir() + name + "_" + std::to_string(::getpid()) + ".pbm";
    std::ofstream file(path, std::ios::binary);
    file << "PF\n2\n12\n-1.0\n";
    for (int row = 0; row < 12; ++row)
        for (int column = 0; column < 2; ++column) {
            const Vec3 texel = testStripTexel(row, column);
            const float values[3] = {texel.x, texel.y, texel.z};
            file.write(reinterpret_cast<const char*>(values), sizeof values);
        }
    return path;
}

FloatTarget::FloatTarget(std::int32_t width_, std::int32_t height_) : width(width_), height(height_) {
    glGenTextures(1, &colour);
    glBindTexture(GL_TEXTURE_2D, colour);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA32F, width, height, 0, GL_RGBA, GL_FLOAT, nullptr);
    glBindTexture(GL_TEXTURE_2D, 0);
    glGenRenderbuffers(1, &depth);
    glBindRenderbuffer(GL_RENDERBUFFER, depth);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH_COMPONENT24, width, height);
    glBindRenderbuffer(GL_RENDERBUFFER, 0);
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, colour, 0);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, depth);
    EXPECT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER), static_cast<GLenum>(GL_FRAMEBUFFER_COMPLETE));
    glViewport(0, 0, width, height);
    clear();
}

FloatTarget::~FloatTarget() {
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &framebuffer);
    glDeleteRenderbuffers(1, &depth);
    glDeleteTextures(1, &colour);
}

void FloatTarget::clear() {
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
}

std::vector<Vec4> FloatTarget::read() const {
    std::vector<Vec4> pixels(static_cast<std::size_t>(width) * height);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, width, height, GL_RGBA, GL_FLOAT, pixels.data());
    return pixels;
}

bool near(const Vec3& a, const Vec3& b, float tolerance) {
    return std::fabs(a.x - b.x) <= tolerance && std::fabs(a.y - b.y) <= tolerance &&
           std::fabs(a.z - b.z) <= tolerance;
}

BoundState currentBoundState() {
    BoundState state;
    glGetIntegerv(GL_CURRENT_PROGRAM, &state.program);
    glGetIntegerv(GL_VERTEX_ARRAY_BINDING, &state.vertexArray);
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &state.texture);
    glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &state.attributeDepth);
    return state;
}

std::ostream& operator<<(std::ostream& out, const BoundState& state) {
    return out << "{program " << state.program << ", vertex array " << state.vertexArray << ", texture "
               << state.texture << ", attribute depth " << state.attributeDepth << "}";
}

void StripSceneTest::SetUp() {
    VERDANIUM_REQUIRE_GL();
    stripPath = writeTestStrip(::testing::UnitTest::GetInstance()->current_test_info()->name());
    scene = std::make_unique<Scene>(kEmptyScene);
    scene->background = std::make_shared<Background>(stripPath);
    camera = std::make_unique<Camera>(makeProjectedCamera(kWidth, kHeight));
}

Entity& StripSceneTest::addEntity(std::shared_ptr<Geometry> mesh, const Transform& transform) {
    auto entity = std::make_shared<Entity>(scene->nextEntityKey, std::move(mesh));
    entity->transform = transform;
    scene->entities[scene->nextEntityKey++] = entity;
    ++scene->changeCount;
    return *entity;
}

void StripSceneTest::TearDown() {
    scene.reset();
    if (!stripPath.empty())
        std::remove(stripPath.c_str());
}

} // namespace verdanium::testing
