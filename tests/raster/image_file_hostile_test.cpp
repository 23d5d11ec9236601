// Image files that never end, or never open.

#include "raster/image.h"
#include "support/test_files.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>

namespace verdanium {
namespace {

class ImageFileHostileTest : public TestFilesFixture {};

TEST_F(ImageFileHostileTest, OnlyRegularFilesAreOpenedAndTheHeaderIsReadWithABound) {
    // /dev/zero once grew its first line past a gigabyte; a pipe without a writer held the open forever.
    const std::string pipe = (directory / "pipe.pbm").string();
    std::filesystem::remove(pipe); // left behind by a run that was cut short
    std::filesystem::remove(directory / "zero.pbm");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::filesystem::create_symlink("/dev/zero", directory / "zero.pbm");
    for (const std::string& path : {std::string("/dev/zero"), pipe, (directory / "zero.pbm").string()}) {
        ::testing::internal::CaptureStderr();
        Image image(path);
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), "error: could not open \"" + path + "\".\n");
        EXPECT_EQ(image.width, 0);
    }
    // Lines 2 to 4 may be as long as they like: what follows the number is dropped, however long.
    const std::string padding(1 << 20, ' ');
    const std::string path = write("long.pbm", "PF\n1" + padding + "x\n2" + padding + "\n" + padding + "\n");
    ::testing::internal::CaptureStderr();
    Image image(path);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "error: expected 24 bytes of data in \"" + path + "\" but found 0.\n");
}

} // namespace
} // namespace verdanium
