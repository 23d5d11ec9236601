#include "world_step_bench.h"

#include "app/program_flags.h"
#include "world/scene.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
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

// Processor time of the calling thread: the step runs on the main thread alone, and unlike the wall clock
// this doesn't count the time another process held the core.
double threadCpuMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return 1e3 * static_cast<double>(now.tv_sec) + 1e-6 * static_cast<double>(now.tv_nsec);
}

struct StepTime {
    double wall = 0.0;     // ms, median
    double cpu = 0.0;      // ms, median
    double cpuWorst = 0.0; // ms, the slowest step's processor time
};

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

// Medians over a few steps after two that let the arrays reach their size: one
// step disturbed by another process on a shared machine must not move the figure.
StepTime medianStep(Scene& scene, int timedSteps) {
    gPaused = false;
    scene.update(kStepSeconds);
    scene.update(kStepSeconds);
    std::vector<double> walls;
    std::vector<double> cpus;
    for (int i = 0; i < timedSteps; ++i) {
        const auto start = std::chrono::steady_clock::now();
        const double cpuStart = threadCpuMilliseconds();
        scene.update(kStepSeconds);
        cpus.push_back(threadCpuMilliseconds() - cpuStart);
        walls.push_back(millisecondsSince(start));
    }
    gPaused = true;
    std::sort(walls.begin(), walls.end());
    std::sort(cpus.begin(), cpus.end());
    return {walls[walls.size() / 2], cpus[cpus.size() / 2], cpus.back()};
}

} // namespace

void benchWorldSteps(Scene& scene) {
    unsigned largestRealTime = 0;
    unsigned largestRealTimeCpu = 0;
    for (unsigned exponent : {3u, 5u, 6u, 7u, 8u}) {
        const unsigned asteroids = 4u << (2 * exponent);
        const double recreate = timedRecreate(scene, exponent);
        const StepTime step = medianStep(scene, asteroids > 100000 ? 7 : 21);
        std::printf("figure world_recreate_%u_asteroids %.3f ms\n", asteroids, recreate);
        std::printf("figure world_step_%u_asteroids %.3f ms\n", asteroids, step.wall);
        std::printf("figure world_step_cpu_%u_asteroids %.3f ms\n", asteroids, step.cpu);
        // The slowest of the timed steps: the median hides a step that costs more now and then, as one
        // whose tree has to be split anew near its root does.
        std::printf("figure world_step_cpu_worst_%u_asteroids %.3f ms\n", asteroids, step.cpuWorst);
        std::fflush(stdout);
        if (step.wall < kRealTimeMilliseconds)
            largestRealTime = asteroids;
        if (step.cpu < kRealTimeMilliseconds)
            largestRealTimeCpu = asteroids;
    }
    std::printf("figure world_real_time_asteroids %u asteroids\n", largestRealTime);
    std::printf("figure world_real_time_cpu_asteroids %u asteroids\n", largestRealTimeCpu);
    std::fflush(stdout);
}

} // namespace verdanium
