#include "geometry/geometry.h"
#include "platform/window.h"
#include "raster/background.h"
#include "raster/hybrid_targets.h"
#include "raster/image.h"
#include "raster/raster_test_support.h"
#include "raster/scene_raster_state.h"
#include "tracer/recursive_path_tracer.h"
#include "world/entity.h"
#include "world/scene.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <memory>
#include <unistd.h>

namespace verdanium {
namespace {

using testing::FloatTarget;

class HybridTest : public testing::StripSceneTest {
protected:
    void SetUp() override {
        StripSceneTest::SetUp();
        if (IsSkipped())
            return;
        WindowSettings settings;
        settings.width = kWidth;
        settings.height = kHeight;
        renderer = std::make_unique<RecursivePathTracer>(settings);
        renderer->setCpuThreads(0);
    }
    void TearDown() override {
        renderer.reset();
        StripSceneTest::TearDown();
        for (const std::string& file : extraFiles)
            std::remove(file.c_str());
    }

    static std::vector<Vec4> readTexture(std::uint32_t name) {
        std::vector<Vec4> texels(static_cast<std::size_t>(kWidth) * kHeight);
        glBindTexture(GL_TEXTURE_2D, name);
        glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_FLOAT, texels.data());
        glBindTexture(GL_TEXTURE_2D, 0);
        return texels;
    }

    // The composite as it reached the default framebuffer, eight bits a
    // channel, as floats.
    static std::vector<Vec3> readScreen() {
        std::vector<unsigned char> bytes(static_cast<std::size_t>(kWidth) * kHeight * 4);
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        glPixelStorei(GL_PACK_ALIGNMENT, 1);
        glReadPixels(0, 0, kWidth, kHeight, GL_RGBA, GL_UNSIGNED_BYTE, bytes.data());
        std::vector<Vec3> pixels;
        for (std::size_t i = 0; i < bytes.size(); i += 4)
            pixels.push_back(Vec3{bytes[i] / 255.0f, bytes[i + 1] / 255.0f, bytes[i + 2] / 255.0f});
        return pixels;
    }

    // The pixels that the shader raster pass covers, rows from the bottom.
    std::vector<bool> coverage() {
        std::vector<Vec4> withEntities, alone;
        {
            FloatTarget target(kWidth, kHeight);
            glPushAttrib(kAllAttributeBits);
            applyRasterState();
            scene->rasterize(RenderModeShaderRaster, renderer->camera);
            glPopAttrib();
            withEntities = target.read();
        }
        {
            FloatTarget target(kWidth, kHeight);
            scene->background->rasterize(RenderModeShaderRaster, renderer->camera.projection.forward,
                                         scene->camera);
            alone = target.read();
        }
        std::vector<bool> covered;
        for (std::size_t i = 0; i < alone.size(); ++i)
            covered.push_back(withEntities[i] != alone[i]);
        return covered;
    }

