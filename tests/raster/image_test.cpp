#include "raster/image.h"
#include "support/gl_test_context.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace verdanium {
namespace {

namespace fs = std::filesystem;

class ImageTest : public ::testing::Test {
protected:
    void SetUp() override {
        directory =
            fs::temp_directory_path() / ("verdanium_image_" + std::to_string(getpid()) + "_" +
                                         ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(directory);
    }
    void TearDown() override { fs::remove_all(directory); }

    std::string write(const std::string& name, const std::string& bytes) {
        std::string path = (directory / name).string();
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }

    // A header and the raw floats of the given pixel values.
    static std::string pfFile(const std::string& header, const std::vector<float>& values) {
        std::string bytes = header;
        bytes.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(float));
        return bytes;
    }

    // Constructs the image, returning what it wrote on standard error.
    static std::string construct(const std::string& path, std::unique_ptr<Image>& image) {
        ::testing::internal::CaptureStderr();
        image = std::make_unique<Image>(path);
        return ::testing::internal::GetCapturedStderr();
    }

    fs::path directory;
};

TEST_F(ImageTest, HeaderFailuresReportWordForWordAndLeaveTheStateTableValues) {
    struct Case {
        std::string bytes;
        std::string message; // with %s for the path
        std::int64_t width, height;
    };
    const Case cases[] = {
        {"PF\r\n2\r\n1\r\n-1\r\n", "error: could not read format string in \"%s\".\n", 0, 0},
        {"PFX\n2\n1\n\n", "error: could not read format string in \"%s\".\n", 0, 0},
        {"P\n2\n1\n\n", "error: could not read format string in \"%s\".\n", 0, 0},
        {"", "error: could not read format string in \"%s\".\n", 0, 0},
        {"PF\n0\n1\n\n", "error: could not read image width in \"%s\".\n", 0, 0},
        {"PF\n-4\n1\n\n", "error: could not read image width in \"%s\".\n", 0, 0},
        {"PF\nwide\n1\n\n", "error: could not read image width in \"%s\".\n", 0, 0},
        {"PF\n99999999999\n1\n\n", "error: could not read image width in \"%s\".\n", 0, 0},
        {"PF\n", "error: could not read image width in \"%s\".\n", 0, 0},
        {"PF\n3\n0\n\n", "error: could not read image height in \"%s\".\n", 3, 0},
        {"PF\n3\n", "error: could not read image height in \"%s\".\n", 3, 0},
        {"PF\n3\n2\n", "error: could not read dummy line in \"%s\".\n", 3, 2},
        {pfFile("PF\n1\n1\n\n", {1, 2}), "error: expected 12 bytes of data in \"%s\" but found 8.\n", 1, 1},
        {pfFile("PF\n1\n1\n\n", {1, 2, 3}) + "x",
         "error: expected 12 bytes of data in \"%s\" but found 13.\n", 1, 1},
        {"PF\n2147483647\n2147483647\n\n",
         "error: expected 55340232169589047308 bytes of data in \"%s\" but found 0.\n", 2147483647,
         2147483647},
    };
    int index = 0;
    for (const Case& c : cases) {
        std::string path = write("case" + std::to_string(index++) + ".pbm", c.bytes);
        std::unique_ptr<Image> image;
        std::string output = construct(path, image);
        std::string expected = c.message;
        expected.replace(expected.find("%s"), 2, path);
        EXPECT_EQ(output, expected);
        EXPECT_EQ(image->width, c.width) << output;
        EXPECT_EQ(image->height, c.height) << output;
        EXPECT_TRUE(image->pixels.empty());
        EXPECT_EQ(image->textureId, 0u);
    }
}

TEST_F(ImageTest, MissingFileAndDirectoryReportTheOpenMessage) {
    for (std::string path : {(directory / "absent.pbm").string(), directory.string()}) {
        std::unique_ptr<Image> image;
        EXPECT_EQ(construct(path, image), "error: could not open \"" + path + "\".\n");
        EXPECT_EQ(image->width, 0);
    }
}

TEST_F(ImageTest, GoodFileFillsPixelsInFileOrderAndUploadsAFloatTexture) {
    VERDANIUM_REQUIRE_GL();
    // Line 2 carries trailing words and line 4 any text: both are accepted.
    std::string path = write("good.pbm", pfFile("PF\n  2 pixels wide\n2\nanything at all\n",
                                                {0, 1, 2, 3, 4, 5, 6, 7, 8, -1.5f, 1e6f, 0.25f}));
    std::unique_ptr<Image> image;
    EXPECT_EQ(construct(path, image), "");
    ASSERT_EQ(image->width, 2);
    ASSERT_EQ(image->height, 2);
    ASSERT_EQ(image->pixels.size(), 4u);
    EXPECT_EQ(image->pixels[1], (Vec3{3, 4, 5}));
    EXPECT_EQ(image->pixels[3], (Vec3{-1.5f, 1e6f, 0.25f}));
    ASSERT_NE(image->textureId, 0u);

    GLint bound = 0, internalFormat = 0, minFilter = 0, magFilter = 0, wrapS = 0, wrapT = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(static_cast<std::uint32_t>(bound), image->textureId); // left bound
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_INTERNAL_FORMAT, &internalFormat);
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, &minFilter);
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, &magFilter);
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, &wrapS);
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, &wrapT);
    EXPECT_EQ(internalFormat, GL_RGB32F);
    EXPECT_EQ(minFilter, GL_NEAREST);
    EXPECT_EQ(magFilter, GL_NEAREST);
    EXPECT_EQ(wrapS, GL_REPEAT);
    EXPECT_EQ(wrapT, GL_REPEAT);

    // Unclamped values survive the round trip through the texture.
    std::vector<Vec3> texels(4);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGB, GL_FLOAT, texels.data());
    EXPECT_EQ(texels, image->pixels);

    std::uint32_t first = image->textureId;
    image->uploadTexture();
    EXPECT_EQ(image->textureId, first); // a refresh reuses the name
    image->deleteTexture();
    EXPECT_EQ(image->textureId, 0u);
    image->uploadTexture();
    EXPECT_NE(image->textureId, 0u);
    glBindTexture(GL_TEXTURE_2D, 0);
}

TEST_F(ImageTest, EmptyImageUploadDoesNothing) {
    Image empty; // no context needed: no GL call may be made
    empty.uploadTexture();
    EXPECT_EQ(empty.textureId, 0u);
    EXPECT_TRUE(empty.pixels.empty());
}

TEST_F(ImageTest, LoadReadsEachPathOnceFailuresIncluded) {
    std::string missing = (directory / "not_there.pbm").string();
    ::testing::internal::CaptureStderr();
    auto first = Image::load(missing);
    auto second = Image::load(missing);
    std::string output = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(output, "error: could not open \"" + missing + "\".\n"); // once

    // The file appearing later changes nothing: the failed load stays cached.
    write("not_there.pbm", pfFile("PF\n1\n1\n\n", {1, 2, 3}));
    EXPECT_EQ(Image::load(missing)->width, 0);
}

TEST_F(ImageTest, BackslashesBecomeSlashesOnlyWhenOpening) {
    write("slashed.pbm", "PF\n1\n1\n\n");
    std::string windowsPath = directory.string() + "\\slashed.pbm";
    std::unique_ptr<Image> image;
    // The file was found (its size is what failed), and the message keeps the text as given.
    EXPECT_EQ(construct(windowsPath, image),
              "error: expected 12 bytes of data in \"" + windowsPath + "\" but found 0.\n");
    EXPECT_EQ(image->width, 1);
}

} // namespace
} // namespace verdanium
