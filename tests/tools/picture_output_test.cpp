// verdanium-render's pictures in linear light: the OpenEXR file against the PNG and against the renderer's
// own sums, the error against a reference frame by frame, and the plot of it.
#include "tool_run.h"

#include "exr_file.h"
#include "headless_session.h"
#include "picture_error.h"

#include "geometry/intersector_mode.h"
#include "world/random.h"

#include <png.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace verdanium {
namespace {

// 8-bit RGB, rows from the top; empty when the file is no PNG.
std::vector<std::uint8_t> readPng(const std::string& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    std::vector<std::uint8_t> rgb;
    if (png_image_begin_read_from_file(&image, path.c_str())) {
        image.format = PNG_FORMAT_RGB;
        rgb.resize(PNG_IMAGE_SIZE(image));
        png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr);
    }
    return rgb;
}

using PictureOutput = TestFilesFixture;

const std::string kSmall = "./verdanium-render --threads 1 --width 48 --height 32 ";

// The PNG and the EXR of one run show the same picture the same way up: the PNG's byte is the linear value
// through the mode's transfer (gamma 1/2.2 in path tracing, none in the others), give or take the rounding.
TEST_F(PictureOutput, ExrIsThePngInLinearLight) {
    const std::string png = (directory / "picture.png").string(), exr = (directory / "picture.exr").string();
    for (const auto& [mode, gamma] : {std::pair{0, 0.45454544}, {1, 1.0}, {3, 1.0}}) {
        SCOPED_TRACE("mode " + std::to_string(mode));
        const std::string arguments = "--frames 2 --output " + png + " --exr " + exr;
        ASSERT_EQ(runTool(kSmall + "--mode " + std::to_string(mode) + " " + arguments, directory).status, 0);
        const std::vector<std::uint8_t> bytes = readPng(png);
        const LinearPicture linear = readExr(exr);
        ASSERT_EQ(linear.width * linear.height, 48u * 32u);
        ASSERT_EQ(bytes.size(), linear.rgb.size());
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            ASSERT_NEAR(std::pow(std::clamp(double(linear.rgb[i]), 0.0, 1.0), gamma) * 255.0, bytes[i], 1.0)
                << i;
        }
        // A black picture would match any transfer.
        EXPECT_GT(std::count_if(bytes.begin(), bytes.end(), [](int b) { return b > 16; }),
                  int(bytes.size() / 20));
    }
}

// A one-thread run repeats its random draws, so the tool's EXR is checked against the same frames rendered
// here: each pixel's sum divided by its count, exactly.
TEST_F(PictureOutput, PathTracedExrHoldsTheSumsOverTheCounts) {
    const std::string exr = (directory / "picture.exr").string();
    const std::string arguments = "--mode 0 --frames 3 --intersector 0 --output " + exr + ".png --exr " + exr;
    ASSERT_EQ(runTool(kSmall + arguments, directory).status, 0);

    gRandom.seed(MersenneTwister::kDefaultSeed); // the tool's steps, from the generator's first draw on
    HeadlessSession session(48, 32);
    gIntersectorMode = 0;
    session.renderer.setRenderMode(0);
    session.renderer.setCpuThreads(1);
    session.advanceFlightTo(0.0);
    for (int frame = 0; frame < 3; ++frame) {
        session.renderer.render(session.scene);
    }
    const LinearPicture written = readExr(exr);
    ASSERT_EQ(written.rgb.size(), session.renderer.accumulation.size() * 3);
    for (std::size_t i = 0; i < session.renderer.accumulation.size(); ++i) {
        const Vec4 sum = session.renderer.accumulation[i];
        ASSERT_EQ(sum.w, 3.0f);
        const float expected[3] = {sum.x / sum.w, sum.y / sum.w, sum.z / sum.w};
        ASSERT_TRUE(std::equal(expected, expected + 3, &written.rgb[3 * i])) << "pixel " << i;
    }
}

