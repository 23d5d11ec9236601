// verdanium-render's pictures in linear light: the OpenEXR file against the PNG and against the renderer's
// own sums, and the error against a reference frame by frame.
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
#include <sstream>

namespace verdanium {
namespace {

constexpr std::uint32_t kWidth = 48;
constexpr std::uint32_t kHeight = 32;

// 8-bit RGB, rows from the top; empty when the file is no PNG.
std::vector<std::uint8_t> readPngRgb(const std::string& path, std::uint32_t* width = nullptr) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) {
        return {};
    }
    image.format = PNG_FORMAT_RGB;
    std::vector<std::uint8_t> rgb(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr)) {
        return {};
    }
    if (width != nullptr) {
        *width = image.width;
    }
    return rgb;
}

std::string renderCommand(const std::string& arguments) {
    return "./verdanium-render --threads 1 --width " + std::to_string(kWidth) + " --height " +
           std::to_string(kHeight) + " " + arguments;
}

using PictureOutput = TestFilesFixture;

// The PNG and the EXR of one run show the same picture the same way up: the PNG's byte is the linear value
// through the mode's own transfer (gamma 1/2.2 for path tracing, none for the others), give or take the
// 8-bit rounding.
TEST_F(PictureOutput, ExrIsThePngInLinearLight) {
    const struct {
        int mode;
        double gamma;
    } cases[] = {{0, 0.45454544}, {1, 1.0}, {3, 1.0}};
    for (const auto& c : cases) {
        SCOPED_TRACE("mode " + std::to_string(c.mode));
        const std::string png = (directory / "picture.png").string();
        const std::string exr = (directory / "picture.exr").string();
        const ToolRun run = runTool(renderCommand("--mode " + std::to_string(c.mode) +
                                                  " --frames 2 --output " + png + " --exr " + exr),
                                    directory);
        ASSERT_EQ(run.status, 0) << run.errors;
        const std::vector<std::uint8_t> bytes = readPngRgb(png);
        ASSERT_EQ(bytes.size(), kWidth * kHeight * 3);
        const LinearPicture linear = readExr(exr);
        ASSERT_EQ(linear.width, kWidth);
        ASSERT_EQ(linear.height, kHeight);
        int lit = 0;
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            const double shown = std::pow(std::clamp(double(linear.rgb[i]), 0.0, 1.0), c.gamma) * 255.0;
            ASSERT_NEAR(shown, bytes[i], 1.0) << "value " << i;
            lit += bytes[i] > 16;
        }
        // A black picture would match any transfer.
        EXPECT_GT(lit, int(bytes.size() / 20));
    }
}

// A one-thread run repeats its random draws, so the tool's EXR can be checked against the same frames
// rendered here: each pixel's sum divided by its count, exactly.
TEST_F(PictureOutput, PathTracedExrHoldsTheSumsOverTheCounts) {
    const std::string exr = (directory / "picture.exr").string();
    const ToolRun run = runTool(renderCommand("--mode 0 --frames 3 --intersector 0 --output " +
                                              (directory / "picture.png").string() + " --exr " + exr),
                                directory);
    ASSERT_EQ(run.status, 0) << run.errors;

    // The tool's steps, from the generator's first draw on.
    gRandom.seed(MersenneTwister::kDefaultSeed);
    HeadlessSession session(kWidth, kHeight);
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
        ASSERT_EQ(written.rgb[3 * i + 0], sum.x / sum.w) << "pixel " << i;
        ASSERT_EQ(written.rgb[3 * i + 1], sum.y / sum.w) << "pixel " << i;
        ASSERT_EQ(written.rgb[3 * i + 2], sum.z / sum.w) << "pixel " << i;
    }
}

