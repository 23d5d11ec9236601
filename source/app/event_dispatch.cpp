#include "app/event_dispatch.h"

#include "app/key_commands.h"
#include "platform/event.h"
#include "tracer/renderer.h"
#include "world/scene.h"

#include <cmath>
#include <cstdint>
#include <iostream>

namespace verdanium {

void handleMouseMotion(const MouseMotionEvent& motion, Scene& scene) {
    // Squared in 64 bits: for every motion a device can report this equals the
    // 32-bit sum, and no report, however large, can overflow.
    const std::int64_t dx = motion.dx;
    const std::int64_t dy = motion.dy;
    const std::int64_t lengthSquared = dx * dx + dy * dy;
    // The sensitivity is the single-precision 0.01, widened, so that the angle
    // matches what a float multiply would give.
    const float angle =
        static_cast<float>(std::sqrt(static_cast<double>(lengthSquared)) * static_cast<double>(0.01f));
    const Vec3 axis{static_cast<float>(motion.dy), static_cast<float>(motion.dx), 0.0f};
    scene.rotateCamera(axis, angle);
}

void dispatchEvent(const Event& event, Scene& scene, Renderer& renderer) {
    switch (event.kind) {
    case EventKindKey:
        handleKeyboardEvent(event.keyboard, scene, renderer);
        break;
    case EventKindMouseButton:
        std::cout << "handling MouseButtonEvent " << event.mouseButton.button
                  << (event.mouseButton.pressed ? " pressed" : " released") << std::endl;
        break;
    case EventKindMouseMotion:
        handleMouseMotion(event.mouseMotion, scene);
        break;
    case EventKindMousePosition:
        std::cout << "mouse position event: (" << event.mousePosition.x << "," << event.mousePosition.y << ")"
                  << std::endl;
        break;
    case EventKindMouseWheel:
        std::cout << "mouse wheel turned by " << event.mouseWheel.amount << std::endl;
        break;
    case EventKindFocus:
        std::cout << "window " << (event.focus.gained ? "got" : "lost") << " focus" << std::endl;
        break;
    case EventKindResize:
        renderer.resize(event.resize.width, event.resize.height);
        break;
    default:
        break;
    }
}

} // namespace verdanium