    std::vector<std::string> extraFiles;
    std::unique_ptr<RecursivePathTracer> renderer;
};

TEST_F(HybridTest, TheBackgroundAloneGivesNoWorkAndShowsTheDiffuseTargetAsItStands) {
    renderer->setCpuThreads(1);
    renderer->render(*scene);
    EXPECT_TRUE(renderer->workList.empty());
    for (const Vec4& texel : renderer->positionTexels)
        ASSERT_EQ(texel.w, 0.0f);
    for (const Vec4& sum : renderer->accumulation)
        ASSERT_EQ(sum, Vec4{});

    const std::vector<Vec4> diffuse = readTexture(renderer->diffuseTexture);
    const std::vector<Vec3> screen = readScreen();
    for (std::size_t i = 0; i < screen.size(); ++i) {
        ASSERT_GT(diffuse[i].z, 0.0f) << "the box covers every pixel";
        ASSERT_TRUE(testing::near(screen[i], diffuse[i].xyz(), 0.6f / 255.0f)) << "pixel " << i;
    }
}

TEST_F(HybridTest, TheWorkListHoldsExactlyTheCoveredPixelsWithWorldPositionsAndNormals) {
    const Transform placement =
        makeTranslation({2.0f, -1.0f, -3.0f}) * makeRotation({1.0f, 2.0f, 0.5f}, 0.8f);
    addEntity(makeCube(6.0f), placement);
    renderer->render(*scene);

    const std::vector<bool> covered = coverage();
    std::vector<std::uint64_t> expected;
    for (std::size_t i = 0; i < covered.size(); ++i)
        if (covered[i])
            expected.push_back(i);
    std::vector<std::uint64_t> listed;
    for (const PixelRecord& record : renderer->workList)
        listed.push_back(record.index);
    EXPECT_EQ(listed, expected);
    ASSERT_GT(listed.size(), 50u);

    const Mat4 toWorld = scene->camera.inverse;
    const Mat4 viewProjection = renderer->camera.projection.forward * scene->camera.forward;
    for (const PixelRecord& record : renderer->workList) {
        SCOPED_TRACE(record.index);
        // The position lies on the cube's surface...
        const Vec3 local = transformPoint(placement.inverse, record.position);
        const float extent = std::max({std::fabs(local.x), std::fabs(local.y), std::fabs(local.z)});
        EXPECT_NEAR(extent, 3.0f, 2e-3f);
        // ...and is seen through the pixel it belongs to.
        const Vec4 clip = viewProjection * Vec4(record.position, 1.0f);
        const float x = (clip.x / clip.w + 1.0f) * 0.5f * kWidth;
        const float y = (clip.y / clip.w + 1.0f) * 0.5f * kHeight;
        EXPECT_NEAR(x, record.index % kWidth + 0.5f, 0.02f);
        EXPECT_NEAR(y, record.index / kWidth + 0.5f, 0.02f);
        // The normal is the unit world normal of the face the point lies on,
        // which faces the eye.
        Vec3 faceNormal;
        for (int axis = 0; axis < 3; ++axis) {
            const float value = axis == 0 ? local.x : (axis == 1 ? local.y : local.z);
            if (std::fabs(value) == extent)
                (axis == 0 ? faceNormal.x : (axis == 1 ? faceNormal.y : faceNormal.z)) =
                    value > 0 ? 1.0f : -1.0f;
        }
        EXPECT_TRUE(testing::near(record.normal, transformDirection(placement.forward, faceNormal), 1e-4f));
        const Vec3 eye = transformPoint(toWorld, Vec3{});
        EXPECT_GT(dot(record.normal, eye - record.position), 0.0f);
    }
}

TEST_F(HybridTest, EachTracedFrameAddsTheBounceCountToCoveredPixelsOnly) {
    addEntity(makeCube(6.0f), makeTranslation({0.0f, 0.0f, 0.0f}));
    renderer->setCpuThreads(1);
    renderer->setSecondaryBounceCount(2);
    renderer->render(*scene);
    renderer->render(*scene);
    std::vector<bool> listed(renderer->accumulation.size(), false);
    for (const PixelRecord& record : renderer->workList)
        listed[record.index] = true;
    ASSERT_FALSE(renderer->workList.empty());
    for (std::size_t i = 0; i < listed.size(); ++i)
        ASSERT_EQ(renderer->accumulation[i].w, listed[i] ? 4.0f : 0.0f) << "pixel " << i;

    // A change of the scene starts the sums again.
    ++scene->changeCount;
    renderer->render(*scene);
    for (const PixelRecord& record : renderer->workList)
        ASSERT_EQ(renderer->accumulation[record.index].w, 2.0f);
}

TEST_F(HybridTest, TheCompositeDividesTheSumsByTheCountAndMultipliesTheDiffuseColour) {
    addEntity(makeCube(6.0f), makeRotation({0.0f, 1.0f, 0.0f}, 0.4f));
    renderer->render(*scene);
    ASSERT_GT(renderer->workList.size(), 2u);

    // Sums of four samples whose mean is (0.5, 0.25, 0.125); one covered pixel
    // keeps a count of 0. No change of the scene, so the next frame only
    // uploads them and composites.
    for (const PixelRecord& record : renderer->workList)
        renderer->accumulation[record.index] = Vec4{2.0f, 1.0f, 0.5f, 4.0f};
    const std::uint64_t unsampled = renderer->workList.front().index;
    renderer->accumulation[unsampled] = Vec4{};
    renderer->render(*scene);

    const std::vector<Vec4> diffuse = readTexture(renderer->diffuseTexture);
    const std::vector<Vec3> screen = readScreen();
    std::vector<bool> listed(screen.size(), false);
    for (const PixelRecord& record : renderer->workList)
        listed[record.index] = true;
    for (std::size_t i = 0; i < screen.size(); ++i) {
        const Vec3 colour = diffuse[i].xyz();
        Vec3 expected = colour;
        if (listed[i] && i != unsampled) {
            // An entity without a texture is white in the diffuse target.
            ASSERT_EQ(colour, (Vec3{1.0f, 1.0f, 1.0f})) << "pixel " << i;
            expected = Vec3{0.5f, 0.25f, 0.125f};
        }
        ASSERT_TRUE(testing::near(screen[i], expected, 0.6f / 255.0f)) << "pixel " << i;
    }
}

TEST_F(HybridTest, TargetsAreRebuiltOnModeChangesAndPixelCountChangesOnly) {
    addEntity(makeCube(6.0f), Transform{});
    renderer->render(*scene);
    const std::uint32_t firstDiffuse = renderer->diffuseTexture;
    const std::uint32_t firstBuffer = renderer->gBuffer;
    const std::size_t firstCount = renderer->workList.size();
    EXPECT_NE(firstBuffer, 0u);
    EXPECT_EQ(renderer->positionTexels.size(), static_cast<std::size_t>(kWidth * kHeight));

    // A change of the scene rasterises again into the same targets.
    scene->entities.begin()->second->transform = makeTranslation({0.0f, 0.0f, 6.0f});
    ++scene->changeCount;
    renderer->render(*scene);
    EXPECT_EQ(renderer->diffuseTexture, firstDiffuse);
    EXPECT_EQ(renderer->gBuffer, firstBuffer);
    EXPECT_GT(renderer->workList.size(), firstCount) << "nearer, so larger";

    // setRenderMode rebuilds even at the same size, and the old diffuse name
    // stays allocated beside the new one.
    renderer->setRenderMode(RenderModeHybrid);
    renderer->render(*scene);
    EXPECT_NE(renderer->diffuseTexture, firstDiffuse);
    EXPECT_TRUE(glIsTexture(firstDiffuse));

    // A resize alone keeps the targets; with a smaller picture the records of
    // pixels beyond it are dropped instead of written past the sums.
    const std::uint32_t secondDiffuse = renderer->diffuseTexture;
    renderer->resize(32, 24);
    renderer->setCpuThreads(1);
    renderer->render(*scene);
    EXPECT_EQ(renderer->diffuseTexture, secondDiffuse);
    EXPECT_EQ(renderer->positionTexels.size(), static_cast<std::size_t>(kWidth * kHeight));
    for (const PixelRecord& record : renderer->workList)
        ASSERT_LT(record.index, renderer->accumulation.size());
    // The next change builds everything at the new size.
    ++scene->changeCount;
    renderer->render(*scene);
    EXPECT_NE(renderer->diffuseTexture, secondDiffuse);
    EXPECT_EQ(renderer->positionTexels.size(), 32u * 24u);
    while (glGetError() != GL_NO_ERROR) {
    }
}

TEST_F(HybridTest, AFrameLeavesTheGlStateAsItFoundIt) {
    addEntity(makeCube(6.0f), Transform{});
    for (std::uint64_t threads : {0u, 1u, 2u}) {
        renderer->setCpuThreads(threads);
        // Construction leaves textures bound (an upload binds its texture);
        // a frame in the program starts with none.
        for (GLenum unit : {GL_TEXTURE1, GL_TEXTURE0}) {
            glActiveTexture(unit);
            glBindTexture(GL_TEXTURE_2D, 0);
        }
        renderer->render(*scene);
        GLint value = -1;
        glGetIntegerv(GL_FRAMEBUFFER_BINDING, &value);
        EXPECT_EQ(value, 0);
        glGetIntegerv(GL_ACTIVE_TEXTURE, &value);
        EXPECT_EQ(value, GL_TEXTURE0);
        glActiveTexture(GL_TEXTURE1);
        glGetIntegerv(GL_TEXTURE_BINDING_2D, &value);
        EXPECT_EQ(value, 0) << "unit 1";
        glActiveTexture(GL_TEXTURE0);
        EXPECT_EQ(testing::currentBoundState(), (testing::BoundState{0, 0, 0, 0}));
        EXPECT_FALSE(glIsEnabled(GL_LIGHTING));
        EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D));
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    }
}

