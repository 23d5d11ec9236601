#pragma once

#include <cstdint>

namespace verdanium {

// The world advances in steps of this many seconds, whatever the frame rate.
inline constexpr double kFixedStepSeconds = 0.01;

// Calls step(kFixedStepSeconds) until simulatedTime has caught up with the clock,
// adding the step to simulatedTime each time, and returns the number of steps run.
//
// The clock (a callable returning elapsed seconds) is read anew before every step,
// so the time the steps themselves take is caught up too. There is deliberately no
// cap and no reset: a stall of two seconds is followed by about 200 steps, and the
// step is never scaled. Equal times run no step.
template <class ElapsedSeconds, class Step>
std::uint64_t runFixedSteps(double& simulatedTime, ElapsedSeconds&& elapsedSeconds, Step&& step) {
    std::uint64_t steps = 0;
    while (simulatedTime < elapsedSeconds()) {
        step(kFixedStepSeconds);
        simulatedTime += kFixedStepSeconds;
        ++steps;
    }
    return steps;
}

} // namespace verdanium
