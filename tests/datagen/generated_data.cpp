#include "generated_data.h"

#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>

namespace verdanium::datagen_test {

std::filesystem::path dataRoot() {
#ifdef VERDANIUM_DATA_DIR
    return VERDANIUM_DATA_DIR;
#else
    return std::filesystem::path(VERDANIUM_SOURCE_DIR) / "data";
#endif
}

const std::vector<std::string>& asteroidFiles() {
    static const std::vector<std::string> files = {
        "models/asteroid/random/asteroid1.obj", "models/asteroid/random/asteroid2.obj",
        "models/asteroid/random/asteroid3.obj", "models/asteroid/random/asteroid4.obj",
        "models/asteroid/random/asteroid5.obj"};
    return files;
}

const std::vector<std::string>& modelFiles() {
    static const std::vector<std::string> files = [] {
        std::vector<std::string> all = asteroidFiles();
        for (const char* name : {"Hull", "EngineL", "EngineR", "EngineRotor"}) {
            all.push_back(std::string("models/ship/serenity/") + name + ".obj");
        }
        return all;
    }();
    return files;
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

namespace {

bool parseCorner(const std::string& token, ObjCorner& corner) {
    char a = 0, b = 0;
    std::istringstream in(token);
    in >> corner.position >> a >> corner.texCoord >> b >> corner.normal;
    return in && in.peek() == EOF && a == '/' && b == '/';
}

} // namespace

ObjFile parseObj(const std::filesystem::path& path) {
    ObjFile obj;
    std::ifstream file(path);
    if (!file) {
        obj.problems.push_back("cannot open " + path.string());
        return obj;
    }
    std::string line;
    int lineNumber = 0;
    bool groupHasMaterial = false;
    auto problem = [&](const std::string& what) {
        obj.problems.push_back(path.filename().string() + ":" + std::to_string(lineNumber) + ": " + what);
    };
    while (std::getline(file, line)) {
        ++lineNumber;
        std::istringstream in(line);
        std::string keyword;
        in >> keyword;
        if (keyword.empty() || keyword[0] == '#') {
            continue;
        }
        if (keyword == "mtllib") {
            in >> obj.materialLibrary;
        } else if (keyword == "v" || keyword == "vn") {
            Point p{};
            in >> p[0] >> p[1] >> p[2];
            (keyword == "v" ? obj.positions : obj.normals).push_back(p);
        } else if (keyword == "vt") {
            std::array<double, 2> t{};
            in >> t[0] >> t[1];
            obj.texCoords.push_back(t);
        } else if (keyword == "g") {
            std::string name;
            in >> name;
            obj.groups.push_back({name, ""});
            groupHasMaterial = false;
        } else if (keyword == "usemtl") {
            if (obj.groups.empty()) {
                problem("usemtl before the first group");
            } else {
                in >> obj.groups.back().material;
                groupHasMaterial = true;
            }
        } else if (keyword == "f") {
            if (obj.materialLibrary.empty()) {
                problem("face before mtllib");
            }
            if (obj.groups.empty() || !groupHasMaterial) {
                problem("face outside a group with a material");
            }
            ObjFace face{};
            face.group = obj.groups.empty() ? 0 : obj.groups.size() - 1;
            std::string token;
            int count = 0;
            while (in >> token) {
                if (count < 3 && !parseCorner(token, face.corners[count])) {
                    problem("corner not in the form v/vt/vn: " + token);
                }
                ++count;
            }
            if (count != 3) {
                problem("face with " + std::to_string(count) + " corners");
            }
            for (const ObjCorner& c : face.corners) {
                if (c.position < 1 || c.position > static_cast<int>(obj.positions.size()) || c.texCoord < 1 ||
                    c.texCoord > static_cast<int>(obj.texCoords.size()) || c.normal < 1 ||
                    c.normal > static_cast<int>(obj.normals.size())) {
                    problem("index out of range (or ahead of its definition)");
                }
            }
            obj.faces.push_back(face);
        } else {
            problem("unexpected keyword " + keyword);
        }
        if (!in && !in.eof()) {
            problem("malformed numbers");
        }
    }
    return obj;
}

std::vector<MtlMaterial> parseMtl(const std::filesystem::path& path, std::vector<std::string>& problems) {
    std::vector<MtlMaterial> materials;
    std::ifstream file(path);
    if (!file) {
        problems.push_back("cannot open " + path.string());
        return materials;
    }
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream in(line);
        std::string keyword;
        in >> keyword;
        if (keyword.empty() || keyword[0] == '#') {
            continue;
        }
        if (keyword == "newmtl") {
            materials.push_back({});
            in >> materials.back().name;
        } else if (materials.empty()) {
            problems.push_back(path.filename().string() + ": " + keyword + " before newmtl");
        } else if (keyword == "map_Kd") {
            in >> materials.back().diffuseMap;
            // The reader keeps at most 127 characters of a line's rest.
            if (line.size() > 120) {
                problems.push_back(path.filename().string() + ": map_Kd line too long");
            }
        } else if (keyword != "Ka" && keyword != "Kd" && keyword != "Ks" && keyword != "Ns" &&
                   keyword != "illum") {
            problems.push_back(path.filename().string() + ": unexpected keyword " + keyword);
        }
    }
    return materials;
}

PfImage readPf(const std::filesystem::path& path) {
    PfImage image;
    std::string bytes = readFile(path);
    std::size_t position = 0;
    auto nextLine = [&](std::string& line) {
        std::size_t end = bytes.find('\n', position);
        if (end == std::string::npos) {
            return false;
        }
        line = bytes.substr(position, end - position);
        position = end + 1;
        return true;
    };
    std::string format, width, height, dummy;
    if (!nextLine(format) || format != "PF") {
        image.problem = "line 1 is not exactly PF";
    } else if (!nextLine(width) || !nextLine(height) || !nextLine(dummy)) {
        image.problem = "header lines missing";
    } else {
        image.width = std::atoi(width.c_str());
        image.height = std::atoi(height.c_str());
        std::size_t expected = static_cast<std::size_t>(image.width) * image.height * 12;
        if (width != std::to_string(image.width) || height != std::to_string(image.height) ||
            image.width < 1 || image.height < 1) {
            image.problem = "width or height is not a plain positive number";
        } else if (bytes.size() - position != expected) {
            image.problem = "payload of " + std::to_string(bytes.size() - position) + " bytes, expected " +
                            std::to_string(expected);
        } else {
            image.rgb.resize(expected / 4);
            for (std::size_t i = 0; i < image.rgb.size(); ++i) {
                std::uint32_t bits = 0;
                for (int b = 0; b < 4; ++b) {
                    bits |=
                        static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[position + i * 4 + b]))
                        << (8 * b);
                }
                std::memcpy(&image.rgb[i], &bits, 4);
            }
        }
    }
    return image;
}

std::filesystem::path resolveTexture(const std::filesystem::path& root, const std::string& mapPath) {
    const std::string prefix = "../../../data/";
    if (mapPath.rfind(prefix, 0) != 0) {
        return {};
    }
    return root / mapPath.substr(prefix.size());
}

} // namespace verdanium::datagen_test
