#pragma once

#include "foundation/math/transform.h"
#include "foundation/math/vec3.h"
#include "raster/material.h"
#include "raster/strip_texels.h"
#include "raster/texture.h"
#include "tracer/renderer.h"

#include <cstdint>
#include <memory>
#include <string>

namespace verdanium {

class Geometry;
struct Ray;

// The environment of the scene: a cube map stored as one vertical strip of six
// faces. To the tracer it turns a direction that left the scene into radiance;
// to the raster passes it is a textured box around the eye.
//
// Made once per scene, on the main thread with a current GL context.
class Background {
public:
    // Loads the strip through the image cache and prepares the box for the
    // "background" program. A picture that is not a strip (height != 6 width) is
    // reported on standard error and gets no GL objects; nothing is thrown.
    explicit Background(const std::string& path);
    // Deletes the image's GL texture (the image itself stays cached, so a later
    // background on the same path uploads it again). The vertex array is left
    // behind on purpose.
    ~Background();

    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;

    // Radiance arriving along ray.direction (any length): the nearest texel of
    // the face that the direction points at. No allocation, no square root, one
    // division. The strip must have pixels: an empty image raises
    // std::domain_error "element not invertible".
    Vec3 radiance(const Ray& ray) const;

    // Starts loading the texel that radiance() reads for this direction into the cache, and returns at once.
    // Why: that read misses the cache for most rays (the strip is 18 MB, and the rays that leave step
    // through it across rows or at random), and the path kernel calls this before walking the scene, so
    // that the walk hides the miss for the rays that then leave. Changes nothing; any direction may be
    // given, NaN included. Does nothing for a strip without pixels.
    void prefetchRadiance(const Vec3& direction) const;

    // Draws the box around the eye: the view's rotation only, so the box never
    // moves with the camera, and no depth written, so everything drawn later
    // lies in front of it. Fixed raster draws in immediate mode and leaves its
    // two matrices loaded; shader raster and hybrid use the "background"
    // program. Any other mode is reported on standard error and draws nothing.
    // Either way the rest of the GL state is left as found. Main thread.
    void rasterize(RenderMode mode, const Mat4& projection, const Transform& view);

    // The strip, addressed with WrapRepeat.
    Texture texture;
    // The "background" program and a second reference to the strip.
    Material material;
    // The box of side 10 that the raster passes draw.
    std::shared_ptr<Geometry> geometry;
    std::uint32_t vertexArray = 0;
    std::int32_t modelViewProjectionLocation = 0;
    std::int32_t backgroundSamplerLocation = 0;
    std::int32_t vertexAttribute = 0;
    std::int32_t texCoordAttribute = 0;

private:
    // The strip's pixels laid out for the tracer's lookups; null when the image has no pixels to copy (a
    // missing file, or a payload that was refused), and the lookups then go through sampleTexture.
    std::unique_ptr<StripTexels> texels_;
};

// Where the scene's background is read from.
inline constexpr const char* kBackgroundPath = "..\\..\\..\\data\\backgrounds\\orange\\radiance.pbm";

} // namespace verdanium