// A second run with the reference's own settings matches it exactly after the same number of frames and
// differs after more; a reference of another size is refused before any work.
TEST_F(PictureOutput, ConvergenceAgainstAReference) {
    const std::string reference = (directory / "reference.exr").string(),
                      png = (directory / "run.png").string();
    ASSERT_EQ(runTool(kSmall + "--mode 0 --output " + png + " --exr " + reference, directory).status, 0);
    const std::string compare =
        " --output " + png + " --reference " + reference + " --convergence " + directory.string() + "/";
    ASSERT_EQ(runTool(kSmall + "--mode 0 --frames 2" + compare + "run.csv", directory).status, 0);
    std::ifstream file(directory / "run.csv");
    std::string header, first, second, extra;
    std::getline(file, header) && std::getline(file, first) && std::getline(file, second);
    EXPECT_EQ(header, "frame,samples_per_pixel,seconds,rmse,relmse,psnr");
    EXPECT_TRUE(first.starts_with("1,1,") && first.ends_with(",0,0,inf")) << first;
    EXPECT_TRUE(second.starts_with("2,2,") && !second.ends_with(",inf")) << second;
    EXPECT_FALSE(std::getline(file, extra));

    const ToolRun wrongSize =
        runTool("./verdanium-render --width 40 --height 32" + compare + "refused.csv", directory);
    EXPECT_EQ(wrongSize.status, 2);
    EXPECT_EQ(wrongSize.output, "");
    EXPECT_NE(wrongSize.errors.find("48 x 32 pixels, but the picture is 40 x 32"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(directory / "refused.csv"));
}

// Two 2 x 1 pictures: the reference is 0.5 but for one green of 0 and one blue of 2; the picture differs
// by 0.1, 0.2 and 1 in three channels. Six values, by hand: squared differences 0.01 + 0.04 + 1; relative
// ones 0.01 / 0.26 + 0.04 / 0.01 + 1 / 4.01.
TEST(PictureErrorFigures, KnownDifferences) {
    const LinearPicture reference{2, 1, {0.5f, 0.0f, 0.5f, 0.5f, 0.5f, 2.0f}};
    const PictureError error = comparePictures({2, 1, {0.6f, 0.2f, 0.5f, 0.5f, 0.5f, 1.0f}}, reference);
    EXPECT_NEAR(error.rmse, std::sqrt(1.05 / 6.0), 1e-6);
    EXPECT_NEAR(error.relmse, (0.01 / 0.26 + 4.0 + 1.0 / 4.01) / 6.0, 1e-6);
    EXPECT_NEAR(error.psnr, 10.0 * std::log10(6.0 / 1.05), 1e-5);
    const PictureError same = comparePictures(reference, reference);
    EXPECT_TRUE(same.rmse == 0.0 && same.relmse == 0.0 && same.psnr == INFINITY);
}

// Two short runs make one PNG with both lines in colour. The lines are antialiased, so each run's colour
// comes in many shades, but all with the same order of channels: pixels are counted by that order, greys
// (axes, grid, text) left out. A line across the plot takes several hundred; a key's sample about a hundred.
TEST_F(PictureOutput, PlotScriptDrawsEveryRun) {
    const std::string header = "frame,samples_per_pixel,seconds,rmse,relmse,psnr\n";
    const std::string fast =
        write("fast.csv", header + "1,1,0.1,0.2,0.5,14\n2,2,0.2,0.14,0.3,17\n3,3,0.3,0.11,0.2,19\n");
    const std::string slow =
        write("slow.csv", header + "1,1,0.3,0.2,0.5,14\n2,2,0.6,0.14,0.3,17\n3,3,0.9,0.12,0.2,19\n");
    const std::string plot = (directory / "plot.png").string();
    const std::string script = std::string(VERDANIUM_SOURCE_DIR) + "/scripts/plot-convergence ";
    ASSERT_EQ(runTool(script + fast + " " + slow + " --output " + plot, directory).status, 0);
    const std::vector<std::uint8_t> rgb = readPng(plot);
    std::map<int, int> byOrder;
    for (std::size_t i = 0; i + 2 < rgb.size(); i += 3) {
        const int r = rgb[i], g = rgb[i + 1], b = rgb[i + 2];
        byOrder[(r > g) * 4 + (g > b) * 2 + (r > b)] += std::max({r, g, b}) - std::min({r, g, b}) > 40;
    }
    EXPECT_EQ(std::count_if(byOrder.begin(), byOrder.end(), [](auto& order) { return order.second > 300; }),
              2);
}

} // namespace
} // namespace verdanium