// A square of side 18 facing the eye, textured with a 2 x 2 picture whose
// texels are red, green (top row) and blue, yellow (bottom row).
std::string writeTexturedSquare(std::vector<std::string>& files) {
    const std::string stem = ::testing::TempDir() + "painted_square_" + std::to_string(::getpid());
    std::ofstream picture(stem + ".pbm", std::ios::binary);
    picture << "PF\n2\n2\n-1.0\n";
    const float texels[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 1, 0};
    picture.write(reinterpret_cast<const char*>(texels), sizeof texels);
    std::ofstream library(stem + ".mtl");
    library << "newmtl painted\nillum 2\nmap_Kd " << stem << ".pbm\n";
    const std::string name = stem.substr(stem.find_last_of('/') + 1);
    std::ofstream model(stem + ".obj");
    model << "mtllib " << name << ".mtl\n"
          << "v -9 -9 0\nv 9 -9 0\nv 9 9 0\nv -9 9 0\n"
          << "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nvn 0 0 1\n"
          << "usemtl painted\nf 1/1/1 2/2/1 3/3/1\nf 1/1/1 3/3/1 4/4/1\n";
    files = {stem + ".pbm", stem + ".mtl", stem + ".obj"};
    return stem + ".obj";
}

TEST_F(HybridTest, TheDiffuseTargetShowsATextureTheWayTheTracerReadsIt) {
    const std::string model = writeTexturedSquare(extraFiles);
    Entity& square = addEntity(Geometry::load(model), Transform{});
    // The reader puts a "default" record before those of the library.
    const Material& painted = square.materials.at(square.geometry->triangleMaterials.front());
    ASSERT_NE(painted.texture.image->textureId, 0u);
    renderer->render(*scene);

    const std::vector<Vec4> diffuse = readTexture(renderer->diffuseTexture);
    const Mat4 viewProjection = renderer->camera.projection.forward * scene->camera.forward;
    // Quarter centres of the square, with the (u, v) there.
    const struct {
        float x, y, u, v;
    } quarters[] = {{-4.5f, 4.5f, 0.25f, 0.75f},
                    {4.5f, 4.5f, 0.75f, 0.75f},
                    {-4.5f, -4.5f, 0.25f, 0.25f},
                    {4.5f, -4.5f, 0.75f, 0.25f}};
    for (const auto& quarter : quarters) {
        const Vec4 clip = viewProjection * Vec4(Vec3{quarter.x, quarter.y, 0.0f}, 1.0f);
        const int x = static_cast<int>((clip.x / clip.w + 1.0f) * 0.5f * kWidth);
        const int y = static_cast<int>((clip.y / clip.w + 1.0f) * 0.5f * kHeight);
        EXPECT_EQ(diffuse[y * kWidth + x].xyz(), sampleTexture(painted.texture, quarter.u, quarter.v))
            << quarter.x << "," << quarter.y;
    }
}

} // namespace
} // namespace verdanium
