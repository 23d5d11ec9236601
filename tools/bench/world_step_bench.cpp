#include "world_step_bench.h"

#include "app/program_flags.h"
#include "world/scene.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <vector>

namespace verdanium {
namespace {

constexpr double kStepSeconds = 0.01;
constexpr double kRealTimeMilliseconds = 10.0;

double millisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// Recreates the scene without its two log lines, which would interleave with the figures.
double timedRecreate(Scene& scene, unsigned exponent) {
    std::ostringstream swallowed;
    std::streambuf* standardOutput = std::cout.rdbuf(swallowed.rdbuf());
    const auto start = std::chrono::steady_clock::now();
    scene.recreate(exponent, 0, 1);
    const double elapsed = millisecondsSince(start);
    std::cout.rdbuf(standardOutput);
    return elapsed;
}

// Median over a few steps after two that let the arrays reach their size: one
// step disturbed by another process on a shared machine must not move the figure.
double medianStep(Scene& scene, int timedSteps) {
    gPaused = false;
    scene.update(kStepSeconds);
    scene.update(kStepSeconds);
    std::vector<double> steps;
    for (int i = 0; i < timedSteps; ++i) {
        const auto start = std::chrono::steady_clock::now();
        scene.update(kStepSeconds);
        steps.push_back(millisecondsSince(start));
    }
    gPaused = true;
    std::sort(steps.begin(), steps.end());
    return steps[steps.size() / 2];
}

} // namespace

void benchWorldSteps(Scene& scene) {
    unsigned largestRealTime = 0;
    for (unsigned exponent : {3u, 5u, 6u, 7u, 8u}) {
        const unsigned asteroids = 4u << (2 * exponent);
        const double recreate = timedRecreate(scene, exponent);
        const double step = medianStep(scene, asteroids > 100000 ? 7 : 21);
        std::printf("figure world_recreate_%u_asteroids %.3f ms\n", asteroids, recreate);
        std::printf("figure world_step_%u_asteroids %.3f ms\n", asteroids, step);
        std::fflush(stdout);
        if (step < kRealTimeMilliseconds)
            largestRealTime = asteroids;
    }
    std::printf("figure world_real_time_asteroids %u asteroids\n", largestRealTime);
    std::fflush(stdout);
}

} // namespace verdanium
