// verdanium-datagen-preview: pictures of the generated data, for looking at it. Run from the program's folder
// (build/bin/release), it loads the models and their textures the way the program does (Geometry::load,
// with its recentring, and Image::load of each material's map), and writes PNG files into the folder given:
// the six faces of the background strip, tone-mapped, and every model from three sides, its texture lit by
// one distant light. Not part of the build's data; nothing reads the pictures.
#include "png_writer.h"

#include "foundation/resource_cache.h"
#include "geometry/geometry.h"
#include "geometry/hit.h"
#include "geometry/ray.h"
#include "platform/offscreen_context.h"
#include "raster/image.h"
#include "raster/texture.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

using namespace verdanium;

namespace {

constexpr std::uint32_t kModelPixels = 400;

std::uint8_t toByte(float linear) {
    const float encoded = std::pow(std::clamp(linear, 0.0f, 1.0f), 1.0f / 2.2f);
    return static_cast<std::uint8_t>(std::lround(255.0f * encoded));
}

// Each face of the strip as a picture of its own, radiance x shown as x / (1 + x) so that stars stay white
// and the nebula keeps its shades.
void writeBackgroundFaces(const std::string& folder) {
    std::shared_ptr<Image> strip = Image::load("../../../data/backgrounds/orange/radiance.pbm");
    const char* const faceNames[6] = {"+x", "-x", "+y", "-y", "+z", "-z"};
    const auto size = static_cast<std::uint32_t>(strip->width);
    for (int face = 0; face < 6 && !strip->pixels.empty(); ++face) {
        std::vector<std::uint8_t> rgb;
        rgb.reserve(3 * size * size);
        for (std::size_t i = 0; i < std::size_t(size) * size; ++i) {
            const Vec3& radiance = strip->pixels[face * std::size_t(size) * size + i];
            for (int c = 0; c < 3; ++c)
                rgb.push_back(toByte(radiance[c] / (1.0f + radiance[c])));
        }
        writePng(folder + "/background_" + faceNames[face] + ".png", size, size, rgb);
    }
}

// The albedo of the surface at a hit: the material's map at the interpolated texture coordinate, or the
// material's diffuse colour where it has no map.
Vec3 albedoAt(const Geometry& mesh, const Hit& hit, float u, float v) {
    const ObjMaterial& material = mesh.materials.at(mesh.triangleMaterials[hit.firstIndex / 3]);
    if (material.diffuseMap) {
        std::shared_ptr<Image> image = Image::load(material.diffuseMap);
        if (!image->pixels.empty())
            return sampleTexture(Texture{image, WrapRepeat}, u, v);
    }
    return Vec3{material.diffuse[0], material.diffuse[1], material.diffuse[2]};
}

// An orthographic picture of the mesh seen from `eye` (a direction from the mesh's middle), lit from the
// upper left of the viewer. Where the file's normal points against the triangle's winding the picture shows
// magenta, so that wrong normals or an inside-out part stand out at once.
std::vector<std::uint8_t> shadeModel(const Geometry& mesh, Vec3 eye) {
    const Vec3 centre = (mesh.tightBounds.lower + mesh.tightBounds.upper) * 0.5f;
    const float radius = length(mesh.tightBounds.upper - mesh.tightBounds.lower) * 0.5f;
    normalise(eye);
    const Vec3 right = normalized(cross(Vec3{0, 1, 0}, eye));
    const Vec3 up = cross(eye, right);
    const Vec3 light = normalized(eye * 0.6f + up * 0.6f - right * 0.5f);

    std::vector<std::uint8_t> rgb;
    rgb.reserve(3 * kModelPixels * kModelPixels);
    for (std::uint32_t y = 0; y < kModelPixels; ++y) {
        for (std::uint32_t x = 0; x < kModelPixels; ++x) {
            const float s = (2.0f * (float(x) + 0.5f) / kModelPixels - 1.0f) * 1.05f * radius;
            const float t = (1.0f - 2.0f * (float(y) + 0.5f) / kModelPixels) * 1.05f * radius;
            Ray ray;
            ray.origin = centre + eye * (3.0f * radius) + right * s + up * t;
            ray.direction = eye * -1.0f;
            Hit hit;
            Vec3 colour{0.05f, 0.05f, 0.06f};
            if (mesh.intersect(ray, hit)) {
                const std::uint64_t first = hit.firstIndex;
                const float w = 1.0f - hit.u - hit.v;
                const Vec3 normal = mesh.normals[first] * w + mesh.normals[first + 1] * hit.u +
                                    mesh.normals[first + 2] * hit.v;
                const TexCoord& a = mesh.texCoords[first];
                const TexCoord& b = mesh.texCoords[first + 1];
                const TexCoord& c = mesh.texCoords[first + 2];
                const Vec3 albedo = albedoAt(mesh, hit, w * a.u + hit.u * b.u + hit.v * c.u,
                                             w * a.v + hit.u * b.v + hit.v * c.v);
                const Vec3& p = mesh.positions[first];
                const Vec3 winding = cross(mesh.positions[first + 1] - p, mesh.positions[first + 2] - p);
                const float normalLength = length(normal);
                colour = !(dot(normal, winding) > 0.0f)
                             ? Vec3{1.0f, 0.0f, 1.0f}
                             : albedo * (0.12f + 0.88f * std::max(0.0f, dot(normal, light) / normalLength));
            }
            for (int k = 0; k < 3; ++k)
                rgb.push_back(toByte(colour[k]));
        }
    }
    return rgb;
}

void writeModelViews(const std::string& folder) {
    const std::string root = "../../../data/models/";
    std::vector<std::string> models;
    for (int i = 1; i <= 5; ++i)
        models.push_back(root + "asteroid/random/asteroid" + std::to_string(i) + ".obj");
    for (const char* part : {"Hull", "EngineL", "EngineR", "EngineRotor"})
        models.push_back(root + "ship/serenity/" + part + ".obj");
    // From the front and above, from behind and above as the chase camera sees the ship, and from the left.
    const struct {
        const char* name;
        Vec3 eye;
    } views[3] = {
        {"front", {0.4f, 0.5f, 1.0f}}, {"behind", {0.0f, 0.45f, -1.0f}}, {"side", {1.0f, 0.15f, 0.0f}}};
    for (const std::string& path : models) {
        std::shared_ptr<Geometry> mesh = Geometry::load(path);
        const std::string stem = std::filesystem::path(path).stem().string();
        for (const auto& view : views) {
            writePng(folder + "/" + stem + "_" + view.name + ".png", kModelPixels, kModelPixels,
                     shadeModel(*mesh, view.eye));
        }
        std::cout << stem << ": " << mesh->positions.size() / 3 << " triangles\n";
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: verdanium-datagen-preview OUTPUT_FOLDER (run from the program's folder)\n";
        return 2;
    }
    try {
        std::filesystem::create_directories(argv[1]);
        // Meshes and images upload to GL as they load; the caches must be emptied while the context lives.
        OffscreenContext context(1, 1);
        writeBackgroundFaces(argv[1]);
        writeModelViews(argv[1]);
        gGeometryCache.clear();
        gImageCache.clear();
    } catch (const std::exception& error) {
        std::cerr << "error: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
