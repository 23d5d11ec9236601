#include "raster/raster_test_support.h"

#include "raster/background.h"
#include "support/gl_test_context.h"
#include "tracer/camera.h"
#include "world/entity.h"
#include "world/scene.h"

#include <GL/glew.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace verdanium::testing {

namespace {

std::string uniqueName(const std::string& stem) {
    return stem + "_" + std::to_string(::getpid()) + "_" +
           ::testing::UnitTest::GetInstance()->current_test_info()->name();
}

} // namespace

float testStripRed(int row) {
    return static_cast<float>(row) / 11.0f;
}

// A cube-map strip of 2 x 2 texel faces (2 wide, 12 high) in the temporary directory. Every texel has a
// colour of its own, none black, none pure red and all with blue 0.5, so a picture tells which texel each
// pixel shows and no hole or red entity can pass for the background.
static std::string writeTestStrip(const std::string& name) {
    const std::string path = ::testing::TempDir() + uniqueName(name) + ".pbm";
    std::ofstream file(path, std::ios::binary);
    file << "PF\n2\n12\n-1.0\n";
    for (int row = 0; row < 12; ++row)
        for (int column = 0; column < 2; ++column) {
            const float texel[3] = {testStripRed(row), column * 0.5f + 0.25f, 0.5f};
            file.write(reinterpret_cast<const char*>(texel), sizeof texel);
        }
    return path;
}

FloatTarget::FloatTarget(std::int32_t width_, std::int32_t height_) : width(width_), height(height_) {
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    glGenRenderbuffers(2, buffers);
    const GLenum formats[2] = {GL_RGBA32F, GL_DEPTH_COMPONENT24};
    const GLenum attachments[2] = {GL_COLOR_ATTACHMENT0, GL_DEPTH_ATTACHMENT};
    for (int i = 0; i < 2; ++i) {
        glBindRenderbuffer(GL_RENDERBUFFER, buffers[i]);
        glRenderbufferStorage(GL_RENDERBUFFER, formats[i], width, height);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, attachments[i], GL_RENDERBUFFER, buffers[i]);
    }
    glViewport(0, 0, width, height);
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
}

FloatTarget::~FloatTarget() {
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &framebuffer);
    glDeleteRenderbuffers(2, buffers);
}

std::vector<Vec4> FloatTarget::read() const {
    std::vector<Vec4> pixels(static_cast<std::size_t>(width) * height);
    glReadPixels(0, 0, width, height, GL_RGBA, GL_FLOAT, pixels.data());
    return pixels;
}

bool near(const Vec3& a, const Vec3& b, float tolerance) {
    return std::fabs(a.x - b.x) <= tolerance && std::fabs(a.y - b.y) <= tolerance &&
           std::fabs(a.z - b.z) <= tolerance;
}

std::array<int, 4> boundState() {
    std::array<int, 4> state{};
    const GLenum names[4] = {GL_CURRENT_PROGRAM, GL_VERTEX_ARRAY_BINDING, GL_TEXTURE_BINDING_2D,
                             GL_ATTRIB_STACK_DEPTH};
    for (int i = 0; i < 4; ++i)
        glGetIntegerv(names[i], &state[i]);
    return state;
}

void StripSceneTest::SetUp() {
    VERDANIUM_REQUIRE_GL();
    stripPath = writeTestStrip("strip");
    scene = std::make_unique<Scene>(kEmptyScene);
    scene->background = std::make_shared<Background>(stripPath);
    glBindTexture(GL_TEXTURE_2D, 0); // the strip's upload leaves it bound; a frame starts with none
    camera = std::make_unique<Camera>(makeProjectedCamera(kWidth, kHeight));
}

void StripSceneTest::TearDown() {
    scene.reset();
    if (!stripPath.empty())
        std::filesystem::remove(stripPath);
}

Entity& StripSceneTest::addEntity(std::shared_ptr<Geometry> mesh, const Transform& transform) {
    auto entity = std::make_shared<Entity>(scene->nextEntityKey, std::move(mesh));
    entity->transform = transform;
    scene->entities[scene->nextEntityKey++] = entity;
    ++scene->changeCount;
    return *entity;
}

std::size_t StripSceneTest::pixelOf(const Vec3& world) const {
    const Vec4 clip = camera->projection.forward * (scene->camera.forward * Vec4(world, 1.0f));
    const auto x = static_cast<std::size_t>((clip.x / clip.w + 1.0f) * 0.5f * kWidth);
    const auto y = static_cast<std::size_t>((clip.y / clip.w + 1.0f) * 0.5f * kHeight);
    return y * kWidth + x;
}

} // namespace verdanium::testing
