#include "foundation/file_path.h"

#include <filesystem>
#include <system_error>

namespace verdanium {

std::string toOpenablePath(std::string_view path) {
    std::string openable(path);
    for (char& c : openable)
        if (c == '\\')
            c = '/';
    return openable;
}

bool openForBinaryReading(std::ifstream& file, std::string_view path) {
    std::string openable = toOpenablePath(path);
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(openable, ignored))
        return false;
    file.open(openable, std::ios::binary);
    return file.is_open();
}

} // namespace verdanium
