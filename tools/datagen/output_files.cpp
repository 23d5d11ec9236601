#include "output_files.h"

#include <fstream>
#include <stdexcept>

namespace verdanium::datagen {

void OutputTree::write(const std::string& relativePath, const std::string& bytes) {
    std::filesystem::path path = root_ / relativePath;
    std::error_code error;
    std::filesystem::create_directories(path.parent_path(), error);
    if (error) {
        throw std::runtime_error("cannot create folder \"" + path.parent_path().string() +
                                 "\": " + error.message());
    }
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write \"" + path.string() + "\"");
    }
    written_.push_back({relativePath, bytes.size()});
}

} // namespace verdanium::datagen
