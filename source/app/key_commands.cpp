#include "app/key_commands.h"

#include "app/program_flags.h"
#include "geometry/intersector_mode.h"
#include "platform/event.h"
#include "tracer/renderer.h"
#include "world/scene.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <sstream>

namespace verdanium {

namespace {

// The indices of gSettingNames.
enum Setting : std::int32_t {
    SettingRenderer = 0,
    SettingObjectCount = 1,
    SettingTesselation = 2,
    SettingLeafSize = 3,
    SettingCpuThreads = 4,
    SettingIntersector = 5,
    SettingSecondaryBounceCount = 6,
    SettingMaxDepth = 7,
    SettingBidirectional = 8,
};

// The key that selects each setting, by index.
constexpr std::array<const char*, kSettingCount> kSelectionKeys = {"R", "O", "T", "L", "C",
                                                                   "I", "N", "M", "B"};

bool named(const KeyboardEvent& event, const char* name) {
    return std::strcmp(event.name, name) == 0;
}

// Movement keys write one component of the camera velocity on both edges, and
// every edge makes the picture stale. Returns false if the key is no movement key.
bool applyMovementKey(const KeyboardEvent& event, Scene& scene) {
    const float pressed = event.pressed ? 1.0f : 0.0f;
    if (named(event, "W"))
        scene.cameraVelocity.z = -pressed;
    else if (named(event, "S"))
        scene.cameraVelocity.z = pressed;
    else if (named(event, "A"))
        scene.cameraVelocity.x = -pressed;
    else if (named(event, "D"))
        scene.cameraVelocity.x = pressed;
    else
        return false;
    ++scene.changeCount;
    return true;
}

// Selection letters and "pause". Returns false if the key is neither.
bool applySelectionKey(const KeyboardEvent& event) {
    for (std::int32_t setting = 0; setting < kSettingCount; ++setting) {
        if (named(event, kSelectionKeys[setting])) {
            gCurrentSetting = setting;
            return true;
        }
    }
    if (named(event, "pause")) {
        gPaused = !gPaused;
        return true;
    }
    return false;
}

void applyRendererDigit(const KeyboardEvent& event, Renderer& renderer) {
    static constexpr std::array<const char*, 4> kModes = {"0", "1", "2", "3"};
    for (std::uint32_t mode = 0; mode < kModes.size(); ++mode) {
        if (named(event, kModes[mode])) {
            renderer.setRenderMode(mode);
            return;
        }
    }
}

void applyValue(std::uint64_t value, Scene& scene, Renderer& renderer) {
    switch (gCurrentSetting) {
    // The three scene settings rebuild the scene, the digit replacing one of the
    // values in force. A repeated digit rebuilds again, with new asteroids, since
    // the generator is never reseeded.
    case SettingObjectCount:
        scene.recreate(value, scene.tesselationExponent, scene.leafSize);
        break;
    case SettingTesselation:
        scene.recreate(scene.objectCountExponent, value, scene.leafSize);
        break;
    case SettingLeafSize:
        scene.recreate(scene.objectCountExponent, scene.tesselationExponent,
                       static_cast<std::uint8_t>(value));
        break;
    case SettingCpuThreads:
        renderer.setCpuThreads(value);
        break;
    case SettingIntersector:
        // A switch, not a count: any non-zero digit selects Embree.
        gIntersectorMode = value != 0 ? 1 : 0;
        break;
    case SettingSecondaryBounceCount:
        // A first bounce without samples would leave the indirect light black.
        renderer.setSecondaryBounceCount(value == 0 ? 1 : value);
        break;
    case SettingMaxDepth:
        renderer.setMaxDepth(value);
        break;
    case SettingBidirectional:
        renderer.setBidirectional(value);
        break;
    default:
        break;
    }
}

} // namespace

void handleKeyboardEvent(const KeyboardEvent& event, Scene& scene, Renderer& renderer) {
    std::cout << "handling KeyboardEvent " << event.name << (event.pressed ? " pressed" : " released")
              << std::endl;

    if (applyMovementKey(event, scene))
        return;
    if (!event.pressed)
        return;
    if (applySelectionKey(event))
        return;

    if (gCurrentSetting == SettingRenderer) {
        applyRendererDigit(event, renderer);
        return;
    }
    // Key names of digits are one character; the stream stops at the first
    // character it cannot use, so keypad names ("numpad 3") and letters fail here.
    std::istringstream stream(event.name);
    std::uint64_t value = 0;
    if (stream >> value)
        applyValue(value, scene, renderer);
}

} // namespace verdanium
