#include "generated_data.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>

namespace verdanium::datagen_test {
namespace {

// A fresh run of the generator into a scratch folder must reproduce the tree the build generated, byte for
// byte, and write everything the program loads.
TEST(Generator, ReproducesTheBuiltDataTreeByteForByte) {
#ifndef VERDANIUM_DATAGEN_PATH
    GTEST_SKIP() << "the generator's path is not known to this build";
#else
    const std::filesystem::path scratch =
        std::filesystem::temp_directory_path() / ("verdanium-datagen-test-" + std::to_string(getpid()));
    std::filesystem::remove_all(scratch);
    const std::string command =
        std::string("\"") + VERDANIUM_DATAGEN_PATH + "\" \"" + scratch.string() + "\" > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::size_t compared = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(scratch)) {
        if (!entry.is_regular_file())
            continue;
        const std::filesystem::path relative = std::filesystem::relative(entry.path(), scratch);
        EXPECT_TRUE(readFile(entry.path()) == readFile(dataRoot() / relative)) << relative << " differs";
        ++compared;
    }
    std::filesystem::remove_all(scratch);
    EXPECT_GE(compared, modelFiles().size() * 2 + 1);
    for (const std::string& model : modelFiles())
        EXPECT_TRUE(std::filesystem::exists(dataRoot() / model)) << model;
    EXPECT_TRUE(std::filesystem::exists(dataRoot() / "backgrounds/orange/radiance.pbm"));
#endif
}

} // namespace
} // namespace verdanium::datagen_test