// A second run of the reference's own settings matches it exactly after the same number of frames and
// drifts from it after more; a reference of another size is refused before any work.
TEST_F(PictureOutput, ConvergenceAgainstAReference) {
    const std::string reference = (directory / "reference.exr").string();
    const std::string png = (directory / "picture.png").string();
    ASSERT_EQ(runTool(renderCommand("--mode 0 --output " + png + " --exr " + reference), directory).status,
              0);

    const std::string csv = (directory / "run.csv").string();
    const ToolRun run = runTool(renderCommand("--mode 0 --frames 2 --output " + png + " --reference " +
                                              reference + " --convergence " + csv),
                                directory);
    ASSERT_EQ(run.status, 0) << run.errors;
    std::ifstream file(csv);
    std::string header, first, second, extra;
    std::getline(file, header);
    std::getline(file, first);
    std::getline(file, second);
    EXPECT_EQ(header, "frame,samples_per_pixel,seconds,rmse,relmse,psnr");
    EXPECT_TRUE(first.starts_with("1,1,")) << first;
    EXPECT_TRUE(first.ends_with(",0,0,inf")) << first;
    double frame, samples, seconds, rmse, relmse, psnr;
    char comma;
    std::istringstream(second) >> frame >> comma >> samples >> comma >> seconds >> comma >> rmse >> comma >>
        relmse >> comma >> psnr;
    EXPECT_EQ(frame, 2);
    EXPECT_EQ(samples, 2);
    EXPECT_GT(rmse, 0.0);
    EXPECT_GT(relmse, 0.0);
    EXPECT_NEAR(psnr, -10.0 * std::log10(rmse * rmse), 1e-3);
    EXPECT_FALSE(std::getline(file, extra));

    const std::string refused = (directory / "refused.csv").string();
    const ToolRun wrongSize = runTool("./verdanium-render --width 40 --height 32 --reference " + reference +
                                          " --convergence " + refused + " --output " + png,
                                      directory);
    EXPECT_EQ(wrongSize.status, 2);
    EXPECT_EQ(wrongSize.output, "");
    EXPECT_NE(wrongSize.errors.find("48 x 32"), std::string::npos) << wrongSize.errors;
    EXPECT_NE(wrongSize.errors.find("40 x 32"), std::string::npos) << wrongSize.errors;
    EXPECT_FALSE(std::filesystem::exists(refused));
}

// Two 2 x 1 pictures: the reference is 0.5 everywhere but one green of 0 and one blue of 2; the picture
// differs by 0.1 in one channel, by 0.2 in the green and by 1 in the blue. Six values, by hand:
// squared differences 0.01 + 0.04 + 1 = 1.05; relative ones 0.01 / 0.26 + 0.04 / 0.01 + 1 / 4.01.
TEST(PictureErrorFigures, KnownDifferences) {
    const LinearPicture reference{2, 1, {0.5f, 0.0f, 0.5f, 0.5f, 0.5f, 2.0f}};
    const LinearPicture picture{2, 1, {0.6f, 0.2f, 0.5f, 0.5f, 0.5f, 1.0f}};
    const PictureError error = comparePictures(picture, reference);
    const double mse = 1.05 / 6.0;
    EXPECT_NEAR(error.rmse, std::sqrt(mse), 1e-6);
    EXPECT_NEAR(error.relmse, (0.01 / 0.26 + 4.0 + 1.0 / 4.01) / 6.0, 1e-6);
    EXPECT_NEAR(error.psnr, 10.0 * std::log10(1.0 / mse), 1e-5);

    const PictureError same = comparePictures(reference, reference);
    EXPECT_EQ(same.rmse, 0.0);
    EXPECT_EQ(same.relmse, 0.0);
    EXPECT_TRUE(std::isinf(same.psnr) && same.psnr > 0.0);
}

// The plot script draws two short runs into one PNG: both lines in colour across the plot, besides the key.
TEST_F(PictureOutput, PlotScriptDrawsEveryRun) {
    const std::string header = "frame,samples_per_pixel,seconds,rmse,relmse,psnr\n";
    const std::string fast =
        write("fast.csv", header + "1,1,0.1,0.2,0.5,14\n2,2,0.2,0.14,0.3,17\n3,3,0.3,0.11,0.2,19\n");
    const std::string slow =
        write("slow.csv", header + "1,1,0.3,0.2,0.5,14\n2,2,0.6,0.14,0.3,17\n3,3,0.9,0.12,0.2,19\n");
    const std::string plot = (directory / "plot.png").string();
    const ToolRun run = runTool(std::string(VERDANIUM_SOURCE_DIR) + "/scripts/plot-convergence " + fast +
                                    " " + slow + " --output " + plot,
                                directory);
    ASSERT_EQ(run.status, 0) << run.errors;
    const std::vector<std::uint8_t> rgb = readPngRgb(plot);
    ASSERT_FALSE(rgb.empty());
    // Coloured pixels by the order of their channels (a hue sector): the lines are antialiased, so each
    // run's colour comes in many shades, but all in one sector. Grey axes, grid and text are left out.
    std::map<int, int> sectors;
    for (std::size_t i = 0; i < rgb.size(); i += 3) {
        const int r = rgb[i], g = rgb[i + 1], b = rgb[i + 2];
        if (std::max({r, g, b}) - std::min({r, g, b}) > 40) {
            ++sectors[(r > g) * 4 + (g > b) * 2 + (r > b)];
        }
    }
    // A line across the plot takes several hundred pixels; the key's sample of a run alone, about a hundred.
    const auto lines =
        std::count_if(sectors.begin(), sectors.end(), [](const auto& s) { return s.second > 300; });
    EXPECT_EQ(lines, 2);
}

} // namespace
} // namespace verdanium
