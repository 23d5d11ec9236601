#include "raster/hybrid_targets.h"

#include "tracer/recursive_path_tracer.h"

#include <GL/glew.h>

#include <algorithm>

namespace verdanium {

namespace {

// A new texture of width x height at level 0 with no data, left bound. Each
// pixel of the composite maps to one texel, so the float targets sample the
// nearest texel; the depth target is never sampled and keeps GL's filters.
GLuint makeTargetTexture(GLint internalFormat, GLenum format, GLenum type, bool nearest, GLsizei width,
                         GLsizei height) {
    GLuint name = 0;
    glGenTextures(1, &name);
    glBindTexture(GL_TEXTURE_2D, name);
    if (nearest) {
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    }
    glTexImage2D(GL_TEXTURE_2D, 0, internalFormat, width, height, 0, format, type, nullptr);
    return name;
}

void deleteTexture(std::uint32_t& name) {
    glDeleteTextures(1, &name);
    name = 0;
}

void readTexture(std::uint32_t name, std::vector<Vec4>& texels) {
    glBindTexture(GL_TEXTURE_2D, name);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_FLOAT, texels.data());
}

} // namespace

void rebuildHybridTargets(RecursivePathTracer& r) {
    const GLsizei width = static_cast<GLsizei>(r.width);
    const GLsizei height = static_cast<GLsizei>(r.height);
    const std::size_t pixelCount = static_cast<std::size_t>(r.width) * r.height;
    r.positionTexels.resize(pixelCount);
    r.normalTexels.resize(pixelCount);

    glDeleteFramebuffers(1, &r.gBuffer);
    r.gBuffer = 0;
    deleteTexture(r.positionTexture);
    deleteTexture(r.normalTexture);
    deleteTexture(r.depthTexture);
    // diffuseTexture is deliberately not deleted: its old name stays allocated
    // and the generation below takes a fresh one.

    glGenFramebuffers(1, &r.gBuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, r.gBuffer);
    r.diffuseTexture = makeTargetTexture(GL_RGBA32F, GL_RGBA, GL_FLOAT, true, width, height);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, r.diffuseTexture, 0);
    r.positionTexture = makeTargetTexture(GL_RGBA32F, GL_RGBA, GL_FLOAT, true, width, height);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT1, GL_TEXTURE_2D, r.positionTexture, 0);
    r.normalTexture = makeTargetTexture(GL_RGBA32F, GL_RGBA, GL_FLOAT, true, width, height);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT2, GL_TEXTURE_2D, r.normalTexture, 0);
    r.depthTexture =
        makeTargetTexture(GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT, GL_UNSIGNED_BYTE, false, width, height);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_TEXTURE_2D, r.depthTexture, 0);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);

    deleteTexture(r.pathTraceTexture);
    r.pathTraceTexture = makeTargetTexture(GL_RGBA32F, GL_RGBA, GL_FLOAT, true, width, height);
}

void readBackHybridTargets(RecursivePathTracer& r) {
    readTexture(r.positionTexture, r.positionTexels);
    readTexture(r.normalTexture, r.normalTexels);
    glBindTexture(GL_TEXTURE_2D, 0);
}

void collectCoveredPixels(const std::vector<Vec4>& positionTexels, const std::vector<Vec4>& normalTexels,
                          std::vector<PixelRecord>& workList) {
    workList.clear();
    const std::size_t count = std::min(positionTexels.size(), normalTexels.size());
    for (std::size_t i = 0; i < count; ++i) {
        // The hybrid program writes a non-zero alpha wherever an entity lies;
        // the background leaves it at 0.
        if (positionTexels[i].w == 0.0f)
            continue;
        PixelRecord record;
        record.index = i;
        record.position = positionTexels[i].xyz();
        record.normal = normalTexels[i].xyz();
        workList.push_back(record);
    }
}

} // namespace verdanium
