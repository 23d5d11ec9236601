#include "linear_picture.h"

#include "tracer/recursive_path_tracer.h"

#include <GL/glew.h>

#include <cstring>

namespace verdanium {

namespace {

// The running sums as the path-traced frame draws them: its first row is the top of the picture.
void fromSums(const RecursivePathTracer& renderer, LinearPicture& picture) {
    for (std::size_t i = 0; i < renderer.accumulation.size(); ++i) {
        const Vec4& sum = renderer.accumulation[i];
        if (sum.w != 0.0f) {
            picture.rgb[3 * i + 0] = sum.x / sum.w;
            picture.rgb[3 * i + 1] = sum.y / sum.w;
            picture.rgb[3 * i + 2] = sum.z / sum.w;
        }
    }
}

// The composite's result: its two textures are indexed like the sums, but as GL textures their first row is
// the bottom of the picture.
void fromComposite(const RecursivePathTracer& renderer, LinearPicture& picture) {
    std::vector<Vec4> diffuse(renderer.accumulation.size());
    glBindTexture(GL_TEXTURE_2D, renderer.diffuseTexture);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_FLOAT, diffuse.data());
    glBindTexture(GL_TEXTURE_2D, 0);
    for (std::uint32_t row = 0; row < picture.height; ++row) {
        for (std::uint32_t x = 0; x < picture.width; ++x) {
            const std::size_t i = std::size_t(picture.height - 1 - row) * picture.width + x;
            const Vec4& sum = renderer.accumulation[i];
            // Pixels without samples show the surface colour as it stands, as in the composite shader.
            Vec3 colour{diffuse[i].x, diffuse[i].y, diffuse[i].z};
            if (sum.w != 0.0f) {
                colour =
                    Vec3{colour.x * (sum.x / sum.w), colour.y * (sum.y / sum.w), colour.z * (sum.z / sum.w)};
            }
            float* out = picture.pixel(x, row);
            out[0] = colour.x;
            out[1] = colour.y;
            out[2] = colour.z;
        }
    }
}

void fromFramebuffer(LinearPicture& picture) {
    const std::size_t rowFloats = std::size_t(picture.width) * 3;
    std::vector<float> bottomUp(picture.rgb.size());
    glFinish();
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glReadPixels(0, 0, GLsizei(picture.width), GLsizei(picture.height), GL_RGB, GL_FLOAT, bottomUp.data());
    for (std::uint32_t row = 0; row < picture.height; ++row) {
        std::memcpy(picture.rgb.data() + row * rowFloats,
                    bottomUp.data() + std::size_t(picture.height - 1 - row) * rowFloats,
                    rowFloats * sizeof(float));
    }
}

} // namespace

LinearPicture readLinearPicture(const RecursivePathTracer& renderer) {
    LinearPicture picture;
    picture.width = renderer.width;
    picture.height = renderer.height;
    picture.rgb.assign(std::size_t(picture.width) * picture.height * 3, 0.0f);
    if (renderer.renderMode == RenderModePathTrace) {
        fromSums(renderer, picture);
    } else if (renderer.renderMode == RenderModeHybrid) {
        fromComposite(renderer, picture);
    } else {
        fromFramebuffer(picture);
    }
    return picture;
}

} // namespace verdanium
