#include "world/ship_flight.h"

#include <cmath>
#include <numbers>

namespace verdanium {

ShipFlightPose shipFlightPose(float t) {
    constexpr double kRollScale = 1.0 / 12.0;
    ShipFlightPose pose;
    pose.position.x = std::sin(1.2f * t - 0.1f) + std::sin(t) + 0.5f * std::sin(2.3f * t - 0.4f);
    pose.position.y =
        30.0f * std::sin(0.5f * t) + std::sin(1.1f * t - 0.7f) + 0.3f * std::sin(2.1f * t - 0.3f);
    pose.position.z = 100.0f * t;

    const float rollWobble = 0.1f * std::sin(1.7f * t - 0.7f);
    pose.roll = static_cast<float>(static_cast<double>(rollWobble) +
                                   static_cast<double>(std::sin(t)) * std::numbers::pi * kRollScale);

    pose.climbRate = 0.1f * (1.1f * std::cos(1.1f * t - 0.7f) + 15.0f * std::cos(0.5f * t) +
                             0.63f * std::cos(2.1f * t - 0.3f));
    const float rollWobbleRate = 0.17f * std::cos(1.7f * t - 0.7f);
    pose.rollRate = static_cast<float>(static_cast<double>(rollWobbleRate) +
                                       static_cast<double>(std::cos(t)) * std::numbers::pi * kRollScale);

    pose.leftTilt = (-pose.climbRate - pose.rollRate) * 0.5f;
    pose.rightTilt = (pose.rollRate - pose.climbRate) * 0.5f;
    return pose;
}

} // namespace verdanium
