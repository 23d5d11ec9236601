#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace verdanium {

// The whole file's bytes; "" when it cannot be read.
inline std::string readFile(const std::filesystem::path& path) {
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

// For tests that read files they write: a folder of the test's own inside the build folder, removed after the
// test. It is named by the suite and the test, not by the process, so that a death test that runs the test
// again in a fresh process writes and names the very same files.
class TestFilesFixture : public ::testing::Test {
protected:
    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        directory = std::filesystem::path(VERDANIUM_BINARY_DIR) / "test_files" /
                    (std::string(info->test_suite_name()) + "_" + info->name());
        std::filesystem::create_directories(directory);
    }
    void TearDown() override { std::filesystem::remove_all(directory); }

    // Writes `text` to `name` below the folder, making the folders it needs; returns the file's path.
    std::string write(const std::string& name, const std::string& text) {
        const std::filesystem::path path = directory / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << text;
        return path.string();
    }

    std::filesystem::path directory;
};

} // namespace verdanium
