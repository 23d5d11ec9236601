#include "tracer/camera.h"

#include "foundation/math/transform_d.h"
#include "foundation/math/vec4.h"
#include "geometry/ray.h"

#include <cmath>

namespace verdanium {

Camera::Camera(std::uint32_t width_, std::uint32_t height_) : width(width_), height(height_) {
    // Sizes go through signed 32-bit values, like every other pixel count handed
    // to GL.
    float w = static_cast<float>(static_cast<std::int32_t>(width));
    float h = static_cast<float>(static_cast<std::int32_t>(height));
    screen = makeScale({w * 0.5f, h * -0.5f, 1.0f});
    screen *= makeTranslation({1.0f, -1.0f, 0.0f});
}

Camera makeProjectedCamera(std::uint32_t width, std::uint32_t height) {
    width = width == 0 ? 1 : width;
    height = height == 0 ? 1 : height;
    double aspect = static_cast<float>(width) / static_cast<float>(height);
    double half = std::tan(1.5707963267948966 / (1.0 * 2.0));
    double left, right, bottom, top;
    if (aspect >= 1.0) {
        left = -(half * aspect);
        right = half * aspect;
        bottom = -half;
        top = half;
    } else {
        left = -half;
        right = half;
        bottom = -(half / aspect);
        top = half / aspect;
    }
    Camera camera(width, height);
    camera.projection = narrow(makeFrustum(left, right, bottom, top, 1.0, 2000.0));
    return camera;
}

float pixelRay(const Camera& camera, float x, float y, Ray& ray) {
    Vec4 p = camera.screen.checkedInverse() * Vec4(x, y, 0.0f, 1.0f);
    Vec4 q = camera.projection.checkedInverse() * p;
    ray.origin = Vec3{};
    q *= reciprocal(q.w);
    ray.direction = normalized(q.xyz());
    return 1.0f;
}

} // namespace verdanium
