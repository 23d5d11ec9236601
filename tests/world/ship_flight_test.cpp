#include "world/ship_flight.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace verdanium {
namespace {

// The closed forms in double precision; the 32-bit evaluation must stay close.
constexpr double kPi = std::numbers::pi;

TEST(ShipFlight, PoseFollowsTheClosedFormsAtChosenTimes) {
    for (double t : {0.0, 0.01, 1.0, 7.25, 12.5, 20.01}) {
        const ShipFlightPose pose = shipFlightPose(static_cast<float>(t));
        const double x = std::sin(1.2 * t - 0.1) + std::sin(t) + 0.5 * std::sin(2.3 * t - 0.4);
        const double y = 30 * std::sin(0.5 * t) + std::sin(1.1 * t - 0.7) + 0.3 * std::sin(2.1 * t - 0.3);
        const double roll = 0.1 * std::sin(1.7 * t - 0.7) + std::sin(t) * kPi / 12;
        const double climb =
            0.1 * (1.1 * std::cos(1.1 * t - 0.7) + 15 * std::cos(0.5 * t) + 0.63 * std::cos(2.1 * t - 0.3));
        const double rollRate = 0.17 * std::cos(1.7 * t - 0.7) + std::cos(t) * kPi / 12;
        EXPECT_NEAR(pose.position.x, x, 1e-5) << "t = " << t;
        EXPECT_NEAR(pose.position.y, y, 1e-4) << "t = " << t;
        EXPECT_NEAR(pose.position.z, 100 * t, 1e-3) << "t = " << t;
        EXPECT_NEAR(pose.roll, roll, 1e-6) << "t = " << t;
        EXPECT_NEAR(pose.climbRate, climb, 1e-6) << "t = " << t;
        EXPECT_NEAR(pose.rollRate, rollRate, 1e-6) << "t = " << t;
        EXPECT_NEAR(pose.leftTilt, 0.5 * (-climb - rollRate), 1e-6) << "t = " << t;
        EXPECT_NEAR(pose.rightTilt, 0.5 * (rollRate - climb), 1e-6) << "t = " << t;
    }
}

} // namespace
} // namespace verdanium
