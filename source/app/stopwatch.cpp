#include "app/stopwatch.h"

#include <atomic>
#include <cstdint>
#include <ctime>
#include <stdexcept>

namespace verdanium {

Stopwatch* gStopwatch = nullptr;

namespace {

// Counts per second of the clock, shared by every stopwatch; 0 until first use.
// Atomic so that stopwatches started on two threads at once may both set it.
std::atomic<std::int64_t> gClockFrequency{0};

// The monotonic clock counts nanoseconds; its frequency is known once the clock
// has been seen to work.
void queryClockFrequency() {
    timespec resolution{};
    if (clock_getres(CLOCK_MONOTONIC, &resolution) == 0)
        gClockFrequency = 1'000'000'000;
}

double clockSeconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const std::int64_t counter = std::int64_t(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
    return double(counter) / double(gClockFrequency);
}

} // namespace

void Stopwatch::start() {
    if (gClockFrequency == 0) {
        queryClockFrequency();
        if (gClockFrequency == 0)
            throw std::runtime_error("cannot initialize Stopwatch");
    }
    if (running)
        throw std::logic_error("Stopwatch already running");
    startTime = clockSeconds();
    running = true;
}

void Stopwatch::stop() {
    if (!running)
        throw std::logic_error("Stopwatch not running");
    stopTime = clockSeconds();
    running = false;
}

double Stopwatch::elapsed() const {
    return (running ? clockSeconds() : stopTime) - startTime;
}

} // namespace verdanium
