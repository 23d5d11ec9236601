#include "geometry/geometry.h"
#include "platform/window.h"
#include "raster/background.h"
#include "raster/image.h"
#include "raster/raster_test_support.h"
#include "raster/scene_raster_state.h"
#include "tracer/recursive_path_tracer.h"
#include "world/entity.h"
#include "world/scene.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

namespace verdanium {
namespace {

class HybridTest : public testing::StripSceneTest {
protected:
    void SetUp() override {
        StripSceneTest::SetUp();
        if (IsSkipped())
            return;
        renderer = std::make_unique<RecursivePathTracer>(WindowSettings{.width = kWidth, .height = kHeight});
        renderer->setCpuThreads(0);
    }

    static std::vector<Vec4> readTexture(std::uint32_t name) {
        std::vector<Vec4> texels(static_cast<std::size_t>(kWidth) * kHeight);
        glBindTexture(GL_TEXTURE_2D, name);
        glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_FLOAT, texels.data());
        glBindTexture(GL_TEXTURE_2D, 0);
        return texels;
    }

    std::unique_ptr<RecursivePathTracer> renderer;
};

TEST_F(HybridTest, TheWorkListHoldsExactlyTheCoveredPixelsWithWorldPositionsAndNormals) {
    const Transform placement =
        makeTranslation({2.0f, -1.0f, -3.0f}) * makeRotation({1.0f, 2.0f, 0.5f}, 0.8f);
    addEntity(makeCube(6.0f), placement);
    scene->camera =
        makeRotation({0.0f, 0.0f, 1.0f}, 0.5f) * scene->camera; // a turned view: world is not eye space
    renderer->render(*scene);

    // Covered: where shader raster draws the entity (blue 0, the strip's is 0.5).
    std::vector<Vec4> matte;
    {
        testing::FloatTarget target(kWidth, kHeight);
        scene->rasterize(RenderModeShaderRaster, *camera);
        matte = target.read();
    }
    std::vector<std::uint64_t> covered, listed;
    for (std::size_t i = 0; i < matte.size(); ++i)
        if (matte[i].z == 0.0f)
            covered.push_back(i);
    for (const PixelRecord& record : renderer->workList)
        listed.push_back(record.index);
    ASSERT_GT(listed.size(), 50u);
    EXPECT_EQ(listed, covered);

    for (const PixelRecord& record : renderer->workList) {
        SCOPED_TRACE(record.index);
        // On the cube's surface, seen through its own pixel...
        const Vec3 local = transformPoint(placement.inverse, record.position);
        int axis = 0;
        for (int a = 1; a < 3; ++a)
            if (std::fabs(local[a]) > std::fabs(local[axis]))
                axis = a;
        EXPECT_NEAR(std::fabs(local[axis]), 3.0f, 2e-3f);
        EXPECT_EQ(pixelOf(record.position), record.index);
        // ...with the unit world normal of its face.
        Vec3 faceNormal;
        faceNormal[axis] = local[axis] > 0.0f ? 1.0f : -1.0f;
        EXPECT_TRUE(testing::near(record.normal, transformDirection(placement.forward, faceNormal), 1e-4f));
    }
}

// The raster pass runs only on a change: still frames add the bounce count to
// the listed pixels' counts, a change starts them again.
TEST_F(HybridTest, TheRasterPassRunsOnlyOnAChangeAndAFrameGivesBackItsBindings) {
    addEntity(makeCube(6.0f), Transform{});
    renderer->setCpuThreads(1);
    renderer->setSecondaryBounceCount(2);
    renderer->render(*scene);
    renderer->render(*scene);
    ASSERT_FALSE(renderer->workList.empty());
    for (const PixelRecord& record : renderer->workList)
        ASSERT_EQ(renderer->accumulation[record.index].w, 4.0f);
    ++scene->changeCount;
    renderer->render(*scene);
    for (const PixelRecord& record : renderer->workList)
        ASSERT_EQ(renderer->accumulation[record.index].w, 2.0f);

    // A frame gives back every binding, unit 1's texture included.
    glActiveTexture(GL_TEXTURE1);
    EXPECT_EQ(testing::boundState(), (std::array<int, 4>{0, 0, 0, 0})) << "unit 1";
    glActiveTexture(GL_TEXTURE0);
    EXPECT_EQ(testing::boundState(), (std::array<int, 4>{0, 0, 0, 0}));
    EXPECT_FALSE(glIsEnabled(GL_LIGHTING) || glIsEnabled(GL_TEXTURE_2D));
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

// Covered pixels show the diffuse colour times the mean of the sums; pixels with
// a count of 0 (the background, or a covered pixel not yet sampled) the diffuse
// colour as it stands.
TEST_F(HybridTest, TheCompositeDividesTheSumsByTheCountAndMultipliesTheDiffuseColour) {
    addEntity(makeCube(6.0f), makeRotation({0.0f, 1.0f, 0.0f}, 0.4f));
    renderer->render(*scene);
    ASSERT_GT(renderer->workList.size(), 2u);
    for (const PixelRecord& record : renderer->workList)
        renderer->accumulation[record.index] = Vec4{2.0f, 1.0f, 0.5f, 4.0f};
    const std::uint64_t unsampled = renderer->workList.front().index;
    renderer->accumulation[unsampled] = Vec4{};
    renderer->render(*scene); // no change: upload and composite only

    const std::vector<Vec4> diffuse = readTexture(renderer->diffuseTexture);
    std::vector<Vec4> screen(diffuse.size()); // the composite as it reached the window, 8 bits a channel
    glReadPixels(0, 0, kWidth, kHeight, GL_RGBA, GL_FLOAT, screen.data());
    std::vector<bool> listed(screen.size(), false);
    for (const PixelRecord& record : renderer->workList)
        listed[record.index] = true;
    for (std::size_t i = 0; i < screen.size(); ++i) {
        Vec3 expected = diffuse[i].xyz();
        if (listed[i] && i != unsampled) {
            ASSERT_EQ(expected, (Vec3{1.0f, 1.0f, 1.0f})) << "an untextured entity is white, pixel " << i;
            expected = Vec3{0.5f, 0.25f, 0.125f};
        }
        ASSERT_TRUE(testing::near(screen[i].xyz(), expected, 0.6f / 255.0f)) << "pixel " << i;
    }
}

// A square facing the eye, textured with 2 x 2 texels: the diffuse target must
// show at each quarter the texel that the tracer reads at that (u, v).
TEST_F(HybridTest, TheDiffuseTargetShowsATextureTheWayTheTracerReadsIt) {
    const std::string stem = stripPath.substr(0, stripPath.size() - 4) + "_square";
    const float texels[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 1, 0};
    std::ofstream(stem + ".pbm", std::ios::binary)
        << "PF\n2\n2\n\n"
        << std::string(reinterpret_cast<const char*>(texels), sizeof texels);
    std::ofstream(stem + ".mtl") << "newmtl painted\nmap_Kd " << stem << ".pbm\n";
    std::ofstream(stem + ".obj") << "mtllib " << stem.substr(stem.rfind('/') + 1) << ".mtl\n"
                                 << "v -9 -9 0\nv 9 -9 0\nv 9 9 0\nv -9 9 0\nvt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
                                 << "vn 0 0 1\nusemtl painted\nf 1/1/1 2/2/1 3/3/1\nf 1/1/1 3/3/1 4/4/1\n";
    Entity& square = addEntity(Geometry::load(stem + ".obj"), Transform{});
    const Material& painted = square.materials.at(square.geometry->triangleMaterials.front());
    ASSERT_NE(painted.texture.image->textureId, 0u);
    renderer->render(*scene);

    const std::vector<Vec4> diffuse = readTexture(renderer->diffuseTexture);
    for (float x : {-4.5f, 4.5f})
        for (float y : {-4.5f, 4.5f})
            EXPECT_EQ(diffuse[pixelOf({x, y, 0.0f})].xyz(),
                      sampleTexture(painted.texture, 0.5f + x / 18.0f, 0.5f + y / 18.0f))
                << x << "," << y;
    for (const char* ending : {".pbm", ".mtl", ".obj"})
        std::filesystem::remove(stem + ending);
}

} // namespace
} // namespace verdanium
