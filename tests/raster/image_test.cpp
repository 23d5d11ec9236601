#include "raster/image.h"
#include "support/gl_test_context.h"
#include "support/test_files.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <cstring>

namespace verdanium {
namespace {

// A header and the raw floats of the given values.
std::string pfFile(const std::string& header, const std::vector<float>& values) {
    return header + std::string(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(float));
}

class ImageTest : public TestFilesFixture {
protected:
    // Constructs the image, returning what it wrote on standard error.
    static std::string construct(const std::string& path, std::unique_ptr<Image>& image) {
        ::testing::internal::CaptureStderr();
        image = std::make_unique<Image>(path);
        return ::testing::internal::GetCapturedStderr();
    }
};

TEST_F(ImageTest, HeaderFailuresReportWordForWordAndLeaveTheStateTableValues) {
    const struct {
        std::string bytes;
        std::string message; // "could not read <message>", or the whole size message with %s for the path
        std::int64_t width, height;
    } cases[] = {
        {"PF\r\n2\r\n1\r\n-1\r\n", "format string", 0, 0}, // line 1 is then three bytes long
        {"PFX\n2\n1\n\n", "format string", 0, 0},
        {"PF\n0\n1\n\n", "image width", 0, 0},
        {"PF\n99999999999\n1\n\n", "image width", 0, 0},
        {"PF\n3\n0\n\n", "image height", 3, 0},
        {"PF\n3\n2\n", "dummy line", 3, 2},
        {pfFile("PF\n1\n1\n\n", {1, 2}), "error: expected 12 bytes of data in \"%s\" but found 8.\n", 1, 1},
        {pfFile("PF\n1\n1\n\n", {1, 2, 3}) + "x",
         "error: expected 12 bytes of data in \"%s\" but found 13.\n", 1, 1},
        {"PF\n2147483647\n2147483647\n\n",
         "error: expected 55340232169589047308 bytes of data in \"%s\" but found 0.\n", 2147483647,
         2147483647},
    };
    int index = 0;
    for (const auto& c : cases) {
        const std::string path = write("case" + std::to_string(index++) + ".pbm", c.bytes);
        std::string expected = c.message;
        if (expected.find("%s") == std::string::npos)
            expected = "error: could not read " + expected + " in \"%s\".\n";
        expected.replace(expected.find("%s"), 2, path);
        std::unique_ptr<Image> image;
        EXPECT_EQ(construct(path, image), expected);
        EXPECT_EQ(image->width, c.width) << expected;
        EXPECT_EQ(image->height, c.height) << expected;
        EXPECT_TRUE(image->pixels.empty());
        EXPECT_EQ(image->textureId, 0u);
    }
}

TEST_F(ImageTest, AGoodFileFillsPixelsInFileOrderAndUploadsThemUnclamped) {
    VERDANIUM_REQUIRE_GL();
    // Line 2 may carry words after the number, line 4 any text. The path is
    // written with a backslash, which only the opening turns into a slash.
    write("good.pbm",
          pfFile("PF\n  2 pixels wide\n2\nanything\n", {0, 1, 2, 3, 4, 5, 6, 7, 8, -1.5f, 1e6f, 0.25f}));
    std::unique_ptr<Image> image;
    EXPECT_EQ(construct(directory.string() + "\\good.pbm", image), "");
    ASSERT_EQ(image->pixels.size(), 4u);
    EXPECT_EQ(image->width, 2);
    EXPECT_EQ(image->pixels[1], (Vec3{3, 4, 5}));
    EXPECT_EQ(image->pixels[3], (Vec3{-1.5f, 1e6f, 0.25f}));

    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(static_cast<std::uint32_t>(bound), image->textureId) << "left bound";
    std::vector<Vec3> texels(4);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGB, GL_FLOAT, texels.data());
    EXPECT_EQ(texels, image->pixels) << "unclamped values survive";

    glBindTexture(GL_TEXTURE_2D, 0);
}

TEST_F(ImageTest, AFileOfManyPagesIsReadWholeAndUploadedWhole) {
    VERDANIUM_REQUIRE_GL();
    // Some 600 pages of payload, starting and ending inside a page, with a value of its own at every float.
    const int width = 601, height = 331;
    std::vector<float> values(static_cast<std::size_t>(width) * height * 3);
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = static_cast<float>(i) * 0.5f - 7.0f;
    write("large.pbm", pfFile("PF\n601\n331\n\n", values));
    std::unique_ptr<Image> image;
    EXPECT_EQ(construct((directory / "large.pbm").string(), image), "");
    ASSERT_EQ(image->pixels.size(), values.size() / 3);
    EXPECT_EQ(std::memcmp(image->pixels.data(), values.data(), values.size() * sizeof(float)), 0);

    std::vector<float> texels(values.size());
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGB, GL_FLOAT, texels.data());
    EXPECT_EQ(texels, values);
    glBindTexture(GL_TEXTURE_2D, 0);
}

TEST_F(ImageTest, LoadReadsEachPathOnceFailuresIncluded) {
    const std::string missing = (directory / "not_there.pbm").string();
    ::testing::internal::CaptureStderr();
    auto first = Image::load(missing);
    EXPECT_EQ(Image::load(missing), first);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "error: could not open \"" + missing + "\".\n");
    // The file appearing later changes nothing: the failed load stays cached.
    write("not_there.pbm", pfFile("PF\n1\n1\n\n", {1, 2, 3}));
    EXPECT_EQ(Image::load(missing)->width, 0);
}

} // namespace
} // namespace verdanium
