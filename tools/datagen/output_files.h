#pragma once

// Writing generated files under the output root, with a tally for the summary.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace verdanium::datagen {

class OutputTree {
public:
    explicit OutputTree(std::filesystem::path root) : root_(std::move(root)) {}

    // Writes `bytes` to `relativePath` below the root, creating folders as needed.
    // Throws std::runtime_error when the file cannot be written in full.
    void write(const std::string& relativePath, const std::string& bytes);

    struct Entry {
        std::string path;
        std::uint64_t size;
    };
    const std::vector<Entry>& written() const { return written_; }

private:
    std::filesystem::path root_;
    std::vector<Entry> written_;
};

} // namespace verdanium::datagen
