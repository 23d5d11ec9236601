#include "obj_writer.h"

#include "text_format.h"

#include <unordered_map>

namespace verdanium::datagen {
namespace {

// Collects distinct lines of one kind ("v", "vt", "vn") and hands out their
// 1-based indices in order of first use, which keeps the output deterministic.
class LineTable {
public:
    explicit LineTable(std::string keyword) : keyword_(std::move(keyword)) {}

    std::size_t index(const std::string& values) {
        auto [it, inserted] = indices_.emplace(values, indices_.size() + 1);
        if (inserted) {
            lines_ += keyword_ + ' ' + values + '\n';
        }
        return it->second;
    }
    const std::string& text() const { return lines_; }

private:
    std::string keyword_;
    std::unordered_map<std::string, std::size_t> indices_;
    std::string lines_;
};

std::string three(const Vector3& v, int decimals) {
    return formatFixed(v.x, decimals) + ' ' + formatFixed(v.y, decimals) + ' ' + formatFixed(v.z, decimals);
}

} // namespace

std::string encodeObj(const std::string& materialLibrary, const std::vector<MeshGroup>& groups) {
    LineTable positions("v"), texCoords("vt"), normals("vn");
    std::string faces;
    for (const MeshGroup& group : groups) {
        faces += "g " + group.name + "\nusemtl " + group.material + '\n';
        std::vector<Vector3> cornerNormal = cornerNormals(group.surface, group.creaseDegrees);
        const auto& vertices = group.surface.vertices;
        for (std::size_t t = 0; t < group.surface.triangles.size(); ++t) {
            const Triangle& triangle = group.surface.triangles[t];
            faces += 'f';
            std::uint32_t corners[3] = {triangle.a, triangle.b, triangle.c};
            for (int c = 0; c < 3; ++c) {
                const Vertex& v = vertices[corners[c]];
                std::size_t p = positions.index(three(v.position, 4));
                std::size_t tc = texCoords.index(formatFixed(v.uv.x, 6) + ' ' + formatFixed(v.uv.y, 6));
                std::size_t n = normals.index(three(cornerNormal[t * 3 + c], 6));
                faces += ' ' + std::to_string(p) + '/' + std::to_string(tc) + '/' + std::to_string(n);
            }
            faces += '\n';
        }
    }
    return "# verdanium generated model\nmtllib " + materialLibrary + '\n' + positions.text() +
           texCoords.text() + normals.text() + faces;
}

std::string encodeMtl(const std::vector<MaterialRecord>& materials) {
    std::string text = "# verdanium generated materials\n";
    for (const MaterialRecord& m : materials) {
        text += "\nnewmtl " + m.name + '\n';
        text += "Ka " + three(m.ambient, 4) + '\n';
        text += "Kd " + three(m.diffuse, 4) + '\n';
        text += "Ks " + three(m.specular, 4) + '\n';
        text += "Ns " + formatFixed(m.shininess, 2) + '\n';
        text += "illum " + std::to_string(m.illumination) + '\n';
        if (!m.diffuseMap.empty()) {
            text += "map_Kd " + m.diffuseMap + '\n';
        }
    }
    return text;
}

} // namespace verdanium::datagen
