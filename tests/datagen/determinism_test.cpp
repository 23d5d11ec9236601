// The generator must write the same bytes on every run: a fresh run into a
// temporary folder has to reproduce the tree that the build generated.

#include "generated_data.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <unistd.h>

namespace verdanium::datagen_test {
namespace {

TEST(Generator, ReproducesTheBuiltDataTreeByteForByte) {
#ifndef VERDANIUM_DATAGEN_PATH
    GTEST_SKIP() << "the generator's path is not known to this build";
#else
    std::filesystem::path scratch =
        std::filesystem::temp_directory_path() / ("verdanium-datagen-test-" + std::to_string(getpid()));
    std::filesystem::remove_all(scratch);
    std::string command =
        std::string("\"") + VERDANIUM_DATAGEN_PATH + "\" \"" + scratch.string() + "\" > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);

    std::size_t compared = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(scratch)) {
        if (!entry.is_regular_file()) {
            continue;
        }
        std::filesystem::path relative = std::filesystem::relative(entry.path(), scratch);
        std::filesystem::path built = dataRoot() / relative;
        ASSERT_TRUE(std::filesystem::exists(built)) << relative << " is not in the built tree";
        EXPECT_TRUE(readFile(entry.path()) == readFile(built)) << relative << " differs between runs";
        ++compared;
    }
    std::filesystem::remove_all(scratch);

    // Everything the program loads is among what the generator writes.
    EXPECT_GE(compared, modelFiles().size() * 2 + 1);
    for (const std::string& model : modelFiles()) {
        EXPECT_TRUE(std::filesystem::exists(dataRoot() / model)) << model;
    }
    EXPECT_TRUE(std::filesystem::exists(dataRoot() / "backgrounds/orange/radiance.pbm"));
#endif
}

} // namespace
} // namespace verdanium::datagen_test
