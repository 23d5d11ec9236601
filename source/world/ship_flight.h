#pragma once

#include "foundation/math/vec3.h"

namespace verdanium {

// The ship's scripted flight as a closed-form function of its flight time t, in
// seconds. Nothing is integrated: the pose at a given t is the same whatever
// steps led there. Both engines tilt by the analytic rates of climb and roll, so
// that the engines look like the cause of the motion.
struct ShipFlightPose {
    Vec3 position;       // hull origin in world space
    float roll = 0;      // about the world z axis, radians
    float climbRate = 0; // a tenth of dy/dt
    float rollRate = 0;  // d(roll)/dt
    float leftTilt = 0;  // about the engine's x axis, radians
    float rightTilt = 0;
};

// Evaluated in 32-bit floats, except where the roll terms are summed in 64 bits
// with pi and 1/12 as 64-bit constants. The left and right tilts differ by
// exactly the roll rate: climbing tilts both engines alike, rolling tilts them
// against each other.
ShipFlightPose shipFlightPose(float t);

} // namespace verdanium
